#include "velora/report/page_problems.h"

#include <algorithm>

#include "velora/report/report_text.h"

namespace velora::report {
namespace {

using capture::Problem;
using capture::ProblemKind;

bool IsLoss(const Problem& problem) {
    switch (problem.kind) {
        case ProblemKind::kCannotRead:
        case ProblemKind::kNoCapture:
        case ProblemKind::kDamage:
        case ProblemKind::kWrongChecksum:
        case ProblemKind::kChanged:
            return true;
        case ProblemKind::kLeftOut:
        case ProblemKind::kOutOfPlace:
        case ProblemKind::kTimeChanged:
        case ProblemKind::kMayRepeat:
        case ProblemKind::kNote:
            break;
    }
    return false;
}

const char* StyleOf(const Problem& problem) {
    if (problem.kind == ProblemKind::kNote) {
        return "soft";
    }
    return IsLoss(problem) ? "bad" : "warn";
}

}  // namespace

bool HasLoss(const exact::ProblemList& problems) {
    return std::ranges::any_of(problems.All(), IsLoss);
}

std::string ProblemsId(std::size_t input) {
    return "p" + std::to_string(input + 1);
}

void AddProblems(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report) {
    bool hasAny = false;
    bool hasDoubt = false;
    for (const exact::InputReport& input : report.inputs) {
        hasAny |= !input.problems.All().empty();
        hasDoubt |= input.problems.CountWithoutNotes() > 0;
    }
    if (!hasAny) {
        return;
    }
    html.Add("section", {{"class", "card"}}, [&] {
        html.Add("h2", hasDoubt ? "Missing or doubtful" : "Worth knowing");
        html.Add("ul", {{"class", "problems"}}, [&] {
            for (std::size_t input = 0; input < report.inputs.size(); ++input) {
                const std::vector<Problem>& problems = report.inputs[input].problems.All();
                if (problems.empty()) {
                    continue;
                }
                html.Add("li", {{"id", ProblemsId(input)}}, [&] {
                    html.Add("b", NameText(setting.job.inputs[input]));
                    html.Add("ul", [&] {
                        for (const Problem& problem : problems) {
                            html.Add("li", {{"class", StyleOf(problem)}}, problem.text);
                        }
                    });
                });
            }
        });
    });
}

}  // namespace velora::report
