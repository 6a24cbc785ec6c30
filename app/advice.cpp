#include "app/advice.h"

using velora::codec::Refusal;

namespace {

// Writes the decompressed bytes of FILE to its standard output.
const char* CommandFor(Refusal refusal) {
    switch (refusal) {
        case Refusal::kLegacyLz4:
            return "lz4 -dc FILE";
        case Refusal::kLargeXzDictionary:
            return "xz -dc FILE";
        case Refusal::kLargeZstdWindow:
            return "zstd -dc --long=31 FILE";
        case Refusal::kNone:
            break;
    }
    return nullptr;
}

}  // namespace

std::string AdviceFor(const velora::capture::Problem& problem) {
    const char* const command = CommandFor(problem.refusal);
    return command == nullptr
               ? ""
               : std::string(": '") + command + " | seamtool --exact - ...' reads it";
}
