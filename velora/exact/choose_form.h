// What an output is like follows from all its inputs together, and from what was asked for.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "velora/capture/capture_traits.h"
#include "velora/exact/job.h"
#include "velora/output/output_form.h"

namespace velora::exact {

// Of sources, in the order named, at least one.
[[nodiscard]] output::OutputForm ChooseForm(std::span<const capture::CaptureTraits> sources,
                                            const ExactJob& job);

// The first source that has a record, or, where none has, the first.
[[nodiscard]] std::size_t LeadingSource(std::span<const capture::CaptureTraits> sources);

// A source whose records have no place in an output of that form, if there is one: classic captures
// have one link type, that of the leading source, and pcap-ng has no room for one above 65535.
[[nodiscard]] std::optional<std::size_t> FindMisfit(std::span<const capture::CaptureTraits> sources,
                                                    const output::OutputForm& form);

}  // namespace velora::exact
