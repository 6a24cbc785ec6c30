// A standard descriptor that was closed when the tool began is closed under all its names.

#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

TEST(ExactDescriptorsTest, KnowsWhatWasClosedByAnyName) {
    const std::string isClosed = ": is standard output, which is closed\n";
    struct Row {
        const char* about;
        int closed;
        const char* arguments;
        int status;
        std::string errors;  // without "seamtool: "
    };
    const Row rows[] = {
        {"in /dev", 1, "in -out /dev/stdout", 253, "/dev/stdout" + isClosed},
        {"in /dev/fd", 1, "in -out /dev/fd/1", 253, "/dev/fd/1" + isClosed},
        {"in /proc", 1, "in -out /proc/self/fd/1", 253, "/proc/self/fd/1" + isClosed},
        {"of a thread", 1, "in -out /proc/thread-self/fd/1", 253, "/proc/thread-self/fd/1" + isClosed},
        {"a link to it", 1, "in -out link.json", 253, "link.json" + isClosed},
        {"standard input", 0, "in -out /dev/stdin", 253, "/dev/stdin: is standard input, which is closed\n"},
        {"standard error, where nothing can be told", 2, "in -out /dev/stderr", 253, ""},
        {"the report", 1, "--report=link.json in -out x", 253, "link.json" + isClosed},
        {"both: the output is told", 1, "--report=link.json in -out /dev/fd/1", 253, "/dev/fd/1" + isClosed},
        {"what exists goes before", 1, "--report=there.json in -out /dev/stdout", 254, "there.json: exists already\n"},
        {"the other way round", 1, "--report=link.json in -out there.json", 254, "there.json: exists already\n"},
        {"another one is closed", 0, "in -out -", 0, ""},
        {"what a closed one might be taken for", 1, "in -out /dev/null", 0, ""},
        {"an input", 0, "in /dev/stdin -out /dev/null", 252,
         "/dev/stdin: left out: cannot be opened: No such device or address\n"},
        {"a list", 0, "--files-from=/dev/stdin in -out /dev/null", 255,
         "the list /dev/stdin cannot be read: No such device or address\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.about);
        ToolRun run;
        run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
        run.directory.Write("there.json", "old");
        std::filesystem::create_symlink("/dev/stdout", run.directory / "link.json");
        run.prepare = [&] { close(row.closed); };
        const ToolResult result = run("--exact " + std::string(row.arguments));
        EXPECT_EQ(result.exitStatus, row.status) << result;
        EXPECT_EQ(result.errors.substr(0, result.errors.find("Try")),
                  row.errors.empty() ? "" : "seamtool: " + row.errors);
        EXPECT_EQ(result.output.empty(), row.status != 0 || row.closed == 1) << result;
        EXPECT_FALSE(std::filesystem::exists(run.directory / "x"));
    }
}

}  // namespace
