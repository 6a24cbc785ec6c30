// --files-from: which inputs a list names, and what speaks against one.

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

using namespace std::string_literals;

constexpr std::uintmax_t kMostBytes = std::uintmax_t{64} << 20;

// Each file is a capture of one record, whose only byte is the file's number.
std::string InputsIn(const std::string& output) {
    std::string inputs;
    for (std::size_t at = 24; at + 17 <= output.size(); at += 17) {
        inputs += output[at + 16];
    }
    return inputs;
}

TEST(InputListTest, NamesAnInputALineOrBetweenZeroBytes) {
    struct Row {
        const char* about;
        std::string list;
        std::string inputs;
        std::uintmax_t size = 0;  // what the list is filled up to with zero bytes, if it is
    };
    const Row rows[] = {
        {"lines", "one\ntwo\n", "12"},
        {"no end behind the last", "one\ntwo", "12"},
        {"empty lines", "\n\ntwo\n\none\n\n", "21"},
        {"one named twice", "one\none\n", "11"},
        {"blanks belong to a name", "t hree\n", "3"},
        {"zero bytes", "two\0one\0"s, "21"},
        {"no zero byte behind the last", "two\0one"s, "21"},
        {"several zero bytes in a row", "\0\0one\0\0two"s, "12"},
        {"line ends belong to names once there is a zero byte", "fo\nur\0"s, "4"},
        {"a name that would be standard input", "-\n", "5"},
        {"as long as can be", "one\0"s, "1", kMostBytes},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.about);
        const ToolRun run;
        char number = '1';
        for (const char* const name : {"one", "two", "t hree", "fo\nur", "-"}) {
            run.directory.Write(name, CaptureBuilder().Record(1, 0, std::string(1, number++)).Bytes());
        }
        run.directory.Write("list", row.list);
        if (row.size > 0) {
            std::filesystem::resize_file(run.directory / "list", row.size);
        }
        const ToolResult result = run("--exact --files-from=list -out x");
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(InputsIn(run.directory.Read("x")), row.inputs) << result;
    }
}

TEST(InputListTest, IsAWrongCommandLineWhenItNamesNothingOrCannotBeRead) {
    struct Row {
        const char* about;
        const char* list;
        const char* error;
    };
    const Row rows[] = {
        {"no file", "missing", "cannot be read: No such file or directory"},
        {"a directory", "directory", "cannot be read: Is a directory"},
        {"empty", "empty", "names no input"},
        {"empty lines only", "lines", "names no input"},
        {"zero bytes only", "zeros", "names no input"},
        {"a byte too long", "long", "is longer than 64 MiB"},
        {"without end", "/dev/zero", "is longer than 64 MiB"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.about);
        const ToolRun run;
        std::filesystem::create_directory(run.directory / "directory");
        run.directory.Write("empty", "");
        run.directory.Write("lines", "\n\n");
        run.directory.Write("zeros", "\0\0"s);
        run.directory.Write("long", "");
        std::filesystem::resize_file(run.directory / "long", kMostBytes + 1);
        const ToolResult result = run("--exact --files-from="s + row.list + " input -out x");
        EXPECT_EQ(result.exitStatus, 255) << result;
        EXPECT_EQ(result.errors,
                  "seamtool: the list "s + row.list + " " + row.error + "\n" + "Try 'seamtool --exact --help'.\n");
        EXPECT_FALSE(std::filesystem::exists(run.directory / "x"));
    }
}

}  // namespace
