#include "velora/output/output_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "velora/utils/errno_text.h"

namespace velora::output {

namespace {

using Kind = codec::OutputOutcome::Kind;

// Space ahead: as much as has been written, so that a small file asks for little.
constexpr std::uint64_t kLeastAsked = std::uint64_t{1} << 20;
constexpr std::uint64_t kMostAsked = std::uint64_t{64} << 20;

constexpr std::size_t kMostNameBytes = 255;

codec::OutputOutcome Exists(const char* text) {
    return {.kind = Kind::kExists, .error = EEXIST, .text = text};
}

FileIdentity IdentityOf(const struct stat& status) {
    return {.device = status.st_dev, .inode = status.st_ino};
}

bool IsStream(const struct stat& status) {
    return S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
}

// A file system in memory lays nothing out, and to be asked for space costs it a tenth of the time
// of a merge.
bool IsInMemory(int directory) {
    struct statfs status {};
    return fstatfs(directory, &status) == 0 && status.f_type == TMPFS_MAGIC;
}

std::string ProcPath(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
}

// The calls below give 0 or an errno value.

int LinkByDescriptor(int file, int directory, const char* name) {
    return linkat(file, "", directory, name, AT_EMPTY_PATH) == 0 ? 0 : errno;
}

int LinkByProc(int file, int directory, const char* name) {
    return linkat(AT_FDCWD, ProcPath(file).c_str(), directory, name, AT_SYMLINK_FOLLOW) == 0
               ? 0
               : errno;
}

int Truncate(int file, std::uint64_t size) {
    int result = -1;
    do {
        result = ftruncate(file, static_cast<off_t>(size));
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

}  // namespace

codec::OutputOutcome OutputFile::Fail(int error, const char* what) {
    m_Failure = {.kind = Kind::kCannot,
                 .error = error,
                 .hasReaderLeft = error == EPIPE && m_IsPipe,
                 .text = what + MiscUtils::ErrnoText(error).text};
    return m_Failure;
}

codec::OutputOutcome OutputFile::Prepare(const std::string& path, const FileOptions& options) {
    m_Options = options;
    if (path == "-") {
        return PrepareStandardOutput();
    }
    const std::size_t nameAt = path.rfind('/') + 1;  // npos + 1 is 0
    m_DirectoryPath = path.substr(0, nameAt);
    m_Name = path.substr(nameAt);
    if (path.empty()) {
        return Fail(ENOENT);
    }
    const char* const directory = m_DirectoryPath.empty() ? "." : m_DirectoryPath.c_str();
    m_Directory.Reset(open(directory, O_PATH | O_DIRECTORY | O_CLOEXEC));
    return m_Directory ? PrepareNamed() : Fail(errno);
}

codec::OutputOutcome OutputFile::PrepareStandardOutput() {
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    struct stat status {};
    if (flags < 0 || fstat(STDOUT_FILENO, &status) != 0) {
        return Fail(errno);
    }
    m_Identity = IdentityOf(status);
    if ((flags & O_ACCMODE) == O_RDONLY) {
        return Fail(EBADF);
    }
    // A descriptor of our own, so that its closing can be looked at.
    m_File.Reset(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!m_File) {
        return Fail(errno);
    }
    m_IsPipe = S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode);
    return {};
}

codec::OutputOutcome OutputFile::PrepareNamed() {
    const char* const name = m_Name.c_str();
    struct stat status {};
    if (!m_Name.empty() && fstatat(m_Directory.Get(), name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT ? PrepareNew() : Fail(errno);
    }
    if (m_Options.replacesExisting && S_ISREG(status.st_mode)) {
        return PrepareNew();
    }
    if (m_Name.empty() || fstatat(m_Directory.Get(), name, &status, 0) != 0 || !IsStream(status)) {
        return Exists(m_Options.replacesExisting ? "is no regular file, which could be replaced"
                                                 : "exists already");
    }
    m_Identity = IdentityOf(status);
    m_IsPipe = S_ISFIFO(status.st_mode);
    return {};
}

codec::OutputOutcome OutputFile::PrepareNew() {
    m_CanAsk = !IsInMemory(m_Directory.Get());
    return OpenUnnamed() ? codec::OutputOutcome{} : OpenTemporary();
}

bool OutputFile::OpenUnnamed() {
    m_File.Reset(openat(m_Directory.Get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, m_Options.mode));
    if (m_File) {
        // That "." exists is found out last: all that the naming needs of the system is there.
        if (LinkByDescriptor(m_File.Get(), m_Directory.Get(), ".") == EEXIST) {
            m_Naming = Naming::kByDescriptor;
        } else if (LinkByProc(m_File.Get(), m_Directory.Get(), ".") == EEXIST) {
            m_Naming = Naming::kByProc;
        }
        m_ToClose.Reset(fcntl(m_File.Get(), F_DUPFD_CLOEXEC, 0));
    }
    return m_Naming != Naming::kNone && m_ToClose;
}

codec::OutputOutcome OutputFile::OpenTemporary() {
    const int directory = m_Directory.Get();
    m_ToClose.Reset();
    m_Temporary = TemporaryName(directory, m_Name);
    TemporaryName second(directory, m_Name);
    if (!m_Temporary || !second) {
        return Fail(ENOSYS);  // no random bytes
    }
    m_File.Reset(openat(directory, m_Temporary.Get(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC,
                        m_Options.mode));
    if (!m_File) {
        return Fail(errno);
    }
    if (linkat(directory, m_Temporary.Get(), directory, second.Get(), 0) == 0) {
        m_Naming = Naming::kByLink;
    } else if (renameat2(directory, m_Temporary.Get(), directory, second.Get(), RENAME_NOREPLACE) ==
               0) {
        m_Naming = Naming::kByRename;
        m_Temporary = std::move(second);
    } else {
        static_cast<void>(Fail(errno, "its directory offers no way to let a file appear whole: "));
        RemoveTemporary(m_Failure);
        return m_Failure;
    }
    return {};
}

bool OutputFile::IsSameAs(const OutputFile& other) const {
    if (m_Identity || other.m_Identity) {
        return m_Identity == other.m_Identity;
    }
    struct stat mine {};
    struct stat theirs {};
    return m_Name == other.m_Name && m_Directory && other.m_Directory &&
           fstat(m_Directory.Get(), &mine) == 0 && fstat(other.m_Directory.Get(), &theirs) == 0 &&
           IdentityOf(mine) == IdentityOf(theirs);
}

codec::OutputOutcome OutputFile::Open() {
    if (m_File) {
        return {};
    }
    do {
        m_File.Reset(openat(m_Directory.Get(), m_Name.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    } while (!m_File && errno == EINTR);
    struct stat status {};
    if (!m_File || fstat(m_File.Get(), &status) != 0) {
        return Fail(errno);
    }
    if (IdentityOf(status) != m_Identity || !IsStream(status)) {
        m_Failure = Exists("another file has taken its place");
    }
    return m_Failure;
}

// Gives 0 or an errno value, after which no more is asked for: the writes themselves tell what is
// wrong, if anything is.
int OutputFile::AskForSpace(std::size_t count) {
    const std::uint64_t end = m_Size + count;
    if (!m_CanAsk || m_Size < kLeastAsked || end <= m_Asked) {
        return 0;
    }
    const std::uint64_t from = std::max(m_Asked, m_Size);
    const std::uint64_t space = std::max<std::uint64_t>(std::min(m_Size, kMostAsked), end - from);
    if (fallocate(m_File.Get(), FALLOC_FL_KEEP_SIZE, static_cast<off_t>(from),
                  static_cast<off_t>(space)) == 0) {
        m_Asked = from + space;
        return 0;
    }
    m_CanAsk = false;
    return errno;
}

// Takes what was written off the front of `bytes`.
int OutputFile::WriteSome(std::span<const std::uint8_t>& bytes) {
    const ssize_t count = write(m_File.Get(), bytes.data(), bytes.size());
    if (count > 0) {
        m_Size += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        return 0;
    }
    if (count < 0 && errno == EAGAIN) {  // whoever shares a pipe with us has set O_NONBLOCK
        pollfd wait{.fd = m_File.Get(), .events = POLLOUT, .revents = 0};
        static_cast<void>(poll(&wait, 1, -1));
        return 0;
    }
    if (count == 0) {
        return EIO;
    }
    return errno == EINTR ? 0 : errno;
}

codec::OutputOutcome OutputFile::Write(std::span<const std::uint8_t> bytes) {
    const MiscUtils::ScopedWriteSignals noSignals;
    noSignals.TakeFor(AskForSpace(bytes.size()));
    while (!bytes.empty() && m_Failure.IsGood()) {
        if (const int error = WriteSome(bytes); error != 0) {
            noSignals.TakeFor(error);
            return Fail(error);
        }
    }
    return m_Failure;
}

codec::OutputOutcome OutputFile::Finish() {
    if (!m_Failure.IsGood()) {
        return m_Failure;
    }
    if (m_Asked > m_Size) {
        const MiscUtils::ScopedWriteSignals noSignals;
        if (const int error = Truncate(m_File.Get(), m_Size); error != 0) {
            noSignals.TakeFor(error);
            return Fail(error);
        }
    }
    // Each close of a file's descriptors tells what became of its writes.
    if (close(m_ToClose ? m_ToClose.Release() : m_File.Release()) != 0) {
        return Fail(errno);
    }
    return m_Naming == Naming::kNone ? codec::OutputOutcome{} : Appear();
}

int OutputFile::GiveName(const std::string& name) {
    const int directory = m_Directory.Get();
    switch (m_Naming) {
        case Naming::kByDescriptor:
            return LinkByDescriptor(m_File.Get(), directory, name.c_str());
        case Naming::kByProc:
            return LinkByProc(m_File.Get(), directory, name.c_str());
        case Naming::kByLink:
            return linkat(directory, m_Temporary.Get(), directory, name.c_str(), 0) == 0 ? 0
                                                                                         : errno;
        case Naming::kByRename:
            return renameat2(directory, m_Temporary.Get(), directory, name.c_str(),
                             RENAME_NOREPLACE) == 0
                       ? 0
                       : errno;
        case Naming::kNone:
            break;
    }
    return EINVAL;
}

// EEXIST: what has the name is no regular file.
int OutputFile::Replace() {
    const int directory = m_Directory.Get();
    struct stat status {};
    if (fstatat(directory, m_Name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        !S_ISREG(status.st_mode)) {
        return EEXIST;
    }
    if (!m_Temporary) {
        m_Temporary = TemporaryName(directory, m_Name);
        if (!m_Temporary) {
            return ENOSYS;  // no random bytes
        }
        if (const int error = GiveName(m_Temporary.Get()); error != 0) {
            return error;
        }
    }
    return renameat2(directory, m_Temporary.Get(), directory, m_Name.c_str(), 0) == 0 ? 0 : errno;
}

codec::OutputOutcome OutputFile::Appear() {
    codec::OutputOutcome outcome;
    int error = GiveName(m_Name);
    if (error == EEXIST && m_Options.replacesExisting) {
        error = Replace();
    }
    for (int number = 1; error == EEXIST && number < 1000000; ++number) {
        std::string suffix = ".";
        suffix += std::to_string(number);
        const auto name = std::string(BeginningOf(m_Name, kMostNameBytes - suffix.size())) + suffix;
        outcome = {.kind = Kind::kTaken,
                   .error = EEXIST,
                   .text = "came into being during the run",
                   .keptAs = m_DirectoryPath + name};
        error = GiveName(name);
    }
    if (error != 0) {
        outcome = Fail(error);
    }
    RemoveTemporary(outcome);
    return outcome;
}

// Where that cannot be, the outcome's text tells.
void OutputFile::RemoveTemporary(codec::OutputOutcome& outcome) {
    const std::string temporary = m_Temporary ? m_Temporary.Get() : "";
    if (const int left = m_Temporary.Remove(); left != 0) {
        outcome.text += (outcome.text.empty() ? "" : "; ") + temporary +
                        " is left: " + MiscUtils::ErrnoText(left).text;
    }
}

}  // namespace velora::output
