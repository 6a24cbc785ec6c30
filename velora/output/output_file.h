// OutputFile: an output that appears under its name whole or not at all. What exists is not
// replaced, unless that is asked for; FIFOs, character devices and standard output are written
// straight.
//
// A new file is written without a name (O_TMPFILE of open(2)) and linked to it at the end. Where
// the file system has no such thing it is written under a temporary name, which becomes the name by
// link(2), else by RENAME_NOREPLACE of renameat2(2). Which of these works is tried out before
// anything is read, so that no run fails for that at its end. What replaces a file has a temporary
// name for a moment, and takes the other's by rename(2): whoever opens that name finds one of the
// two, whole.
//
//     OutputFile output;
//     OutputOutcome outcome = output.Prepare(path);        // nothing visible is touched
//     if (outcome.IsGood()) outcome = output.Open();       // a FIFO waits for its reader here
//     if (outcome.IsGood()) outcome = output.Write(bytes); // and so on
//     if (outcome.IsGood()) outcome = output.Finish();     // now the file is there
//
// Whatever the process does with SIGPIPE and SIGXFSZ, a pipe without a reader and a file that may
// not grow show as outcomes, and as no signal. Nothing is synced. An object belongs to one thread
// at a time; it is made, finished and destroyed in the thread that handles the signals that end the
// process, where it has such a handler (see RemoveUnfinished).

#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

#include "velora/codec/byte_sink.h"
#include "velora/output/temporary_name.h"
#include "velora/utils/api.h"
#include "velora/utils/scope_guards.h"

namespace velora::output {

// Two open or named things with the same identity are one file.
struct FileIdentity {
    // As stat(2) gives them.
    dev_t device = 0;
    ino_t inode = 0;
    // Both are the same.
    bool operator==(const FileIdentity&) const = default;
};

// What a new file is like.
struct FileOptions {
    mode_t mode = 0600;  // less the umask
    // A regular file of that name is replaced, at the end. What else there is, a symbolic link too,
    // is not.
    bool replacesExisting = false;
};

class VELORA_API OutputFile final : public codec::ByteSink {
 public:
    OutputFile() = default;
    // Unless it was finished, a new file is gone without a trace.
    ~OutputFile() override = default;

    // Looks at the path, "-" for standard output, and makes sure that its directory can hold a new
    // file; everything later is relative to that directory. kExists: the path exists in any form,
    // as a directory or a dangling link too, leads to no FIFO or character device, and is not to be
    // replaced. kCannot: with the system's words. Called once, first.
    [[nodiscard]] codec::OutputOutcome Prepare(const std::string& path,
                                               const FileOptions& options = {});

    // After Prepare: of an existing FIFO, device or standard output, so that the caller can refuse
    // it as an input; nothing for a new file.
    [[nodiscard]] std::optional<FileIdentity> GetIdentity() const { return m_Identity; }

    // After Prepare of both, if it went well: whether they would be one file.
    [[nodiscard]] bool IsSameAs(const OutputFile& other) const;

    // Once, before the first Write. kExists: another file has taken the place of the FIFO or device
    // since Prepare.
    [[nodiscard]] codec::OutputOutcome Open();

    // A short write goes on where it stopped. kCannot: EFBIG for a size limit; EPIPE with
    // hasReaderLeft for a pipe without a reader.
    [[nodiscard]] codec::OutputOutcome Write(std::span<const std::uint8_t> bytes) override;

    // Makes sure that closing reports no error, then lets the file appear. kTaken: its name exists
    // now, and the file is beside it as "name.1", or the next number that is free.
    [[nodiscard]] codec::OutputOutcome Finish() override;

    // Bytes written so far.
    [[nodiscard]] std::uint64_t Size() const { return m_Size; }

    // For the handler of a signal that ends the process: removes the temporary names of all
    // unfinished outputs. Safe at any moment; a file that has its own name by then stays.
    static void RemoveUnfinished() noexcept { TemporaryName::RemoveAll(); }

 private:
    // How a new file gets its name.
    enum class Naming : std::uint8_t { kNone, kByDescriptor, kByProc, kByLink, kByRename };

    codec::OutputOutcome PrepareStandardOutput();
    codec::OutputOutcome PrepareNamed();
    codec::OutputOutcome PrepareNew();
    bool OpenUnnamed();
    codec::OutputOutcome OpenTemporary();
    int AskForSpace(std::size_t count);
    int WriteSome(std::span<const std::uint8_t>& bytes);
    int GiveName(const std::string& name);
    int Replace();
    codec::OutputOutcome Appear();
    void RemoveTemporary(codec::OutputOutcome& outcome);
    codec::OutputOutcome Fail(int error, const char* what = "");

    MiscUtils::UniqueFd m_Directory;  // before what is relative to it
    TemporaryName m_Temporary;
    MiscUtils::UniqueFd m_File;
    MiscUtils::UniqueFd m_ToClose;  // a second one for the same file: m_File stays for its naming
    std::string m_DirectoryPath;    // with its slash, or empty
    std::string m_Name;
    FileOptions m_Options;
    std::optional<FileIdentity> m_Identity;
    Naming m_Naming = Naming::kNone;
    bool m_IsPipe = false;
    bool m_CanAsk = false;      // for space ahead
    std::uint64_t m_Asked = 0;  // the space that was asked for ends here
    std::uint64_t m_Size = 0;
    codec::OutputOutcome m_Failure;  // the first
};

}  // namespace velora::output
