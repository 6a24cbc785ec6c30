// OrderedMerge: the records of many captures in the order of time, one by one.
//
// Example:
//     OrderedMerge merge({"eth0.pcap.gz", "eth1.pcapng", ByteSource::Descriptor(socket)});
//     for (const capture::Record& record : merge) {
//         Use(record, merge.Source());
//     }
//     if (!merge.IsComplete()) {
//         for (const SourceProblem& problem : merge.Problems()) {
//             std::cerr << problem.source << ": " << problem.problem.text << '\n';
//         }
//     }
//
// Records come by time to the nanosecond; of equal times that of the source named first, and within
// a source as they stand in it. A source that is not in order itself is put in order as far as two
// of its blocks reach (64 MiB for all sources together, 16 KiB to 1 MiB a block); records that
// belong further back are given all the same, and counted as out of place. Formats, link types and
// compressions may differ from source to source: record.interface tells what a record is from. No
// failure of one source ends the others.
//
// A record is given when it is known that no source has an earlier one: so each source is read by
// whole blocks, and one that gives nothing holds the others. What was read and not given when a
// stop comes is not given. Each file, pipe or socket takes a descriptor until it is read.
//
// Every source is read ahead in threads of the object's own. Pipes, sockets and devices are waited
// for together, without a thread each. A function that waits for its bytes holds one of as many
// threads as there are processors, or the one that takes the records, and a stop, or the end of the
// object, waits with it: let it wait for a moment at most, or hand a descriptor over instead.
//
// An object belongs to one thread at a time; the stop may be asked for in any. It can be moved.

#pragma once

#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <stop_token>
#include <vector>

#include "velora/capture/byte_source.h"
#include "velora/capture/capture_traits.h"
#include "velora/capture/extras.h"
#include "velora/capture/problem.h"
#include "velora/capture/record.h"
#include "velora/capture/record_iterator.h"
#include "velora/utils/api.h"

namespace velora::merge {

// Which records are wanted, and for how long.
struct MergeOptions {
    // Whether a record, of the source of that number, is to be given; none: all are. Called in the
    // thread that takes the records, once for each that the times below let pass, in order. What it
    // throws passes through; the next step goes on behind that record.
    std::function<bool(const capture::Record& record, std::uint32_t source)> accepts{};
    // Only records with earliest <= time <= latest, in nanoseconds since 1970.
    std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
    std::int64_t latest = std::numeric_limits<std::int64_t>::max();
    // Ends the merge within a tenth of a second, also while it waits for a silent pipe.
    std::stop_token stop{};
};

// What is wrong with one source.
struct SourceProblem {
    std::uint32_t source = 0;    // its number
    capture::Problem problem{};  // what, and where
};

class VELORA_API OrderedMerge {
 public:
    // Sources are numbered from 0 in the order in which they are named here, which decides between
    // equal times. Opens them, begins to read, and waits for the first block of each: by then it is
    // known which are captures, unless a stop came before. Throws std::system_error when the system
    // gives no thread, and std::bad_alloc.
    explicit OrderedMerge(const std::vector<capture::ByteSource>& sources,
                          MergeOptions options = {});
    // Ends the reading, wherever it is.
    ~OrderedMerge();
    OrderedMerge(OrderedMerge&& other) noexcept;  // which can only be assigned to then
    OrderedMerge& operator=(OrderedMerge&& other) noexcept;
    OrderedMerge(const OrderedMerge&) = delete;
    OrderedMerge& operator=(const OrderedMerge&) = delete;

    // The next record, which lives until the next step, or null: there is none further, or the
    // merge was stopped. Waits for it. Throws std::bad_alloc, after which there is none further
    // either.
    [[nodiscard]] const capture::Record* Next();

    // The source of the record that was given last.
    [[nodiscard]] std::uint32_t Source() const;

    // What was found to be wrong so far, and notes. Once there is no further record, all there is:
    // sources that are no captures or end in damage, records out of place, files that changed
    // meanwhile. What a stop has cut off is no problem of its source.
    [[nodiscard]] const std::vector<SourceProblem>& Problems() const;

    // What the capture says of itself, known from the beginning; null for a source that is none.
    [[nodiscard]] const capture::CaptureTraits* Traits(std::uint32_t source) const;

    // What was met in the source so far and is not given out: comments, names, secrets, other
    // blocks.
    [[nodiscard]] const capture::Extras& NotGiven(std::uint32_t source) const;

    // It ended because it was to stop.
    [[nodiscard]] bool IsStopped() const;

    // The promise, once there is no further record: every record of every source was given that was
    // asked for, in the order of time. Nothing but notes is among the problems then.
    [[nodiscard]] bool IsComplete() const;

    // The records from the next one on, once: begin() takes it.
    using Iterator = capture::RecordIterator<OrderedMerge>;
    // For range-based for.
    [[nodiscard]] Iterator begin() { return Iterator(*this); }
    [[nodiscard]] std::default_sentinel_t end() const { return {}; }

 private:
    struct State;

    std::unique_ptr<State> m_State;
};

}  // namespace velora::merge
