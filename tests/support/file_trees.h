// What tests of files share: files and trees as text, and a count of the process's open descriptors.

#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

#include <sys/stat.h>

#include "tests/support/temp_dir.h"

// Makes or replaces a file; gives its path back.
inline std::string MakeFile(const std::string& path, const std::string& text = "") {
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

// A tree in words: "file=text", "directory/", "link>target", "fifo!", "socket%". Sorted, so that a
// directory comes before what it holds.
using Tree = std::set<std::string>;

inline Tree Words(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

inline void Plant(const TempDir& where, const std::string& tree) {
    for (const std::string& word : Words(tree)) {
        const std::size_t mark = word.find_first_of("=>!%");
        const std::string path = where / word.substr(0, mark);
        switch (mark == std::string::npos ? '/' : word[mark]) {
            case '/':
                std::filesystem::create_directory(path);
                break;
            case '=':
                MakeFile(path, word.substr(mark + 1));
                break;
            case '>':
                std::filesystem::create_symlink(word.substr(mark + 1), path);
                break;
            default:
                mknod(path.c_str(), word[mark] == '!' ? S_IFIFO : S_IFSOCK, 0);
        }
    }
}

inline std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// The text of the Error that `call` throws; "no error" when it returns.
template <typename Error, typename Call>
std::string ErrorOf(const Call& call) {
    try {
        call();
    } catch (const Error& error) {
        return error.what();
    }
    return "no error";
}
