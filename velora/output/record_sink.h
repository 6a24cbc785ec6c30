// RecordSink: where chosen records go, one after the other. A form of an output is one
// (ClassicSink, PcapNgSink), and so is what stands in front of it and lets records pass, drops or
// adds some.
//
// A sink knows a record's source by its number alone, and nothing of how records are chosen. One
// thread uses it.

#pragma once

#include <cstdint>
#include <span>

#include "velora/capture/record.h"
#include "velora/capture/record_block.h"
#include "velora/codec/byte_sink.h"

namespace velora::output {

// A chosen record. Borrowed: it lives as long as the call that it is given to.
struct Item {
    const capture::Record* record = nullptr;  // as it was captured
    std::uint32_t source = 0;                 // counts the sources of the run
    std::int64_t time = 0;                    // as it is to be written, nanoseconds since 1970
    bool isCopy = false;                      // made of a record that was written; counted apart
};

// What a source has among its records that is no record.
struct CarriedBlock {
    std::uint32_t source = 0;                                  // counts the sources of the run
    std::span<const capture::DescribedInterfaces> interfaces;  // that it describes here
};

class RecordSink {
 public:
    RecordSink() = default;
    virtual ~RecordSink() = default;
    RecordSink(const RecordSink&) = delete;
    RecordSink& operator=(const RecordSink&) = delete;

    // Takes a record, with those of its bytes that the output keeps. Put is false once the output
    // has failed: nothing further is of use then, and Finish tells why.
    [[nodiscard]] virtual bool Put(const Item& item, std::span<const std::uint8_t> kept) = 0;

    // Takes what stands in front of the source's next record.
    [[nodiscard]] virtual bool Put(const CarriedBlock& carried) = 0;

    // No record comes any more: has everything written, and tells what became of the output. Called
    // once, last.
    [[nodiscard]] virtual codec::OutputOutcome Finish() = 0;
};

}  // namespace velora::output
