// Any bytes as the words of a command line (zero bytes divide them), as a time and as a list of
// inputs. Local time is UTC here.

#include "app/exact_options.h"

#include <algorithm>
#include <ctime>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>

#include "app/input_list.h"
#include "fuzz/fuzz_support.h"
#include "velora/utils/shown_text.h"
#include "velora/utils/time_argument.h"

using fuzz::Check;
using namespace velora::exact;
using namespace velora::utils;

namespace {

__extension__ using Wide = __int128;

constexpr std::string_view kDigits = "0123456789";

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

// Takes a fraction off the front of the text, and gives its nanoseconds.
std::optional<std::int64_t> TakeFraction(std::string& text) {
    if (!text.starts_with('.')) {
        return 0;
    }
    const std::size_t end = std::min(text.find_first_not_of(kDigits, 1), text.size());
    std::string digits = text.substr(1, end - 1);
    text.erase(0, end);
    if (digits.empty() || digits.size() > 9) {
        return std::nullopt;
    }
    digits.resize(9, '0');
    return std::stoll(digits);
}

// Nothing where 64 bits do not hold it.
std::optional<std::int64_t> Held(Wide time) {
    const auto held = static_cast<std::int64_t>(time);
    return held == time ? std::optional(held) : std::nullopt;
}

// Seconds that the clocks of a zone are ahead: "", "Z" or "+01:00".
std::optional<int> NaiveZone(const std::string& text) {
    std::string shape = text;
    std::ranges::replace_if(
        shape, [](char character) { return kDigits.find(character) != kDigits.npos; }, '0');
    if (text.empty() || text == "Z") {
        return 0;
    }
    if (shape != "+00:00" && shape != "-00:00") {
        return std::nullopt;
    }
    const int hours = std::stoi(text.substr(1, 2));
    const int minutes = std::stoi(text.substr(4));
    const int east = 60 * (60 * hours + minutes);
    return hours > 23 || minutes > 59 ? std::nullopt : std::optional(text[0] == '-' ? -east : east);
}

std::optional<std::int64_t> NaiveDate(const std::string& text) {
    constexpr std::size_t kSize = 19;
    const std::string moment = text.substr(0, kSize);
    std::tm date{};
    // The C library takes shorter numbers and blanks too, and reads a number up to its largest.
    const char* const end = strptime(moment.c_str(), "%Y-%m-%dT%H:%M:%S", &date);
    if (end != moment.c_str() + kSize || moment.find_first_of(" +\t\n\v\f\r") != moment.npos ||
        date.tm_sec > 59) {
        return std::nullopt;
    }
    const int day = date.tm_mday;
    const Wide seconds = timegm(&date);
    std::string rest = text.substr(kSize);
    const auto fraction = TakeFraction(rest);
    const auto east = NaiveZone(rest);
    // Another day: the month has no such, and it was taken for one of the next.
    return fraction && east && date.tm_mday == day
               ? Held((seconds - *east) * 1'000'000'000 + *fraction)
               : std::nullopt;
}

std::optional<std::int64_t> NaiveTime(const std::string& text) {
    if (!text.starts_with('@')) {
        return NaiveDate(text);
    }
    std::string rest = text.substr(1);
    const bool isNegative = rest.starts_with('-');
    rest.erase(0, isNegative ? 1 : 0);
    const std::size_t end = std::min(rest.find_first_not_of(kDigits), rest.size());
    const std::string digits = rest.substr(0, end);
    rest.erase(0, end);
    const auto fraction = TakeFraction(rest);
    const std::size_t significant =
        digits.size() - std::min(digits.find_first_not_of('0'), digits.size());
    if (digits.empty() || significant > 18 || !fraction || !rest.empty()) {
        return std::nullopt;
    }
    const Wide time = Wide{std::stoll(digits)} * 1'000'000'000 + *fraction;
    return Held(isNegative ? -time : time);
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
    const auto parsed = ParseTime(time, TimeOfTwo::kEarlier);
    const auto* const value = std::get_if<std::int64_t>(&parsed);
    Check((value != nullptr ? std::optional(*value) : std::nullopt) == NaiveTime(time),
          "a time is the same for both");
    CheckList(text);
    return 0;
}
