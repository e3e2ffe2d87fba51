#include "Platform/IndexPath.h"

#include <gtest/gtest.h>

namespace tarn {

TEST(IndexPath, isOrderedLevelByLevelWithPrefixesFirst) {
    EXPECT_LT(IndexPath(), (IndexPath{0}));
    EXPECT_LT((IndexPath{1}), (IndexPath{1, 0}));
    EXPECT_LT((IndexPath{1, 9}), (IndexPath{2}));
    EXPECT_EQ((IndexPath{1, 3}).description(), "{1, 3}");
    EXPECT_EQ((IndexPath{1, 3}).indexAtPosition(2), kNotFound);
}

} // namespace tarn
