// The argument grammar, the messages and the statuses, row by row, on the real program.

#include <csignal>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

TEST(CommandLineTest, AnswersAMalformedLineWithTheUsage) {
    const std::string usage = "Usage : seamtool [-squish|-squish10]  -r home-dir f1 f2 f3 f4 f5 ..  -out outfile \n";
    for (const char* const arguments :
         {"", "a", "a b", "-out x", "-squish x", "-squish -out x", "-squish10 -out x", "-r sub -out x",
          "-squish -r -out x", "-squish -squish10 -r x", "a b -out x extra", "a -out b x", "a b x", "a --version x",
          "-r sub a b x", "-squish -squish10 -r sub x", "a -outs x"}) {
        ToolRun run;
        std::filesystem::create_directory(run.directory.Path("sub"));
        run.directory.Write("a", CaptureBuilder().Bytes());
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.exitStatus, 255) << result;
        // A banner of 81 characters, then the usage line.
        EXPECT_EQ(result.errors.find('\n'), 81U) << result;
        EXPECT_EQ(result.errors.substr(82), usage) << result;
        EXPECT_EQ(result.output, "") << result;
        EXPECT_TRUE(result.log.empty()) << result;
        EXPECT_FALSE(std::filesystem::exists(run.directory.Path("x"))) << result;
    }
}

TEST(CommandLineTest, PrintsTheVersionWhateverFollows) {
    for (const char* const arguments : {"--version", "--version extra -out x"}) {
        const ToolResult result = ToolRun()(arguments);
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(result.output, "7.0.3205\n") << result;
        EXPECT_EQ(result.errors, "") << result;
    }
}

