#include "velora/output/temporary_name.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include "velora/utils/scope_guards.h"

namespace velora::output {

namespace {

constexpr std::size_t kMostBytes = 128;  // some file systems hold no more than 143
constexpr int kFree = -1;
constexpr int kBeingWritten = -2;

struct Slot {
    std::atomic<int> directory{kFree};  // or the descriptor of the directory that has the name
    std::array<char, kMostBytes + 1> name{};
};
static_assert(std::atomic<int>::is_always_lock_free, "a handler reads it");

std::array<Slot, TemporaryName::kMostNames> slots;

Slot& SlotAt(int number) {
    return slots[static_cast<std::size_t>(number)];
}

}  // namespace

std::string_view BeginningOf(std::string_view name, std::size_t most) {
    if (name.size() <= most) {
        return name;
    }
    const auto isContinuation = [&](std::size_t at) {
        return (static_cast<unsigned char>(name[at]) & 0xC0) == 0x80;
    };
    std::size_t size = most;
    while (size > 0 && most - size < 3 && isContinuation(size)) {
        size -= 1;
    }
    return name.substr(0, isContinuation(size) ? most : size);  // else it is no UTF-8
}

TemporaryName::TemporaryName(int directory, std::string_view name) {
    // Letters of one case: some file systems do not tell the two apart.
    constexpr std::string_view kLetters = "0123456789abcdefghijklmnopqrstuv";
    std::array<std::uint8_t, 10> random{};
    if (getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) {
        return;
    }
    std::string suffix = ".seamtool-";
    for (const std::uint8_t byte : random) {
        suffix += kLetters[byte % kLetters.size()];
    }
    std::string whole = ".";
    whole.append(BeginningOf(name, kMostBytes - 1 - suffix.size())).append(suffix);
    for (int at = 0; at < kMostNames && m_Slot < 0; ++at) {
        Slot& slot = SlotAt(at);
        int expected = kFree;
        if (slot.directory.compare_exchange_strong(expected, kBeingWritten)) {
            *std::copy(whole.begin(), whole.end(), slot.name.begin()) = '\0';
            slot.directory.store(directory);
            m_Slot = at;
        }
    }
}

TemporaryName::TemporaryName(TemporaryName&& other) noexcept
    : m_Slot(std::exchange(other.m_Slot, -1)) {}

TemporaryName& TemporaryName::operator=(TemporaryName&& other) noexcept {
    if (this != &other) {
        static_cast<void>(Remove());
        m_Slot = std::exchange(other.m_Slot, -1);
    }
    return *this;
}

const char* TemporaryName::Get() const {
    return SlotAt(m_Slot).name.data();
}

int TemporaryName::Remove() noexcept {
    if (m_Slot < 0) {
        return 0;
    }
    const MiscUtils::ScopedErrno keepErrno;
    Slot& slot = SlotAt(std::exchange(m_Slot, -1));
    const int error = unlinkat(slot.directory, slot.name.data(), 0) == 0 ? 0 : errno;
    slot.directory.store(kFree);
    return error == ENOENT ? 0 : error;
}

void TemporaryName::RemoveAll() noexcept {
    const MiscUtils::ScopedErrno keepErrno;
    for (const Slot& slot : slots) {
        const int directory = slot.directory.load();
        if (directory >= 0) {
            static_cast<void>(unlinkat(directory, slot.name.data(), 0));
        }
    }
}

}  // namespace velora::output
