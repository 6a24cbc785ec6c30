// --report: what speaks against its path is found out before anything is read, and a report that fails in the end
// costs no output.

#include <nlohmann/json.hpp>

#include "tests/app/exact_run.h"
#include "tests/support/limits.h"

namespace {

using Row = ExactRow;

TEST(ExactReportTest, RefusesAPathThatItCannotFillBeforeAnythingIsRead) {
    const std::string kinds = "'--report' does not take 'r.txt', only a name that ends in .json or .html";
    const std::string noFile = ": No such file or directory";
    const Row rows[] = {
        {.line = "--report=r.txt gone", .status = 255, .errors = {kinds}},
        {.line = "--report= gone", .status = 255, .errors = {"'--report' needs a value: '--report=FILE'"}},
        {.line = "--report=r.json --report=r.html gone", .status = 255, .errors = {"'--report' is given twice"}},
        {.line = "--report=there.json gone", .status = 254, .errors = {"there.json: exists already"}},
        {.line = "--report=dangling.json gone", .status = 254, .errors = {"dangling.json: exists already"}},
        {.line = "--report=x.html gone -out ./x.html", .status = 254, .errors = {"x.html: it is the output as well"}},
        {.line = "--report=fifo.json gone fifo.json", .status = 254, .errors = {"fifo.json: it is one of the inputs"}},
        {.line = "--report=none/r.json gone", .status = 253, .errors = {"none/r.json" + noFile}},
        {.line = "--report=there.json gone -out none/x", .status = 254, .errors = {"there.json: exists already"}},
        {.line = "--report=none/r.json gone -out there.json", .status = 254, .errors = {"there.json: exists already"}},
        {.line = "--report=none/r.json gone -out none/x", .status = 253, .errors = {"none/x" + noFile}},
    };
    Check(rows);
}

TEST(ExactReportTest, IsWrittenWhateverBecomesOfTheRecords) {
    for (const auto& [inputs, status] : {std::pair{"odd", 0}, {"odd gone", 252}, {"gone", 251}}) {
        const ExactRun run;
        const ToolResult result = run("--exact --report=r.json " + std::string(inputs) + " -out x");
        EXPECT_EQ(result.exitStatus, status) << result;
        const std::string report = run.directory.Read("r.json");
        EXPECT_NE(report.find("\"status\": " + std::to_string(status)), std::string::npos) << report;
        EXPECT_EQ(report.find("cannot be opened") != std::string::npos, status != 0) << report;
        EXPECT_EQ(std::filesystem::exists(run.directory / "x"), status != 251);
    }
}

TEST(ExactReportTest, HasEveryRecordInOneOfItsCounts) {
    const CaptureBuilder plain =
        CaptureBuilder().Record(1, 0, "x").Record(3, 0, "x").Record(2, 0, "y").Record(2, 0, "y");
    PcapNgBuilder mixed = PcapNgBuilder().Interface(113, 0).Packet(1'000'000, "z");
    mixed.PacketOf(1, 2'000'000, "of another link type").Packet(2'000'000, "z");
    const std::vector<const char*> names = {"recordsRead", "recordsWritten", "recordsLeftOut", "recordsOutside",
                                            "duplicatesDropped"};
    const struct {
        std::string options;
        std::vector<int> plain, mixed;  // the counts, in the order of the names
    } rows[] = {
        {"", {4, 4, 0, 0, 0}, {3, 2, 1, 0, 0}},
        {"--from=@2 --to=@3", {4, 2, 0, 2, 0}, {3, 1, 1, 1, 0}},
        {"--from=@2 --dedup", {4, 2, 0, 1, 1}, {3, 1, 1, 1, 0}},
        {"--to=@1", {4, 0, 0, 4, 0}, {3, 0, 1, 2, 0}},
        {"--from=@2 -squish10", {4, 3, 0, 1, 0}, {3, 1, 1, 1, 0}},
    };
    for (const auto& row : rows) {
        const ExactRun run;
        run.directory.Write("plain", plain.Bytes());
        run.directory.Write("mixed", mixed.Bytes());
        const ToolResult result = run("--exact --report=r.json " + row.options + " plain mixed -out x");
        EXPECT_EQ(result.exitStatus, 252) << result;
        const auto report = nlohmann::json::parse(run.directory.Read("r.json"));
        for (std::size_t at = 0; at < names.size(); ++at) {
            SCOPED_TRACE(row.options + " " + names[at]);
            EXPECT_EQ(report["inputs"][0][names[at]], row.plain[at]);
            EXPECT_EQ(report["inputs"][1][names[at]], row.mixed[at]);
            EXPECT_EQ(report["output"][names[at]], row.plain[at] + row.mixed[at]);
        }
    }
}

TEST(ExactReportTest, LeavesTheOutputWhenItCannotBeWritten) {
    ExactRun run;
    run.prepare = [] { static const ScopedLimit kSize(RLIMIT_FSIZE, 500); };
    const ToolResult result = run("--exact --report=r.html odd -out x");
    EXPECT_EQ(result.exitStatus, 253) << result;
    EXPECT_EQ(result.errors, "seamtool: r.html: File too large; the capture is written all the same\n");
    EXPECT_EQ(TextOf(run.directory.Read("x")), "13");
    EXPECT_FALSE(std::filesystem::exists(run.directory / "r.html"));
}

}  // namespace
