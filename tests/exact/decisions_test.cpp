// What a run decides from what it has found: its status, and the form of its output.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "velora/exact/choose_form.h"
#include "velora/exact/status.h"
#include "velora/formats/link_types.h"

namespace velora::exact {
namespace {

using capture::CaptureTraits;
using capture::Format;
using Kind = RunFacts::OutputKind;

TEST(StatusOf, TellsWhatExistsBeforeWhatCannotBeAndWhatIsDoubtfulLast) {
    struct Row {
        const char* about;
        RunFacts facts;
        Status status;
    };
    for (const Row& row : {
             Row{.about = "nothing was found", .facts = {}, .status = Status::kComplete},
             Row{.about = "a record is missing", .facts = {.isDoubtful = true}, .status = Status::kIncomplete},
             Row{.about = "nothing fits, and an input is damaged",
             .facts = {.hasNothingToWrite = true, .isDoubtful = true},
             .status = Status::kNothingToWrite},
             Row{.about = "the disk is full",
             .facts = {.output = Kind::kCannot, .isDoubtful = true},
             .status = Status::kCannotWrite},
             Row{.about = "the report's directory is missing",
             .facts = {.report = Kind::kCannot, .hasNothingToWrite = true},
             .status = Status::kCannotWrite},
             Row{.about = "the output is an input",
             .facts = {.isPathRefused = true, .output = Kind::kCannot},
             .status = Status::kOutputExists},
             Row{.about = "the output exists, the report cannot be made",
             .facts = {.output = Kind::kExists, .report = Kind::kCannot},
             .status = Status::kOutputExists},
             Row{.about = "the report exists, the output cannot be made",
             .facts = {.output = Kind::kCannot, .report = Kind::kExists},
             .status = Status::kOutputExists},
             Row{.about = "its name came into being during the run",
             .facts = {.output = Kind::kTaken, .isDoubtful = true},
             .status = Status::kOutputExists},
         }) {
        EXPECT_EQ(StatusOf(row.facts), row.status) << row.about;
    }
}

CaptureTraits Source(std::uint32_t linkType, bool hasRecord = true) {
    CaptureTraits traits;
    traits.hasRecord = hasRecord;
    traits.linkType = linkType;
    return traits;
}

CaptureTraits WithFcs(std::uint32_t fcsBits, bool hasRecord = true) {
    CaptureTraits traits = Source(LinkType::kEthernet, hasRecord);
    traits.fcsBits = fcsBits;
    return traits;
}

TEST(ChooseForm, FollowsFromAllSourcesTogether) {
    CaptureTraits fine = Source(LinkType::kEthernet, false);
    fine.isFinerThanMicroseconds = true;
    fine.snapLen = 300000;
    const CaptureTraits coarse = Source(LinkType::kRawIp);
    CaptureTraits nameless;
    constexpr std::uint32_t kFourOctets = 0x24000000;
    struct Row {
        const char* about;
        std::vector<CaptureTraits> sources;
        ExactJob job{};
        Format format = Format::kClassicMicroseconds;
        std::uint32_t linkType = LinkType::kEthernet;
        std::uint32_t fcsBits = 0;
        std::uint32_t snapLen = 262144;
        bool isCut = false;
    };
    ExactJob asPcap;
    asPcap.format = OutputFormat::kPcap;
    ExactJob asPcapNg;
    asPcapNg.format = OutputFormat::kPcapNg;
    ExactJob asShort;
    asShort.snapLen = 64;
    for (const Row& row : {
             Row{.about = "no interface at all: Ethernet", .sources = {nameless}},
             Row{.about = "the first record's link type, the finest unit, the largest snaplen",
             .sources = {fine, coarse},
             .format = Format::kClassicNanoseconds,
             .linkType = LinkType::kRawIp,
             .snapLen = 300000},
             Row{.about = "microseconds were asked for", .sources = {fine}, .job = asPcap, .snapLen = 300000},
             Row{.about = "pcap-ng was asked for",
             .sources = {coarse},
             .job = asPcapNg,
             .format = Format::kPcapNg,
             .linkType = LinkType::kRawIp},
             Row{.about = "short records were asked for",
             .sources = {coarse},
             .job = asShort,
             .linkType = LinkType::kRawIp,
             .snapLen = 64,
             .isCut = true},
             Row{.about = "frame check sequences that agree; one without records has no say",
             .sources = {WithFcs(0, false), WithFcs(kFourOctets), WithFcs(kFourOctets)},
             .fcsBits = kFourOctets},
             Row{.about = "frame check sequences that do not agree", .sources = {WithFcs(kFourOctets), WithFcs(0)}},
             Row{.about = "frame check sequences of no record", .sources = {WithFcs(kFourOctets, false)}},
         }) {
        const output::OutputForm form = ChooseForm(row.sources, row.job);
        EXPECT_EQ(form.format, row.format) << row.about;
        EXPECT_EQ(form.linkType, row.linkType) << row.about;
        EXPECT_EQ(form.fcsBits, row.fcsBits) << row.about;
        EXPECT_EQ(form.snapLen, row.snapLen) << row.about;
        EXPECT_EQ(form.mostBytes == 64, row.isCut) << row.about;
    }
}

TEST(FindMisfit, NamesTheFirstSourceWhoseRecordsHaveNoPlace) {
    constexpr std::uint32_t kTooLarge = 0x10000;
    struct Row {
        const char* about;
        std::vector<CaptureTraits> sources;
        OutputFormat format;
        std::optional<std::size_t> misfit;
    };
    for (const Row& row : {
             Row{.about = "pcap holds one link type",
            .sources = {Source(9, false), Source(1), Source(1), Source(101)},
            .format = OutputFormat::kFitting,
            .misfit = 3},
             Row{.about = "whatever has no record fits",
             .sources = {Source(1), Source(101, false)},
             .format = OutputFormat::kFitting,
             .misfit = {}},
             Row{.about = "pcap-ng holds several, up to 65535",
             .sources = {Source(1), Source(kTooLarge - 1), Source(kTooLarge)},
             .format = OutputFormat::kPcapNg,
             .misfit = 2},
             Row{.about = "pcap holds a larger one",
             .sources = {Source(kTooLarge)},
             .format = OutputFormat::kFitting,
             .misfit = {}},
         }) {
        ExactJob job;
        job.format = row.format;
        EXPECT_EQ(FindMisfit(row.sources, ChooseForm(row.sources, job)), row.misfit) << row.about;
    }
}

}  // namespace
}  // namespace velora::exact
