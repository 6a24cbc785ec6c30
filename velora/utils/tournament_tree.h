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

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace MiscUtils {

class TournamentTree {
 public:
    using Key = std::int64_t;  // any 64 bits, the smallest first

    // One source for each element, in order; one without a key is finished from the start. At most
    // 2^31 sources.
    explicit TournamentTree(std::span<const std::optional<Key>> keys)
        : m_Leaves(std::bit_ceil(keys.size())), m_Losers(m_Leaves) {
        // Nodes m_Leaves to 2 * m_Leaves - 1 are the leaves. Winners rise from the highest node on.
        std::vector<Entry> winners(2 * m_Leaves);
        for (std::size_t source = 0; source < m_Leaves; ++source) {
            const bool hasKey = source < keys.size() && keys[source];
            winners[m_Leaves + source] = hasKey ? Entry{*keys[source], source} : Finished(source);
        }
        for (std::size_t node = m_Leaves; node-- > 1;) {
            winners[node] = winners[2 * node];
            m_Losers[node] = winners[2 * node + 1];
            SwapIfBefore(m_Losers[node], winners[node]);
        }
        m_Losers[0] = winners[1];
    }

    // True when every source is finished. Everything below needs a source that is not.
    [[nodiscard]] bool Empty() const { return m_Losers[0].source >= m_Leaves; }

    // The number of the source that comes next, and its key.
    [[nodiscard]] std::size_t Winner() const { return m_Losers[0].source; }
    [[nodiscard]] Key WinnerKey() const { return m_Losers[0].key; }  // see Winner()

    // The winner goes on with another key, smaller ones included.
    void Replace(Key key) { Play({key, Winner()}, Winner()); }

    // The winner is finished.
    void Remove() { Play(Finished(Winner()), Winner()); }

 private:
    struct Entry {
        Key key = 0;
        std::size_t source = 0;
    };

    // The largest key and a number behind all others: loses against each source that is not
    // finished, whose key may be as large.
    [[nodiscard]] Entry Finished(std::size_t source) const {
        return {std::numeric_limits<Key>::max(), m_Leaves + source};
    }

    // Exchanges the two when `loser` comes before `winner`. By a mask and not by a branch: no
    // processor foretells which of two sources is the earlier one.
    static void SwapIfBefore(Entry& loser, Entry& winner) {
        const bool isBefore =
            (loser.key < winner.key) | ((loser.key == winner.key) & (loser.source < winner.source));
        const std::uint64_t mask = ~std::uint64_t{isBefore} + 1;  // all ones or all zeros
        const Key keys = (loser.key ^ winner.key) & static_cast<Key>(mask);
        const std::size_t sources = (loser.source ^ winner.source) & mask;
        loser = {loser.key ^ keys, loser.source ^ sources};
        winner = {winner.key ^ keys, winner.source ^ sources};
    }

    void Play(Entry entry, std::size_t source) {
        for (std::size_t node = (m_Leaves + source) / 2; node > 0; node /= 2) {
            SwapIfBefore(m_Losers[node], entry);
        }
        m_Losers[0] = entry;
    }

    // A power of two, so that all ways to the root are of one length, which a processor learns.
    std::size_t m_Leaves;
    std::vector<Entry> m_Losers;  // [0] is the winner of all; [n] lost at node n
};

}  // namespace MiscUtils
