#include "velora/output/temporary_name.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <memory>
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

}  // namespace

struct TemporaryName::Slot {
    std::atomic<int> directory{kFree};  // or the descriptor of the directory that has the name
    std::array<char, kMostBytes + 1> name{};
};
static_assert(std::atomic<int>::is_always_lock_free, "a handler reads it");

// The slots of all names: a chain that only grows, so that a handler can follow it at any moment.
struct TemporaryName::Chunk {
    std::array<Slot, 16> slots;
    std::atomic<Chunk*> next{nullptr};

    // A slot of this chunk or one behind it that nobody else has, being written.
    Slot& Reserve() {
        for (Chunk* chunk = this;; chunk = &chunk->Next()) {
            for (Slot& slot : chunk->slots) {
                int expected = kFree;
                if (slot.directory.compare_exchange_strong(expected, kBeingWritten)) {
                    return slot;
                }
            }
        }
    }

 private:
    Chunk& Next() {
        if (next.load() == nullptr) {
            auto made = std::make_unique<Chunk>();
            Chunk* expected = nullptr;
            if (next.compare_exchange_strong(expected, made.get())) {
                static_cast<void>(made.release());  // for ever
            }
        }
        return *next.load();
    }
};
static_assert(std::atomic<void*>::is_always_lock_free, "a handler follows the chain");

constinit TemporaryName::Chunk TemporaryName::m_FirstChunk;

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
    m_Slot = &m_FirstChunk.Reserve();
    *std::copy(whole.begin(), whole.end(), m_Slot->name.begin()) = '\0';
    m_Slot->directory.store(directory);
}

TemporaryName::TemporaryName(TemporaryName&& other) noexcept
    : m_Slot(std::exchange(other.m_Slot, nullptr)) {}

TemporaryName& TemporaryName::operator=(TemporaryName&& other) noexcept {
    if (this != &other) {
        static_cast<void>(Remove());
        m_Slot = std::exchange(other.m_Slot, nullptr);
    }
    return *this;
}

const char* TemporaryName::Get() const {
    return m_Slot->name.data();
}

int TemporaryName::Remove() noexcept {
    if (m_Slot == nullptr) {
        return 0;
    }
    const MiscUtils::ScopedErrno keepErrno;
    Slot& slot = *std::exchange(m_Slot, nullptr);
    const int error = unlinkat(slot.directory, slot.name.data(), 0) == 0 ? 0 : errno;
    slot.directory.store(kFree);
    return error == ENOENT ? 0 : error;
}

void TemporaryName::RemoveAll() noexcept {
    const MiscUtils::ScopedErrno keepErrno;
    for (const Chunk* chunk = &m_FirstChunk; chunk != nullptr; chunk = chunk->next.load()) {
        for (const Slot& slot : chunk->slots) {
            const int directory = slot.directory.load();
            if (directory >= 0) {
                static_cast<void>(unlinkat(directory, slot.name.data(), 0));
            }
        }
    }
}

}  // namespace velora::output
