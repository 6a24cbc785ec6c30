// The tokenizer's two rules. An input: a byte for the number of delimiters, the delimiters, text.

#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "velora/procutils/str_tokenizer.h"

using fuzz::Check;
using velora::utils::proc::StrTokenizer;

namespace {

constexpr std::size_t kMostDelimiters = 8;

// The tokens, that their lengths lead from one to the next, and that a copy stands on its own.
std::vector<std::string> TokensOf(const StrTokenizer& tokenizer, std::size_t textLength) {
    const StrTokenizer copy(tokenizer);
    std::vector<std::string> tokens;
    std::size_t covered = 0;
    copy.ForEach([&](const char* token) {
        const std::size_t index = tokens.size();
        Check(token == copy.Token(index) && token != tokenizer.Token(index), "a token of the copy");
        Check(token + copy.TokenLength(index) ==
                  (index + 1 < copy.Count() ? copy.Token(index + 1)
                                            : copy.Token(0) + covered + copy.TokenLength(index)),
              "a length leads to the next token");
        Check(std::strlen(token) <= copy.TokenLength(index), "a token is within its length");
        covered += copy.TokenLength(index);
        tokens.emplace_back(token);
    });
    Check(tokens.size() == copy.Count() && covered <= textLength, "tokens are within the text");
    Check(copy.Token(tokens.size()) == nullptr && copy.TokenLength(tokens.size()) == 0,
          "no token behind the last");
    Check(tokens.empty() || copy.Last() == copy.Token(tokens.size() - 1), "the last is the last");
    return tokens;
}

std::vector<std::string> SplitAtSet(const std::string& text, const std::string& delimiters) {
    std::vector<std::string> tokens;
    for (std::size_t end = 0, start = 0;
         (start = text.find_first_not_of(delimiters, end)) != std::string::npos;) {
        end = std::min(text.find_first_of(delimiters, start), text.size());
        tokens.push_back(text.substr(start, end - start));
    }
    return tokens;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    // Up to the first zero, as the tokenizer takes them.
    const std::string delimiters(std::string(rest.substr(0, data[0] % kMostDelimiters)).c_str());
    const std::string_view bytes = rest.substr(std::min(delimiters.size(), rest.size()));
    const std::string text(std::string(bytes).c_str());

    const std::vector<std::string> expected = SplitAtSet(text, delimiters);
    Check(TokensOf({bytes.data(), bytes.size(), delimiters.c_str()}, bytes.size()) == expected,
          "bytes are split at the set");
    Check(TokensOf({text.c_str(), delimiters.c_str()}, text.size()) == expected, "so is a text");

    const char delimiter = delimiters.c_str()[0];
    const StrTokenizer exact(text.c_str(), delimiter);
    std::string joined;
    for (const std::string& token : TokensOf(exact, text.size())) {
        joined += token + delimiter;
    }
    Check(joined == text + delimiter, "tokens and delimiters make up the text");
    Check(exact.Last() + exact.TokenLength(exact.Count() - 1) == exact.Token(0) + text.size(),
          "the lengths cover the text");
    return 0;
}
