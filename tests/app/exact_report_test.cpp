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
    const struct {
        const char* arguments;  // behind --report=
        int status;
        const char* error;  // begins a line
    } rows[] = {
        {.arguments = "r.txt in -out x", .status = 255, .error = "'--report' does not take 'r.txt'"},
        {.arguments = " in -out x", .status = 255, .error = "'--report' needs a value"},
        {.arguments = "r.json --report=r.html in -out x", .status = 255, .error = "'--report' is given twice"},
        {.arguments = "there.json in -out x", .status = 254, .error = "there.json: exists already"},
        {.arguments = "link.json in -out x", .status = 254, .error = "link.json: exists already"},
        {.arguments = "x.html in -out ./x.html", .status = 254, .error = "x.html: it is the output as well"},
        {.arguments = "fifo.json in fifo.json -out x", .status = 254, .error = "fifo.json: it is one of the inputs"},
        {.arguments = "none/r.json missing -out x", .status = 253, .error = "none/r.json: No such file"},
        {.arguments = "there.json in -out none/x", .status = 254, .error = "there.json: exists already"},
        {.arguments = "none/r.json in -out there.json", .status = 254, .error = "there.json: exists already"},
        {.arguments = "none/r.json in -out none/x", .status = 253, .error = "none/x: No such file"},
    };
    for (const auto& row : rows) {
        ToolRun run;
        run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
        run.directory.Write("there.json", "old");
        std::filesystem::create_symlink("nowhere", run.directory / "link.json");
        mkfifo(run.directory.Path("fifo.json").c_str(), 0600);
        const ToolResult result = run("--exact --report=" + std::string(row.arguments));
        EXPECT_EQ(result.exitStatus, row.status) << result;
        EXPECT_TRUE(result.errors.starts_with("seamtool: " + std::string(row.error))) << result;
        EXPECT_EQ(run.directory.Read("there.json"), "old");
        EXPECT_EQ(run.directory.Names().size(), 4U) << "nothing is left";
    }
}

TEST(ExactReportTest, IsWrittenWhateverBecomesOfTheRecords) {
    for (const auto& [inputs, status] : {std::pair{"in", 0}, {"in missing", 252}, {"missing", 251}}) {
        ToolRun run;
        run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
        const ToolResult result = run("--exact --report=r.json " + std::string(inputs) + " -out x");
        EXPECT_EQ(result.exitStatus, status) << result;
        const std::string report = run.directory.Read("r.json");
        EXPECT_NE(report.find("\"status\": " + std::to_string(status)), std::string::npos) << report;
        EXPECT_EQ(report.find("cannot be opened") != std::string::npos, status != 0) << report;
        EXPECT_EQ(std::filesystem::exists(run.directory / "x"), status != 251);
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
