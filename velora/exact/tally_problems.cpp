#include "velora/exact/tally_problems.h"

#include <string>

#include "velora/formats/link_types.h"
#include "velora/utils/plain_words.h"

namespace velora::exact {

using capture::Problem;
using capture::ProblemKind;

std::vector<Problem> ProblemsOf(const merge::InputTally& tally, std::uint32_t linkType) {
    std::vector<Problem> problems;
    const auto add = [&problems](ProblemKind kind, std::uint64_t records, const std::string& what) {
        if (records > 0) {
            problems.push_back(
                {kind, utils::CountText(records, "record") + " " + what, records, 0});
        }
    };
    add(ProblemKind::kLeftOut, tally.recordsLeftOut,
        "left out: link type " + LinkType::Shown(tally.leftOutLinkType) +
            " does not fit the output's, " + LinkType::Shown(linkType));
    add(ProblemKind::kOutOfPlace, tally.outOfPlace,
        "out of place: written behind records that are later by up to " +
            utils::SecondsText(tally.largestStep));
    add(ProblemKind::kTimeChanged, tally.beforeEpoch, "from before 1970: written with time 0");
    add(ProblemKind::kTimeChanged, tally.beyondEnd,
        "from 2106 or later: written with the last time that the output can hold");
    add(ProblemKind::kTimeChanged, tally.roundedDown,
        "with times finer than the output's microseconds: rounded down");
    add(ProblemKind::kNote, tally.duplicates, "dropped: equal to records written before");
    if (tally.hasDropped) {
        problems.push_back(
            {ProblemKind::kNote, "names, secrets or comments in it are not taken over", 0, 0});
    }
    return problems;
}

}  // namespace velora::exact
