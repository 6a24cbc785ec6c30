// The argument grammar, the messages and the statuses, row by row, on the real program.

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

const std::string kUsage = "Usage : seamtool [-squish|-squish10]  -r home-dir f1 f2 f3 f4 f5 ..  -out outfile \n";

bool IsUsage(const std::string& errors) {
    // A banner of 81 characters, then the usage line.
    return errors.size() == 82 + kUsage.size() && errors[81] == '\n' && errors.ends_with(kUsage);
}

using Arguments = std::vector<std::string>;

TEST(CommandLineTest, AnswersAMalformedLineWithTheUsage) {
    const Arguments rows[] = {{},
                              {"a"},
                              {"a", "b"},
                              {"-out", "x"},
                              {"-squish", "x"},
                              {"-squish", "-out", "x"},
                              {"-squish10", "-out", "x"},
                              {"-r", "sub", "-out", "x"},
                              {"-squish", "-r", "-out", "x"},
                              {"-squish", "-squish10", "-r", "x"},
                              {"a", "b", "-out", "x", "extra"},
                              {"a", "-out", "b", "x"},
                              {"a", "b", "x"},
                              {"a", "--version", "x"},
                              {"-r", "sub", "a", "b", "x"},
                              {"-squish", "-squish10", "-r", "sub", "x"},
                              {"a", "-OUT", "x"}};
    for (const Arguments& arguments : rows) {
        ToolRun run;
        std::filesystem::create_directory(run.directory.Path("sub"));
        run.directory.Write("a", CaptureBuilder().Bytes());
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.exitStatus, 255) << result;
        EXPECT_TRUE(IsUsage(result.errors)) << result;
        EXPECT_EQ(result.output, "") << result;
        EXPECT_TRUE(result.log.empty()) << result;
        EXPECT_FALSE(std::filesystem::exists(run.directory.Path("x"))) << result;
    }
}

