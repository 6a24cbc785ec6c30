// What a run decides from what it has found: its status, and the form of its output.

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

TEST(ChooseForm, FollowsFromAllSourcesTogether) {
    CaptureTraits fine = Source(1, false);
    fine.isFinerThanMicroseconds = true;
    fine.snapLen = 300000;
    fine.fcsBits = 0x24000000;
    const struct {
        const char* about;
        std::vector<CaptureTraits> in;
        std::uint32_t asked = 0;  // the snaplen
        capture::Format format = capture::Format::kClassicMicroseconds;
        std::uint32_t linkType = 1;
        std::uint32_t snapLen = 262144;
    } rows[] = {
        {.about = "no interface at all: Ethernet", .in = {CaptureTraits()}},
        {.about = "the finest unit, the first record's link type, the largest snaplen",
         .in = {fine, Source(101)},
         .format = capture::Format::kClassicNanoseconds,
         .linkType = 101,
         .snapLen = 300000},
        {.about = "no record: nothing to say of frame check sequences",
         .in = {fine},
         .format = capture::Format::kClassicNanoseconds,
         .snapLen = 300000},
        {.about = "short records were asked for", .in = {Source(1)}, .asked = 64, .snapLen = 64},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        ExactJob job;
        job.snapLen = row.asked;
        const output::OutputForm form = ChooseForm(row.in, job);
        EXPECT_EQ(form.format, row.format);
        EXPECT_EQ(form.linkType, row.linkType);
        EXPECT_EQ(form.fcsBits, 0U);
        EXPECT_EQ(form.snapLen, row.snapLen);
        EXPECT_EQ(form.mostBytes, row.asked > 0 ? row.asked : output::OutputForm().mostBytes);
    }
}

TEST(FindMisfit, NamesTheFirstSourceWhoseRecordsHaveNoPlace) {
    using enum OutputFormat;
    constexpr std::uint32_t kTooLarge = 0x10000;
    const struct {
        const char* about;
        std::vector<CaptureTraits> in;
        OutputFormat format = kFitting;
        std::optional<std::size_t> out = {};
    } rows[] = {
        {.about = "pcap holds one", .in = {Source(9, false), Source(1), Source(1), Source(101)}, .out = 3},
        {.about = "pcap-ng", .in = {Source(1), Source(kTooLarge - 1), Source(kTooLarge)}, .format = kPcapNg, .out = 2},
        {.about = "pcap holds a larger one", .in = {Source(kTooLarge)}},
    };
    for (const auto& row : rows) {
        ExactJob job;
        job.format = row.format;
        EXPECT_EQ(FindMisfit(row.in, ChooseForm(row.in, job)), row.out) << row.about;
    }
}

}  // namespace
}  // namespace velora::exact
