// The memory that the manual promises holds whatever the inputs are.

#include <string>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

constexpr int kMebibyte = 1 << 20;

std::string Repeated(const std::string& bytes, int times) {
    std::string all;
    for (int count = 0; count < times; ++count) {
        all += bytes;
    }
    return all;
}

// Small packets, of which every hundredth comes too early.
std::string EmptyPackets(bool areSimpleToo) {
    PcapNgBuilder builder;
    for (int packet = 0; builder.Bytes().size() < kMebibyte / 2; ++packet) {
        builder.Packet(static_cast<std::uint64_t>(packet % 100 == 0 ? packet : packet + 300), "");
        if (areSimpleToo) {
            builder.SimplePacket(0, "");
        }
    }
    return builder.Bytes();
}

TEST(ExactMemoryTest, IsBoundWhateverTheInputsHold) {
    if (IS_SANITIZED) {
        GTEST_SKIP() << "the sanitizers take memory of their own";
    }
    std::string interfaces = PcapNgBuilder::Empty().Section().Bytes();
    interfaces += Repeated(PcapNgBuilder::Empty().Section().Interface(1, 0).Bytes().substr(interfaces.size()), 65536);
    const std::string packet = PcapNgBuilder().Packet(1, "x").Bytes();
    struct Row {
        const char* about;
        std::string file;
        int times;  // that it is named
        const char* options;
        long mostMebibytes;
    };
    for (const Row& row : {
             Row{.about = "simple packets, whose times stand beside the block",
            .file = EmptyPackets(true),
            .times = 200,
            .options = "",
            .mostMebibytes = 96},
             Row{.about = "packets out of order",
             .file = EmptyPackets(false),
             .times = 200,
             .options = "--format=pcapng ",
             .mostMebibytes = 96},
             Row{.about = "interfaces without a packet, 300 times in gzip",
             .file = Gzip(interfaces + packet),
             .times = 300,
             .options = "--format=pcapng ",
             .mostMebibytes = 96 + 300 * 85 / 1024},
             Row{.about = "sections of nothing else",
             .file = Gzip(Repeated(interfaces, 40) + packet),
             .times = 1,
             .options = "--format=pcapng ",
             .mostMebibytes = 96},
         }) {
        ToolRun run;
        run.directory.Write("in", row.file);
        const ToolResult result =
            run("--exact --quiet " + std::string(row.options) + Repeated("in ", row.times) + "-out /dev/null");
        EXPECT_TRUE(result.exitStatus == 0 || result.exitStatus == 252) << row.about << result;
        EXPECT_LE(result.peakKilobytes, row.mostMebibytes * 1024) << row.about;
    }
}

}  // namespace