TEST(CommandLineTest, PrintsTheVersionWhateverFollows) {
    for (const Arguments& arguments : {Arguments{"--version"}, Arguments{"--version", "extra", "-out", "x"}}) {
        const ToolResult result = ToolRun()(arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(result.output, "7.0.3205\n") << result;
        EXPECT_EQ(result.errors, "") << result;
    }
}

// Which of the algorithms ran, and with what, is told by the files: in.pcap holds a private IPv4
// frame at 100, late.pcap an ARP frame at 50000.
struct Row {
    const char* name;
    Arguments arguments;
    int status;
    std::string errors;
    std::vector<std::string> log;  // the last lines
    const char* file;              // of the result, when there is one
    const char* content;           // "merge", "squish", "squish10", "empty"
};

class ModesTest : public testing::TestWithParam<Row> {};

TEST_P(ModesTest, RunsTheRightAlgorithm) {
    const Row& row = GetParam();
    const std::string frame = Frame(0x0800, 0xC0A80102, 0x08080808);
    const std::string late = Frame(0x0806, 0, 0);
    ToolRun run;
    std::filesystem::create_directory(run.directory.Path("sub"));
    for (const char* const folder : {"", "sub/"}) {
        run.directory.Write(std::string(folder) + "in.pcap", CaptureBuilder().Record(100, 7, frame).Bytes());
        run.directory.Write(std::string(folder) + "late.pcap", CaptureBuilder().Record(50000, 9, late).Bytes());
    }
    run.directory.Write("exists", "not to be touched");

    const ToolResult result = run(row.arguments);
    EXPECT_EQ(result.exitStatus, row.status) << result;
    EXPECT_EQ(result.errors, row.errors) << result;
    ASSERT_GE(result.log.size(), row.log.size()) << result;
    EXPECT_TRUE(std::equal(row.log.rbegin(), row.log.rend(), result.log.rbegin())) << result;
    EXPECT_EQ(run.directory.Read("exists"), "not to be touched");
    if (row.file == nullptr) {
        return;
    }
    const std::string content = row.content;
    CaptureBuilder expected;
    if (content != "empty") {
        expected.Record(100, 7, frame);
    }
    if (content == "squish10") {
        for (std::uint32_t network = 0; network < 10; ++network) {
            expected.Record(100, 7, Frame(0x0800, 0x0A000102 + (network << 16), 0x08080808));
        }
    }
    if (content == "merge") {
        expected.Record(50000, 9, late);
    } else if (content != "empty") {
        expected.Record(100, 7, late);
    }
    EXPECT_TRUE(run.directory.Read(row.file) == expected.Bytes()) << result;
}

const Row kModes[] = {
    {"merge",
     {"in.pcap", "late.pcap", "-out", "x"},
     0,
     "",
     {"DEBUG Impex(PCAP) Merger:  EOF: on late.pcap", "DEBUG Impex(PCAP) Merger: Done pkts=2 bytes=120 f=x"},
     "x",
     "merge"},
    {"squish",
     {"-squish", "in.pcap", "late.pcap", "-out", "x"},
     0,
     "",
     {"DEBUG Impex(PCAP) Merger: Done pkts=2 bytes=120 f=x"},
     "x",
     "squish"},
    {"squish10",
     {"-squish10", "in.pcap", "late.pcap", "-out", "x"},
     0,
     "",
     {"DEBUG Impex(PCAP) Merger: Done pkts=12 bytes=720 f=x"},
     "x",
     "squish10"},
    {"both_flags", {"-squish", "-squish10", "in.pcap", "late.pcap", "-out", "x"}, 0, "", {}, "x", "squish"},
    {"reversed_flags",
     {"-squish10", "-squish", "in.pcap", "late.pcap", "-out", "x"},
     0,
     "Ignoring invalid or unreadable file -squish\n",
     {},
     "x",
     "squish10"},
    {"home", {"-r", "sub", "in.pcap", "late.pcap", "-out", "x"}, 0, "", {}, "sub/x", "merge"},
    {"squish_home", {"-squish", "-r", "sub", "in.pcap", "late.pcap", "-out", "x"}, 0, "", {}, "sub/x", "squish"},
    {"both_home",
     {"-squish", "-squish10", "-r", "sub", "in.pcap", "late.pcap", "-out", "x"},
     0,
     "",
     {},
     "sub/x",
     "squish"},
    {"ignored",
     {"in.pcap", "missing", "sub", "late.pcap", "-out", "x"},
     0,
     "Ignoring invalid or unreadable file missing\nIgnoring invalid or unreadable file sub\n",
     {},
     "x",
     "merge"},
    {"flag_as_input",
     {"in.pcap", "-squish", "-out", "late.pcap", "-out", "x"},
     0,
     "Ignoring invalid or unreadable file -squish\nIgnoring invalid or unreadable file -out\n",
     {},
     "x",
     "merge"},
    {"all_ignored",
     {"missing", "-out", "x"},
     0,
     "Ignoring invalid or unreadable file missing\n",
     {"DEBUG Impex(PCAP) Merger: Done pkts=0 bytes=0 f=x"},
     "x",
     "empty"},
    {"no_inputs_at_all",
     {"-r", "sub", "a", "-out", "x"},
     0,
     "Ignoring invalid or unreadable file a\n",
     {},
     "sub/x",
     "empty"},
    {"existing_output",
     {"missing", "in.pcap", "-out", "exists"},
     254,
     "Ignoring invalid or unreadable file missing\nOutput file already exists, wont overwrite "
     "exists\n",
     {},
     nullptr,
     ""},
    {"merge_fails",
     {"in.pcap", "late.pcap", "-out", "no/x"},
     253,
     "Failed to merge files into no/x\n",
     {"ERROR Impex(PCAP) Merger: Unable to open output file no/x"},
     nullptr,
     ""},
    {"squish_fails",
     {"-squish", "in.pcap", "late.pcap", "-out", "sub"},
     253,
     "Failed to squish files into sub\n",
     {"ERROR Impex(PCAP) Squisher: Unable to open output file sub"},
     nullptr,
     ""},
    {"squish10_fails",
     {"-squish10", "in.pcap", "late.pcap", "-out", "sub"},
     253,
     "Failed to squish x10   files into sub\n",
     {},
     nullptr,
     ""},
    {"bad_home",
     {"-r", "gone", "in.pcap", "-out", "x"},
     255,
     "Error changing directory to gone e: No such file or directory\n",
     {},
     nullptr,
     ""},
    {"bad_home_behind_flag",
     {"-squish", "-r", "gone", "in.pcap", "-out", "x"},
     255,
     "Error changing directory to -r e: No such file or directory\n",
     {},
     nullptr,
     ""},
    {"bad_home_behind_both",
     {"-squish", "-squish10", "-r", "gone", "in.pcap", "-out", "x"},
     255,
     "Error changing directory to -squish10 e: No such file or directory\n",
     {},
     nullptr,
     ""},
    {"home_before_out",
     {"-r", "exists", "in.pcap", "late.pcap", "x"},
     255,
     "Error changing directory to exists e: Not a directory\n",
     {},
     nullptr,
     ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, ModesTest, testing::ValuesIn(kModes),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(CommandLineTest, EndsAbnormallyWhenNothingCanBeSquished) {
    const Arguments rows[] = {{"-squish", "empty", "missing", "-out", "x"},
                              {"-squish10", "empty", "missing", "-out", "x"},
                              {"-squish", "-squish10", "-out", "x"}};
    for (const Arguments& arguments : rows) {
        ToolRun run;
        run.directory.Write("empty", CaptureBuilder().Bytes());
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.signal, SIGABRT) << result;
        EXPECT_NE(result.errors.find("std::out_of_range"), std::string::npos) << result;
        EXPECT_EQ(run.directory.Read("x"), CaptureBuilder().Bytes()) << result;
    }
}

}  // namespace
