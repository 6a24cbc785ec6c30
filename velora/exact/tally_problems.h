// What the counts of an input mean for whoever trusts the output.

#pragma once

#include <cstdint>
#include <vector>

#include "velora/capture/problem.h"
#include "velora/merge/input_tally.h"

namespace velora::exact {

// One problem for each count that is not zero, in words. `linkType` is the output's.
[[nodiscard]] std::vector<capture::Problem> ProblemsOf(const merge::InputTally& tally,
                                                       std::uint32_t linkType);

}  // namespace velora::exact
