// DuplicateFilter: lets a record pass unless it equals one that passed shortly before
// (velora/merge/duplicate_window.h). Those that it keeps back are counted.

#pragma once

#include <cstdint>

#include "velora/merge/duplicate_window.h"
#include "velora/output/ledger.h"
#include "velora/output/record_sink.h"
#include "velora/utils/api.h"

namespace velora::merge {

class VELORA_API DuplicateFilter final : public output::RecordSink {
 public:
    // `width` in nanoseconds. What is borrowed outlives the filter.
    DuplicateFilter(std::int64_t width, output::RecordSink& next, output::Ledger& ledger)
        : m_Window(width), m_Next(next), m_Ledger(ledger) {}

    [[nodiscard]] bool Put(const output::Item& item, std::span<const std::uint8_t> kept) override;
    [[nodiscard]] bool Put(const output::CarriedBlock& carried) override {
        return m_Next.Put(carried);
    }
    [[nodiscard]] codec::OutputOutcome Finish() override { return m_Next.Finish(); }

 private:
    DuplicateWindow m_Window;
    output::RecordSink& m_Next;
    output::Ledger& m_Ledger;
    bool m_HasTold = false;  // that the window had to forget
};

}  // namespace velora::merge
