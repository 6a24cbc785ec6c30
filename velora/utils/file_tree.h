// Moving, copying and deleting files and whole directory trees, and making directories.
//
// Paths are used as they are given; the path of an entry is that of its directory, "/" and its
// name. Entries are taken in the order in which the directory lists them. Apart from EnsureDir,
// MakeDirs and MoveOrCopy, whatever fails throws std::domain_error with the failed call, the paths
// and the error number in its text; what was done up to there stays done, nothing is rolled back.
//
// Symbolic links are followed to find out what a path is. So a link to a file is copied as a file,
// but moved and deleted as a link. A LINK TO A DIRECTORY COUNTS AS THAT DIRECTORY: its contents,
// wherever they lie, are moved away or deleted, and the error at the end is only that the link
// itself is no directory to be removed. Trees that may hold such links have to be searched for them
// first. Anything that is neither file nor directory (sockets, dangling links, missing paths) is
// passed over; inside a directory to be removed it makes the removal fail.
//
// Operations on different trees may run in different threads, but for the copying ones, which set
// the umask of the process for a moment (see velora/utils/file_contents.h).

#pragma once

#include <functional>
#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

// Called with the path of each regular file in a directory once that has been moved or copied: its
// new path, below the canonical path of the target directory, since a moved file has no other. A
// file that is itself the source of the whole operation is not announced. The callback is copied
// from level to level, so what it counts it must count by reference; an exception it throws ends
// the operation. An empty one throws std::bad_function_call at the first file.
using FileCallback = std::function<void(const std::string& path)>;

// True when `path` is a directory already or could be made one, with mode 0775 less the umask; its
// parent has to exist. Any number of threads may ask for the same directory at once.
[[nodiscard]] VELORA_API bool EnsureDir(const std::string& path);

// The same, with all missing parents made first. After false, some of them may have been made.
[[nodiscard]] VELORA_API bool MakeDirs(const std::string& path);

// Renames a file, or moves the contents of a directory with MoveDir into `target`, which is made if
// need be. Does nothing for any other source. Nothing is moved to another file system:
//     "rename() failed for s=<source> t= <target> err=18 c=Invalid cross-device link"
VELORA_API void Move(const std::string& source, const std::string& target, FileCallback callback);

// Moves all entries of a directory into an existing directory, merging into directories and
// replacing files that are there, and removes the emptied source. Throws
//     the error of CanonicalPath                                   for a missing target
//     "Unable to open source dir <source> errno = <n>=<error text>"
//     "Unable to mkdir or check dest dir <target> errno = <n>=<error text>"
//     "MoveDir: Unable to rmdir() <source> errno = <n>=<error text>"
// A target that is the source itself or lies inside it, whatever its path (a bind mount, say), is
// refused with the third text and error 22 (Invalid argument), before anything is moved.
VELORA_API void MoveDir(const std::string& source, const std::string& target,
                        FileCallback callback);

// Copies a file with CopyFileContents (mode 0644, whatever that of the source), or a directory with
// CopyDir. Does nothing for any other source. Throws
//     "CopyFile failed for =<source> t= <target> err=<n> c=<error text>"
VELORA_API void CopyFile(const std::string& source, const std::string& target,
                         FileCallback callback);

// Copies all entries of a directory into `target`, which is made if need be (its parent has to
// exist) once the source could be opened; throws as MoveDir does. The source stays.
VELORA_API void CopyDir(const std::string& source, const std::string& target,
                        FileCallback callback);

// Removes a file, or a directory with all that it holds. Does nothing for any other path. Throws
//     "unlink() failed for s=<path> err=<n> c=<error text>"
VELORA_API void Delete(const std::string& path);

// Deletes all entries of a directory, then the directory. Throws
//     "Unable to open source dir <path> errno = <n>=<error text>"
//     "DeleteDir: Unable to rmdir() <path> errno = <n>=<error text>"
VELORA_API void DeleteDir(const std::string& path);

// Moves as Move does; where that fails because source and target lie on different file systems,
// copies the source and deletes it. Copies are what CopyFile makes: mode, owner and times are those
// of new files. Any failure throws a plain std::exception: callers learn that the move failed and
// not why. A copy that fails leaves the source in place; so does one whose size is not that of its
// source (the disk is full, or the source still grows), and a target that is the source itself
// under another path, which stays as it is.
//
// A failed Move is taken for such a crossing when its text holds "err=18" or "cross-device", which
// a path may also bring about by its own name.
VELORA_API void MoveOrCopy(const std::string& source, const std::string& target,
                           FileCallback callback);
VELORA_API void MoveOrCopy(const std::string& source, const std::string& target);

// The absolute path without links, "." and ".." (realpath(3)). Throws
//     "realpath() cannot convert to canonical: <path> errno = <n>=<error text>"
[[nodiscard]] VELORA_API std::string CanonicalPath(const std::string& path);

}  // namespace MiscUtils
