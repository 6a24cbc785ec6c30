// Captures for any language that can call C: built as a shared library (capture_shim.py calls it).
#include <cstdint>
#include <memory>

#include <velora/capture/capture_reader.h>

using velora::capture::CaptureReader;

struct ShimRecord {
    std::int64_t time;  // nanoseconds since 1970
    std::uint32_t captured, original, linkType;
    const std::uint8_t* data;  // until the next call
};

extern "C" {  // no exception gets out: without memory the program ends

// A reader for the capture at `path`, to be closed in any case.
CaptureReader* shim_open(const char* path) noexcept {
    auto reader = std::make_unique<CaptureReader>();
    static_cast<void>(reader->Open(path));  // shim_problem tells
    return reader.release();
}

// Whether there is a next record.
bool shim_next(CaptureReader* reader, ShimRecord* to) noexcept {
    const velora::capture::Record* const record = reader->Next();
    if (record != nullptr) {
        *to = {record->time, record->capturedLength, record->originalLength,
               record->interface->linkType, record->data};
    }
    return record != nullptr;
}

// What is wrong, once there is no next record, or null.
const char* shim_problem(const CaptureReader* reader) noexcept {
    return reader->GetProblem() ? reader->GetProblem()->text.c_str() : nullptr;
}

void shim_close(CaptureReader* reader) noexcept {
    std::unique_ptr<CaptureReader>{reader}.reset();
}
}
