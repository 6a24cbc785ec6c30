// What messages say where there is little to say it with.

#include <string>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

TEST(ExactMessagesTest, NameWhatIsWrong) {
    struct Row {
        const char* about;
        const char* arguments;
        int status;
        std::string error;
        const char* failingCall = "none 1";
    };
    const Row rows[] = {
        {"an empty input", "'' in -out x", 252, "'': left out: cannot be opened: No such file or directory\n"},
        {"an empty output", "in -out ''", 253, "'': No such file or directory\n"},
        {"a local time over which clocks go forward", "--to=2026-03-08T02:30:00 in -out x", 255,
         "'--to' does not take '2026-03-08T02:30:00': this local time never occurs\n"},
        {"a time of another form", "--to=2026-03-08T03 in -out x", 255, "'--to' does not take '2026-03-08T03'\n"},
        {"no thread to show progress", "--progress in -out x", 253,
         "x: not written: Resource temporarily unavailable\n", "pthread_create 1"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.about);
        ToolRun run;
        run.directory.Write("in", CaptureBuilder().Bytes());
        run.environment["TZ"] = "EST5EDT,M3.2.0,M11.1.0";
        run.environment["LD_PRELOAD"] = LOG_WITNESS_PATH ":" FAULT_INJECTOR_PATH;
        run.environment["SEAMTOOL_FAULT"] = row.failingCall;
        const ToolResult result = run("--exact " + std::string(row.arguments));
        EXPECT_EQ(result.exitStatus, row.status) << result;
        EXPECT_EQ(result.errors.substr(0, result.errors.find("Try")), "seamtool: " + row.error) << result;
    }
}

}  // namespace
