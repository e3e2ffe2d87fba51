#include "Timeline/CombinedTimelineDataSource.h"
#include "Timeline/WrappedSongTimeline.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

/// A song of as many rows as the argument says, with a beat in every half row and a region over every tenth
/// row. The searches that make all ranges or look at all items are the baselines.
namespace tarn {
namespace {

constexpr double kRowWidth = 1000;
constexpr double kFramesPerPoint = 441.3;
constexpr double kFramesPerRow = kRowWidth * kFramesPerPoint;

struct Song : WrappedSongTimelineDelegate {
    explicit Song(std::int64_t rows)
        : frames(static_cast<std::int64_t>(static_cast<double>(rows) * kFramesPerRow)) {}
    std::int64_t frames;
    std::int64_t sampleRate() const override { return 44100; }
    std::int64_t firstRowOffset() const override { return 0; }
    std::int64_t frameCount() const override { return frames; }
    double rowWidth() const override { return kRowWidth; }
    double framesPerPoint() const override { return kFramesPerPoint; }
};

struct Item : TimelineItem {
    explicit Item(Range<std::int64_t> itemRange) : range(itemRange) {}
    Range<std::int64_t> range;
    Range<std::int64_t> frameRange() const override { return range; }
};

struct Items : TimelineDataSource {
    std::vector<std::shared_ptr<const TimelineItem>> items;
    std::size_t itemCount() const override { return items.size(); }
    std::shared_ptr<const TimelineItem> item(std::size_t index) const override { return items[index]; }
};

std::shared_ptr<WrappedSongTimeline> timelineOfRows(std::int64_t rows) {
    const auto song = std::make_shared<Song>(rows);
    auto timeline = std::make_shared<WrappedSongTimeline>(song);
    timeline->reloadValues();
    return timeline;
}

std::vector<std::int64_t> randomNumbers(std::int64_t end) {
    std::mt19937_64 random(1);
    std::vector<std::int64_t> numbers(1024);
    for (auto& number : numbers)
        number = std::uniform_int_distribution<std::int64_t>(0, end - 1)(random);
    return numbers;
}

std::vector<std::shared_ptr<const TimelineDataSource>> sourcesOf(const WrappedSongTimeline& timeline) {
    const auto beats = std::make_shared<Items>();
    const auto regions = std::make_shared<Items>();
    const auto half = static_cast<std::int64_t>(kFramesPerRow / 2);
    for (std::int64_t frame = 0; frame < timeline.frameCount(); frame += half)
        beats->items.push_back(std::make_shared<Item>(Range(frame, frame)));
    for (std::int64_t frame = 0; frame < timeline.frameCount(); frame += 20 * half)
        regions->items.push_back(std::make_shared<Item>(Range(frame, frame + 3 * half)));
    return {beats, regions};
}

void rowOfFrame(benchmark::State& state) {
    const auto timeline = timelineOfRows(state.range(0));
    const auto frames = randomNumbers(timeline->frameCount());
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(timeline->rowIndex(frames[++i % frames.size()]));
}
BENCHMARK(rowOfFrame)->Arg(100)->Arg(10000);

void rowOfFrameAmongAllRanges(benchmark::State& state) {
    const auto timeline = timelineOfRows(state.range(0));
    const auto frames = randomNumbers(timeline->frameCount());
    std::size_t i = 0;
    for (auto _ : state) {
        const auto frame = frames[++i % frames.size()];
        const auto ranges = timeline->rowRanges();
        benchmark::DoNotOptimize(std::find_if(ranges.begin(), ranges.end(),
                                              [frame](const auto& range) { return range.contains(frame); }));
    }
}
BENCHMARK(rowOfFrameAmongAllRanges)->Arg(100)->Arg(10000);

void itemsOfRow(benchmark::State& state) {
    const auto timeline = timelineOfRows(state.range(0));
    const CombinedTimelineDataSource source(timeline, sourcesOf(*timeline));
    const auto rows = randomNumbers(timeline->rowCount());
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(source.indexesForItems(rows[++i % rows.size()]));
}
BENCHMARK(itemsOfRow)->Arg(100)->Arg(10000);

void itemsOfRowAmongAllItems(benchmark::State& state) {
    const auto timeline = timelineOfRows(state.range(0));
    const auto sources = sourcesOf(*timeline);
    const auto rows = randomNumbers(timeline->rowCount());
    std::size_t i = 0;
    for (auto _ : state) {
        const auto row = timeline->frameRange(rows[++i % rows.size()]);
        std::vector<IndexPath> paths;
        for (std::size_t section = 0; section < sources.size(); ++section) {
            for (std::size_t index = 0; index < sources[section]->itemCount(); ++index) {
                const auto item = sources[section]->item(index)->frameRange();
                if (item.lower < row.upper && (item.upper > row.lower || item.lower >= row.lower))
                    paths.push_back({section, index});
            }
        }
        benchmark::DoNotOptimize(paths);
    }
}
BENCHMARK(itemsOfRowAmongAllItems)->Arg(100)->Arg(10000);

void loadItems(benchmark::State& state) {
    const auto timeline = timelineOfRows(state.range(0));
    const auto sources = sourcesOf(*timeline);
    for (auto _ : state)
        benchmark::DoNotOptimize(CombinedTimelineDataSource(timeline, sources));
}
BENCHMARK(loadItems)->Arg(100)->Arg(10000)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace tarn
