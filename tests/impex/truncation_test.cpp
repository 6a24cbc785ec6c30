// A small capture in each form, cut at every offset: whatever is left is read without a fault, and
// what is read is the beginning of what was there.

#include <algorithm>

#include <gtest/gtest.h>

#include "impex/time_ordered_merge.h"
#include "tests/support/capture_builder.h"
#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"

namespace {

std::string Classic(CaptureBuilder builder) {
    return builder.Record(1, 2, std::string(9, 'a')).Record(3, 4, std::string(40, 'b')).Record(5, 6, "c").Bytes();
}

TEST(TruncationTest, LeavesABeginning) {
    const std::string whole = Classic(CaptureBuilder());
    constexpr std::size_t kEnds[] = {24, 24 + 25, 24 + 25 + 56, 24 + 25 + 56 + 17};  // of whole records in it
    PcapNgBuilder next;
    next.Packet(1000002, std::string(9, 'a')).Packet(3000004, std::string(40, 'b')).Packet(5000006, "c");
    struct Row {
        const char* file;
        std::string bytes;
        std::size_t delivered = 3;  // records of the whole file
    };
    const Row rows[] = {{"little", whole},
                        {"big", Classic(CaptureBuilder().BigEndian())},
                        {"a.gz", Gzip(whole)},
                        {"a.bz2", Bzip2(whole), 2},
                        {"next", next.Bytes()}};
    for (const Row& row : rows) {
        std::size_t before = 0;
        for (std::size_t length = 0; length <= row.bytes.size(); ++length) {
            SCOPED_TRACE(row.file + (" cut at " + std::to_string(length)));
            const TempDir directory;
            MergeJob job(directory / "out", {directory.Write(row.file, row.bytes.substr(0, length))});
            const LogTail log;
            ASSERT_TRUE(Merge(job));
            const std::string out = directory.Read("out");
            ASSERT_EQ(out, whole.substr(0, kEnds[job.packetsWritten])) << "whole records";
            if (row.bytes.size() == whole.size()) {  // uncompressed and classic: exactly those that are there
                const auto isThere = [length](std::size_t end) { return end > 24 && end <= length; };
                ASSERT_EQ(job.packetsWritten, std::ranges::count_if(kEnds, isThere));
            }
            if (row.delivered == 3) {  // a whole bzip2 stream hides a record that a cut one shows
                ASSERT_GE(job.packetsWritten, before) << "more input, fewer records";
                const bool isClean = std::ranges::none_of(log.Lines(), [](auto& l) { return l.starts_with("ERROR"); });
                EXPECT_TRUE(job.packetsWritten == 0 || isClean) << "a cut file ends cleanly";
            }
            before = job.packetsWritten;
        }
        EXPECT_EQ(before, row.delivered) << row.file;
    }
}

}  // namespace
