#include "velora/exact/write_records.h"

#include <algorithm>
#include <memory>
#include <thread>
#include <utility>

#include "velora/merge/address_copier.h"
#include "velora/merge/duplicate_filter.h"
#include "velora/merge/file_order.h"
#include "velora/merge/k_way_merge.h"
#include "velora/merge/reorder_window.h"
#include "velora/merge/squish.h"
#include "velora/output/form_writer.h"

namespace velora::exact {
namespace {

using output::RecordSink;

std::vector<std::unique_ptr<merge::RecordSource>> MakeSources(const ExactJob& job,
                                                              input::InputSet& inputs,
                                                              output::Ledger& ledger) {
    std::vector<std::unique_ptr<merge::RecordSource>> sources;
    for (std::uint32_t number = 0; number < inputs.Sources().size(); ++number) {
        if (job.mode == Mode::kMerge) {
            sources.push_back(std::make_unique<merge::ReorderWindow>(inputs, number, ledger));
        } else {
            sources.push_back(std::make_unique<merge::FileOrder>(inputs, number, ledger));
        }
    }
    return sources;
}

// What stands in front of the form, or nothing.
std::unique_ptr<RecordSink> MakeFilterSink(const ExactJob& job, RecordSink& next,
                                           output::Ledger& ledger) {
    if (job.duplicateWindow) {
        return std::make_unique<merge::DuplicateFilter>(*job.duplicateWindow, next, ledger);
    }
    if (job.mode == Mode::kSquish10) {
        return std::make_unique<merge::AddressCopier>(next);
    }
    return nullptr;
}

// Lets records pass until a stop is asked for, whatever the inputs still hold.
class StopSink final : public RecordSink {
 public:
    StopSink(const std::stop_token& stop, RecordSink& next) : m_Stop(stop), m_Next(next) {}

    [[nodiscard]] bool Put(const output::Item& item, std::span<const std::uint8_t> kept) override {
        return !m_Stop.stop_requested() && m_Next.Put(item, kept);
    }
    [[nodiscard]] bool Put(const output::CarriedBlock& carried) override {
        return m_Next.Put(carried);
    }
    [[nodiscard]] codec::OutputOutcome Finish() override { return m_Next.Finish(); }

 private:
    const std::stop_token& m_Stop;
    RecordSink& m_Next;
};

[[nodiscard]] bool PutAll(Mode mode, merge::Sources sources, std::uint32_t mostBytes,
                          RecordSink& sink) {
    switch (mode) {
        case Mode::kMerge:
            return merge::MergeByTime(sources, mostBytes, sink);
        case Mode::kConcatenate:
            return merge::Concatenate(sources, mostBytes, sink);
        case Mode::kSquish:
        case Mode::kSquish10:
            return merge::Squish(sources, mostBytes, sink);
    }
    return false;
}

}  // namespace

std::optional<codec::OutputOutcome> WriteRecords(const ExactJob& job,
                                                 const output::OutputForm& form,
                                                 input::InputSet& inputs,
                                                 std::vector<std::string> names,
                                                 output::OutputFile& file, output::Ledger& ledger,
                                                 const std::stop_token& stop) {
    output::FormWriter writer(file,
                              {job.compression, std::max(1U, std::thread::hardware_concurrency())},
                              form, std::move(names), ledger);
    const auto filterSink = MakeFilterSink(job, writer.Sink(), ledger);
    RecordSink* sink = filterSink ? filterSink.get() : &writer.Sink();
    StopSink stopSink(stop, *sink);
    if (stop.stop_possible()) {  // else it need not be asked for each record
        sink = &stopSink;
    }
    const auto sources = MakeSources(job, inputs, ledger);
    static_cast<void>(PutAll(job.mode, sources, form.mostBytes, *sink));  // Finish tells
    if (stop.stop_requested()) {
        return std::nullopt;
    }
    return sink->Finish();
}

}  // namespace velora::exact
