#include "velora/exact/count_problems.h"

#include <string>

#include "velora/formats/link_types.h"
#include "velora/utils/plain_words.h"

namespace velora::exact {

using capture::Problem;
using capture::ProblemKind;

std::vector<Problem> ProblemsOf(const output::SourceCounts& counts,
                                const capture::CaptureTraits& traits,
                                const output::OutputForm& form) {
    std::vector<Problem> problems;
    const auto add = [&problems](ProblemKind kind, std::uint64_t count, const std::string& what) {
        if (count > 0) {
            problems.push_back({kind, utils::CountText(count, "record") + " " + what, count, 0});
        }
    };
    const auto note = [&problems](bool isSo, const char* text) {
        if (isSo) {
            problems.push_back({ProblemKind::kNote, text, 0, 0});
        }
    };
    add(ProblemKind::kLeftOut, counts.recordsLeftOut,
        "left out: link type " + formats::link_type::Shown(counts.leftOutLinkType) +
            " does not fit the output's, " + formats::link_type::Shown(form.linkType));
    add(ProblemKind::kOutOfPlace, counts.outOfPlace,
        "out of place: written behind records that are later by up to " +
            utils::SecondsText(counts.largestStep));
    add(ProblemKind::kTimeChanged, counts.beforeEpoch, "from before 1970: written with time 0");
    add(ProblemKind::kTimeChanged, counts.beyondEnd,
        "from 2106 or later: written with the last time that the output can hold");
    add(ProblemKind::kTimeChanged, counts.roundedDown,
        "with times finer than the output's microseconds: rounded down");
    add(ProblemKind::kNote, counts.duplicates, "dropped: equal to records written before");
    if (counts.mayRepeat) {
        problems.push_back({ProblemKind::kMayRepeat,
                            "more is to be remembered than there is room for: from some record on, "
                            "duplicates of long ago may have been kept",
                            0, 0});
    }
    const capture::Extras& extras = counts.extras;
    note(extras.comments > 0 || extras.nameBlocks > 0 || extras.secretBlocks > 0,
         "names, secrets or comments in it are not taken over");
    note(counts.lacksInterfaces,
         "more interfaces than a section of the output holds: those that no packet names may be "
         "missing");
    note(traits.tellsFcsLength && !form.IsPcapNg() &&
             (form.fcsBits == 0 || form.fcsBits != traits.fcsBits),
         "the output does not tell how long its frame check sequences are");
    return problems;
}

}  // namespace velora::exact
