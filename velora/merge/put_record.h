// What every order of records does with a source and a sink.

#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "velora/merge/record_source.h"
#include "velora/output/record_sink.h"

namespace velora::merge {

// The sources of a run, by number: what decides between equal times.
using Sources = std::span<const std::unique_ptr<RecordSource>>;

// Puts a record of the source of that number into the sink, with that time, and of its bytes
// `mostBytes` at most. False once the output has failed. `Sink` is RecordSink, or a kind of it that
// is named so that its operations need not be looked up for each record.
template <typename Sink>
[[nodiscard]] bool PutRecord(const capture::Record& record, std::uint32_t number, std::int64_t time,
                             std::uint32_t mostBytes, Sink& sink) {
    return sink.Put({&record, number, time},
                    {record.data, std::min(record.capturedLength, mostBytes)});
}

// Goes to the source's next record, and puts what stands in front of it into the sink. Whether
// there is one.
[[nodiscard]] inline bool AdvanceToRecord(RecordSource& source, std::uint32_t number,
                                          output::RecordSink& sink) {
    for (;;) {
        const RecordSource::Step step = source.Advance();
        if (step != RecordSource::Step::kCarried) {
            return step == RecordSource::Step::kRecord;
        }
        // Should it fail, so does the next record.
        static_cast<void>(sink.Put(output::CarriedBlock{number, source.Carried()}));
    }
}

// All sources to their first record; for each, whether there is one.
[[nodiscard]] inline std::vector<bool> Begin(Sources sources, output::RecordSink& sink) {
    std::vector<bool> haveRecords;
    haveRecords.reserve(sources.size());
    for (std::uint32_t number = 0; number < sources.size(); ++number) {
        haveRecords.push_back(AdvanceToRecord(*sources[number], number, sink));
    }
    return haveRecords;
}

}  // namespace velora::merge
