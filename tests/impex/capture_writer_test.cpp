#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "impex/impex_libpcap.h"
#include "tests/support/capture_builder.h"
#include "tests/support/libpcap_reader.h"
#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"
#include "utils/scope_guards.h"

namespace {

PacketHeader Header(long sec, long usec, std::uint32_t caplen, std::uint32_t len) {
    return {{sec, usec}, caplen, len};
}

TEST(CaptureWriterTest, WritesClassicRecordsAndCountsThem) {
    const TempDir directory;
    directory.Write("out", "what was there before, longer than a file header");
    const std::string payload(1514, 'p');
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(payload.data());
    const PacketHeader headers[] = {Header(1, 2, 60, 60), Header(-3, -4, 1514, 9000),
                                    Header((5L << 32) + 6, (7L << 32) + 8, 0, 70)};
    CImpex_Libpcap writer;
    ASSERT_TRUE(writer.OpenOutput(directory.Path("out")));
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
    EXPECT_EQ(RewrittenFromLibpcap(directory.Path("out")), directory.Read("out"));
}

TEST(CaptureWriterTest, DeclaresTheLinkTypeOfItsConstructor) {
    const TempDir directory;
    CImpex_Libpcap writer(113);
    EXPECT_EQ(writer.GetLinkType(), 113);
    ASSERT_TRUE(writer.OpenOutput(directory.Path("out")));
    EXPECT_EQ(directory.Read("out"), CaptureBuilder().LinkType(113).Bytes());
}

TEST(CaptureWriterTest, CreatesFilesForTheOwnerOnlyAndClosesThem) {
    const TempDir directory;
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    const auto before = descriptors();
    const std::pair<mode_t, mode_t> rows[] = {{0, 0600}, {0077, 0600}, {0277, 0400}};
    for (const auto& [mask, mode] : rows) {
        const MiscUtils::ScopedUmask scopedMask(mask);
        const std::string path = directory.Path("out" + std::to_string(mask));
        {
            CImpex_Libpcap writer;
            ASSERT_TRUE(writer.OpenOutput(path));
        }
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, mode);
    }
    {
        const LogTail log;
        CImpex_Libpcap writer;
        EXPECT_FALSE(writer.OpenOutput("/dev/full"));
        EXPECT_EQ(log.Lines(), (std::vector<std::string>{"ERROR Cant write pcap file header"}));
    }
    EXPECT_EQ(descriptors(), before);
}

TEST(CaptureWriterTest, NamesAnOutputThatCannotBeOpenedInAtMost511Characters) {
    const TempDir directory;
    const std::string prefix = "Cannot open filtered intermediate output  file : ";
    const LogTail log;
    CImpex_Libpcap writer;
    EXPECT_FALSE(writer.OpenOutput(directory.Path()));
    const std::string longName(600, 'n');
    EXPECT_FALSE(writer.OpenOutput(longName));
    EXPECT_EQ(log.Lines(), (std::vector<std::string>{"ERROR " + prefix + directory.Path() + "Error no = 21",
                                                     "ERROR " + (prefix + longName).substr(0, 511)}));
}

}  // namespace
