// Any bytes as the words of a command line (zero bytes divide them), as a time and as a list of
// inputs. Local time is UTC here.

#include "app/exact_options.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <regex>
#include <sstream>
#include <string>

#include "app/input_list.h"
#include "exact/shown_text.h"
#include "exact/time_argument.h"
#include "fuzz/fuzz_support.h"

using fuzz::Check;
using namespace velora::exact;

namespace {

__extension__ using Wide = __int128;

std::vector<std::string> Divided(const std::string& text, char divider) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, divider);) {
        parts.push_back(part);
    }
    return parts;
}

void CheckWords(const std::string& text) {
    std::vector<std::string> words = Divided(text, '\0');
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    const auto parsed = ParseExactOptions(pointers);
    if (const auto* const fault = std::get_if<std::string>(&parsed)) {
        Check(!fault->empty() && IsUtf8(*fault) &&
                  std::ranges::none_of(
                      *fault, [](unsigned char byte) { return byte < ' ' || byte == 0x7F; }),
              "a fault is a line of text");
        return;
    }
    const auto& options = std::get<ExactOptions>(parsed);
    if (options.wish == ExactOptions::Wish::kRun) {
        const ExactJob& job = options.job;
        Check(job.output == words.back(), "the last word is the output");
        Check(!job.inputs.empty() || !options.lists.empty(), "there is an input");
        Check(job.snapLen <= 262144, "a snaplen is in its range");
        Check(options.words.size() + job.inputs.size() <= words.size(), "a word counts once");
        Check(!job.duplicateWindow || (*job.duplicateWindow >= 0 && job.mode == Mode::kMerge),
              "duplicates are sought among what is merged by time");
    }
}

std::int64_t NaiveFraction(std::string digits) {  // ".5"
    digits.resize(10, '0');
    return digits[0] == '.' ? std::stoll(digits.substr(1)) : 0;
}

// Nothing where 64 bits do not hold it.
std::optional<std::int64_t> Held(Wide time) {
    const auto held = static_cast<std::int64_t>(time);
    return held == time ? std::optional(held) : std::nullopt;
}

std::optional<std::int64_t> NaiveDate(const std::string& text) {
    static const std::regex kForm(
        R"((\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)(\.\d{1,9})?(?:Z|([+-])(\d\d):(\d\d))?)");
    std::smatch part;
    if (!std::regex_match(text, part, kForm)) {
        return std::nullopt;
    }
    const std::string moment = part[1];
    std::tm date{};
    const char* const end = strptime(moment.c_str(), "%Y-%m-%dT%H:%M:%S", &date);
    if (end == nullptr || *end != '\0' || date.tm_sec > 59) {
        return std::nullopt;
    }
    const int day = date.tm_mday;
    const Wide seconds = timegm(&date);
    if (date.tm_mday != day) {  // the month has no such day, and it was taken for one of the next
        return std::nullopt;
    }
    Wide east = 0;
    if (part[3].matched) {
        const int hours = std::stoi(part[4]);
        const int minutes = std::stoi(part[5]);
        if (hours > 23 || minutes > 59) {
            return std::nullopt;
        }
        east = (part[3] == "-" ? -60 : 60) * (60 * hours + minutes);
    }
    return Held((seconds - east) * 1'000'000'000 + NaiveFraction(part[2]));
}

std::optional<std::int64_t> NaiveTime(const std::string& text) {
    static const std::regex kForm(R"(@(-?)0*(\d{1,18})(\.\d{1,9})?)");
    std::smatch part;
    if (!std::regex_match(text, part, kForm)) {
        return NaiveDate(text);
    }
    const Wide time = Wide{std::stoll(part[2])} * 1'000'000'000 + NaiveFraction(part[3]);
    return Held(part[1].length() > 0 ? -time : time);
}

void CheckList(const std::string& text) {
    std::vector<std::string> expected =
        Divided(text, text.find('\0') == std::string::npos ? '\n' : '\0');
    std::erase(expected, "");
    Check(PathsIn(text) == expected, "a list names what stands between its dividers");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string time = text.substr(0, 64);
    CheckWords(text);
    Check(ParseTime(time) == NaiveTime(time), "a time is the same for both");
    CheckList(text);
    return 0;
}
