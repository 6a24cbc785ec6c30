// What a run decides from what it has found: its status, and the form of its output.

#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "velora/exact/choose_form.h"
#include "velora/exact/status.h"

namespace velora::exact {
namespace {

using capture::CaptureTraits;
using enum codec::OutputOutcome::Kind;
using enum Status;

TEST(StatusOf, TellsWhatExistsBeforeWhatCannotBeAndWhatIsDoubtfulLast) {
    const struct {
        const char* about;
        RunFacts in;
        Status out;
    } rows[] = {
        {.about = "nothing was found", .in = {}, .out = kComplete},
        {.about = "a record is missing", .in = {.isDoubtful = true}, .out = kIncomplete},
        {.about = "nothing fits", .in = {.hasNothingToWrite = true, .isDoubtful = true}, .out = kNothingToWrite},
        {.about = "stopped", .in = {.isStopped = true, .hasNothingToWrite = true}, .out = kStopped},
        {.about = "the disk was full before", .in = {.output = kCannot, .isStopped = true}, .out = kCannotWrite},
        {.about = "the disk is full", .in = {.output = kCannot, .isDoubtful = true}, .out = kCannotWrite},
        {.about = "the output is an input", .in = {.isPathRefused = true, .output = kCannot}, .out = kOutputExists},
        {.about = "the report exists, no output", .in = {.output = kCannot, .report = kExists}, .out = kOutputExists},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(StatusOf(row.in), row.out) << row.about;
    }
}

CaptureTraits Source(std::uint32_t linkType, bool hasRecord = true) {
    CaptureTraits traits;
    traits.hasRecord = hasRecord;
    traits.linkType = linkType;
    return traits;
}

TEST(ChooseForm, FollowsFromAllSourcesTogetherAndNamesTheFirstWhoseRecordsHaveNoPlace) {
    using enum capture::Format;
    constexpr std::uint32_t kTooLarge = 0x10000;
    CaptureTraits fine = Source(1, false);
    fine.isFinerThanMicroseconds = true;
    fine.snapLen = 300000;
    fine.fcsBits = 0x24000000;  // which no record has
    const struct {
        const char* about;
        std::vector<CaptureTraits> in;
        OutputFormat asked = OutputFormat::kFitting;
        std::uint32_t askedSnapLen = 0;
        capture::Format format = kClassicMicroseconds;
        std::uint32_t linkType = 1;
        std::uint32_t snapLen = 262144;
        std::optional<std::size_t> misfit = {};
    } rows[] = {
        {.about = "no interface at all: Ethernet", .in = {CaptureTraits()}},
        {.about = "no record", .in = {fine}, .format = kClassicNanoseconds, .snapLen = 300000},
        {.about = "the first record's link type",
         .in = {fine, Source(101)},
         .format = kClassicNanoseconds,
         .linkType = 101,
         .snapLen = 300000},
        {.about = "short records were asked for", .in = {Source(1)}, .askedSnapLen = 64, .snapLen = 64},
        {.about = "pcap holds one", .in = {Source(9, false), Source(1), Source(1), Source(101)}, .misfit = 3},
        {.about = "pcap holds a larger one", .in = {Source(kTooLarge)}, .linkType = kTooLarge},
        {.about = "pcap-ng",
         .in = {Source(1), Source(kTooLarge - 1), Source(kTooLarge)},
         .asked = OutputFormat::kPcapNg,
         .format = kPcapNg,
         .misfit = 2},
    };
    for (const auto& row : rows) {
        ExactJob job;
        job.format = row.asked;
        job.snapLen = row.askedSnapLen;
        const output::OutputForm form = ChooseForm(row.in, job);
        EXPECT_EQ(std::tuple(form.format, form.linkType, form.fcsBits, form.snapLen, FindMisfit(row.in, form)),
                  std::tuple(row.format, row.linkType, 0U, row.snapLen, row.misfit))
            << row.about;
        EXPECT_EQ(form.mostBytes, job.snapLen > 0 ? job.snapLen : output::OutputForm().mostBytes) << row.about;
    }
}

}  // namespace
}  // namespace velora::exact
