#include "TarnFoundation/Grid/BarLines.h"

#include <gtest/gtest.h>

#include <random>

namespace tarn {
namespace {

using Positions = std::vector<std::size_t>;
using Span = Range<std::size_t>;

Positions unpaired(const BarLines& lines) {
    Positions positions;
    auto next = lines.downbeats().begin();
    takeUnpaired(
        lines.positionCount(),
        [&](std::size_t) { return next == lines.downbeats().end() ? lines.positionCount() : *next++; },
        [&](std::size_t position) { positions.push_back(position); });
    return positions;
}

TEST(BarLinesTests, DivideAGridIntoPickupAndBars) {
    const BarLines lines(9, {2, 6});
    EXPECT_EQ(lines.pickup(), Span(0, 2));
    EXPECT_EQ(lines.bar(0), Span(2, 6));
    EXPECT_EQ(lines.bar(1), Span(6, 9));
    EXPECT_EQ(lines.barHolding(1), std::nullopt);
    EXPECT_EQ(lines.barHolding(5), 0u);
    EXPECT_EQ(lines.barHolding(6), 1u);
    EXPECT_EQ(lines.stretchFrom(3), Span(3, 6));
    EXPECT_EQ(lines.stretchFrom(6), Span(6, 9));
    EXPECT_EQ(lines.stretchBefore(6), Span(2, 6)) << "not the bar that begins there";
    EXPECT_EQ(lines.stretchBefore(2), Span(0, 2));
    EXPECT_EQ(BarLines(3, {}).pickup(), Span(0, 3));

    EXPECT_DEATH(BarLines(3, {1, 1}), "must ascend");
    EXPECT_DEATH(BarLines(3, {3}), "must lie in the grid");
    EXPECT_DEATH((void)lines.bar(2), "no such bar");
    EXPECT_DEATH((void)lines.barHolding(9), "no such position");
    EXPECT_DEATH((void)lines.stretchFrom(9), "no such position");
}

TEST(BarLinesTests, ShiftAroundTheGrid) {
    const BarLines lines(6, {0, 4});
    EXPECT_EQ(lines.shifted(1), BarLines(6, {1, 5}));
    EXPECT_EQ(lines.shifted(2), BarLines(6, {0, 2}));
    EXPECT_EQ(lines.shifted(-6), lines);
    EXPECT_EQ(BarLines().shifted(-9), BarLines());
    EXPECT_DEATH((void)lines.shifted(-7), "shifted back");

    using Moves = std::vector<BarLines::Move>;
    EXPECT_EQ(BarLines(4, {1, 3}).moves(1), (Moves{{1, 2}, {3, 0}}));
    EXPECT_EQ(BarLines(9, {1, 2}).markedEvery(3), BarLines(9, {1, 4, 7}));
    EXPECT_EQ(BarLines(9, {}).markedEvery(3), BarLines(9, {}));
}

TEST(BarLinesTests, QuarterNotesCountFromEachDownbeat) {
    EXPECT_EQ(BarLines(8, {0, 4}).quarterNotes(), (Positions{0, 2, 4, 6}));
    EXPECT_EQ(BarLines(8, {0, 3}).quarterNotes(), (Positions{0, 2, 3, 5}))
        << "the odd last bar loses its last";
    EXPECT_EQ(BarLines(8, {3, 6}).quarterNotes(), (Positions{1, 3, 5, 6})) << "the pickup counts backwards";
    EXPECT_EQ(BarLines(5, {}).quarterNotes(), (Positions{0, 2, 4}));
    EXPECT_EQ(BarLines(5, {4}).quarterNotes(), (Positions{0, 2})) << "a lone last downbeat goes as well";
    EXPECT_EQ(BarLines(8, {3, 6}).keeping(Positions{1, 3, 5, 6}), BarLines(4, {1, 3}));
}

TEST(BarLinesTests, PruningLeavesPairsThroughoutAndNothingMoreToPrune) {
    EXPECT_EQ(unpaired(BarLines(6, {0, 3})), (Positions{2, 5}));
    EXPECT_EQ(unpaired(BarLines(5, {1})), (Positions{0}));
    EXPECT_EQ(unpaired(BarLines(5, {2, 3})), (Positions{2})) << "a bar of one position disappears";
    EXPECT_EQ(unpaired(BarLines(5, {})), (Positions{4}));
    std::mt19937 random(1);
    for (int round = 0; round < 1000; ++round) {
        const std::size_t count = random() % 20;
        Positions downbeats, kept;
        for (std::size_t i = 0; i < count; ++i) {
            if (random() % 4 == 0)
                downbeats.push_back(i);
        }
        const BarLines lines(count, downbeats);
        const auto removed = unpaired(lines);
        for (std::size_t i = 0; i < count; ++i) {
            if (std::count(removed.begin(), removed.end(), i) == 0)
                kept.push_back(i);
        }
        const BarLines pruned = lines.keeping(kept);
        ASSERT_TRUE(unpaired(pruned).empty()) << testing::PrintToString(downbeats) << " of " << count;
        ASSERT_EQ(pruned.quarterNotes().size() * 2, kept.size());
    }
}

} // namespace
} // namespace tarn
