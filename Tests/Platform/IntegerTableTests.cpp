#include "Platform/IntegerTable.h"

#include <gtest/gtest.h>

#include <limits>

namespace tarn {
namespace {

TEST(IntegerTableTests, KeepsTheFirstPositionOfEachNumberHoweverItGrows) {
    constexpr std::uint64_t kGreatest = std::numeric_limits<std::uint64_t>::max();
    constexpr std::size_t kCount = 5000;
    // Runs that begin far apart, one of them up to the greatest number, and steps of a power of two.
    const auto numberAt = [](std::size_t i) -> std::uint64_t {
        const std::uint64_t numbers[] = {i, kGreatest - i, (std::uint64_t{1} << 40) + i, (i + 1) << 44};
        return numbers[i % 4];
    };
    for (const std::size_t expectedCount : {std::size_t{0}, kCount}) {
        IntegerTable table(expectedCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            ASSERT_FALSE(table.contains(numberAt(i)));
            ASSERT_EQ(table.insert(numberAt(i), 2 * i), std::pair(2 * i, false));
        }
        for (std::size_t i = 0; i < kCount; ++i)
            ASSERT_EQ(table.insert(numberAt(i), 1), std::pair(2 * i, true));
        EXPECT_FALSE(table.contains(1)) << "1 is numberAt of no index";
    }
}

} // namespace
} // namespace tarn
