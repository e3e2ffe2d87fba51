#include "TarnFoundation/Grid/BeatGrid.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

using Beats = std::vector<GridBeat>;
using Locations = std::vector<std::int64_t>;

/// Two beats of pickup, a bar of three beats from 20 and one of two from 50; two beats on frame 40.
BeatGrid someGrid() {
    return {{-5, 10, 20, 40, 40, 50, 60}, BarLines(7, {2, 5})};
}

TEST(BeatGridTests, NamesBarsAndBeats) {
    const BeatGrid grid = someGrid();
    EXPECT_EQ(grid.bars(70), (std::vector<Bar>{{1, {2, 5}, 20, 50}, {2, {5, 7}, 50, 70}}));
    EXPECT_EQ(grid.barAt(49, 70), grid.bar(0, 70));
    EXPECT_EQ(grid.barAt(50, 70), grid.bar(1, 70));
    EXPECT_EQ(grid.barAt(1000, 70), grid.bar(1, 70));
    EXPECT_EQ(grid.barAt(19, 70), std::nullopt) << "pickup";

    EXPECT_EQ(grid.position(40), (BarBeat{1, 3})) << "the last of the beats on one frame";
    EXPECT_EQ(grid.position(39), (BarBeat{1, 1}));
    EXPECT_EQ(grid.position(1000), (BarBeat{2, 2}));
    EXPECT_EQ(grid.position(-6), std::nullopt);
    EXPECT_EQ(grid.firstAtOrAfter(40), 3u);
    EXPECT_EQ(grid.firstAtOrAfter(61), 7u);
    EXPECT_EQ(grid.from(0), BeatGrid({10, 20, 40, 40, 50, 60}, BarLines(6, {1, 4})));
    EXPECT_EQ(BeatGrid().barAt(0, 0), std::nullopt);
    EXPECT_DEATH(BeatGrid({2, 1}, BarLines(2, {})), "in order");
    EXPECT_DEATH(BeatGrid({1}, BarLines(2, {})), "must have a location");
}

TEST(BeatGridTests, CountedBeatsAreTheQuarterNotesOfAGridInEighths) {
    EXPECT_EQ(someGrid().quarterNotes(), BeatGrid({-5, 20, 40, 50}, BarLines(4, {1, 3})));
}

TEST(BeatGridTests, AnEditReplacesBeatsAndPutsNewOnesAfterOldOnesOfTheirFrame) {
    const BeatGrid grid({0, 10, 20}, BarLines(3, {1}));
    EXPECT_EQ(grid.with({{0, 1}, {{10, false}, {5, true}}}), BeatGrid({5, 10, 10, 20}, BarLines(4, {0, 1})));
    EXPECT_DEATH((void)grid.with({{2, 4}, {}}), "beats of the grid");
}

TEST(BeatGridTests, MovingABarLineSpacesBothBarsEvenly) {
    const BeatGrid grid = someGrid();
    EXPECT_EQ(grid.with(grid.barMoved(5, 35, 75)),
              BeatGrid({-5, 10, 20, 25, 30, 35, 55}, BarLines(7, {2, 5})));
    EXPECT_EQ(grid.with(grid.barMoved(2, 30, 70)),
              BeatGrid({0, 15, 30, 36, 42, 50, 60}, BarLines(7, {0, 2, 5})))
        << "the pickup becomes a bar from frame 0";
    const BeatGrid bar({10, 20}, BarLines(2, {0}));
    EXPECT_EQ(bar.with(bar.barMoved(0, -10, 30)), BeatGrid({-10, 10}, BarLines(2, {0})));
    EXPECT_DEATH((void)grid.barMoved(2, 51, 70), "beyond the end of its bar");
    EXPECT_DEATH((void)grid.barMoved(5, 19, 70), "before the start of the previous");
    EXPECT_DEATH((void)grid.barMoved(7, 60, 70), "no such position");
}

TEST(BeatGridTests, RefillingABarKeepsItsEnds) {
    const BeatGrid grid = someGrid();
    EXPECT_EQ(grid.with(grid.barRefilled(2, 2, 70)), BeatGrid({-5, 10, 20, 35, 50, 60}, BarLines(6, {2, 4})));
    EXPECT_EQ(grid.barRefilled(5, 3, 80).beats, (Beats{{50, true}, {60, false}, {70, false}}));
    EXPECT_DEATH((void)grid.barRefilled(2, 0, 70), "at least one beat");
    EXPECT_DEATH((void)grid.barRefilled(5, 1, 49), "must not end before it starts");
}

TEST(BeatGridTests, BarsInEighthsReachUpToTheNextBarLine) {
    EXPECT_EQ(barsInEighths(Locations{0, 40}, 60, 2), (Beats{{0, true},
                                                             {10, false},
                                                             {20, false},
                                                             {30, false},
                                                             {40, true},
                                                             {45, false},
                                                             {50, false},
                                                             {55, false}}));
    EXPECT_EQ(barsInEighths(Locations{0, 40}, 50, 1),
              (Beats{{0, true}, {20, false}, {40, true}, {45, false}}))
        << "half a gap after the last beat would lie after the end";
    EXPECT_DEATH((void)barsInEighths(Locations{}, 50, 1), "must be a bar line");
    EXPECT_DEATH((void)barsInEighths(Locations{0}, 50, 0), "at least one beat");
}

} // namespace
} // namespace tarn
