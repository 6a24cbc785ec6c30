#include "velora/merge/ordered_merge.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "velora/input/input_set.h"
#include "velora/input/open_files.h"
#include "velora/merge/k_way_merge.h"
#include "velora/merge/reorder_window.h"
#include "velora/output/ledger.h"
#include "velora/utils/plain_words.h"

namespace velora::merge {

using capture::Problem;
using capture::ProblemKind;

struct OrderedMerge::State {
    State(std::span<const capture::ByteSource> sources, MergeOptions wanted)
        : options(std::move(wanted)),
          opened(input::OpenAll(sources, options.stop)),
          problems(FailuresOf(opened)),
          inputs(
              std::move(opened.files), input::BlockPlan::For(sources.size()), ReaderOptions(),
              progress.bytesRead,
              [this](std::size_t file, bool /*isSource*/, const Problem& problem) {
                  Add(opened.inputOf[file], problem);
              },
              options.stop),
          ledger(inputs.Sources().size(), progress),
          traits(sources.size()) {
        for (const input::InputSet::Source& source : inputs.Sources()) {
            const std::size_t input = opened.inputOf[source.file];
            windows.push_back(std::make_unique<ReorderWindow>(
                inputs, static_cast<std::uint32_t>(windows.size()), ledger));
            numberOf.push_back(static_cast<std::uint32_t>(input));
            traits[input] = source.traits;
        }
        merge.emplace(windows);
    }

    static std::vector<SourceProblem> FailuresOf(const input::OpenFiles& opened) {
        std::vector<SourceProblem> problems;
        for (const auto& [input, problem] : opened.failures) {
            problems.push_back({static_cast<std::uint32_t>(input), problem});
        }
        return problems;
    }

    [[nodiscard]] capture::BlockReader::Options ReaderOptions() const {
        capture::BlockReader::Options reading;
        reading.ordersBlocks = true;
        reading.keepsAllLinkTypes = true;
        reading.keepsInterfaceNames = true;
        reading.earliest = options.earliest;
        reading.latest = options.latest;
        return reading;
    }

    void Add(std::size_t source, const Problem& problem) {
        problems.push_back({static_cast<std::uint32_t>(source), problem});
    }

    [[nodiscard]] bool Accepts(const capture::Record& record) const {
        return !options.accepts || options.accepts(record, numberOf[merge->Source()]);
    }

    // There is no further record: what can only be said of a source as a whole.
    void Conclude() {
        for (std::uint32_t source = 0; source < windows.size(); ++source) {
            const std::uint32_t number = numberOf[source];
            const output::SourceCounts& counts = ledger.Of(source);
            if (counts.outOfPlace > 0) {
                Add(number, {ProblemKind::kOutOfPlace,
                             utils::CountText(counts.outOfPlace, "record") +
                                 " out of place: given behind records that are later by up to " +
                                 utils::SecondsText(counts.largestStep),
                             counts.outOfPlace, 0});
            }
            if (const std::optional<Problem> change = inputs.Change(source)) {
                Add(number, *change);
            }
        }
        isStopped = options.stop.stop_requested();
        isComplete = !isStopped && std::ranges::none_of(problems, [](const SourceProblem& one) {
            return one.problem.kind != ProblemKind::kNote;
        });
    }

    MergeOptions options;
    input::OpenFiles opened;  // without the files, which the set has
    std::vector<SourceProblem> problems;
    output::RunProgress progress;
    input::InputSet inputs;
    output::Ledger ledger;
    std::vector<std::uint32_t> numberOf;  // by number in the set; what follows but one as well
    std::vector<std::unique_ptr<RecordSource>> windows;
    std::vector<std::optional<capture::CaptureTraits>> traits;  // by the caller's numbers
    std::optional<KWayMerge> merge;
    bool isOver = false;
    bool isStopped = false;
    bool isComplete = false;
};

OrderedMerge::OrderedMerge(const std::vector<capture::ByteSource>& sources, MergeOptions options)
    : m_State(std::make_unique<State>(sources, std::move(options))) {}

OrderedMerge::~OrderedMerge() = default;
OrderedMerge::OrderedMerge(OrderedMerge&& other) noexcept = default;
OrderedMerge& OrderedMerge::operator=(OrderedMerge&& other) noexcept = default;

const capture::Record* OrderedMerge::Next() {
    State& state = *m_State;
    while (!state.isOver) {
        state.isOver = true;  // should an exception end this, nothing more can be read
        const KWayMerge::Step step =
            state.options.stop.stop_requested() ? KWayMerge::Step::kEnd : state.merge->Advance();
        if (step == KWayMerge::Step::kEnd) {
            state.Conclude();
            return nullptr;
        }
        state.isOver = false;
        if (step == KWayMerge::Step::kRecord && state.Accepts(state.merge->Current())) {
            return &state.merge->Current();
        }
    }
    return nullptr;
}

std::uint32_t OrderedMerge::Source() const {
    return m_State->numberOf[m_State->merge->Source()];
}

const std::vector<SourceProblem>& OrderedMerge::Problems() const {
    return m_State->problems;
}

const capture::CaptureTraits* OrderedMerge::Traits(std::uint32_t source) const {
    const auto& traits = m_State->traits[source];
    return traits ? &*traits : nullptr;
}

const capture::Extras& OrderedMerge::NotGiven(std::uint32_t source) const {
    static const capture::Extras kNone;
    const auto known = std::ranges::find(m_State->numberOf, source);
    const auto at = static_cast<std::uint32_t>(known - m_State->numberOf.begin());
    return known != m_State->numberOf.end() ? m_State->ledger.Of(at).extras : kNone;
}

bool OrderedMerge::IsStopped() const {
    return m_State->isStopped;
}

bool OrderedMerge::IsComplete() const {
    return m_State->isComplete;
}

}  // namespace velora::merge
