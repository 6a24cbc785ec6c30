// The product's logger: one line a message, stamped with local time, level tag and colour.
//
// A line is
//     <colour><date and time as strftime's %c>.<microseconds> <tag> <message><reset>\n
// for example "\033[31mMon Nov 16 02:44:03 2026.000123 ERROR Cant read pcap header\033[m\n". The
// colours are written whatever the destination is (`less -R` shows them). Each line is flushed at
// once, so that a crash loses nothing.
//
// Two styles of use:
//     GlobalLogger.Error("bad magic number 0x%x : %s", magic, path.c_str());   // cut at 511
//     *GlobalLogger.Stream(Level::kInfo) << "pkts=" << packets;                // any length
//
// Any thread may log: lines never mix, though they may stand slightly out of time order. The logger
// says nothing of its own failures: with no stream open, logging does nothing.

#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "velora/logging/log_level.h"
#include "velora/logging/log_line.h"
#include "velora/utils/api.h"

namespace VeloLogger {

// Something that takes levelled messages.
class CVeloWriter {
 public:
    CVeloWriter() = default;
    virtual ~CVeloWriter() = default;
    CVeloWriter(const CVeloWriter&) = delete;
    CVeloWriter& operator=(const CVeloWriter&) = delete;

    // Takes one message. 1 when it was accepted, 0 when there is nowhere to write it.
    virtual int Write(int level, const std::string& text) = 0;
};

// Where a logger writes. Any other value makes a logger without a stream.
enum class LoggerMode : int {
    TemporaryFile = 0,  // a new private file, /tmp/Velo.log.XXXXXX, mode 0600
    NullDevice = 1,
    StandardError = 2,
};

class VELORA_API CVeloLogger : public CVeloWriter {
 public:
    // No stream; threshold 8 (DEBUG).
    CVeloLogger();
    // Threshold 8. A temporary file that cannot be made, or whose descriptor is 0, leaves no
    // stream.
    explicit CVeloLogger(LoggerMode mode);
    // Appends to `path`; threshold 5: WARN and more severe only, until SetLevel. No stream when the
    // file cannot be opened.
    explicit CVeloLogger(const std::string& path);
    // Closes the stream unless it is standard error, and never deletes the file. Takes no lock: no
    // thread may still be logging.
    ~CVeloLogger() override;

    CVeloLogger(const CVeloLogger&) = delete;
    CVeloLogger& operator=(const CVeloLogger&) = delete;

    // Closes the stream, if any (standard error too), and appends to `path`, made when missing.
    // False when it cannot be opened: then there is no stream, but FileName() is `path` all the
    // same. Lines that other threads write meanwhile go to the one stream or the other.
    bool Open(const std::string& path);

    // Closes the stream, if any (standard error too), deletes the file when it is regular and
    // empty, and makes FileName() "closed".
    void Close();

    // Admits messages up to `level`; -1 admits none. Write and LogV do not ask.
    void SetLevel(int level) { threshold = level; }
    [[nodiscard]] int GetLevel() const { return threshold; }

    // The path of the log: empty when none was opened, "closed" after Close. ("(closed)" is the
    // marker while Open or the destructor has closed one stream and there is no other yet.)
    [[nodiscard]] std::string FileName() const;

    // Writes one line of any length whatever the threshold is. A level outside 0..10 is shown as
    // 10. The message ends at a zero byte of `text`. Line ends in it are written as they are: what
    // follows one starts a line without time and tag.
    int Write(int level, const std::string& text) override;

    // The same with a printf-style message, of which at most 511 characters are kept. The list is
    // used up when a stream is open, so only va_end() may follow for it, which is the caller's.
    int LogV(int level, const char* format, std::va_list arguments)
        __attribute__((format(printf, 3, 0)));

    // One line at the level of the name, when the threshold admits it; cut at 511 characters.
    void Emerg(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Fatal(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Alert(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Crit(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Error(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Warn(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Notice(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Info(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Debug(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // A line to be put together with <<; see LogLine. Never null; the caller owns it, and it must
    // not outlive the logger.
    [[nodiscard]] std::unique_ptr<LogLine> Stream(int level);

 private:
    void CloseStream(const char* marker);  // leaves `stream`, which is then to be replaced
    int WriteLine(int level, const char* message);

    mutable std::mutex mutex;                 // held while the stream is written, opened or closed
    std::atomic<std::FILE*> stream{nullptr};  // tested without the lock before a line is made
    std::string fileName;
    std::atomic<int> threshold;
};

// The logger of the process: a TemporaryFile logger made before main starts. Its file stays when
// the process ends.
extern VELORA_API CVeloLogger GlobalLogger;

}  // namespace VeloLogger
