#include "TarnFoundation/Formatting/KELPMapping.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <tuple>

namespace tarn {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(KELPMappingTests, MapsInBothDirections) {
    const KELPLinearMapping tempo({40, 240}, {0, 1});
    const KELPLinearMapping flipped({0, 10}, {300, 100});
    const KELPLogarithmicMapping octaves({110, 880}, {0, 300});
    const KELPLogarithmicMapping downwards({1000, 10}, {-1, 1});
    using Case = std::tuple<const KELPMapping&, double, double>; // source and target
    const Case cases[] = {
        {tempo, 140, 0.5},   {tempo, 20, -0.1},      {flipped, 2.5, 250}, {flipped, 11, 80},
        {octaves, 220, 100}, {octaves, 1760, 400},   {octaves, 55, -100}, {downwards, 100, 0},
        {tempo, 40, 0},      {downwards, 10000, -2},
    };
    for (const auto& [mapping, source, target] : cases) {
        EXPECT_DOUBLE_EQ(mapping.map(source), target);
        EXPECT_DOUBLE_EQ(mapping.inverseMap(target), source);
    }
    // The ends meet exactly, although 0.1, 0.7 and their ratio are not binary fractions.
    const KELPLogarithmicMapping odd({0.1, 0.7}, {0.3, 123.4});
    EXPECT_EQ(odd.map(0.1), 0.3);
    EXPECT_EQ(odd.map(0.7), 123.4);
    EXPECT_EQ(odd.inverseMap(0.3), 0.1);
    EXPECT_EQ(odd.inverseMap(123.4), 0.7);
}

TEST(KELPMappingTests, StaysWithinTheScaleWhereAsked) {
    const KELPLinearMapping flipped({0, 10}, {300, 100});
    const KELPLogarithmicMapping octaves({880, 110}, {0, 300});
    const auto clamp = KELPClamping::toScale;
    EXPECT_EQ(flipped.map(-1, clamp), 300);
    EXPECT_EQ(flipped.map(kInfinity, clamp), 100);
    EXPECT_EQ(flipped.inverseMap(99, clamp), 10);
    EXPECT_EQ(flipped.map(5, clamp), 200);
    EXPECT_EQ(octaves.inverseMap(-5, clamp), 880);
    for (const double tooLow : {109., 0., -440., -kInfinity})
        EXPECT_EQ(octaves.map(tooLow, clamp), 300);
    EXPECT_EQ(octaves.map(0), kInfinity);
    EXPECT_TRUE(std::isnan(octaves.map(-440)));
    EXPECT_TRUE(std::isnan(octaves.map(std::nan(""), clamp)));
}

TEST(KELPMappingTests, AScaleWithoutLengthGivesTheFirstEndOfTheOther) {
    const KELPLinearMapping fromPoint({5, 5}, {1, 2});
    EXPECT_EQ(fromPoint.map(5), 1);
    EXPECT_EQ(fromPoint.map(7, KELPClamping::toScale), 1);
    EXPECT_EQ(fromPoint.inverseMap(2), 5);
    const KELPLogarithmicMapping toPoint({10, 100}, {3, 3});
    EXPECT_EQ(toPoint.map(50), 3);
    EXPECT_EQ(toPoint.inverseMap(3), 10);
    EXPECT_EQ(KELPLogarithmicMapping({7, 7}, {0, 1}).inverseMap(1), 7);
}

TEST(KELPMappingDeathTest, RefusesScalesThatAreNone) {
    EXPECT_DEATH(KELPLinearMapping({0, kInfinity}, {0, 1}), "must be finite");
    EXPECT_DEATH(KELPLinearMapping({0, 1}, {std::nan(""), 1}), "must be finite");
    EXPECT_DEATH(KELPLogarithmicMapping({0, 100}, {0, 1}), "above zero");
    EXPECT_DEATH(KELPLogarithmicMapping({100, -1}, {0, 1}), "above zero");
}

} // namespace
} // namespace tarn
