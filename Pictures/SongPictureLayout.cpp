#include "Pictures/SongPictureLayout.h"

#include "Song/CountedBeats.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>

namespace tarn {

/// The five numbers that the timeline asks for.
class SongPictureLayout::Geometry : public WrappedSongTimelineDelegate {
public:
    Geometry(const Song& document, const PictureOptions& options) : mWidth(options.pageWidth) {
        mSampleRate = document.recording.sampleRate;
        mFrameCount = document.recording.frameCount;
        const BeatGrid grid = beatGridOf(document.notes->beatEntries());
        if (!grid.isEmpty())
            mFrameCount = std::max(mFrameCount, grid.locations().back());
        const double wanted =
            std::max(options.secondsPerRow * mSampleRate, static_cast<double>(mFrameCount) / kMostRows);
        double framesPerRow = wanted;
        const auto downbeats = grid.from(0).downbeatLocations();
        if (downbeats.size() >= 2) {
            // Whole bars of the song's mean length to the row, and the first downbeat on a multiple of it, so
            // that bar lines stand below each other as far as the tempo is steady.
            const double bar = static_cast<double>(downbeats.back() - downbeats.front()) /
                               static_cast<double>(downbeats.size() - 1);
            if (bar >= 1 && bar <= 4 * wanted) {
                framesPerRow = bar * std::max(1.0, std::round(wanted / bar));
                const double inBar = std::fmod(static_cast<double>(downbeats.front()), bar);
                // A little of the bar before, so that a downbeat that comes early does not fall off its row.
                mFirstRowOffset = static_cast<std::int64_t>(std::fmod(bar - inBar + kLeadOfRow * bar, bar));
            }
        }
        // In steps whose products are exact: else rounding leaves the last frame of some songs in no row.
        constexpr double kStepsPerFrame = 65536;
        mFramesPerPoint = std::ceil(framesPerRow / mWidth * kStepsPerFrame) / kStepsPerFrame;
    }
    [[nodiscard]] std::int64_t sampleRate() const override {
        return std::max<std::int64_t>(1, static_cast<std::int64_t>(mSampleRate));
    }
    [[nodiscard]] std::int64_t firstRowOffset() const override { return mFirstRowOffset; }
    [[nodiscard]] std::int64_t frameCount() const override { return mFrameCount; }
    [[nodiscard]] double rowWidth() const override { return mWidth; }
    [[nodiscard]] double framesPerPoint() const override { return mFramesPerPoint; }

private:
    /// Share of a bar that a row shows before its first bar line.
    static constexpr double kLeadOfRow = 0.04;

