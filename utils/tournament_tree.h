// TournamentTree: which of many sources comes next, in a logarithm of their number.
//
// Each source has a key, or none once it is finished. The winner is the source with the smallest
// key; among equal keys it is the source with the smallest number. Only the winner's key changes:
// Replace and Remove play its matches again on the way from its leaf to the root (a tree of losers:
// each inner node keeps the source that lost there).
//
// Example:
//     TournamentTree tree(keys);            // keys[i] belongs to source i
//     while (!tree.Empty()) {
//         Write(tree.Winner());
//         Advance(tree.Winner()) ? tree.Replace(nextKey) : tree.Remove();
//     }

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace MiscUtils {

class TournamentTree {
 public:
    using Key = std::int64_t;

    // One source for each element, in order; one without a key is finished from the start. At most
    // 2^31 sources.
    explicit TournamentTree(std::span<const std::optional<Key>> keys)
        : m_Count(keys.size()), m_Losers(keys.empty() ? 1 : keys.size()) {
        m_Losers[0] = {kNoKey, m_Count};
        // Leaves are the nodes m_Count to 2 * m_Count - 1. Winners rise from the highest node down.
        std::vector<Entry> winners(2 * m_Count);
        for (std::size_t source = 0; source < m_Count; ++source) {
            winners[m_Count + source] =
                keys[source] ? Entry{*keys[source], source} : Entry{kNoKey, m_Count + source};
        }
        for (std::size_t node = m_Count; node-- > 1;) {
            Entry winner = winners[2 * node];
            Entry loser = winners[2 * node + 1];
            if (IsBefore(loser, winner)) {
                std::swap(winner, loser);
            }
            winners[node] = winner;
            m_Losers[node] = loser;
        }
        if (m_Count > 0) {
            m_Losers[0] = winners[1];
        }
    }

    // True when every source is finished. Everything below needs a source that is not.
    [[nodiscard]] bool Empty() const { return m_Losers[0].source >= m_Count; }

    [[nodiscard]] std::size_t Winner() const { return m_Losers[0].source; }
    [[nodiscard]] Key WinnerKey() const { return m_Losers[0].key; }

    // The winner goes on with another key, smaller ones included.
    void Replace(Key key) { Play({key, Winner()}, Winner()); }

    // The winner is finished.
    void Remove() { Play({kNoKey, m_Count + Winner()}, Winner()); }

 private:
    // A finished source has the largest key and a number behind all others, so it loses against
    // each that is not finished, whose key may be as large.
    static constexpr Key kNoKey = std::numeric_limits<Key>::max();

    struct Entry {
        Key key = kNoKey;
        std::size_t source = 0;
    };

    // Without a branch on data: which one wins is a coin's throw that no processor foretells.
    static bool IsBefore(const Entry& one, const Entry& other) {
        return (one.key < other.key) | ((one.key == other.key) & (one.source < other.source));
    }

    void Play(Entry entry, std::size_t source) {
        for (std::size_t node = (m_Count + source) / 2; node > 0; node /= 2) {
            Entry& loser = m_Losers[node];
            const Entry kept = loser;
            const bool loses = IsBefore(kept, entry);
            loser.key = loses ? entry.key : kept.key;
            loser.source = loses ? entry.source : kept.source;
            entry.key = loses ? kept.key : entry.key;
            entry.source = loses ? kept.source : entry.source;
        }
        m_Losers[0] = entry;
    }

    std::size_t m_Count;
    std::vector<Entry> m_Losers;  // [0] is the winner of all; [n] lost at node n
};

}  // namespace MiscUtils
