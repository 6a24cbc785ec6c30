// What tests of files share: a fresh directory of their own, whole files as text, and a count of
// the process's open descriptors.

#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <stdlib.h>

namespace test_support {

// A fresh directory under `parent`, removed with all it holds at the end of the scope.
class ScratchDir {
 public:
    explicit ScratchDir(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : path_((parent / "velora-test.XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("cannot make " + path_);
        }
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir(ScratchDir&&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    ScratchDir& operator=(ScratchDir&&) = delete;

    [[nodiscard]] const std::string& Path() const { return path_; }
    [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
    std::string path_;
};

inline std::string ContentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Makes or replaces a file; gives its path back.
inline std::string MakeFile(const std::string& path, const std::string& text = "") {
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

inline std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

}  // namespace test_support
