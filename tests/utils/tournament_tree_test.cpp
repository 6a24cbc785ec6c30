#include "velora/utils/tournament_tree.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

namespace MiscUtils {
namespace {

using Key = TournamentTree::Key;

// The numbers of the sources in the order in which they win, against a search through all of them. Few different
// keys, so that ties abound; the largest is also that of a finished source.
TEST(TournamentTreeTest, GivesTheSmallestKeyAndOfEqualOnesTheFirstSource) {
    const Key keys[] = {std::numeric_limits<Key>::min(), -1, 0, 1, std::numeric_limits<Key>::max()};
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (const std::size_t count : {0U, 1U, 2U, 3U, 4U, 5U, 7U, 8U, 9U, 100U}) {
        std::vector<std::optional<Key>> sources(count);
        for (auto& key : sources) {
            key = random() % 4 == 0 ? std::nullopt : std::optional(keys[random() % 5]);
        }
        TournamentTree tree(sources);
        const auto isLeft = [](const auto& key) { return key.has_value(); };
        while (std::ranges::any_of(sources, isLeft) && !testing::Test::HasFailure()) {
            std::size_t first = count;
            for (std::size_t source = 0; source < count; ++source) {
                if (sources[source] && (first == count || *sources[source] < *sources[first])) {
                    first = source;
                }
            }
            ASSERT_FALSE(tree.Empty()) << count;
            ASSERT_EQ(tree.Winner(), first) << count;
            ASSERT_EQ(tree.WinnerKey(), *sources[first]) << count;
            if (random() % 4 == 0) {
                sources[first].reset();
                tree.Remove();
            } else {
                sources[first] = keys[random() % 5];
                tree.Replace(*sources[first]);
            }
        }
        EXPECT_TRUE(tree.Empty()) << count;
    }
}

}  // namespace
}  // namespace MiscUtils
