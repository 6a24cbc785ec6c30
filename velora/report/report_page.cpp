#include "velora/report/report_page.h"

#include "velora/report/markup.h"
#include "velora/report/page_picture.h"
#include "velora/report/page_problems.h"
#include "velora/report/page_summary.h"
#include "velora/report/page_table.h"
#include "velora/report/report_style.h"
#include "velora/report/report_text.h"
#include "velora/utils/plain_words.h"

namespace velora::report {
namespace {

// Nothing is to be loaded or run, whatever the page should hold.
constexpr Literal kHead = R"(<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<meta name="color-scheme" content="light dark">
)";

constexpr Literal kBrand = R"(<p class="brand"><svg width="22" height="16" aria-hidden="true">
<rect y="1" width="13" height="4" rx="2"/>
<rect x="5" y="6" width="17" height="4" rx="2"/>
<rect x="2" y="11" width="11" height="4" rx="2"/>
</svg><span><b>seamtool</b> report</span></p>
)";

void AddHead(Markup& html, const std::string& name) {
    html.Add("head", [&] {
        html.AddLiteral(kHead);
        html.Add("title", name + " \u2013 seamtool report");
        html.Add("style", [&] { html.AddLiteral(kReportStyle); });
    });
}

void AddRun(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report) {
    const auto add = [&html](const Literal& name, const std::string& text) {
        html.Add("dt", name.Text());
        html.Add("dd", text);
    };
    html.Add("section", {{"class", "card"}}, [&] {
        html.Add("h2", "Run");
        html.Add("dl", {{"class", "run"}}, [&] {
            add("Mode", NameOf(setting.job.mode));
            html.Add("dt", "Options");
            html.Add("dd", [&] {
                for (const std::string& option : setting.options) {
                    html.Add("code", option);
                }
                html.AddText(setting.options.empty() ? "none" : "");
            });
            if (!setting.directory.empty()) {
                add("Paths from", setting.directory);
            }
            add("Started", utils::UtcText(setting.start) + " UTC");
            add("Duration", SpanText(static_cast<double>(setting.duration)));
            add("Status", std::to_string(static_cast<int>(report.status)) + ": " +
                              exact::TextOf(report.status));
            add("Version", setting.version);
        });
    });
}

}  // namespace

std::string ReportPage(const exact::RunSetting& setting, const exact::RunReport& report) {
    const std::string name = OutputNameText(setting, report);
    Markup html;
    html.AddLiteral("<!DOCTYPE html>\n");
    html.Add("html", {{"lang", "en"}}, [&] {
        AddHead(html, name);
        html.Add("body", [&] {
            html.Add("main", [&] {
                html.Add("header", [&] {
                    html.AddLiteral(kBrand);
                    html.Add("h1", name);
                    AddVerdict(html, setting, report);
                });
                AddFacts(html, setting, report);
                AddProblems(html, setting, report);
                AddPicture(html, setting, report);
                AddTable(html, setting, report);
                AddRun(html, setting, report);
                html.Add("footer", "Made by seamtool " + setting.version +
                                       ". Sizes in powers of ten, times in UTC.");
            });
        });
    });
    return html.Take();
}

}  // namespace velora::report
