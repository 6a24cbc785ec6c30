// Runs of the exact mode among small inputs. The data of most records is one digit, the second of their time, so an
// output's text tells which records stand in it, in what order.

#pragma once

#include <csignal>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/capture/read_whole.h"
#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"
#include "velora/utils/scope_guards.h"

// A record at each of these seconds.
inline std::string At(const std::string& seconds, CaptureBuilder capture = {}) {
    for (const char second : seconds) {
        capture.Record(second - '0', 0, {&second, 1});
    }
    return capture.Bytes();
}

// The data of an output's records, and what is wrong with it; "none" where there is no output.
inline std::string TextOf(const std::string& file) {
    const auto read = velora::capture::ReadWhole(file, {.keepsAllLinkTypes = true});
    std::string text;
    for (const auto& record : read.Records()) {
        text += record.data;
    }
    return file.empty() ? "none" : text + (read.problem ? " " + read.problem->text : "");
}

// "pcap", or another format, and how it is compressed.
inline std::string FormOf(const std::string& file) {
    const auto traits = velora::capture::ReadWhole(file).traits;
    const bool isPacked = traits.compression != velora::codec::Compression::kNone;
    return NameOf(traits.format) + (isPacked ? std::string(" ") + NameOf(traits.compression) : "");
}

inline void Send(int fifo, const std::string& bytes) {
    EXPECT_EQ(write(fifo, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

// A folder with some inputs, in which the tool runs, in a zone whose clocks go back on 1 November 2026.
struct ExactRun : ToolRun {
    ExactRun() {
        std::filesystem::create_directory(directory / "folder");
        directory.Write("folder/odd", At("13"));
        directory.Write("odd", At("13"));
        directory.Write("even", Gzip(At("24")));
        directory.Write("cut", At("5") + "cut");
        directory.Write("cooked", At("5", CaptureBuilder().LinkType(0x1C000071)));
        directory.Write("no-records", CaptureBuilder().Nanoseconds().SnapLen(300000).LinkType(0x10000001).Bytes());
        directory.Write("there.json", "old");
        std::filesystem::create_symlink("/dev/stdout", directory / "stdout.json");
        std::filesystem::create_symlink("nowhere", directory / "dangling.json");
        mkfifo(directory.Path("fifo").c_str(), 0600);
        mkfifo(directory.Path("fifo.json").c_str(), 0600);
        environment["TZ"] = "EST5EDT,M3.2.0,M11.1.0";
    }

    ToolResult Exact(const std::string& arguments) const {
        const auto before = directory.Names();
        const ToolResult result = (*this)("--exact " + arguments);
        EXPECT_FALSE(result.hasLeftLog) << result;
        const bool mayLeaveAFile = result.exitStatus == 0 || result.exitStatus == 252;
        EXPECT_TRUE(mayLeaveAFile || directory.Names() == before) << result << "leaves something";
        EXPECT_EQ(directory.Read("there.json"), "old") << result;
        return result;
    }

    // Calls `meanwhile` with the FIFO once the tool reads it, and has looked at all else.
    ToolResult WhileItReads(const std::string& arguments, const std::function<void(int)>& meanwhile) const {
        std::signal(SIGPIPE, SIG_IGN);
        std::jthread peer([&] {
            const MiscUtils::UniqueFd fifo(open(directory.Path("fifo").c_str(), O_WRONLY | O_CLOEXEC));
            meanwhile(fifo.Get());
        });
        ToolResult result = (*this)("--exact " + arguments);
        // The peer may still wait for a reader.
        const MiscUtils::UniqueFd reader(open(directory.Path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        peer.join();
        EXPECT_FALSE(result.hasLeftLog) << result;
        return result;
    }
};

// What a standard stream of the tool may be.
using Stream = std::function<void(int)>;

inline const Stream kAsItIs = [](int /*descriptor*/) {};
inline const Stream kClosed = [](int descriptor) { close(descriptor); };

// A run, and what is expected of it.
struct ExactRow {
    std::string line;  // the arguments; "-out x" if it names no output
    Stream input = kAsItIs;
    Stream output = kAsItIs;
    Stream errorOutput = kAsItIs;
    int status = 0;              // or minus a signal
    Lines errors = {};           // without the "seamtool: " in front
    std::string piped = "none";  // the records that standard output holds
    std::string path = "x";      // where the output is expected
    std::string records = "none";
    std::string form = "pcap";
};

using Files = std::map<std::string, std::string>;

// Runs a row, among `files` besides those of every run.
inline void Check(const ExactRow& row, const Files& files = {}) {
    ExactRun run;
    run.prepare = [&] { row.input(STDIN_FILENO), row.output(STDOUT_FILENO), row.errorOutput(STDERR_FILENO); };
    for (const auto& [name, content] : files) {
        run.directory.Write(name, content);
    }
    const ToolResult result = run.Exact(row.line + (row.line.find("-out") == std::string::npos ? " -out x" : ""));
    std::string errors;
    for (const std::string& line : row.errors) {
        errors += "seamtool: " + line + "\n";
    }
    errors += row.status == 255 && !errors.empty() ? "Try 'seamtool --exact --help'.\n" : "";
    const std::string file = run.directory.Read(row.path);
    EXPECT_EQ(result.signal > 0 ? -result.signal : result.exitStatus, row.status) << result;
    EXPECT_EQ(result.errors, errors) << result;
    EXPECT_EQ(TextOf(result.output), row.piped) << result;
    EXPECT_EQ(TextOf(file), row.records) << result;
    EXPECT_TRUE(file.empty() || FormOf(file) == row.form) << result << FormOf(file);
}

inline void Check(std::span<const ExactRow> rows, const Files& files = {}) {
    std::ranges::for_each(rows, [&](const ExactRow& row) { Check(row, files); });
}
