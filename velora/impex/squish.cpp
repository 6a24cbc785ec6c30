#include "velora/impex/squish.h"

#include <cstdio>

#include "velora/impex/input_cursor.h"
#include "velora/logging/logger.h"
#include "velora/utils/shift_rule.h"
#include "velora/utils/time_text.h"

using MiscUtils::TimeVal32;
using VeloLogger::GlobalLogger;
namespace Level = VeloLogger::Level;

namespace {

constexpr std::uint64_t kProgressInterval = 1000000;
constexpr std::uint8_t kCopyNetworks = 10;  // 10.0.0.0/16 to 10.9.0.0/16

// Where an Ethernet frame with an IPv4 header keeps the beginning of its addresses.
constexpr std::size_t kTypeOffset = 12;
constexpr std::size_t kSourceOffset = 26;
constexpr std::size_t kDestinationOffset = 30;
constexpr std::uint32_t kShortestIpv4Frame = 32;

TimeVal32 RawTime(const PacketHeader& header) {
    return {static_cast<std::int32_t>(header.ts.tv_sec),
            static_cast<std::int32_t>(header.ts.tv_usec)};
}

// The time of the cursor's record on the common axis, where every input starts at zero, as one
// number of the same order: the seconds above, and the microseconds with their sign turned, so that
// negative ones come first.
std::int64_t Key(const InputCursor& cursor) {
    const TimeVal32 time = (cursor.currentTime - cursor.startTime) + cursor.shift;
    constexpr std::uint32_t kSign = 0x80000000U;
    const std::uint32_t usec = static_cast<std::uint32_t>(time.usec) ^ kSign;
    return std::int64_t{time.sec} * (std::int64_t{1} << 32) + usec;
}

void AdvanceTime(InputCursor& cursor, const TimeVal32& next) {
    cursor.shift = MiscUtils::NextShift(cursor.currentTime, cursor.shift, next);
    cursor.currentTime = next;
}

bool HasBytes(const std::uint8_t* data, std::uint8_t first, std::uint8_t second) {
    return data[0] == first && data[1] == second;
}

bool LooksLikeIpv4(const PacketHeader& header, const std::uint8_t* data) {
    return header.caplen >= kShortestIpv4Frame && HasBytes(data + kTypeOffset, 0x08, 0x00);
}

// The frame is rewritten in place: each copy starts from the one before.
void WriteCopies(CImpex_Libpcap& writer, const PacketHeader& header, std::uint8_t* data) {
    std::uint8_t* const source = data + kSourceOffset;
    std::uint8_t* const destination = data + kDestinationOffset;
    const bool isSourcePrivate = HasBytes(source, 192, 168);
    const bool isDestinationPrivate = HasBytes(destination, 192, 168);
    for (std::uint8_t network = 0; network < kCopyNetworks; ++network) {
        if (isSourcePrivate) {
            source[0] = 10;
            source[1] = network;
        }
        if (isDestinationPrivate) {
            destination[0] = 10;
            destination[1] = network;
        }
        writer.WriteRecord(&header, sizeof header, data, header.caplen);
    }
}

void PrintProgress(const MergeJob& job, const TimeVal32& outputTime) {
    std::printf("%lu Packets  %lu Bytes Time %s\n", job.packetsWritten, job.bytesWritten,
                MiscUtils::AscTimeUsec(outputTime).c_str());
    std::fflush(stdout);
}

// Writes the cursor's record at its output time, and its copies, and counts them.
void WriteSquished(CImpex_Libpcap& writer, InputCursor& cursor, const TimeVal32& baseTime,
                   int extraCopies, MergeJob& job) {
    const TimeVal32 outputTime = cursor.currentTime + baseTime + cursor.shift - cursor.startTime;
    PacketHeader header = *cursor.header;
    header.ts = {.tv_sec = outputTime.sec, .tv_usec = outputTime.usec};
    writer.WriteRecord(&header, sizeof header, cursor.data.get(), header.caplen);
    job.packetsWritten += 1;
    job.bytesWritten += header.caplen;
    if (job.packetsWritten % kProgressInterval == 0) {
        PrintProgress(job, outputTime);
    }
    if (extraCopies > 0 && LooksLikeIpv4(header, cursor.data.get())) {
        WriteCopies(writer, header, cursor.data.get());
        const auto copies = static_cast<std::uint32_t>(extraCopies);
        const std::uint32_t copiedBytes = copies * header.caplen;  // 32 bits, which wrap
        job.packetsWritten += copies;
        job.bytesWritten += copiedBytes;
    }
}

}  // namespace

bool Squish(MergeJob& job, int extraCopies) {
    CImpex_Libpcap writer;
    if (!writer.OpenOutput(job.outputPath)) {
        *GlobalLogger.Stream(Level::kError)
            << "Impex(PCAP) Squisher: Unable to open output file " << job.outputPath;
        return false;
    }
    std::vector<InputCursor> cursors =
        velora::impex::OpenInputs(job.inputPaths, [](const std::string& path) {
            *GlobalLogger.Stream(Level::kInfo)
                << "Impex(PCAP) Squisher: Skipping empty PCAP - file header only " << path;
        });
    for (InputCursor& cursor : cursors) {
        cursor.currentTime = cursor.startTime = RawTime(*cursor.header);
    }
    // Without a usable input there is no time to start from: at() throws, and nobody catches.
    const TimeVal32 baseTime = cursors.at(0).startTime;

    MiscUtils::TournamentTree heads = velora::impex::OrderOf(cursors, Key);
    while (!heads.Empty()) {
        InputCursor& chosen = cursors[heads.Winner()];
        WriteSquished(writer, chosen, baseTime, extraCopies, job);
        if (chosen.Advance()) {
            AdvanceTime(chosen, RawTime(*chosen.header));
            heads.Replace(Key(chosen));
        } else {
            velora::impex::LogEndOfInput(chosen);
            std::printf("EOF on %s, bye ! \n", chosen.path.c_str());
            chosen.Close();
            heads.Remove();
        }
    }
    velora::impex::LogDone(job);
    return true;
}
