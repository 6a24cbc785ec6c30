#include "velora/utils/stream_range.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <sys/types.h>

namespace MiscUtils {
namespace {

constexpr std::uint64_t kBlockSize = 4096;
using Block = std::array<char, kBlockSize>;

std::uint64_t RangeLength(std::FILE* stream, std::uint64_t from, std::uint64_t to) {
    if (to == 0) {
        const off_t end = fseeko(stream, 0, SEEK_END) == 0 ? ftello(stream) : 0;
        to = static_cast<std::uint64_t>(std::max<off_t>(end, 0));
    }
    return to > from ? to - from : 0;
}

// An offset beyond the range of off_t turns negative and is refused.
bool SeekTo(std::FILE* stream, std::uint64_t offset) {
    return fseeko(stream, static_cast<off_t>(offset), SEEK_SET) == 0;
}

}  // namespace

std::uint64_t FindInStream(std::FILE* stream, const void* needle, std::size_t length) {
    const std::string_view wanted(static_cast<const char*>(needle), length);
    Block block;
    while (true) {
        const std::size_t got = std::fread(block.data(), 1, block.size(), stream);
        if (got < length) {
            return 0;
        }
        const std::size_t match = std::string_view(block.data(), got).find(wanted);
        if (match != std::string_view::npos) {
            if (fseeko(stream, -static_cast<off_t>(got - match), SEEK_CUR) != 0) {
                return 0;
            }
            return static_cast<std::uint64_t>(ftello(stream));
        }
        // The last `length` bytes were compared as a whole. Taking back one byte less than them
        // keeps every match across the bound of two blocks, and gets on even where the block is no
        // longer than the needle, as it may be at the end of the stream.
        static_cast<void>(fseeko(stream, 1 - static_cast<off_t>(length), SEEK_CUR));
    }
}

bool CopyStreamRange(std::FILE* in, std::FILE* out, std::uint64_t from, std::uint64_t to) {
    std::uint64_t left = RangeLength(in, from, to);
    if (!SeekTo(in, from)) {
        return true;
    }
    Block block;
    while (left > 0) {
        const std::size_t got =
            std::fread(block.data(), 1, std::min<std::uint64_t>(left, block.size()), in);
        if (got == 0) {
            break;
        }
        static_cast<void>(std::fwrite(block.data(), got, 1, out));
        left -= got;
    }
    return true;
}

bool ReadStreamRange(std::FILE* stream, void* buffer, std::size_t capacity, std::uint64_t from,
                     std::uint64_t to) {
    const std::uint64_t length = RangeLength(stream, from, to);
    if (length > capacity) {
        return false;
    }
    if (!SeekTo(stream, from)) {
        return true;
    }
    std::uint64_t done = 0;
    while (done < length) {
        const std::size_t got = std::fread(static_cast<char*>(buffer) + done, 1,
                                           std::min(length - done, kBlockSize), stream);
        if (got == 0) {
            break;
        }
        done += got;
    }
    return true;
}

}  // namespace MiscUtils
