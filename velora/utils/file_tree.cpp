#include "velora/utils/file_tree.h"

#include <algorithm>
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

#include "velora/utils/errno_text.h"
#include "velora/utils/file_contents.h"
#include "velora/utils/path_tests.h"
#include "velora/utils/scope_guards.h"

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

// By device and inode, not by the paths: a bind mount shows one file under two of them, and a link
// leads from one to the other.
bool AreOneFile(const std::string& first, const std::string& second) {
    struct stat a = {};
    struct stat b = {};
    return stat(first.c_str(), &a) == 0 && stat(second.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

// `path` is canonical.
bool IsSameOrInside(std::string path, const std::string& directory) {
    while (!AreOneFile(path, directory)) {
        if (path == "/") {
            return false;
        }
        path.resize(std::max<std::size_t>(path.rfind('/'), 1));
    }
    return true;
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
    if (IsSameOrInside(canonicalTarget, source)) {
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

using CopyContents = bool (*)(const std::string&, const std::string&);

template <CopyContents kCopy>
void CopyEntry(const std::string& source, const std::string& target, FileCallback callback);

template <CopyContents kCopy>
void CopyEntries(const std::string& source, const std::string& target, FileCallback& callback) {
    UniqueDir directory = OpenDir(source);  // before anything is made
    static_cast<void>(EnsureDir(target));   // only an existing directory has a canonical path
    ForEachEntry(source, std::move(directory), CanonicalPath(target), CopyEntry<kCopy>, callback);
}

template <CopyContents kCopy>
void CopyEntry(const std::string& source, const std::string& target, FileCallback callback) {
    if (IsRegularFile(source)) {
        if (!kCopy(source, target)) {
            throw FileFailure(errno, "CopyFile failed for =", source, &target);
        }
    } else if (IsDirectory(source)) {
        CopyEntries<kCopy>(source, target, callback);
    }
}

// For a source that is to be deleted: not copied onto itself, which would empty it, and a copy that
// a full disk has cut short does not pass.
bool CopyWhole(const std::string& source, const std::string& target) {
    return !AreOneFile(source, target) && CopyFileContents(source, target) &&
           GetFileSize(source) == GetFileSize(target);
}

}  // namespace

bool EnsureDir(const std::string& path) {
    if (IsDirectory(path) || mkdir(path.c_str(), 0775) == 0) {
        return true;
    }
    const ScopedErrno keepErrno;
    return errno == EEXIST && IsDirectory(path);  // another thread has made it since
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
    CopyEntry<CopyFileContents>(source, target, std::move(callback));
}

void CopyDir(const std::string& source, const std::string& target, FileCallback callback) {
    CopyEntries<CopyFileContents>(source, target, callback);
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
        CopyEntry<CopyWhole>(source, target, std::move(callback));
        Delete(source);
    } catch (...) {
        throw std::exception();
    }
}

void MoveOrCopy(const std::string& source, const std::string& target) {
    MoveOrCopy(source, target, [](const std::string&) {});
}

std::string CanonicalPath(const std::string& path) {
    const UniqueMemory<char> canonical(realpath(path.c_str(), nullptr));
    if (!canonical) {
        throw DirFailure(errno, "realpath() cannot convert to canonical: ", path);
    }
    return canonical.get();
}

}  // namespace MiscUtils
