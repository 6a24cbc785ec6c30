#include "capture/compression.h"

namespace velora::capture {

const char* NameOf(Compression compression) {
    switch (compression) {
        case Compression::kNone:
            return "none";
        case Compression::kGzip:
            return "gzip";
        case Compression::kBzip2:
            return "bzip2";
        case Compression::kXz:
            return "xz";
        case Compression::kZstd:
            return "zstd";
        case Compression::kLz4:
            return "lz4";
    }
    return "unknown";
}

}  // namespace velora::capture
