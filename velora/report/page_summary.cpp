#include "velora/report/page_summary.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "velora/report/report_text.h"
#include "velora/utils/plain_words.h"
#include "velora/utils/saturating.h"

namespace velora::report {
namespace {

using output::SourceCounts;

constexpr Literal kCross = R"(<circle cx="10" cy="10" r="9"/><path d="M7 7l6 6M13 7l-6 6"/>)";
constexpr Literal kHook = R"(<circle cx="10" cy="10" r="9"/><path d="M6 10.5l3 3 5-6"/>)";
constexpr Literal kTriangle = R"(<path d="M10 2L1.5 17h17z"/><path d="M10 8v4M10 14.5v.1"/>)";

struct Verdict {
    const char* style;
    Literal icon;
    const char* word;
    std::string text;
};

// What the run did, in a few words: "merged by time from 5 inputs".
std::string WorkText(const exact::RunSetting& setting, const exact::RunReport& report) {
    const std::string inputs = GroupedCountText(report.inputs.size(), "input");
    if (!report.IsWritten()) {
        return std::string(NameOf(setting.job.mode)) + " of " + inputs;
    }
    switch (setting.job.mode) {
        case exact::Mode::kMerge:
            return "merged by time from " + inputs;
        case exact::Mode::kConcatenate:
            return inputs + ", one behind the other";
        case exact::Mode::kSquish:
            return "squished from " + inputs + ", all moved to a common start";
        case exact::Mode::kSquish10:
            return "squished from " + inputs + ", with ten copies of each local IPv4 packet";
    }
    return {};
}

Verdict VerdictOf(const exact::RunSetting& setting, const exact::RunReport& report) {
    if (report.status == exact::Status::kComplete) {
        const bool isOrdered = setting.job.mode == exact::Mode::kMerge;
        return {"good", kHook, "Complete",
                std::string("every record that was asked for is in the output") +
                    (isOrdered ? ", in time order" : "")};
    }
    if (report.status == exact::Status::kIncomplete) {
        return {"warn", kTriangle, "Incomplete",
                "written, but something is missing, doubtful or out of place: it is named below"};
    }
    std::string_view text = report.outputText;
    constexpr std::string_view kSame = "not written: ";
    text.remove_prefix(text.starts_with(kSame) ? kSame.size() : 0);
    return {"bad", kCross, report.IsWritten() ? "Written elsewhere" : "Not written",
            std::string(text)};
}

void AddFact(Markup& html, const Literal& name, const std::string& value, const std::string& more) {
    html.Add("div", [&] {
        html.Add("dt", name.Text());
        html.Add("dd", value);
        html.Add("dd", more);
    });
}

std::string WrittenOfText(const exact::RunReport& report) {
    const std::uint64_t copies = report.Sum(&SourceCounts::copies);
    const std::uint64_t outside = report.Sum(&SourceCounts::recordsOutside);
    return (copies > 0 ? GroupedText(copies) + " of them copies"
                       : "of " + GroupedText(report.Sum(&SourceCounts::recordsRead)) + " read") +
           (outside > 0 ? ", " + GroupedText(outside) + " outside the times asked for" : "");
}

}  // namespace

void AddVerdict(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report) {
    html.Add("p", {{"class", "under"}}, WorkText(setting, report));
    const Verdict verdict = VerdictOf(setting, report);
    html.Add("p", {{"class", std::string("verdict ") + verdict.style}}, [&] {
        html.AddLiteral(R"(<svg width="20" height="20" viewBox="0 0 20 20" aria-hidden="true">)");
        html.AddLiteral(verdict.icon);
        html.AddLiteral("</svg>");
        html.Add("span", [&] {
            html.Add("b", verdict.word);
            html.AddText(" \u2013 " + verdict.text + " ");
            html.Add("small", "(status " + std::to_string(static_cast<int>(report.status)) + ")");
        });
    });
}

void AddFacts(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report) {
    const bool isWritten = report.IsWritten();
    const double seconds = std::max(1e-9, static_cast<double>(setting.duration) / 1e9);
    const double perSecond = static_cast<double>(report.recordsWritten) / seconds;
    std::uint64_t unread = 0;
    std::uint64_t bytesRead = 0;
    for (const exact::InputReport& input : report.inputs) {
        unread += input.isCapture ? 0 : 1;
        bytesRead += input.bytesOnDisk;
    }
    html.Add("dl", {{"class", "facts"}}, [&] {
        AddFact(html, "Records written", GroupedText(isWritten ? report.recordsWritten : 0),
                WrittenOfText(report));
        AddFact(html, "Size", isWritten ? SizeText(report.bytesWritten) : kNothing,
                "from " + SizeText(bytesRead) + " on disk");
        if (isWritten && report.earliest && report.latest) {
            const auto span = MiscUtils::SaturatingDifference(*report.latest, *report.earliest);
            AddFact(html, "Time span", SpanText(static_cast<double>(span)),
                    "from " + utils::UtcText(*report.earliest));
        } else {
            AddFact(html, "Time span", kNothing, "no records");
        }
        AddFact(html, "Inputs", GroupedText(report.inputs.size()),
                unread == 0 ? "all read" : GroupedText(unread) + " not read");
        AddFact(html, "Duration", SpanText(static_cast<double>(setting.duration)),
                isWritten ? GroupedText(static_cast<std::uint64_t>(perSecond)) + " records/s" : "");
    });
}

}  // namespace velora::report
