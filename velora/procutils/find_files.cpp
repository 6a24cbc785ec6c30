#include "velora/procutils/find_files.h"

#include <string_view>

#include <dirent.h>
#include <re2/re2.h>

#include "velora/utils/path_tests.h"
#include "velora/utils/scope_guards.h"

namespace velora::utils::proc {
namespace {

using Callback = std::function<void(const std::string&)>;

bool IsSelfOrParent(std::string_view name) {
    return name == "." || name == "..";
}

// Searches one open directory. The callback is this level's own.
void Search(DIR* open, const std::string& directory, const RE2& pattern, int depth,
            const Callback& callback) {
    while (const dirent* const entry = readdir(open)) {
        const std::string name = entry->d_name;
        if (IsSelfOrParent(name)) {
            continue;
        }
        std::string path = directory;
        path.append("/").append(name);
        if (MiscUtils::IsRegularFile(path) || MiscUtils::IsSocket(path)) {
            if (RE2::PartialMatch(name, pattern)) {
                callback(path);
            }
        } else if (depth != 0 && MiscUtils::IsDirectory(path)) {
            const MiscUtils::UniqueDir below(opendir(path.c_str()));
            if (!below) {
                continue;
            }
            const Callback copy = callback;
            Search(below.get(), path, pattern, depth < 0 ? depth : depth - 1, copy);
            if (RE2::PartialMatch(name, pattern)) {
                callback(path);
            }
        }
    }
}

}  // namespace

bool FindFiles(const std::string& directory, const std::string& pattern, int depth,
               const Callback& callback) {
    MiscUtils::UniqueDir open(opendir(directory.c_str()));
    if (!open) {
        return false;
    }
    const RE2 compiled(pattern, RE2::Quiet);
    if (!compiled.ok()) {
        static_cast<void>(open.release());  // stays open, as the header tells
        return false;
    }
    Search(open.get(), directory, compiled, depth, callback);
    return true;
}

}  // namespace velora::utils::proc
