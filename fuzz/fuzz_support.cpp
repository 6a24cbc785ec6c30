#include "fuzz/fuzz_support.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <unistd.h>

#include "tests/support/temp_dir.h"
#include "velora/logging/logger.h"

using VeloLogger::GlobalLogger;

// The allocator of the records, in place of the product's. A record may claim 4 GiB: what asks for
// more than 1 MiB gets nothing here, so that the way out of memory is taken too, and claims cost no
// time.
extern "C" {
void* scalable_malloc(std::size_t size);
void scalable_free(void* block);

void* scalable_malloc(std::size_t size) {
    return size <= std::size_t{1} << 20U ? std::malloc(size) : nullptr;
}
void scalable_free(void* block) {
    std::free(block);
}
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    const std::string log = GlobalLogger.FileName();
    GlobalLogger.Open("/dev/null");
    unlink(log.c_str());
    setenv("TZ", "UTC0", 1);
    tzset();
    fuzz::Check(std::freopen("/dev/null", "w", stdout) != nullptr, "no null device");
    return 0;
}

namespace fuzz {
namespace {

const TempDir& Scratch() {
    static const TempDir directory;
    return directory;
}

}  // namespace

void Check(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

std::string ScratchPath(std::string_view name) {
    return Scratch().Path(name);
}

std::string WriteScratch(std::string_view name, std::string_view bytes) {
    return Scratch().Write(name, bytes);
}

std::string ReadScratch(std::string_view name) {
    return Scratch().Read(name);
}

ModelInput ReadRecords(CImpex_Libpcap& input) {
    const std::uint64_t packetsBefore = input.m_Packets;
    std::uint64_t expectedBytes = input.m_Bytes;
    ModelInput records;
    PacketHeader* header = nullptr;
    std::uint8_t* data = nullptr;
    while (input.ReadNext(&header, &data)) {
        const velora::impex::HeaderBlock ownedHeader(header);
        const velora::impex::DataBlock ownedData(data);
        records.push_back({static_cast<std::int32_t>(header->ts.tv_sec),
                           static_cast<std::int32_t>(header->ts.tv_usec), header->len,
                           std::string(reinterpret_cast<const char*>(data), header->caplen)});
        Check(header->ts.tv_sec == records.back().sec && header->ts.tv_usec == records.back().usec,
              "times of a record have 32 bits");
        expectedBytes += header->caplen;
    }
    Check(input.m_Packets - packetsBefore == records.size() && input.m_Bytes == expectedBytes,
          "the counters tell what was read");
    return records;
}

}  // namespace fuzz