    double mWidth;
    double mSampleRate;
    std::int64_t mFrameCount;
    std::int64_t mFirstRowOffset = 0;
    double mFramesPerPoint;
};

namespace {

using Items = std::vector<std::shared_ptr<const PictureItem>>;

class ItemList : public TimelineDataSource {
public:
    explicit ItemList(Items items) : mItems(std::move(items)) {}
    [[nodiscard]] std::size_t itemCount() const override { return mItems.size(); }
    [[nodiscard]] std::shared_ptr<const TimelineItem> item(std::size_t index) const override {
        return mItems[index];
    }

private:
    Items mItems;
};

/// The bar lines, and the numbers of the counted beats.
Items beatItems(const Song& document) {
    Items items;
    const BeatGrid grid = countedBeats(document);
    for (std::size_t i = 0; i < grid.size(); ++i) {
        const std::int64_t location = grid.locations()[i];
        const auto place = grid.barBeat(i);
        auto item = std::make_shared<PictureItem>();
        item->frames = {location, location};
        item->isDownbeat = place && place->beat == 1;
        if (place)
            item->number = item->isDownbeat ? place->bar : place->beat;
        items.push_back(std::move(item));
    }
    return items;
}

Items chordItems(const TarnNoteEntryStorage& document) {
    Items items;
    for (const auto& chord : document.chordEntries()) {
        auto item = std::make_shared<PictureItem>();
        item->frames = {chord->location(), chord->location()};
        item->text = chord->chord() ? chord->chord()->string() : "";
        items.push_back(std::move(item));
    }
    return items;
}

/// Named colours that an application knows, and others for names of one's own.
std::string cssColor(const TarnSectionColor& color) {
    if (const auto* rgba = color.components()) {
        const auto byte = [](float component) {
            return std::to_string(std::lround(std::clamp(component, 0.f, 1.f) * 255));
        };
        const auto alpha = std::to_string(std::lround(std::clamp(rgba->alpha, 0.f, 1.f) * 100));
        return "rgb(" + byte(rgba->red) + " " + byte(rgba->green) + " " + byte(rgba->blue) + " / " + alpha +
               "%)";
    }
    static constexpr std::array<std::pair<const char*, const char*>, 4> kKnown{
        {{"other", "#d8dde3"}, {"verse", "#bcdcf5"}, {"chorus", "#f9cfa5"}, {"bridge", "#d3c6ee"}}};
    for (const auto& [name, css] : kKnown) {
        if (*color.name() == name)
            return css;
    }
    static constexpr std::array<const char*, 6> kOthers{"#c6e5c3", "#f5c4cf", "#f3e3a1",
                                                        "#bfe3df", "#e3c9b4", "#cfd5f2"};
    std::uint32_t hash = 2166136261u; // FNV-1a, so that a name has the same colour everywhere
    for (const char character : *color.name())
        hash = (hash ^ static_cast<unsigned char>(character)) * 16777619u;
    return kOthers[hash % kOthers.size()];
}

Items sectionItems(const TarnSongStructureStorage& structure, std::int64_t songEnd) {
    Items items;
    const auto sections = structure.sectionEntries();
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const std::int64_t start = sections[i]->location();
        const std::int64_t end =
            i + 1 < sections.size() ? sections[i + 1]->location() : std::max(start, songEnd);
        auto item = std::make_shared<PictureItem>();
        item->frames = {start, end};
        item->text = sections[i]->name().value_or("");
        item->color = cssColor(sections[i]->sectionColor());
        items.push_back(std::move(item));
    }
    return items;
}

/// Regions in the lowest lane that is free where they begin. Those that find none go to `hidden`.
Items regionItems(const TarnNoteEntryStorage& document, std::size_t& laneCount,
                  std::vector<Range<std::int64_t>>& hidden) {
    Items items;
    std::vector<std::int64_t> laneEnds;
    constexpr std::size_t kMostLanes = 6;
    for (const auto& region : document.regionEntries()) {
        if (!region->isValid() || region->location() > std::numeric_limits<std::int64_t>::max() -
                                                           static_cast<std::int64_t>(region->length()))
            continue;
        const Range<std::int64_t> frames(region->location(), region->end());
        auto lane = std::find_if(laneEnds.begin(), laneEnds.end(),
                                 [&](auto end) { return end <= region->location(); });
        if (lane == laneEnds.end()) {
            if (laneEnds.size() == kMostLanes) {
                hidden.push_back(frames);
                continue;
            }
            lane = laneEnds.insert(laneEnds.end(), 0);
        }
        *lane = frames.upper;
        auto item = std::make_shared<PictureItem>();
        item->frames = frames;
        item->text = region->name().value_or("");
        item->lane = static_cast<std::size_t>(lane - laneEnds.begin());
        items.push_back(std::move(item));
    }
    laneCount = laneEnds.size();
    return items;
}

/// How many of the stretches touch each row of the timeline.
std::vector<std::size_t> countsByRow(const WrappedSongTimeline& timeline,
                                     const std::vector<Range<std::int64_t>>& stretches) {
    if (stretches.empty())
        return {};
    std::vector<std::int64_t> starts;
    std::vector<std::int64_t> ends;
    for (const auto& stretch : stretches) {
        starts.push_back(stretch.lower);
        ends.push_back(stretch.upper);
    }
    std::sort(starts.begin(), starts.end());
    std::sort(ends.begin(), ends.end());
    std::vector<std::size_t> counts;
    for (std::int64_t row = 0; row < timeline.rowCount(); ++row) {
        const auto frames = timeline.frameRange(row);
        const auto begun = std::lower_bound(starts.begin(), starts.end(), frames.upper) - starts.begin();
        const auto ended = std::upper_bound(ends.begin(), ends.end(), frames.lower) - ends.begin();
        counts.push_back(frames.isEmpty() ? 0 : static_cast<std::size_t>(begun - ended));
    }
    return counts;
}

Items markerItems(const TarnNoteEntryStorage& document) {
    Items items;
    for (const auto& marker : document.markerEntries()) {
        auto item = std::make_shared<PictureItem>();
        item->frames = {marker->location(), marker->location()};
        item->text = marker->name().value_or("");
        items.push_back(std::move(item));
    }
    return items;
}

} // namespace

SongPictureLayout::SongPictureLayout(const Song& document, const PictureOptions& options)
    : mGeometry(std::make_shared<Geometry>(document, options)),
      mTimeline(std::make_shared<WrappedSongTimeline>(mGeometry)) {
    mTimeline->reloadValues();
    std::vector<Range<std::int64_t>> hiddenRegions;
    const auto list = [](Items items) { return std::make_shared<const ItemList>(std::move(items)); };
    mItems = std::make_unique<CombinedTimelineDataSource>(
        mTimeline, std::vector<std::shared_ptr<const TimelineDataSource>>{
                       list(beatItems(document)), list(chordItems(*document.notes)),
                       list(sectionItems(*document.structure, mTimeline->frameCount())),
                       list(regionItems(*document.notes, mRegionLaneCount, hiddenRegions)),
                       list(markerItems(*document.notes))});
    mHiddenRegions = countsByRow(*mTimeline, hiddenRegions);
}

std::vector<std::shared_ptr<const PictureItem>> SongPictureLayout::itemsInRow(std::int64_t row,
                                                                              Section section) const {
    std::vector<std::shared_ptr<const PictureItem>> items;
    for (const auto& path : mItems->indexesForItems(row)) {
        if (path.indexAtPosition(0) == section)
            items.push_back(std::static_pointer_cast<const PictureItem>(mItems->item(path)));
    }
    return items;
}

} // namespace tarn
