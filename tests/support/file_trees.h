// What tests of files share: trees as text, and a watch over the process's open descriptors.

#pragma once

#include <set>
#include <sstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/temp_dir.h"

// A tree in words: "file=text", "directory/", "link>target", "fifo!", "socket%"; directories before what they hold.
using Tree = std::set<std::string>;

inline Tree Words(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

inline void Plant(const TempDir& where, const std::string& tree) {
    for (const std::string& word : Words(tree)) {
        const std::size_t mark = word.find_first_of("=>!%");
        const std::string path = where / word.substr(0, mark);
        if (mark == std::string::npos) {
            std::filesystem::create_directory(path);
        } else if (word[mark] == '=') {
            where.Write(word.substr(0, mark), word.substr(mark + 1));
        } else if (word[mark] == '>') {
            std::filesystem::create_symlink(word.substr(mark + 1), path);
        } else {
            mknod(path.c_str(), word[mark] == '!' ? S_IFIFO : S_IFSOCK, 0);
        }
    }
}

// Text without two equal blocks, so that no block can stand for another.
inline std::string Pattern(std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += static_cast<char>(text.size() % 251);
    }
    return text;
}

inline std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// For a test that leaves no more descriptors open than it found.
struct DescriptorWatch {
    ~DescriptorWatch() { EXPECT_EQ(OpenDescriptors(), m_Before); }
    std::ptrdiff_t m_Before = OpenDescriptors();
};

// The directory of such a test.
struct ScratchDir : TempDir, DescriptorWatch {};

// A directory to write to on another file system than that of TempDir; empty where there is none.
inline std::string AnotherFileSystem() {
    struct stat here = {};
    struct stat there = {};
    stat(std::filesystem::temp_directory_path().c_str(), &here);
    const bool isOther = stat("/dev/shm", &there) == 0 && here.st_dev != there.st_dev;
    return isOther && access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "";
}

// The text of the Error that the call throws; "no error" when it returns.
template <typename Error, typename Call, typename... Arguments>
std::string ErrorOf(const Call& call, const Arguments&... arguments) {
    try {
        static_cast<void>(call(arguments...));
    } catch (const Error& error) {
        return error.what();
    }
    return "no error";
}
