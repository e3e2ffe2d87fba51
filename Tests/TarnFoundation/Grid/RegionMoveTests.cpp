#include "TarnFoundation/Grid/RegionMove.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace tarn {
namespace {

constexpr auto kGreatest = std::numeric_limits<std::int64_t>::max();

TEST(RegionSpanTests, EndsSwapWhenOnePassesTheOther) {
    const RegionSpan span{100, 50};
    EXPECT_EQ(span.withStart(120), (RegionSpan{120, 30}));
    EXPECT_EQ(span.withStart(180), (RegionSpan{150, 30}));
    EXPECT_EQ(span.withEnd(-40), (RegionSpan{-40, 140}));
    EXPECT_FALSE((RegionSpan{1, kGreatest}).checkedEnd().value());
    EXPECT_FALSE((RegionSpan{-9, std::uint64_t{0} - 1}).checkedEnd().value());
    EXPECT_DEATH((void)(RegionSpan{1, kGreatest}).end(), "overflow in addition");
    EXPECT_DEATH((void)RegionSpan::between(-2, kGreatest), "overflow in subtraction");
}

TEST(RegionMoveTests, TellsTheSpanAndTheNeighboursThatGo) {
    using Rule = RegionNeighborCollisionRule;
    const RegionSpan region{100, 50};
    const RegionNeighbours neighbours{RegionSpan{0, 100}, RegionSpan{150, 20}};
    const auto shifted = [&](std::int64_t by, Rule rule) {
        return RegionMove::ofRegion(region, by, {}, neighbours, rule);
    };
    EXPECT_EQ(shifted(0, Rule::doNotMove).region, region) << "touching is no collision";
    EXPECT_THROW((void)shifted(1, Rule::doNotMove), ShiftRegionError);
    EXPECT_EQ(shifted(10, Rule::clipToNeighbor).region, (RegionSpan{110, 40}));
    EXPECT_EQ(shifted(-100, Rule::clipToNeighbor).region, (RegionSpan{50, 50}))
        << "from the start of the neighbour on, its end is where the region begins or ends";
    EXPECT_THROW((void)shifted(-101, Rule::clipToNeighbor), RegionClippingError);
    const RegionMove move = shifted(-10, Rule::deleteNeighbor);
    EXPECT_EQ(move.region, (RegionSpan{90, 50}));
    EXPECT_TRUE(move.removesBefore);
    EXPECT_FALSE(move.removesAfter);

    const std::vector<std::int64_t> points{0, 100, 140, 180, 200};
    EXPECT_EQ(RegionMove::ofRegion(region, 1, points, {}, Rule::doNotMove).region, (RegionSpan{140, 60}))
        << "the end falls on the later of two points equally near";
    const auto end = RegionMove::ofBoundary(region, RegionBoundary::end, 1, points, 80, {}, Rule::doNotMove);
    EXPECT_EQ(end.region, (RegionSpan{100, 80}));
    EXPECT_THROW(
        (void)RegionMove::ofBoundary(region, RegionBoundary::end, 1, points, 81, {}, Rule::doNotMove),
        SnappedAdjustmentError);
}

TEST(RegionMoveTests, FreeSpaceLiesBetweenTheNearestEndsInTheBar) {
    const std::vector<RegionSpan> regions{{0, 120}, {110, 20}, {180, 5}, {190, 50}};
    EXPECT_EQ(freeSpaceInBar(100, 150, 200, regions), Range<std::int64_t>(130, 180));
    EXPECT_EQ(freeSpaceInBar(100, 130, 200, regions), Range<std::int64_t>(130, 180))
        << "right after a region";
    EXPECT_EQ(freeSpaceInBar(140, 150, 170, regions), Range<std::int64_t>(140, 170));
    EXPECT_DEATH((void)freeSpaceInBar(100, 150, 149, regions), "must not end before the frame");
    EXPECT_DEATH((void)freeSpaceInBar(150, 150, 150, regions), "no room");
}

} // namespace
} // namespace tarn
