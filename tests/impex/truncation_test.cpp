// A small capture in each form, cut at every offset: whatever is left is read without a fault, and
// what is read is the beginning of what was there.

#include <gtest/gtest.h>

#include "impex/time_ordered_merge.h"
#include "tests/support/capture_builder.h"
#include "tests/support/libpcap_reader.h"
#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"

namespace {

const std::size_t kRecordSizes[] = {16 + 9, 16 + 40, 16 + 1};

std::string Classic(CaptureBuilder builder) {
    return builder.Record(1, 2, std::string(9, 'a')).Record(3, 4, std::string(40, 'b')).Record(5, 6, "c").Bytes();
}

struct Form {
    const char* name;
    const char* file;
    std::string bytes;
    std::size_t delivered;  // records of the whole file
};

const Form kForms[] = {
    {"little", "in", Classic(CaptureBuilder()), 3},
    {"big", "in", Classic(CaptureBuilder().BigEndian()), 3},
    {"gzip", "in.gz", Gzip(Classic(CaptureBuilder())), 3},
    {"bzip2", "in.bz2", Bzip2(Classic(CaptureBuilder())), 2},
    {"pcapng", "in",
     PcapNgBuilder()
         .Packet(1000002, std::string(9, 'a'))
         .Packet(3000004, std::string(40, 'b'))
         .Packet(5000006, "c")
         .Bytes(),
     3},
};

class TruncationTest : public testing::TestWithParam<Form> {};

TEST_P(TruncationTest, LeavesABeginning) {
    const Form& form = GetParam();
    const std::string whole = Classic(CaptureBuilder());
    std::size_t before = 0;
    for (std::size_t length = 0; length <= form.bytes.size(); ++length) {
        SCOPED_TRACE(length);
        const TempDir directory;
        MergeJob job(directory.Path("out"), {directory.Write(form.file, form.bytes.substr(0, length))});
        const LogTail log;
        ASSERT_TRUE(Merge(job));
        const std::string out = directory.Read("out");
        ASSERT_EQ(out, whole.substr(0, out.size()));
        ASSERT_EQ(RewrittenFromLibpcap(job.outputPath), out) << "whole records only";
        if (form.delivered == 3) {  // a whole bzip2 stream hides a record that a cut one shows
            ASSERT_GE(job.packetsWritten, before) << "more input, fewer records";
        }
        before = job.packetsWritten;
        if (form.bytes.size() == whole.size()) {
            // Uncompressed and classic: exactly the whole records are there.
            std::size_t records = 0;
            for (std::size_t end = 24; records < 3 && (end += kRecordSizes[records]) <= length;) {
                ++records;
            }
            EXPECT_EQ(job.packetsWritten, records);
        }
        for (const std::string& line : log.Lines()) {
            EXPECT_TRUE(!line.starts_with("ERROR") || job.packetsWritten == 0 || std::string(form.name) == "bzip2")
                << "a cut file ends cleanly: " << line;
        }
    }
    EXPECT_EQ(before, form.delivered);
}

INSTANTIATE_TEST_SUITE_P(Forms, TruncationTest, testing::ValuesIn(kForms),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
