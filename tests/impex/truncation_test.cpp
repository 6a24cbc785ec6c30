// A small capture in each form, cut at every offset: whatever is left is read without a fault, and
// what is read is the beginning of what was there.

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"
#include "velora/impex/time_ordered_merge.h"

namespace {

std::string Classic(CaptureBuilder builder) {
    return builder.Record(1, 2, std::string(9, 'a')).Record(3, 4, std::string(40, 'b')).Record(5, 6, "c").Bytes();
}

TEST(TruncationTest, LeavesABeginning) {
    const std::string whole = Classic(CaptureBuilder());
    constexpr std::size_t kEnds[] = {24, 24 + 25, 24 + 25 + 56, 24 + 25 + 56 + 17};  // of whole records in it
    PcapNgBuilder next;
    next.Packet(1000002, std::string(9, 'a')).Packet(3000004, std::string(40, 'b')).Packet(5000006, "c");
    // Columns: the file, its bytes, and how many records are read from the whole of it.
    const std::tuple<std::string, std::string, std::size_t> rows[] = {{"little", whole, 3},
                                                                      {"big", Classic(CaptureBuilder().BigEndian()), 3},
                                                                      {"a.gz", Gzip(whole), 3},
                                                                      {"a.bz2", Bzip2(whole), 2},
                                                                      {"next", next.Bytes(), 3}};
    for (const auto& [file, bytes, delivered] : rows) {
        std::size_t before = 0;
        for (std::size_t length = 0; length <= bytes.size(); ++length) {
            SCOPED_TRACE(file + " cut at " + std::to_string(length));
            const TempDir directory;
            MergeJob job(directory / "out", {directory.Write(file, bytes.substr(0, length))});
            const LogTail log;
            ASSERT_TRUE(Merge(job));
            const std::string out = directory.Read("out");
            ASSERT_EQ(out, whole.substr(0, kEnds[job.packetsWritten])) << "whole records";
            if (bytes.size() == whole.size()) {  // uncompressed and classic: exactly those that are there
                const auto isThere = [length](std::size_t end) { return end > 24 && end <= length; };
                ASSERT_EQ(job.packetsWritten, std::ranges::count_if(kEnds, isThere));
            }
            if (delivered == 3) {  // a whole bzip2 stream hides a record that a cut one shows
                ASSERT_GE(job.packetsWritten, before) << "more input, fewer records";
                const bool isClean = std::ranges::none_of(log.Lines(), [](auto& l) { return l.starts_with("ERROR"); });
                EXPECT_TRUE(job.packetsWritten == 0 || isClean) << "a cut file ends cleanly";
            }
            before = job.packetsWritten;
        }
        EXPECT_EQ(before, delivered) << file;
    }
}

}  // namespace
