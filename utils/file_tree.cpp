#include "utils/file_tree.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include "utils/errno_text.h"
#include "utils/file_contents.h"
#include "utils/path_tests.h"
#include "utils/scope_guards.h"

namespace MiscUtils {
namespace {

// Built with nothing before `error` is read: a text put together by the caller might change errno.
std::domain_error FileFailure(int error, std::string_view call, const std::string& source,
                              const std::string* target = nullptr) {
    std::string text = std::string(call) + source;
    if (target != nullptr) {
        text += " t= " + *target;
    }
    return std::domain_error(text + " err=" + std::to_string(error) +
                             " c=" + ErrnoText(error).text);
}

std::domain_error DirFailure(int error, std::string_view call, const std::string& path) {
    return std::domain_error(std::string(call) + path + " errno = " + std::to_string(error) + "=" +
                             ErrnoText(error).text);
}

constexpr std::string_view kCannotOpen = "Unable to open source dir ";

UniqueDir OpenDir(const std::string& path) {
    UniqueDir directory(opendir(path.c_str()));
    if (!directory) {
        throw DirFailure(errno, kCannotOpen, path);
    }
    return directory;
}

// Reads the names before any entry is touched, and closes the directory: what is moved, made or
// deleted meanwhile cannot confuse the reading, and a deep tree does not use up the descriptors.
std::vector<std::string> EntriesOf(const std::string& path, UniqueDir directory) {
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = readdir(directory.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
        errno = 0;
    }
    if (errno != 0) {
        throw DirFailure(errno, kCannotOpen, path);
    }
    return names;
}

std::string EntryPath(const std::string& directory, const std::string& name) {
    std::string path = directory;
    path.append("/").append(name);
    return path;
}

bool IsSameOrInside(const std::string& path, const std::string& directory) {
    return path == directory || path.starts_with(directory == "/" ? directory : directory + "/");
}

using EntryOperation = void (*)(const std::string&, const std::string&, FileCallback);

// What moving and copying a directory have in common: all but the removal of the source. `callback`
// is the copy of the caller's level; each entry gets one of its own. `directory` is the open
// source.
void ForEachEntry(const std::string& source, UniqueDir directory,
                  const std::string& canonicalTarget, EntryOperation operation,
                  FileCallback& callback) {
    constexpr std::string_view kCannotUse = "Unable to mkdir or check dest dir ";
    if (!EnsureDir(canonicalTarget)) {
        throw DirFailure(errno, kCannotUse, canonicalTarget);
    }
    if (IsSameOrInside(canonicalTarget, CanonicalPath(source))) {
        throw DirFailure(EINVAL, kCannotUse, canonicalTarget);
    }
    for (const std::string& name : EntriesOf(source, std::move(directory))) {
        const std::string from = EntryPath(source, name);
        const std::string to = EntryPath(canonicalTarget, name);
        const bool isFile = IsRegularFile(from);  // asked first: a moved entry is no longer there
        operation(from, to, callback);
        if (isFile) {
            callback(to);
        }
    }
}

}  // namespace

bool EnsureDir(const std::string& path) {
    return IsDirectory(path) || mkdir(path.c_str(), 0775) == 0;
}

bool MakeDirs(const std::string& path) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        static_cast<void>(EnsureDir(path.substr(0, slash)));
    }
    return EnsureDir(path);
}

void Move(const std::string& source, const std::string& target, FileCallback callback) {
    if (IsRegularFile(source)) {
        if (std::rename(source.c_str(), target.c_str()) < 0) {
            throw FileFailure(errno, "rename() failed for s=", source, &target);
        }
    } else if (IsDirectory(source)) {
        static_cast<void>(EnsureDir(target));
        MoveDir(source, target, std::move(callback));
    }
}

void MoveDir(const std::string& source, const std::string& target, FileCallback callback) {
    const std::string canonicalTarget = CanonicalPath(target);
    ForEachEntry(source, OpenDir(source), canonicalTarget, Move, callback);
    if (rmdir(source.c_str()) < 0) {
        throw DirFailure(errno, "MoveDir: Unable to rmdir() ", source);
    }
}

void CopyFile(const std::string& source, const std::string& target, FileCallback callback) {
    if (IsRegularFile(source)) {
        if (!CopyFileContents(source, target)) {
            throw FileFailure(errno, "CopyFile failed for =", source, &target);
        }
    } else if (IsDirectory(source)) {
        CopyDir(source, target, std::move(callback));
    }
}

void CopyDir(const std::string& source, const std::string& target, FileCallback callback) {
    UniqueDir directory = OpenDir(source);  // before anything is made
    static_cast<void>(EnsureDir(target));   // only an existing directory has a canonical path
    ForEachEntry(source, std::move(directory), CanonicalPath(target), CopyFile, callback);
}

void Delete(const std::string& path) {
    if (IsRegularFile(path)) {
        if (unlink(path.c_str()) < 0) {
            throw FileFailure(errno, "unlink() failed for s=", path);
        }
    } else if (IsDirectory(path)) {
        DeleteDir(path);
    }
}

void DeleteDir(const std::string& path) {
    for (const std::string& name : EntriesOf(path, OpenDir(path))) {
        Delete(EntryPath(path, name));
    }
    if (rmdir(path.c_str()) < 0) {
        throw DirFailure(errno, "DeleteDir: Unable to rmdir() ", path);
    }
}

void MoveOrCopy(const std::string& source, const std::string& target, FileCallback callback) {
    try {
        Move(source, target, callback);
        return;
    } catch (const std::exception& failure) {
        const std::string_view text = failure.what();
        if (text.find("err=18") == std::string_view::npos &&
            text.find("cross-device") == std::string_view::npos) {
            throw std::exception();
        }
    }
    try {
        CopyFile(source, target, std::move(callback));
        Delete(source);
    } catch (...) {
        throw std::exception();
    }
}

void MoveOrCopy(const std::string& source, const std::string& target) {
    MoveOrCopy(source, target, [](const std::string&) {});
}

std::string CanonicalPath(const std::string& path) {
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, Free> canonical(realpath(path.c_str(), nullptr));
    if (!canonical) {
        throw DirFailure(errno, "realpath() cannot convert to canonical: ", path);
    }
    return canonical.get();
}

}  // namespace MiscUtils
