#include "velora/exact/choose_form.h"

#include <algorithm>

#include "velora/formats/link_types.h"
#include "velora/output/pcapng_encoder.h"

namespace velora::exact {
namespace {

using capture::CaptureTraits;
using capture::Format;

constexpr std::uint32_t kLeastSnapLen = 262144;

// What all sources with records say of frame check sequences, where they agree.
std::uint32_t CommonFcsBits(std::span<const CaptureTraits> sources) {
    const CaptureTraits& leading = sources[LeadingSource(sources)];
    const bool doAgree = std::ranges::all_of(sources, [&](const CaptureTraits& source) {
        return !source.hasRecord || source.fcsBits == leading.fcsBits;
    });
    return leading.hasRecord && doAgree ? leading.fcsBits : 0;
}

Format FormatFor(std::span<const CaptureTraits> sources, OutputFormat format) {
    switch (format) {
        case OutputFormat::kFitting:
            break;
        case OutputFormat::kPcap:
            return Format::kClassicMicroseconds;
        case OutputFormat::kPcapNanoseconds:
            return Format::kClassicNanoseconds;
        case OutputFormat::kPcapNg:
            return Format::kPcapNg;
    }
    return std::ranges::any_of(sources, &CaptureTraits::isFinerThanMicroseconds)
               ? Format::kClassicNanoseconds
               : Format::kClassicMicroseconds;
}

}  // namespace

std::size_t LeadingSource(std::span<const CaptureTraits> sources) {
    const auto leading = std::ranges::find_if(sources, &CaptureTraits::hasRecord);
    return leading != sources.end() ? static_cast<std::size_t>(leading - sources.begin()) : 0;
}

output::OutputForm ChooseForm(std::span<const CaptureTraits> sources, const ExactJob& job) {
    output::OutputForm form;
    form.format = FormatFor(sources, job.format);
    form.cutsFinerTimes = job.format == OutputFormat::kPcap;
    form.linkType =
        sources[LeadingSource(sources)].linkType.value_or(formats::link_type::kEthernet);
    form.fcsBits = CommonFcsBits(sources);
    form.snapLen = kLeastSnapLen;
    for (const CaptureTraits& source : sources) {
        form.snapLen = std::max(form.snapLen, source.snapLen);
    }
    if (job.snapLen > 0) {
        form.snapLen = form.mostBytes = job.snapLen;
    }
    return form;
}

std::optional<std::size_t> FindMisfit(std::span<const CaptureTraits> sources,
                                      const output::OutputForm& form) {
    const auto misfit = std::ranges::find_if(sources, [&](const CaptureTraits& source) {
        if (!source.hasRecord) {
            return false;
        }
        return form.IsPcapNg() ? !output::PcapNgEncoder::Holds(*source.linkType)
                               : *source.linkType != form.linkType;
    });
    if (misfit == sources.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(misfit - sources.begin());
}

}  // namespace velora::exact
