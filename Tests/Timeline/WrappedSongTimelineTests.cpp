#include "Timeline/WrappedSongTimeline.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <optional>
#include <random>

namespace tarn {
namespace {

using Frame = std::int64_t;
using FrameRange = Range<Frame>;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Frame kLargest = std::numeric_limits<Frame>::max();
constexpr Frame kSmallest = std::numeric_limits<Frame>::min();

struct Layout {
    Frame frameCount = 100000;
    Frame firstRowOffset = 5000;
    double rowWidth = 300;
    double framesPerPoint = 100;
};

struct Song : WrappedSongTimelineDelegate {
    explicit Song(Layout song) : layout(song) {}
    Layout layout;
    mutable std::string questions;
    std::function<void()> whenAskedForFrameCount = [] {};

    Frame sampleRate() const override { return questions += "sampleRate ", 48000; }
    Frame firstRowOffset() const override { return questions += "firstRowOffset ", layout.firstRowOffset; }
    Frame frameCount() const override {
        questions += "frameCount ";
        whenAskedForFrameCount();
        return layout.frameCount;
    }
    double rowWidth() const override { return questions += "rowWidth ", layout.rowWidth; }
    double framesPerPoint() const override { return questions += "framesPerPoint ", layout.framesPerPoint; }
};

WrappedSongTimeline timelineOf(Layout layout) {
    const auto song = std::make_shared<Song>(layout);
    WrappedSongTimeline timeline(song);
    timeline.reloadValues();
    return timeline;
}

TEST(WrappedSongTimelineTests, StartsWithDefaultsAndAsksTheDelegateOnlyOnReload) {
    auto song = std::make_shared<Song>(Layout());
    WrappedSongTimeline timeline(song);
    EXPECT_EQ(song->questions, "");
    EXPECT_THAT(timeline.rowRanges(), ElementsAre(FrameRange(0, 0)));
    EXPECT_EQ(timeline.rowIndex(0), 0);

    timeline.reloadValues();
    EXPECT_EQ(song->questions, "sampleRate firstRowOffset frameCount rowWidth framesPerPoint ");
    EXPECT_EQ(timeline.sampleRate(), 48000);

    // The delegate goes away while it is asked: what comes after is a default.
    song->whenAskedForFrameCount = [&song] { song.reset(); };
    timeline.reloadValues();
    EXPECT_EQ(timeline.firstRowOffset(), 5000);
    EXPECT_EQ(timeline.frameCount(), 100000);
    EXPECT_EQ(timeline.rowWidth(), 0);
    EXPECT_EQ(timeline.framesPerPoint(), 441);
    timeline.reloadValues();
    EXPECT_EQ(timeline.sampleRate(), 44100);
}

TEST(WrappedSongTimelineTests, SpreadsASongOverRows) {
    const auto timeline = timelineOf({});
    EXPECT_EQ(timeline.framesPerRow(), 30000);
    EXPECT_EQ(timeline.continuousRowCount(), 3.5);
    EXPECT_THAT(timeline.rowRanges(), ElementsAre(FrameRange(0, 25000), FrameRange(25000, 55000),
                                                  FrameRange(55000, 85000), FrameRange(85000, 100000)));
    EXPECT_EQ(timeline.nominalFrameRange(3), FrameRange(90000, 120000));
    EXPECT_EQ(timeline.offset(0, 0), 50);
    EXPECT_EQ(timeline.offset(25000, 1), 0);
    EXPECT_EQ(timeline.locationForOffset(50, 0), 0);
    EXPECT_EQ(timeline.locationForOffset(0, 0), -5000);
    EXPECT_EQ(timeline.locationForOffset(0, 1), 25000);
    EXPECT_EQ(timeline.locationForOffset(-0.019, 1), 24999); // truncated toward zero, not floored
    EXPECT_EQ(timeline.locationOffsetBy(70000, -0.019), 64999);
    const std::pair<Frame, Frame> rows[] = {{kSmallest, 0}, {-1, 0},      {0, 0},     {24999, 0},
                                            {25000, 1},     {84999, 2},   {85000, 3}, {99999, 3},
                                            {100000, 3},    {kLargest, 3}};
    for (const auto& [frame, row] : rows)
        EXPECT_EQ(timeline.rowIndex(frame), row) << frame;

    // Without wrapping the song is one row.
    for (const double width : {0., -3., std::nan("")}) {
        const auto line = timelineOf({.firstRowOffset = -7, .rowWidth = width});
        EXPECT_EQ(line.framesPerRow(), 100000);
        EXPECT_THAT(line.rowRanges(), ElementsAre(FrameRange(0, 100000)));
    }
    // Half frames: row bounds are floored each for itself, so row lengths differ by one.
    EXPECT_THAT(timelineOf({10, 0, 1, 2.5}).rowRanges(),
                ElementsAre(FrameRange(0, 2), FrameRange(2, 5), FrameRange(5, 7), FrameRange(7, 10)));
    // A row before the song has begun: a negative offset makes row 0 longer.
    EXPECT_THAT(timelineOf({10, -3, 1, 4}).rowRanges(), ElementsAre(FrameRange(0, 7), FrameRange(7, 10)));
}

TEST(WrappedSongTimelineTests, ASongOfNegativeLengthHasFramesOnlyOutsideItself) {
    const auto withoutRows = timelineOf({.frameCount = -5, .firstRowOffset = 0});
    EXPECT_EQ(withoutRows.rowIndex(-5), -1);
    EXPECT_EQ(withoutRows.rowIndex(-6), 0);
    const auto oneRow = timelineOf({.frameCount = -5, .rowWidth = 0});
    EXPECT_EQ(oneRow.rowIndex(kLargest), 0);
    EXPECT_EQ(oneRow.rowIndex(kSmallest), 0);
}

TEST(WrappedSongTimelineTests, DragsTheFirstRowOffsetAroundOneRow) {
    const auto timeline = timelineOf({});
    const std::pair<Frame, Frame> drags[] = {{-6000, 29000}, {26000, 1000},  {0, 5000},   {-5000, 0},
                                             {25000, 0},     {-5001, 29999}, {-35000, 0}, {-95001, 29999}};
    for (const auto& [delta, offset] : drags)
        EXPECT_EQ(timeline.newFirstRowOffset(delta), offset) << delta;
    EXPECT_EQ(timelineOf({100000, 0, 1, 3.9}).newFirstRowOffset(4), 1);
}

TEST(WrappedSongTimelineTests, GridLinesLeaveOutTheLowerBoundAndIncludeTheUpper) {
    EXPECT_THAT(framesOnGridWithSpacing(10, {0, 30}), ElementsAre(10, 20, 30));
    EXPECT_THAT(framesOnGridWithSpacing(10, {1, 39}), ElementsAre(10, 20, 30));
    EXPECT_THAT(framesOnGridWithSpacing(10, {10, 10}), IsEmpty());
    // Truncating division below zero: the first line after -29 is -10, after -30 it is -20.
    EXPECT_THAT(framesOnGridWithSpacing(10, {-29, 5}), ElementsAre(-10, 0));
    EXPECT_THAT(framesOnGridWithSpacing(10, {-30, -5}), ElementsAre(-20, -10));
    EXPECT_THAT(framesOnGridWithSpacing(-10, {-30, 30}), IsEmpty());
    const auto timeline = timelineOf({});
    EXPECT_THAT(timeline.majorFrames({48000, 150000}), ElementsAre(96000, 144000));
    EXPECT_THAT(timeline.minorFramesInRow(3), ElementsAre(86400, 91200, 96000));
}

/// The rows as they are defined, one after another, without checks; empty for a row without a valid range.
std::optional<FrameRange> definedRange(const Layout& layout, Frame row) {
    const double width = layout.rowWidth > 0 ? layout.rowWidth * layout.framesPerPoint
                                             : static_cast<double>(layout.frameCount);
    const auto bound = [&](Frame r) {
        return static_cast<Frame>(std::floor(width * static_cast<double>(r)));
    };
    const Frame lower = bound(row) - (row == 0 ? 0 : layout.firstRowOffset);
    const Frame upper = std::min(bound(row + 1) - layout.firstRowOffset, layout.frameCount);
    return lower <= upper ? std::optional(FrameRange(lower, upper)) : std::nullopt;
}

TEST(WrappedSongTimelineTests, FindsRowsAsALinearSearchThroughRandomLayoutsDoes) {
    std::mt19937_64 random(8);
    const auto between = [&random](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    int layouts = 0, framesFound = 0, emptyRows = 0;
    while (layouts < 1000) {
        Layout layout;
        layout.frameCount = static_cast<Frame>(std::exp2(between(0, 16)));
        layout.rowWidth = random() % 4 ? between(0.1, 40) : std::floor(between(-1, 40));
        layout.framesPerPoint = random() % 4 ? std::exp2(between(-6, 10)) : std::floor(between(1, 500));
        const double width = layout.rowWidth * layout.framesPerPoint;
        layout.firstRowOffset = random() % 8 ? static_cast<Frame>(between(-3, 1) * width) : 0;
        const auto timeline = timelineOf(layout);
        const auto count = timeline.rowCount();
        if (count > 20000)
            continue;
        std::vector<FrameRange> rows;
        for (Frame row = 0; row < count; ++row) {
            const auto range = definedRange(layout, row);
            if (!range)
                break;
            rows.push_back(*range);
            emptyRows += range->isEmpty();
        }
        if (static_cast<Frame>(rows.size()) != count || count < 1 || rows.back().upper != layout.frameCount)
            continue; // such layouts abort
        ++layouts;
        ASSERT_EQ(timeline.rowRanges(), rows);
        std::vector<Frame> frames = {-1, 0, layout.frameCount - 1, layout.frameCount, layout.frameCount + 1};
        for (int i = 0; i < 20; ++i) {
            const auto& row = rows[random() % rows.size()];
            frames.insert(frames.end(), {row.lower - 1, row.lower, row.upper, (row.lower + row.upper) / 2});
        }
        for (const auto frame : frames) {
            std::vector<Frame> holding;
            for (std::size_t row = 0; row < rows.size(); ++row) {
                if (rows[row].contains(frame))
                    holding.push_back(static_cast<Frame>(row));
            }
            if (frame >= 0 && frame < layout.frameCount) {
                ASSERT_EQ(holding.size(), 1U) << "frame " << frame << " must lie in exactly one row";
                ++framesFound;
            } else {
                ASSERT_THAT(holding, IsEmpty());
                holding.push_back(frame < 0 ? 0 : count - 1);
            }
            ASSERT_EQ(timeline.rowIndex(frame), holding.front())
                << frame << " of " << layout.frameCount << ", offset " << layout.firstRowOffset << ", row of "
                << layout.rowWidth << " points with " << layout.framesPerPoint << " frames";
            // A frame's offset leads back to the frame, up to the truncation of one frame.
            const auto row = holding.front();
            const auto back = timeline.locationForOffset(timeline.offset(frame, row), row);
            ASSERT_LE(std::abs(back - frame), 1) << frame;
            // An offset becomes a frame that lies at most one frame's width before it.
            const auto point = between(0, 40);
            const auto there = timeline.offset(timeline.locationForOffset(point, row), row);
            ASSERT_LE(there, point + 1e-6);
            ASSERT_GT(there, point - 1 / layout.framesPerPoint - 1e-6);
        }
    }
    EXPECT_GT(framesFound, 30000);
    EXPECT_GT(emptyRows, 1000); // fewer than one frame per row
}

TEST(WrappedSongTimelineTests, TriesReturnNothingWhereTheOthersAbort) {
    const auto timeline = timelineOf({});
    EXPECT_EQ(timeline.tryContinuousRowCount(), 3.5);
    EXPECT_EQ(timeline.tryRowCount(), 4);
    EXPECT_EQ(timeline.tryNominalFrameRange(3), FrameRange(90000, 120000));
    EXPECT_EQ(timeline.tryFrameRange(3), FrameRange(85000, 100000));
    EXPECT_EQ(timeline.tryOffset(0, 0), 50);
    EXPECT_EQ(timeline.tryLocationForOffset(50, 0), 0);
    EXPECT_EQ(timeline.tryLocationOffsetBy(70000, 0), 65000);
    EXPECT_EQ(timeline.tryNewFirstRowOffset(26000), 1000);
    EXPECT_EQ(tryFramesOnGridWithSpacing(10, {0, 30}), (std::vector<Frame>{10, 20, 30}));

    const auto endless = timelineOf({.frameCount = kLargest});
    EXPECT_FALSE(endless.tryContinuousRowCount() || endless.tryRowCount());
    EXPECT_FALSE(timeline.tryNominalFrameRange(kLargest) || timeline.tryFrameRange(kLargest));
    EXPECT_FALSE(timelineOf({.firstRowOffset = 30001}).tryFrameRange(0)) << "ends before it begins";
    EXPECT_FALSE(timeline.tryOffset(kLargest, 0));
    EXPECT_FALSE(timeline.tryLocationForOffset(1e300, 1) || timeline.tryLocationOffsetBy(kSmallest, 0));
    EXPECT_FALSE(timeline.tryNewFirstRowOffset(kLargest));
    EXPECT_FALSE(tryFramesOnGridWithSpacing(0, {0, 10}) || tryFramesOnGridWithSpacing(10, {0, kLargest}));
}

TEST(WrappedSongTimelineDeathTest, AbortsOnNumbersThatAreNotALayout) {
    const auto stops = [](Layout layout, const char* message, auto ask) {
        const auto timeline = timelineOf(layout);
        EXPECT_DEATH(ask(timeline), message);
    };
    const auto countRows = [](const auto& t) { (void)t.rowCount(); };
    stops({kLargest, 1, 300, 100}, "overflow in addition", countRows);
    stops({10, 0, 300, 0}, "not finite or out of range", countRows);
    stops({0, 0, 300, 0}, "not finite or out of range", countRows);
    stops({10, 0, 1e-300, 1e-3}, "not finite or out of range", countRows);
    // The offset is larger than a row, so row 0 ends before it begins; a negative zoom turns rows around.
    stops({100000, 30001, 300, 100}, "lower bound", [](const auto& t) { (void)t.rowIndex(70000); });
    stops({100, 0, 300, -100}, "lower bound", [](const auto& t) { (void)t.nominalFrameRange(0); });
    stops({100, -200, 3, 1}, "lower bound", [](const auto& t) { (void)t.rowRanges(); });
    stops({-100000, 0, 300, 100}, "lower bound", [](const auto& t) { (void)t.rowIndex(0); });
    // One row for the whole song, shortened by the offset: its end shows nowhere.
    stops({.rowWidth = 0}, "Frame within song bounds, yet not found in the row ranges",
          [](const auto& t) { (void)t.rowIndex(95000); });
    stops({.framesPerPoint = 1e-3}, "Division by zero", [](const auto& t) { (void)t.newFirstRowOffset(1); });
    stops({}, "overflow in addition", [](const auto& t) { (void)t.newFirstRowOffset(kLargest); });
    stops({}, "overflow in addition", [](const auto& t) { (void)t.offset(kLargest, 0); });
    stops({}, "not finite", [](const auto& t) { (void)t.locationForOffset(1e300, 1); });
    stops({}, "overflow in addition", [](const auto& t) { (void)t.locationOffsetBy(kSmallest, 0); });
    stops({}, "not finite", [](const auto& t) { (void)t.nominalFrameRange(kLargest); });
    EXPECT_DEATH((void)framesOnGridWithSpacing(0, {0, 10}), "Division by zero");
    EXPECT_DEATH((void)framesOnGridWithSpacing(10, {0, kLargest}), "overflow in addition");
}

} // namespace
} // namespace tarn
