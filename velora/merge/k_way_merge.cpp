#include "velora/merge/k_way_merge.h"

#include <optional>
#include <vector>

#include "velora/utils/tournament_tree.h"

namespace velora::merge {

bool MergeByTime(std::span<InputOrder> inputs, RecordWriter& output, DuplicateWindow* window) {
    std::vector<std::optional<std::int64_t>> times;
    times.reserve(inputs.size());
    for (const InputOrder& input : inputs) {
        times.push_back(input.AtEnd() ? std::nullopt : std::optional(input.Current().time));
    }
    for (MiscUtils::TournamentTree tree(times); !tree.Empty();) {
        InputOrder& input = inputs[tree.Winner()];
        if (window != nullptr && window->Repeats(output.AsWritten(input))) {
            input.Tally().duplicates += 1;
        } else if (!output.Write(input, input.Current().time)) {
            return false;
        }
        input.Advance();
        if (input.AtEnd()) {
            tree.Remove();
        } else {
            tree.Replace(input.Current().time);
        }
    }
    return true;
}

bool Concatenate(std::span<InputOrder> inputs, RecordWriter& output) {
    for (InputOrder& input : inputs) {
        for (; !input.AtEnd(); input.Advance()) {
            if (!output.Write(input, input.Current().time)) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace velora::merge
