#include "velora/merge/duplicate_window.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/random.h>
#include <xxhash.h>

#include "velora/utils/saturating.h"

namespace velora::merge {
namespace {

using MiscUtils::SaturatingDifference;

constexpr std::size_t kPerRecord = 200;  // what a noted record takes beside its bytes

}  // namespace

DuplicateWindow::DuplicateWindow(std::int64_t width, std::size_t room)
    : m_Width(width), m_Room(room) {
    static_assert(sizeof m_Secret >= XXH3_SECRET_SIZE_MIN);
    if (getrandom(m_Secret.data(), m_Secret.size(), 0) != static_cast<ssize_t>(m_Secret.size())) {
        throw std::system_error(errno, std::generic_category(), "getrandom");
    }
}

std::uint64_t DuplicateWindow::HashOf(std::span<const std::uint8_t> bytes) const {
    return XXH3_64bits_withSecret(bytes.data(), bytes.size(), m_Secret.data(), m_Secret.size());
}

// Time is cut into stretches as long as the width. In one of them there is at most one record of a
// kind, since a second would repeat it; so with stretch and record hashed together no number of
// equal records, however they lie in time, has the same key. What a record repeats is in its own
// stretch or in one beside it.
std::uint64_t DuplicateWindow::StretchOf(std::int64_t time) const {
    constexpr std::uint64_t kSign = std::uint64_t{1} << 63U;
    return (static_cast<std::uint64_t>(time) ^ kSign) / (static_cast<std::uint64_t>(m_Width) + 1);
}

bool DuplicateWindow::HasEqual(std::uint64_t key, const WrittenRecord& record) const {
    const auto [first, last] = m_ByKey.equal_range(key);
    return std::any_of(first, last, [&](const auto& entry) {
        const auto& [time, noted] = *entry.second;
        const auto [earlier, later] = std::minmax(time, record.time);
        return SaturatingDifference(later, earlier) <= m_Width &&
               noted.linkType == record.linkType && noted.originalLength == record.originalLength &&
               std::ranges::equal(noted.bytes, record.bytes);
    });
}

void DuplicateWindow::ForgetFirst() {
    const auto oldest = m_ByTime.begin();
    const auto [first, last] = m_ByKey.equal_range(oldest->second.key);
    m_ByKey.erase(
        std::find_if(first, last, [&](const auto& entry) { return entry.second == oldest; }));
    m_Used -= kPerRecord + oldest->second.bytes.size();
    m_ByTime.erase(oldest);
}

// For a record of so many bytes. False where there is less room than that in all.
bool DuplicateWindow::MakeRoom(std::size_t count) {
    while (!m_ByTime.empty() && m_Used + kPerRecord + count > m_Room) {
        m_HasForgotten = true;
        ForgetFirst();
    }
    const bool hasRoom = kPerRecord + count <= m_Room;
    m_HasForgotten |= !hasRoom;
    return hasRoom;
}

bool DuplicateWindow::Repeats(const WrittenRecord& record) {
    // Of two, since a single one far ahead of the rest is no reason to forget the rest.
    const std::int64_t now = std::min(std::exchange(m_Previous, record.time), record.time);
    const std::int64_t oldest = SaturatingDifference(now, m_Width);
    while (!m_ByTime.empty() && m_ByTime.begin()->first < oldest) {
        ForgetFirst();
    }
    const std::uint64_t print = HashOf(record.bytes);
    const std::uint64_t stretch = StretchOf(record.time);
    const auto keyIn = [&](std::uint64_t place) {
        const std::array<std::uint64_t, 3> parts{
            print, place, std::uint64_t{record.linkType} << 32U | record.originalLength};
        return HashOf({reinterpret_cast<const std::uint8_t*>(parts.data()), sizeof parts});
    };
    const std::uint64_t key = keyIn(stretch);
    // Nothing is behind it, mostly, and with a width of 0 nothing is equal but in its own stretch.
    const bool hasLater = !m_ByTime.empty() && m_ByTime.rbegin()->first > record.time;
    if (HasEqual(key, record) || (m_Width > 0 && HasEqual(keyIn(stretch - 1), record)) ||
        (m_Width > 0 && hasLater && HasEqual(keyIn(stretch + 1), record))) {
        return true;
    }
    if (MakeRoom(record.bytes.size())) {
        const auto noted = m_ByTime.emplace_hint(m_ByTime.end(), record.time,
                                                 Noted{key,
                                                       record.linkType,
                                                       record.originalLength,
                                                       {record.bytes.begin(), record.bytes.end()}});
        m_ByKey.emplace(key, noted);
        m_Used += kPerRecord + record.bytes.size();
    }
    return false;
}

}  // namespace velora::merge
