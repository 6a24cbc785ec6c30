// Any bytes as path, option and message of a report: the document for programs gives them back, and
// the page for people shows them without their ever being markup.

#include <algorithm>

#include <nlohmann/json.hpp>

#include "fuzz/fuzz_support.h"
#include "velora/report/markup.h"
#include "velora/report/report_json.h"
#include "velora/report/report_page.h"
#include "velora/utils/hex_text.h"
#include "velora/utils/shown_text.h"

using fuzz::Check;
using namespace velora::exact;
using namespace velora::output;
using namespace velora::report;
using namespace velora::utils;

namespace {

// What a member and its bytes say together.
std::string GivenBack(const nlohmann::json& object, const std::string& name) {
    return object.contains(name + "Bytes")
               ? MiscUtils::HexToBytes(object[name + "Bytes"].get<std::string>())
               : object[name].get<std::string>();
}

struct Told {
    explicit Told(const std::string& text) {
        job.inputs = {{text, false}, {text, false}};
        job.output = "out/" + text;
        setting.options = {"--report=" + text};
        setting.directory = "/" + text;
        run.status = Status::kIncomplete;
        run.inputs.resize(2);
        run.outputText = text;
        for (InputReport& input : run.inputs) {
            input.isCapture = true;
            input.problems.Add({velora::capture::ProblemKind::kDamage, text, 1, 2});
            input.counts.timeline = std::make_unique<Timeline>();
            input.counts.timeline->captured.Add(5);
        }
    }
    ExactJob job;
    RunSetting setting{job, "1.0", {}, {}, 0, 1};
    RunReport run;
};

void CheckDocument(const std::string& text, const Told& told) {
    const auto document = nlohmann::json::parse(ReportJson(told.setting, told.run), nullptr, false);
    Check(!document.is_discarded(), "the document is JSON");
    const auto& input = document["inputs"][1];
    Check(GivenBack(input, "path") == text, "a path is given back");
    Check(GivenBack(input["problems"][0], "text") == text, "a message is given back");
    Check(GivenBack(document["output"], "path") == "out/" + text,
          "the output's path is given back");
    Check(GivenBack(document, "directory") == "/" + text, "a directory is given back");
    const bool hasBytes = document.contains("optionsBytes");
    const auto option = document[hasBytes ? "optionsBytes" : "options"][0].get<std::string>();
    Check((hasBytes ? MiscUtils::HexToBytes(option) : option) == "--report=" + text,
          "an option is given back");
}

// How often characters that make markup stand in the page.
std::string MarkupOf(const std::string& page) {
    std::string markup;
    std::ranges::copy_if(page, std::back_inserter(markup), [](char character) {
        return character == '<' || character == '>' || character == '"' || character == '\'';
    });
    return markup;
}

void CheckPage(const std::string& text, const Told& told) {
    const std::string page = ReportPage(told.setting, told.run);
    Check(IsUtf8(page) && page.find('\0') == std::string::npos, "the page is text");
    // A slash divides a path for the eye.
    std::string harmless = text;
    std::ranges::replace_if(
        harmless, [](char character) { return character != '/'; }, 'x');
    const Told other(harmless);
    Check(MarkupOf(page) == MarkupOf(ReportPage(other.setting, other.run)), "no text is markup");

    Markup html;
    html.AddText(text);
    std::string shown = html.Take();
    Check(page.find("<b>" + (text.empty() ? "&#39;&#39;" : shown) + "</b>") != std::string::npos,
          "the path is shown");
    for (const auto& [entity, character] : {std::pair{"&lt;", "<"},
                                            {"&gt;", ">"},
                                            {"&quot;", "\""},
                                            {"&#39;", "'"},
                                            {"&amp;", "&"}}) {
        for (std::size_t at = 0; (at = shown.find(entity, at)) != std::string::npos; ++at) {
            shown.replace(at, std::string_view(entity).size(), character);
        }
    }
    Check(shown == ShownText(text), "a reader of the page gets the text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Told told(text);
    CheckDocument(text, told);
    CheckPage(text, told);
    return 0;
}
