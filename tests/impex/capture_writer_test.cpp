#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/file_trees.h"
#include "tests/support/limits.h"
#include "tests/support/log_text.h"
#include "velora/impex/impex_libpcap.h"
#include "velora/utils/scope_guards.h"

namespace {

TEST(CaptureWriterTest, WritesClassicRecordsAndCountsThem) {
    const TempDir directory;
    directory.Write("out", "what was there before, longer than a file header");
    const std::string payload(1514, 'p');
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(payload.data());
    const PacketHeader headers[] = {
        {{1, 2}, 60, 60}, {{-3, -4}, 1514, 9000}, {{(5L << 32) + 6, (7L << 32) + 8}, 0, 70}};
    CImpex_Libpcap writer;
    ASSERT_TRUE(writer.OpenOutput(directory / "out"));
    EXPECT_EQ(directory.Read("out"), CaptureBuilder().Bytes());
    for (const PacketHeader& header : headers) {
        EXPECT_TRUE(writer.WriteRecord(&header, sizeof header, bytes, header.caplen));
    }
    EXPECT_EQ(writer.m_Packets, 3U);
    EXPECT_EQ(writer.m_Bytes, 1574U);
    // Complete although the writer is still open: nothing is buffered.
    EXPECT_EQ(directory.Read("out"), CaptureBuilder()
                                         .Record(1, 2, payload.substr(0, 60))
                                         .Record(-3, -4, 1514, 9000, payload)
                                         .Record(6, 8, 0, 70, "")
                                         .Bytes());
}

TEST(CaptureWriterTest, CreatesFilesForTheOwnerOnlyAndClosesThem) {
    const ScratchDir directory;
    const auto descriptor = static_cast<int>(DescriptorsAllowing(0));  // that the output will get
    for (const auto& [mask, mode] : {std::pair<mode_t, mode_t>{0, 0600}, {0277, 0400}}) {
        const MiscUtils::ScopedUmask scopedMask(mask);
        const std::string path = directory / std::to_string(mask);
        CImpex_Libpcap writer(113);
        ASSERT_TRUE(writer.OpenOutput(path));
        EXPECT_EQ(writer.GetLinkType(), 113);
        EXPECT_EQ(fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDWR);
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, mode);
    }
    EXPECT_EQ(directory.Read("0"), CaptureBuilder().LinkType(113).Bytes());
    const LogTail log;
    EXPECT_FALSE(CImpex_Libpcap().OpenOutput("/dev/full"));
    EXPECT_FALSE(CImpex_Libpcap().OpenOutput("/dev"));
    EXPECT_EQ(log.Lines(), (Lines{"ERROR Cant write pcap file header",
                                  "ERROR Cannot open filtered intermediate output  file : /devError no = 21"}));
}

}  // namespace
