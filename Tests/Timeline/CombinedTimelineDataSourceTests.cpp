#include "Timeline/CombinedTimelineDataSource.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

namespace tarn {
namespace {

using Frame = std::int64_t;
using FrameRange = Range<Frame>;
using Ranges = std::vector<FrameRange>;
using testing::ElementsAre;
using testing::IsEmpty;

/// Rows with the bounds 0, 10, 20, 20, 35.
struct Rows : WrappedTimelineProtocol {
    std::vector<Frame> bounds{0, 10, 20, 20, 35};

    std::int64_t rowCount() const override { return static_cast<Frame>(bounds.size()) - 1; }
    FrameRange frameRange() const override { return {bounds.front(), bounds.back()}; }
    FrameRange frameRange(std::int64_t row) const override {
        const auto index = static_cast<std::size_t>(row);
        return {bounds[index], bounds[index + 1]};
    }
    bool rowEndsAfter(std::int64_t row, Frame frame) const override { return frame < frameRange(row).upper; }
    std::int64_t likelyRow(Frame frame) const override { return frame / 7; } // often wrong
};

struct Item : TimelineItem {
    explicit Item(FrameRange itemRange) : range(itemRange) {}
    FrameRange range;
    FrameRange frameRange() const override { return range; }
};

struct Source : TimelineDataSource {
    explicit Source(Ranges itemRanges) : ranges(std::move(itemRanges)) {}
    Ranges ranges;
    std::size_t itemCount() const override { return ranges.size(); }
    std::shared_ptr<const TimelineItem> item(std::size_t index) const override {
        return std::make_shared<Item>(ranges[index]);
    }
};

TEST(CombinedTimelineDataSourceTests, NamesTheItemsOfARowBySectionAndIndex) {
    const auto rows = std::make_shared<Rows>();
    const auto beats = std::make_shared<Source>(Ranges{{9, 9}, {10, 10}, {20, 20}, {35, 35}});
    const auto regions = std::make_shared<Source>(Ranges{{15, 20}, {-5, 40}, {0, 10}, {9, 11}, {40, 50}});
    CombinedTimelineDataSource source(rows, {beats, regions, std::make_shared<Source>(Ranges{})});
    EXPECT_EQ(source.rowCount(), 4);
    EXPECT_EQ(source.sectionCount(), 3U);
    EXPECT_EQ(source.itemCount(1), 5U);
    EXPECT_EQ(source.item({1, 3})->frameRange(), FrameRange(9, 11));

    using Path = IndexPath;
    EXPECT_THAT(source.indexesForItems(0), ElementsAre(Path{0, 0}, Path{1, 1}, Path{1, 2}, Path{1, 3}));
    EXPECT_THAT(source.indexesForItems(1), ElementsAre(Path{0, 1}, Path{1, 0}, Path{1, 1}, Path{1, 3}));
    EXPECT_THAT(source.indexesForItems(2), IsEmpty()); // an empty row shows nothing, not even what spans it
    EXPECT_THAT(source.indexesForItems(3), ElementsAre(Path{0, 2}, Path{0, 3}, Path{1, 1}));

    // Rows are asked for again, items only on reload.
    rows->bounds.back() = 45;
    EXPECT_THAT(source.indexesForItems(3), ElementsAre(Path{0, 2}, Path{0, 3}, Path{1, 1}, Path{1, 4}));
    beats->ranges = {{30, 30}};
    EXPECT_EQ(source.itemCount(0), 4U);
    source.reloadSection(0);
    EXPECT_THAT(source.indexesForItems(3), ElementsAre(Path{0, 0}, Path{1, 1}, Path{1, 4}));
    regions->ranges.clear();
    source.reloadData();
    EXPECT_THAT(source.indexesForItems(0), IsEmpty());
}

TEST(CombinedTimelineDataSourceTests, PutsPointsOutsideTheSongIntoItsFirstAndItsLastRow) {
    using Limits = std::numeric_limits<Frame>;
    const auto rows = std::make_shared<Rows>();
    const auto beats = std::make_shared<Source>(
        Ranges{{Limits::min(), Limits::min()}, {-1, -1}, {35, 35}, {Limits::max(), Limits::max()}});
    const auto regions = std::make_shared<Source>(Ranges{{-9, -1}, {40, 50}});
    const CombinedTimelineDataSource source(rows, {beats, regions});
    EXPECT_THAT(source.indexesForItems(0), ElementsAre(IndexPath{0, 0}, IndexPath{0, 1}));
    EXPECT_THAT(source.indexesForItems(1), IsEmpty());
    EXPECT_THAT(source.indexesForItems(3), ElementsAre(IndexPath{0, 2}, IndexPath{0, 3}));
    rows->bounds = {0, 35, 35}; // an empty last row shows the points only
    EXPECT_THAT(source.indexesForItems(1), ElementsAre(IndexPath{0, 2}, IndexPath{0, 3}));
}

TEST(WrappedTimelineProtocolTests, FindsRowsWhateverTheGuess) {
    const Rows rows;
    for (Frame frame = 0; frame < 35; ++frame)
        EXPECT_EQ(rows.rowIndex(frame), frame < 10 ? 0 : frame < 20 ? 1 : 3) << frame;
}

TEST(TimelineItemIndexTests, FindsWhatASearchThroughAllItemsFinds) {
    std::mt19937 random(3);
    for (int round = 0; round < 500; ++round) {
        Ranges ranges;
        const auto count = random() % 40;
        for (unsigned i = 0; i < count; ++i) {
            const auto lower = static_cast<Frame>(random() % 60) - 10;
            ranges.push_back({lower, lower + static_cast<Frame>(random() % (random() % 5 ? 6 : 60))});
        }
        const TimelineItemIndex index(ranges);
        for (int query = 0; query < 20; ++query) {
            const auto lower = static_cast<Frame>(random() % 70) - 15;
            const FrameRange frames(lower, lower + static_cast<Frame>(random() % 15));
            std::vector<std::size_t> expected;
            for (std::size_t i = 0; i < ranges.size(); ++i) {
                bool touches = frames.contains(ranges[i].lower);
                for (auto frame = ranges[i].lower; frame < ranges[i].upper; ++frame)
                    touches = touches || frames.contains(frame);
                if (touches)
                    expected.push_back(i);
            }
            std::vector<std::size_t> found;
            index.forEachTouching(frames.lower, frames.upper - 1,
                                  [&](std::size_t i, const FrameRange&) { found.push_back(i); });
            std::sort(found.begin(), found.end());
            ASSERT_EQ(found, expected);
        }
    }
}

TEST(CombinedTimelineDataSourceDeathTest, StopsOnPathsThatNameNoItem) {
    const CombinedTimelineDataSource source(std::make_shared<Rows>(),
                                            {std::make_shared<Source>(Ranges{{1, 2}})});
    EXPECT_DEATH((void)source.item({0, 1}), "has no such item");
    EXPECT_DEATH((void)source.item({1, 0}), "has no such section");
    EXPECT_DEATH((void)source.item({0}), "by its section and its index");
}

} // namespace
} // namespace tarn
