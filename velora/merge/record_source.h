// RecordSource: the records of one input, one after the other, in the order in which they are to be
// chosen. How far it puts them in order itself is what kinds of it differ in.
//
// A source knows nothing of other sources or of the output. What its input has among the records
// that is none (descriptions of interfaces) it gives out in between.
//
//     for (auto step = source.Advance(); step != Step::kEnd; step = source.Advance()) {
//         step == Step::kRecord ? Use(source.Current()) : Note(source.Carried());
//     }
//
// Records lie in runs, in blocks, in order for the most part: going on in a run costs a comparison,
// and all else is the virtual Choose's. One thread uses a source.

#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "velora/capture/record_block.h"

namespace velora::merge {

class RecordSource {
 public:
    // What stands next.
    enum class Step : std::uint8_t {
        kRecord,   // see Current
        kCarried,  // see Carried
        kEnd,      // nothing any more
    };

    RecordSource() = default;
    virtual ~RecordSource() = default;
    RecordSource(const RecordSource&) = delete;
    RecordSource& operator=(const RecordSource&) = delete;

    // Goes on, to what is first at the beginning; waits for it. Not behind the end. Throws
    // std::bad_alloc.
    [[nodiscard]] Step Advance() {
        if (m_Run != nullptr) {
            m_Run->Advance();
            if (m_IsAlone && !m_Run->AtEnd() && m_Run->Current().time >= m_Time) {
                m_Time = m_Run->Current().time;
                return Step::kRecord;
            }
        }
        return Choose();
    }

    // After kRecord, until the next Advance.
    [[nodiscard]] const capture::Record& Current() const { return m_Run->Current(); }

    // After kCarried, until the next Advance.
    [[nodiscard]] std::span<const capture::DescribedInterfaces> Carried() const {
        return m_Carried;
    }

 protected:
    // Finds out what stands next, where going on in the run does not tell: there is none, it is at
    // its end, it steps back in time, or it is not alone. Sets m_Run to where a record stands, and
    // to null where none does.
    [[nodiscard]] virtual Step Choose() = 0;

    capture::BlockCursor* m_Run = nullptr;  // stands on the record that was given last
    bool m_IsAlone = false;                 // nothing else has a record that could come first
    std::int64_t m_Time = std::numeric_limits<std::int64_t>::min();  // of the record given last,
                                                                     // or of the latest so far
    std::vector<capture::DescribedInterfaces> m_Carried;
};

}  // namespace velora::merge
