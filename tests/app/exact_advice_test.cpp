// What is said to a person beside what happened.

#include <string>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

using namespace std::string_literals;

TEST(ExactAdviceTest, NamesTheCommandThatReadsWhatIsNotReadHere) {
    const std::string lz4 = "\x02\x21\x4C\x18...."s;
    const std::string zstd = "\x28\xB5\x2F\xFD\0\x89\0\0\0"s;  // a window of 144 MiB
    const std::string capture = CaptureBuilder().Record(1, 0, "a").Bytes();
    const struct {
        std::string file;
        std::string says;
    } rows[] = {
        {lz4,
         "left out: no capture: it is in the legacy format of lz4: 'lz4 -dc FILE | seamtool --exact - ...' reads it"},
        {Lz4(capture) + lz4,
         "1 record read, then at byte 41: it is in the legacy format of lz4: "
         "'lz4 -dc FILE | seamtool --exact - ...' reads it"},
        {zstd,
         "left out: no capture: its zstd window is larger than 128 MiB: "
         "'zstd -dc --long=31 FILE | seamtool --exact - ...' reads it"}};
    for (const auto& row : rows) {
        const ToolRun run;
        run.directory.Write("a", capture);
        run.directory.Write("file", row.file);
        const ToolResult result = run("--exact a file -out out");
        EXPECT_EQ(result.exitStatus, 252) << result;
        EXPECT_EQ(result.errors, "seamtool: file: " + row.says + "\n");
    }
}

}  // namespace
