// Edits of strings and ranges of streams, held against the plainest way to do the same. An input:
// one byte each for the lengths of a pattern and of what replaces it; two bytes each, the low one
// first, for how much filling stands before the text in a stream and where a range ends; pattern,
// replacement, text.

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "fuzz/fuzz_support.h"
#include "velora/utils/scope_guards.h"
#include "velora/utils/stream_range.h"
#include "velora/utils/text_edit.h"

using fuzz::Check;
using namespace MiscUtils;

namespace {

constexpr std::size_t kPrefix = 6;
constexpr std::size_t kLongestPattern = 32;
constexpr std::size_t kMostFilling = 3 * 4096;

std::string Replaced(std::string_view text, std::string_view from, std::string_view to) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const bool isMatch = !from.empty() && text.substr(at).starts_with(from);
        result += isMatch ? to : text.substr(at, 1);
        at += isMatch ? from.size() : 1;
    }
    return result;
}

std::string Erased(std::string text, std::string_view pattern) {
    for (std::size_t found = 0;
         !pattern.empty() && (found = text.find(pattern)) != std::string::npos;) {
        text.erase(found, pattern.size());
    }
    return text;
}

void CheckEdits(const std::string& text, std::string_view pattern, std::string_view other) {
    std::string edited = text;
    ReplaceAll(edited, pattern, other);
    Check(edited == Replaced(text, pattern, other), "every occurrence is replaced");
    edited = text;
    EraseAll(edited, pattern);
    Check(edited == Erased(text, pattern), "occurrences are erased until there is none");
    Check(EndsWith(text + std::string(pattern), pattern), "a text ends with what was added");
    const bool isAtEnd = text.size() >= pattern.size() &&
                         text.compare(text.size() - pattern.size(), pattern.size(), pattern) == 0;
    Check(EndsWith(text, pattern) == isAtEnd, "and otherwise where it stands last");
}

void CheckStreams(const std::string& content, std::string_view needle, std::size_t from,
                  std::size_t to) {
    const UniqueFile in(std::fopen(fuzz::WriteScratch("in", content).c_str(), "rb"));
    fseeko(in.get(), static_cast<off_t>(from), SEEK_SET);
    const std::size_t match = content.find(needle, from);
    Check(
        FindInStream(in.get(), needle.data(), needle.size()) == (match != content.npos ? match : 0),
        "the first match is found");
    Check(match == content.npos || static_cast<std::size_t>(ftello(in.get())) == match,
          "the stream stands at the match");

    const std::size_t end = to == 0 ? content.size() : std::min(to, content.size());
    const std::string range = from < end ? content.substr(from, end - from) : "";
    UniqueFile out(std::fopen(fuzz::ScratchPath("out").c_str(), "wb"));
    CopyStreamRange(in.get(), out.get(), from, to);
    out.reset();
    Check(fuzz::ReadScratch("out") == range, "the range is copied");
    const std::size_t claimed = to == 0 ? range.size() : to - std::min(from, to);
    std::string block(claimed, '\0');
    Check(ReadStreamRange(in.get(), block.data(), block.size(), from, to) &&
              block.substr(0, range.size()) == range,
          "the range is read");
    Check(claimed == 0 || !ReadStreamRange(in.get(), block.data(), claimed - 1, from, to),
          "not into less than it takes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < kPrefix) {
        return 0;
    }
    std::string_view rest(reinterpret_cast<const char*>(data) + kPrefix, size - kPrefix);
    const auto take = [&rest](std::size_t length) {
        const std::string_view taken = rest.substr(0, length % kLongestPattern);
        rest.remove_prefix(taken.size());
        return taken;
    };
    const std::string_view pattern = take(data[0]);
    const std::string_view other = take(data[1]);
    const std::size_t filling = (data[2] + 256U * data[3]) % kMostFilling;
    const std::size_t end = (data[4] + 256U * data[5]) % (2 * kMostFilling);
    CheckEdits(std::string(rest), pattern, other);
    const std::string content = std::string(filling, '.') + std::string(rest);
    CheckStreams(content, pattern, std::min(filling / 2, content.size()), end);
    return 0;
}
