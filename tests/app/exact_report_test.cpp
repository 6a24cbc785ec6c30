// --report: what speaks against its path is found out before anything is read, and a report that
// fails in the end costs no output.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "tests/support/capture_builder.h"
#include "tests/support/limits.h"
#include "tests/support/tool_run.h"

namespace {

TEST(ExactReportTest, RefusesAPathThatItCannotFillBeforeAnythingIsRead) {
    struct Row {
        const char* about;
        const char* arguments;
        int status;
        const char* error;
    };
    const Row rows[] = {
        {"another ending", "--report=r.txt in -out x", 255, "'r.txt'"},
        {"no path", "--report in -out x", 255, "needs a value"},
        {"twice", "--report=r.json --report=r.html in -out x", 255, "twice"},
        {"it exists", "--report=there.json in -out x", 254, "there.json: exists already"},
        {"it leads nowhere", "--report=link.json in -out x", 254, "link.json: exists already"},
        {"it is the output", "--report=x.html in -out ./x.html", 254, "it is the output as well"},
        {"it is an input, which a FIFO can be", "--report=fifo.json in fifo.json -out x", 254, "one of the inputs"},
        {"no directory", "--report=none/r.json in -out x", 253, "none/r.json: No such file"},
        {"both exist: the output is told", "--report=there.json in -out there.json", 254, "there.json: exists already"},
        {"what exists, before what cannot be", "--report=there.json in -out none/x", 254, "there.json: exists"},
        {"the other way round", "--report=none/r.json in -out there.json", 254, "there.json: exists"},
        {"neither can be: the output is told", "--report=none/r.json in -out none/x", 253, "none/x: No such"},
        {"what cannot be, before bad inputs", "--report=none/r.json missing -out x", 253, "none/r.json: No such"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.about);
        ToolRun run;
        run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
        run.directory.Write("there.json", "old");
        std::filesystem::create_symlink("nowhere", run.directory / "link.json");
        mkfifo(run.directory.Path("fifo.json").c_str(), 0600);
        const ToolResult result = run("--exact " + std::string(row.arguments));
        EXPECT_EQ(result.exitStatus, row.status) << result;
        EXPECT_NE(result.errors.find(row.error), std::string::npos) << result;
        EXPECT_EQ(result.errors.find("missing:"), std::string::npos) << result;
        EXPECT_EQ(run.directory.Read("there.json"), "old");
        const auto files = std::distance(std::filesystem::directory_iterator(run.directory.Path()), {});
        EXPECT_EQ(files, 4) << "nothing is left";
    }
}

TEST(ExactReportTest, IsWrittenWhateverBecomesOfTheRecords) {
    struct Row {
        const char* about;
        const char* inputs;
        int status;
    };
    for (const Row& row : {Row{"all is well", "in", 0}, Row{"an input is missing", "in missing", 252},
                           Row{"there is no output", "missing", 251}}) {
        SCOPED_TRACE(row.about);
        ToolRun run;
        run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
        const ToolResult result = run("--exact --report=r.json " + std::string(row.inputs) + " -out x");
        EXPECT_EQ(result.exitStatus, row.status) << result;
        const std::string report = run.directory.Read("r.json");
        EXPECT_NE(report.find("\"status\": " + std::to_string(row.status)), std::string::npos) << report;
        EXPECT_EQ(report.find("cannot be opened") != std::string::npos, row.status != 0) << report;
        EXPECT_EQ(std::filesystem::exists(run.directory / "x"), row.status != 251);
    }
}

TEST(ExactReportTest, HasEveryRecordInOneOfItsCounts) {
    // At 1, 3, 2 and 2 s, the last two alike; at 1 and 2 s, and one of another link type.
    const std::string plain =
        CaptureBuilder().Record(1, 0, "x").Record(3, 0, "x").Record(2, 0, "y").Record(2, 0, "y").Bytes();
    const std::string mixed = PcapNgBuilder()
                                  .Interface(113, 0)
                                  .Packet(1'000'000, "z")
                                  .PacketOf(1, 2'000'000, "z")
                                  .Packet(2'000'000, "z")
                                  .Bytes();
    struct Counts {
        int read = 0;
        int written = 0;
        int leftOut = 0;
        int outside = 0;
        int duplicates = 0;
    };
    struct Row {
        const char* options;
        Counts plain, mixed;
    };
    const Row rows[] = {
        {"", {.read = 4, .written = 4}, {.read = 3, .written = 2, .leftOut = 1}},
        {"--from=@2 --to=@3",
         {.read = 4, .written = 2, .outside = 2},
         {.read = 3, .written = 1, .leftOut = 1, .outside = 1}},
        {"--from=@2 --dedup",
         {.read = 4, .written = 2, .outside = 1, .duplicates = 1},
         {.read = 3, .written = 1, .leftOut = 1, .outside = 1}},
        {"--to=@1", {.read = 4, .outside = 4}, {.read = 3, .leftOut = 1, .outside = 2}},
        {"--from=@2 -squish10",
         {.read = 4, .written = 3, .outside = 1},
         {.read = 3, .written = 1, .leftOut = 1, .outside = 1}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options);
        ToolRun run;
        run.directory.Write("plain", plain);
        run.directory.Write("mixed", mixed);
        const ToolResult result = run("--exact --report=r.json " + std::string(row.options) + " plain mixed -out x");
        EXPECT_EQ(result.exitStatus, 252) << result;
        const auto report = nlohmann::json::parse(run.directory.Read("r.json"));
        const auto expect = [](const nlohmann::json& counts, const Counts& one, const Counts& other) {
            EXPECT_EQ(counts["recordsRead"], one.read + other.read);
            EXPECT_EQ(counts["recordsWritten"], one.written + other.written);
            EXPECT_EQ(counts["recordsLeftOut"], one.leftOut + other.leftOut);
            EXPECT_EQ(counts["recordsOutside"], one.outside + other.outside);
            EXPECT_EQ(counts["duplicatesDropped"], one.duplicates + other.duplicates);
        };
        expect(report["inputs"][0], row.plain, {});
        expect(report["inputs"][1], row.mixed, {});
        expect(report["output"], row.plain, row.mixed);
    }
}

TEST(ExactReportTest, LeavesTheOutputWhenItCannotBeWritten) {
    ToolRun run;
    run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
    run.prepare = [] { static const ScopedLimit kSize(RLIMIT_FSIZE, 500); };
    const ToolResult result = run("--exact --report=r.html in -out x");
    EXPECT_EQ(result.exitStatus, 253) << result;
    EXPECT_EQ(result.errors, "seamtool: r.html: File too large; the capture is written all the same\n");
    EXPECT_EQ(run.directory.Read("x").size(), 24U + 16 + 1);
    EXPECT_FALSE(std::filesystem::exists(run.directory / "r.html"));
}

}  // namespace
