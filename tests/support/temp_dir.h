// A fresh directory for one test, removed with all that is in it.

#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include <stdlib.h>

class TempDir {
 public:
    explicit TempDir(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string path = parent / "seamtool-test.XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            throw std::runtime_error("mkdtemp " + path);
        }
        m_Path = path;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_Path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] std::string Path(std::string_view name = "") const {
        return (name.empty() ? m_Path : m_Path / name).string();
    }

    [[nodiscard]] std::string operator/(const std::string& name) const { return Path(name); }

    // Makes a file in the directory and returns its path.
    std::string Write(std::string_view name, std::string_view content) const {
        std::ofstream(Path(name), std::ios::binary) << content;
        return Path(name);
    }

    [[nodiscard]] std::string Read(std::string_view name) const { return ReadPath(Path(name)); }

    // Of all that is in it, but not of what is in its directories.
    [[nodiscard]] std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Path)) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    [[nodiscard]] static std::string ReadPath(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

 private:
    std::filesystem::path m_Path;
};
