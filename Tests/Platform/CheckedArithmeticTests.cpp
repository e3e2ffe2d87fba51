#include "Platform/CheckedArithmetic.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace tarn {

namespace {

/// Holds the results for two operands of a narrow type against those of a wide one.
template <typename Narrow>
void expectAsExactly(std::int64_t a, std::int64_t b) {
    const auto x = static_cast<Narrow>(a), y = static_cast<Narrow>(b);
    const auto fitting = [](std::int64_t exact) {
        return std::in_range<Narrow>(exact) ? std::optional(static_cast<Narrow>(exact)) : std::nullopt;
    };
    const bool areAll = tryAdd(x, y).value() == fitting(a + b) &&
                        trySubtract(x, y).value() == fitting(a - b) &&
                        tryMultiply(x, y).value() == fitting(a * b) &&
                        tryDivide(x, y).value() == (b == 0 ? std::nullopt : fitting(a / b));
    EXPECT_TRUE(areAll) << a << ", " << b;
}

template <typename T>
constexpr T kLeast = std::numeric_limits<T>::min();
template <typename T>
constexpr T kGreatest = std::numeric_limits<T>::max();

/// 64-bit products at the edge: each factor with the quotient of the limit by it, and one beyond.
template <typename T>
void expectProductsUpTo(T limit, T factor) {
    const auto quotient = static_cast<T>(limit / factor),
               outward = static_cast<T>((limit < 0) == (factor < 0) ? 1 : -1);
    EXPECT_EQ(tryMultiply(factor, quotient).value(), static_cast<T>(factor * quotient)) << factor;
    EXPECT_FALSE(tryMultiply(factor, static_cast<T>(quotient + outward)).value()) << factor;
    EXPECT_FALSE(tryMultiply(static_cast<T>(quotient + outward), factor).value()) << factor;
}

} // namespace

TEST(CheckedArithmeticTests, GivesWhatFitsAndNothingElse) {
    for (std::int64_t a = -128; a < 256; ++a) {
        for (std::int64_t b = -128; b < 256; ++b) {
            if (std::in_range<std::int8_t>(a) && std::in_range<std::int8_t>(b))
                expectAsExactly<std::int8_t>(a, b);
            if (a >= 0 && b >= 0)
                expectAsExactly<std::uint8_t>(a, b);
        }
    }
    constexpr std::int64_t kLeast32 = kLeast<std::int32_t>, kGreatest32 = kGreatest<std::int32_t>;
    const std::int64_t edges[] = {
        kLeast32, kLeast32 + 1, -65536, -46341, -46340,          -2,         -1, 0, 1, 2,
        46340,    46341,        65535,  65536,  kGreatest32 - 1, kGreatest32};
    for (const std::int64_t a : edges) {
        for (const std::int64_t b : edges)
            expectAsExactly<std::int32_t>(a, b);
    }
}

TEST(CheckedArithmeticTests, KnowsTheEdgesOfTheWidestTypes) {
    for (const std::int64_t factor :
         {2LL, 3LL, 1LL << 31, (1LL << 31) + 1, 1LL << 62, -2LL, -3LL, -(1LL << 31), -(1LL << 40)}) {
        expectProductsUpTo(kGreatest<std::int64_t>, factor);
        expectProductsUpTo(kLeast<std::int64_t>, factor);
    }
    for (const std::uint64_t factor : {2ULL, 3ULL, (1ULL << 32) - 1, 1ULL << 32, 1ULL << 63})
        expectProductsUpTo(kGreatest<std::uint64_t>, factor);
    EXPECT_FALSE(tryMultiply<std::int64_t>(kLeast<std::int64_t>, -1).value());
    EXPECT_FALSE(tryMultiply<std::int64_t>(-1, kLeast<std::int64_t>).value());
    EXPECT_EQ(tryMultiply<std::int64_t>(kLeast<std::int64_t>, 1).value(), kLeast<std::int64_t>);
    EXPECT_EQ(tryAdd(kLeast<std::int64_t>, kGreatest<std::int64_t>).value(), -1);
    EXPECT_FALSE(tryAdd<std::uint64_t>(kGreatest<std::uint64_t>, 1).value());
    EXPECT_FALSE(trySubtract<std::int64_t>(0, kLeast<std::int64_t>).value());
    EXPECT_FALSE(trySubtract<std::uint64_t>(0, 1).value());
}

} // namespace tarn