// Which of the algorithms ran, and with what, is told by the files: `in` holds a private IPv4 frame at 100,
// `late` ARP frames around 50000, of which some go back.
TEST(CommandLineTest, RunsTheRightAlgorithm) {
    const std::string frame = Frame(0x0800, 0xC0A80102, 0x08080808);
    const std::string arp = Frame(0x0806, 0, 0);
    const CaptureBuilder single = CaptureBuilder().Record(100, 7, frame);
    CaptureBuilder late;
    CaptureBuilder merged = single;
    CaptureBuilder squished = single;
    CaptureBuilder copied = single;
    for (std::uint32_t network = 0; network < 10; ++network) {
        copied.Record(100, 7, Frame(0x0800, 0x0A000102 + (network << 16), 0x08080808));
    }
    // Times, and those that the squish makes of them: worked out by hand.
    for (const auto& [given, shown] : {std::pair{50000, 100}, {49950, 100}, {49960, 110}, {50001, 151}, {50100, 200}}) {
        late.Record(given, 9, arp);
        merged.Record(given, 9, arp);
        squished.Record(shown, 7, arp);
        copied.Record(shown, 7, arp);
    }
    const CaptureBuilder empty;
    struct Row {
        const char* arguments;
        int status;
        std::string errors;
        std::string lastLog;
        const CaptureBuilder* content;  // of the result, if there is one
        const char* file = "x";
    };
    const auto ignoring = [](const std::string& name) { return "Ignoring invalid or unreadable file " + name + "\n"; };
    const auto changing = [](const std::string& error) { return "Error changing directory to " + error + "\n"; };
    const std::string done = "DEBUG Impex(PCAP) Merger: Done pkts=";
    const std::string bothDone = done + "6 bytes=360 f=x";
    const std::string noMerge = "ERROR Impex(PCAP) Merger: Unable to open output file ";
    const std::string noSquish = "ERROR Impex(PCAP) Squisher: Unable to open output file ";
    const Row rows[] = {
        {"in late -out x", 0, "", bothDone, &merged},
        {"in -out x", 0, "", done + "1 bytes=60 f=x", &single},
        {"-squish in late -out x", 0, "", bothDone, &squished},
        {"-squish10 in late -out x", 0, "", done + "16 bytes=960 f=x", &copied},
        {"-squish -squish10 in late -out x", 0, "", bothDone, &squished},
        {"-squish10 -squish in late -out x", 0, ignoring("-squish"), done + "16 bytes=960 f=x", &copied},
        {"-r sub in late -out x", 0, "", bothDone, &merged, "sub/x"},
        {"-squish -r sub in late -out x", 0, "", bothDone, &squished, "sub/x"},
        {"in missing sub late -out x", 0, ignoring("missing") + ignoring("sub"), bothDone, &merged},
        {"in -squish10 -out late -out x", 0, ignoring("-squish10") + ignoring("-out"), bothDone, &merged},
        {"missing -out x", 0, ignoring("missing"), done + "0 bytes=0 f=x", &empty},
        {"-r sub a -out x", 0, ignoring("a"), done + "0 bytes=0 f=x", &empty, "sub/x"},
        // A suffix counts only behind something: these are plain files, one of which holds gzip.
        {".bz2 .bzip2 -out x", 0, "", bothDone, &merged},
        {"in .gz -out x", 0, "", done + "1 bytes=60 f=x", &single},
        {"in z.gz -out x", 0, "", bothDone, &merged},
        {"missing in -out exists", 254, ignoring("missing") + "Output file already exists, wont overwrite exists\n", "",
         nullptr},
        {"in late -out no/x", 253, "Failed to merge files into no/x\n", noMerge + "no/x", nullptr},
        {"-squish in late -out sub", 253, "Failed to squish files into sub\n", noSquish + "sub", nullptr},
        {"-squish10 in late -out sub", 253, "Failed to squish x10   files into sub\n", noSquish + "sub", nullptr},
        {"-r gone in -out x", 255, changing("gone e: No such file or directory"), "", nullptr},
        {"-squish -r gone in -out x", 255, changing("-r e: No such file or directory"), "", nullptr},
        {"-r exists in late x", 255, changing("exists e: Not a directory"), "", nullptr}};
    for (const Row& row : rows) {
        ToolRun run;
        std::filesystem::create_directory(run.directory / "sub");
        for (const std::string folder : {"", "sub/"}) {
            run.directory.Write(folder + "in", single.Bytes());
            run.directory.Write(folder + "late", late.Bytes());
        }
        run.directory.Write(".gz", Gzip(late.Bytes()));
        run.directory.Write("z.gz", Gzip(late.Bytes()));
        run.directory.Write(".bz2", single.Bytes());
        run.directory.Write(".bzip2", late.Bytes());
        run.directory.Write("exists", "not to be touched");
        const ToolResult result = run(row.arguments);
        EXPECT_EQ(result.exitStatus, row.status) << result;
        EXPECT_EQ(result.errors, row.errors) << result;
        EXPECT_EQ(result.log.empty() ? "" : result.log.back(), row.lastLog) << result;
        EXPECT_TRUE(row.status != 253 || result.log.size() == 2) << "no input is opened" << result;
        EXPECT_TRUE(run.directory.Read(row.file) == (row.content == nullptr ? "" : row.content->Bytes())) << result;
        EXPECT_EQ(run.directory.Read("exists"), "not to be touched") << result;
    }
}

TEST(CommandLineTest, EndsAbnormallyWhenNothingCanBeSquished) {
    const std::string skipped = "INFO  Impex(PCAP) Squisher: Skipping empty PCAP - file header only empty";
    for (const auto& [arguments, log] : {std::pair{"-squish empty missing -out x", skipped},
                                         {"-squish10 empty missing -out x", skipped},
                                         {"-squish -squish10 -r . -out x", ""}}) {
        ToolRun run;
        run.directory.Write("empty", CaptureBuilder().Bytes());
        const ToolResult result = run(arguments);
        EXPECT_EQ(result.signal, SIGABRT) << result;
        EXPECT_NE(result.errors.find("std::out_of_range"), std::string::npos) << result;
        EXPECT_EQ(result.log.empty() ? "" : result.log.back(), log) << result;
        EXPECT_EQ(run.directory.Read("x"), CaptureBuilder().Bytes()) << result;
    }
}

}  // namespace
