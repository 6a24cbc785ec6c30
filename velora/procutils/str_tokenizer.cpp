#include "velora/procutils/str_tokenizer.h"

#include <algorithm>
#include <cstring>

namespace velora::utils::proc {
namespace {

// Zeros behind the text's own one.
constexpr std::size_t kPadding = 4;

}  // namespace

StrTokenizer::StrTokenizer(const char* text, const char* delimiters)
    : StrTokenizer(text, std::strlen(text), delimiters) {}

StrTokenizer::StrTokenizer(const char* bytes, std::size_t length, const char* delimiters)
    : bufferSize(length + 1),
      buffer(bufferSize + kPadding),
      delimSize(std::strlen(delimiters) + 1),
      delims(delimiters, delimiters + delimSize) {
    std::copy_n(bytes, length, buffer.begin());
    char* cursor = nullptr;
    for (char* token = strtok_r(buffer.data(), delims.data(), &cursor); token != nullptr;
         token = strtok_r(nullptr, delims.data(), &cursor)) {
        offsets.push_back(static_cast<std::uint32_t>(token - buffer.data()));
    }
}

StrTokenizer::StrTokenizer(const char* text, char delimiter)
    : offsets{0},
      bufferSize(std::strlen(text) + 1),
      buffer(bufferSize + kPadding),
      delimSize(2),
      delims{delimiter, '\0'} {
    const auto end = std::copy_n(text, bufferSize - 1, buffer.begin());
    for (auto found = std::find(buffer.begin(), end, delimiter); found != end;
         found = std::find(found, end, delimiter)) {
        *found++ = '\0';
        offsets.push_back(static_cast<std::uint32_t>(found - buffer.begin()));
    }
}

const char* StrTokenizer::Token(std::size_t index) const noexcept {
    return index < offsets.size() ? buffer.data() + offsets[index] : nullptr;
}

const char* StrTokenizer::Last() const {
    return buffer.data() + offsets.at(offsets.size() - 1);
}

std::uint32_t StrTokenizer::TokenLength(std::size_t index) const noexcept {
    if (index >= offsets.size()) {
        return 0;
    }
    const bool isLast = index + 1 == offsets.size();
    const std::size_t end = isLast ? bufferSize - 1 : offsets[index + 1];
    return static_cast<std::uint32_t>(end - offsets[index]);
}

void StrTokenizer::ForEach(const std::function<void(const char*)>& function) const {
    for (std::size_t index = 0; index < Count(); ++index) {
        function(Token(index));
    }
}

}  // namespace velora::utils::proc
