#include "Platform/IndexPath.h"
#include "Platform/IndexSet.h"

#include <gtest/gtest.h>

#include <limits>

namespace tarn {

TEST(IndexSetTests, KeepsPositionsInOrderOnce) {
    IndexSet set(std::vector<std::size_t>{5, 1, 5, 2});
    set.insert(3);
    set.insert(1);
    set.insert(0);
    EXPECT_EQ(set, (IndexSet{0, 1, 2, 3, 5}));
    EXPECT_TRUE(set.contains(3));
    EXPECT_FALSE(set.contains(4));
}

TEST(IndexSetTests, DescribesRuns) {
    constexpr auto last = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(IndexSet().description(), "{}");
    EXPECT_EQ((IndexSet{0, 1, 2, 5, 7, 8}).description(), "{0-2, 5, 7-8}");
    EXPECT_EQ((IndexSet{0, last}).description(),
              "{0, " + std::to_string(last) + "}"); // no run around the end
}

TEST(IndexPathTests, IsOrderedLevelByLevelWithPrefixesFirst) {
    EXPECT_LT(IndexPath(), (IndexPath{0}));
    EXPECT_LT((IndexPath{1}), (IndexPath{1, 0}));
    EXPECT_LT((IndexPath{1, 9}), (IndexPath{2}));
    EXPECT_EQ((IndexPath{1, 3}).description(), "{1, 3}");
    EXPECT_EQ((IndexPath{1, 3}).indexAtPosition(2), kNotFound);
}

} // namespace tarn
