// RecordIterator: the steps of a range-based for over whatever gives records one by one.

#pragma once

#include <cstddef>
#include <iterator>

#include "velora/capture/record.h"

namespace velora::capture {

// `Records` has Next(), which gives the next record or null, as CaptureReader does. It outlives the
// iterator, and a record is good until the next step.
template <typename Records>
class RecordIterator {
 public:
    // As std::input_iterator has them.
    using value_type = Record;
    using difference_type = std::ptrdiff_t;

    // Takes the first record of those that are left.
    explicit RecordIterator(Records& records) : m_Records(&records), m_Record(records.Next()) {}

    // The record at hand. Not at the end.
    const Record& operator*() const { return *m_Record; }
    const Record* operator->() const { return m_Record; }
    // On to the next one.
    RecordIterator& operator++() {
        m_Record = m_Records->Next();
        return *this;
    }
    void operator++(int) { ++*this; }
    // There is none any more.
    bool operator==(std::default_sentinel_t /*end*/) const { return m_Record == nullptr; }

 private:
    Records* m_Records;
    const Record* m_Record;
};

}  // namespace velora::capture
