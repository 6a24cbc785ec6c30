// StrTokenizer: one text split into tokens, each a zero-terminated text inside the object.
//
// The object keeps a private copy of the text, in which the delimiters have become zero bytes, and
// the offset at which each token starts. It owns all it holds: a pointer that it gives out lives as
// long as the object and is not followed by a copy. Not for quoting or escapes: a blank between
// quotation marks divides like any other.
//
// Example:
//     const StrTokenizer words("  ls   -l  ", " ");
//     words.Count();         // 2
//     words.Token(1);        // "-l"
//     words.TokenLength(1);  // 4: the two letters and the two blanks behind them
//
// Texts and sets must not be null, which nothing looks for: the process would end by SIGSEGV. The
// offsets have 32 bits, so texts stay below 4 GiB. Operations on one object that only read may
// run in many threads.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "velora/utils/api.h"

namespace velora::utils::proc {

class VELORA_API StrTokenizer {
 public:
    // Splits at every run of characters of the set `delimiters`, as strtok_r(3) does: there are no
    // empty tokens, and delimiters at either end are passed over. With an empty set the whole text
    // is one token, unless it is empty.
    StrTokenizer(const char* text, const char* delimiters);

    // The same for exactly `length` bytes, which need no zero behind them. A zero among them ends
    // the splitting there; the bytes behind it still count in the length of the last token.
    StrTokenizer(const char* bytes, std::size_t length, const char* delimiters);

    // Splits at each single `delimiter` and keeps empty tokens: "a,,b" gives "a", "" and "b", an
    // empty text gives one empty token, and a delimiter at the end is followed by one.
    StrTokenizer(const char* text, char delimiter);

    // Copies are deep: pointers into the original say nothing of the copy. What was moved from has
    // no tokens.
    StrTokenizer(const StrTokenizer&) = default;
    StrTokenizer(StrTokenizer&&) = default;
    StrTokenizer& operator=(const StrTokenizer&) = default;
    StrTokenizer& operator=(StrTokenizer&&) = default;
    virtual ~StrTokenizer() = default;

    // How many tokens there are.
    [[nodiscard]] std::size_t Count() const noexcept { return offsets.size(); }

    // Token number `index`, counted from 0; null from Count() on.
    [[nodiscard]] const char* Token(std::size_t index) const noexcept;

    // The last token; std::out_of_range when there is none.
    [[nodiscard]] const char* Last() const;

    // The distance in bytes from the start of token `index` to the start of the next one, or to the
    // end of the text for the last token: the delimiters behind a token count, so this is no
    // strlen() but tells how much of the text the token took. 0 from Count() on.
    [[nodiscard]] std::uint32_t TokenLength(std::size_t index) const noexcept;

    // Calls `function` with each token in order. With tokens to give, an empty `function` raises
    // std::bad_function_call.
    void ForEach(const std::function<void(const char*)>& function) const;

 private:
    std::vector<std::uint32_t> offsets;
    std::size_t bufferSize;    // of the text and one zero
    std::vector<char> buffer;  // four zeros longer than that
    std::size_t delimSize;     // of the delimiters and one zero
    std::vector<char> delims;
};

}  // namespace velora::utils::proc
