// --from and --to at the hour that occurs twice as clocks go back.

#include <string>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

TEST(ExactLocalTimeTest, TakesAllBetweenTheEarlierFromAndTheLaterTo) {
    constexpr int kFirst = 1793511000;   // 01:30 in summer time
    constexpr int kSecond = 1793514600;  // 01:30 again
    struct Row {
        const char* about;
        const char* options;
        const char* taken;
    };
    for (const Row& row : {Row{"--from alone", "--from=2026-11-01T01:30:00", "bcde"},
                           Row{"--to alone", "--to=2026-11-01T01:30:00", "abc"},
                           Row{"both", "--from=2026-11-01T01:30:00 --to=2026-11-01T01:30:00", "bc"},
                           Row{"the other way round", "--to=2026-11-01T01:30:00 --from=2026-11-01T01:30:00", "bc"},
                           Row{"behind a time in winter", "--from=2026-01-01T00:00:00 --to=2026-11-01T01:30:00", "abc"},
                           Row{"a fraction", "--from=2026-11-01T01:30:00.5 --to=2026-11-01T01:30:00.5", "cd"}}) {
        SCOPED_TRACE(row.about);
        ToolRun run;
        run.environment["TZ"] = "EST5EDT,M3.2.0,M11.1.0";
        run.directory.Write("in", CaptureBuilder()
                                      .Record(kFirst - 1, 0, "a")
                                      .Record(kFirst, 0, "b")
                                      .Record(kSecond - 1, 0, "c")
                                      .Record(kSecond, 0, "d")
                                      .Record(kSecond + 1, 0, "e")
                                      .Bytes());
        const ToolResult result = run("--exact " + std::string(row.options) + " in -out x");
        EXPECT_EQ(result.exitStatus, 0) << result;
        const std::string output = run.directory.Read("x");
        std::string taken;
        for (std::size_t at = 24 + 16; at < output.size(); at += 17) {
            taken += output[at];
        }
        EXPECT_EQ(taken, row.taken) << result;
    }
}

}  // namespace
