#include "Pictures/SongRows.h"

#include <gmock/gmock.h>

using namespace tarn;
using testing::ElementsAre;

namespace {

std::vector<std::int64_t> startsOf(const SongRows& rows) {
    std::vector<std::int64_t> starts;
    for (const auto& range : rows.rowRanges())
        starts.push_back(range.lower);
    return starts;
}

/// Bar lines every 100 frames.
std::vector<std::int64_t> barLines(std::int64_t first, int count) {
    std::vector<std::int64_t> lines;
    for (int bar = 0; bar < count; ++bar)
        lines.push_back(first + 100 * bar);
    return lines;
}

SongRows rowsOf(const std::vector<std::int64_t>& lines, std::int64_t frameCount, double framesPerRow) {
    return {lines, frameCount, 1, {1000, framesPerRow}};
}

TEST(SongRows, BeginOnBarLinesAndHoldPhrases) {
    EXPECT_THAT(startsOf(rowsOf(barLines(0, 12), 1200, 370)), ElementsAre(0, 400, 800));
    EXPECT_THAT(startsOf(rowsOf(barLines(0, 12), 1200, 700)), ElementsAre(0, 800)) << "seven is nearer to 8";
    EXPECT_THAT(startsOf(rowsOf(barLines(0, 5), 500, 250)), ElementsAre(0, 200, 400));
    EXPECT_THAT(startsOf(rowsOf(barLines(0, 3), 300, 60)), ElementsAre(0, 100, 200))
        << "never less than a bar";
}

TEST(SongRows, JoinAShortPickupAndEndingButNotALongOne) {
    EXPECT_THAT(startsOf(rowsOf(barLines(100, 8), 1020, 400)), ElementsAre(0, 500));
    EXPECT_THAT(startsOf(rowsOf(barLines(1000, 4), 2200, 400)), ElementsAre(0, 333, 666, 1000, 1400, 1800));
}

TEST(SongRows, FollowATempoThatChanges) {
    // Half the tempo from bar 9 on: as many bars as fit, in whole phrases.
    auto lines = barLines(0, 9);
    for (const int line : {1010, 1220, 1430})
        lines.push_back(line);
    const auto rows = rowsOf(lines, 1530, 400);
    EXPECT_THAT(startsOf(rows), ElementsAre(0, 400, 800, 1220));
    EXPECT_DOUBLE_EQ(rows.offset(1010, 2), 500) << "the row fills the width at its own tempo";
    EXPECT_DOUBLE_EQ(rows.width(3), 775) << "what is left at the end does not";
    EXPECT_DOUBLE_EQ(rows.offset(5000, 3), 775) << "frames after the row lie at its edge";
}

TEST(SongRows, DivideWhatHasNoBars) {
    EXPECT_THAT(startsOf(rowsOf({}, 1000, 300)), ElementsAre(0, 333, 666));
    EXPECT_THAT(startsOf(rowsOf({0, 100, 200, 2200, 2300, 2400, 2500}, 2600, 400)),
                ElementsAre(0, 200, 600, 1000, 1400, 1800, 2200))
        << "a pause in bar 3";
    EXPECT_EQ(rowsOf({}, 0, 300).rowCount(), 0);
    EXPECT_EQ(rowsOf({-5, 700}, 600, 300).rowCount(), 2);
}

TEST(SongRows, AreNeverMoreThanAPictureHolds) {
    EXPECT_LE(rowsOf({}, 1'000'000'000'000, 1).rowCount(), 10'000);
    EXPECT_LE(rowsOf(barLines(0, 100'000), 10'000'000, 100).rowCount(), 10'000);
    EXPECT_LE(rowsOf({1, 2, 3}, 1'000'000'000'000, 1).rowCount(), 10'000);
}

} // namespace
