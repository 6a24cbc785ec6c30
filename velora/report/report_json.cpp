#include "velora/report/report_json.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "velora/formats/link_types.h"
#include "velora/utils/hex_text.h"
#include "velora/utils/plain_words.h"
#include "velora/utils/shown_text.h"

namespace velora::report {
namespace {

using Json = nlohmann::ordered_json;
using output::SourceCounts;

constexpr int kReportVersion = 1;

// A text as it is, where JSON can hold it; else all its bytes besides.
void PutText(Json& object, const std::string& name, const std::string& text) {
    object[name] = utils::Utf8Text(text);
    if (!utils::IsUtf8(text)) {
        object[name + "Bytes"] = MiscUtils::BytesToHex(text);
    }
}

void PutTexts(Json& object, const std::string& name, const std::vector<std::string>& texts) {
    Json& shown = object[name] = Json::array();
    std::ranges::transform(texts, std::back_inserter(shown), utils::Utf8Text);
    if (!std::ranges::all_of(texts, utils::IsUtf8)) {
        Json& bytes = object[name + "Bytes"] = Json::array();
        std::ranges::transform(texts, std::back_inserter(bytes), MiscUtils::BytesToHex);
    }
}

Json TimeOf(std::optional<std::int64_t> time) {
    if (!time) {
        return nullptr;
    }
    std::string text = utils::UtcText(*time, 9);
    text[text.find(' ')] = 'T';
    return text + "Z";
}

Json SecondsOf(std::int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e9;
}

void PutLinkType(Json& object, std::optional<std::uint32_t> linkType) {
    object["linkType"] = linkType ? Json(*linkType) : Json(nullptr);
    object["linkTypeText"] = linkType ? Json(formats::link_type::Shown(*linkType)) : Json(nullptr);
}

Json ProblemOf(const capture::Problem& problem) {
    Json object{{"kind", exact::NameOf(problem.kind)}};
    PutText(object, "text", problem.text);
    object["records"] = problem.records;
    object["offset"] = problem.offset;
    return object;
}

Json ProblemsOf(const exact::ProblemList& problems) {
    Json list = Json::array();
    std::ranges::transform(problems.All(), std::back_inserter(list), ProblemOf);
    return list;
}

Json InputOf(const exact::InputName& name, const exact::InputReport& report) {
    const bool isCapture = report.isCapture;
    const SourceCounts& counts = report.counts;
    Json input = Json::object();
    PutText(input, "path", name.path);
    input["isStandardInput"] = name.isStandardInput;
    input["isCapture"] = isCapture;
    input["format"] = isCapture ? Json(NameOf(report.traits.format)) : Json(nullptr);
    input["compression"] = isCapture ? Json(NameOf(report.traits.compression)) : Json(nullptr);
    PutLinkType(input, isCapture ? report.traits.linkType : std::nullopt);
    input["bytesOnDisk"] = report.isRegular ? Json(report.bytesOnDisk) : Json(nullptr);
    input["recordsRead"] = counts.recordsRead;
    input["recordsWritten"] = counts.recordsWritten;
    input["recordsLeftOut"] = counts.recordsLeftOut;
    input["recordsOutside"] = counts.recordsOutside;
    input["duplicatesDropped"] = counts.duplicates;
    input["copiesWritten"] = counts.copies;
    input["firstTime"] = TimeOf(counts.earliest);
    input["lastTime"] = TimeOf(counts.latest);
    input["stepsBack"] = counts.stepsBack;
    input["outOfPlace"] = counts.outOfPlace;
    input["largestStepSeconds"] = SecondsOf(counts.largestStep);
    input["problems"] = ProblemsOf(report.problems);
    input["moreProblems"] = Json::object();  // all stand above; a reader may still ask
    return input;
}

Json OutputOf(const exact::RunSetting& setting, const exact::RunReport& report) {
    const bool isWritten = report.IsWritten();
    Json output = Json::object();
    PutText(output, "path", setting.job.output);
    output["isStandardOutput"] = setting.job.output == "-";
    output["isWritten"] = isWritten;
    if (!report.keptAs.empty()) {
        PutText(output, "keptAs", report.keptAs);
    }
    output["format"] = isWritten ? Json(NameOf(report.format)) : Json(nullptr);
    output["compression"] = isWritten ? Json(NameOf(report.compression)) : Json(nullptr);
    PutLinkType(output, isWritten ? std::optional(report.linkType) : std::nullopt);
    output["bytesOnDisk"] = isWritten ? Json(report.bytesWritten) : Json(nullptr);
    output["recordsRead"] = report.Sum(&SourceCounts::recordsRead);
    output["recordsWritten"] = isWritten ? report.recordsWritten : 0;
    output["recordsLeftOut"] = report.Sum(&SourceCounts::recordsLeftOut);
    output["recordsOutside"] = report.Sum(&SourceCounts::recordsOutside);
    output["duplicatesDropped"] = report.Sum(&SourceCounts::duplicates);
    output["copiesWritten"] = isWritten ? report.Sum(&SourceCounts::copies) : 0;
    output["firstTime"] = TimeOf(isWritten ? report.earliest : std::nullopt);
    output["lastTime"] = TimeOf(isWritten ? report.latest : std::nullopt);
    output["stepsBack"] = isWritten ? report.stepsBack : 0;
    Json& problems = output["problems"] = Json::array();
    if (!report.outputText.empty()) {
        Json problem = Json::object();
        PutText(problem, "text", report.outputText);
        problems.push_back(std::move(problem));
    }
    return output;
}

}  // namespace

std::string ReportJson(const exact::RunSetting& setting, const exact::RunReport& report) {
    Json document{{"report", kReportVersion},
                  {"tool", "seamtool"},
                  {"version", utils::Utf8Text(setting.version)},
                  {"status", static_cast<int>(report.status)},
                  {"statusText", exact::TextOf(report.status)},
                  {"mode", NameOf(setting.job.mode)}};
    PutTexts(document, "options", setting.options);
    if (!setting.directory.empty()) {
        PutText(document, "directory", setting.directory);
    }
    document["started"] = TimeOf(setting.start);
    document["durationSeconds"] = SecondsOf(setting.duration);
    Json& inputs = document["inputs"] = Json::array();
    for (std::size_t input = 0; input < report.inputs.size(); ++input) {
        inputs.push_back(InputOf(setting.job.inputs[input], report.inputs[input]));
    }
    document["output"] = OutputOf(setting, report);
    return document.dump(1) + "\n";
}

}  // namespace velora::report
