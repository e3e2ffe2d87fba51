#include "Pictures/SongPictureLayout.h"

#include "KELPMusic/ChordTriad.h"
#include "Pictures/PictureText.h"
#include "Song/CountedBeats.h"
#include "Song/GridReplacement.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>

namespace tarn {

namespace {

using Items = std::vector<std::shared_ptr<const PictureItem>>;

/// Moves frames that are near a row's edge onto it.
class EdgeSnapping {
public:
    explicit EdgeSnapping(const SongRows& rows) : mRows(rows) {}

    [[nodiscard]] std::int64_t operator()(std::int64_t frame) const {
        if (!mRows.frameRange().contains(frame))
            return frame;
        const std::int64_t row = mRows.rowIndex(frame);
        const auto edges = mRows.frameRange(row);
        constexpr double kNear = 3; // points
        const auto near = static_cast<std::int64_t>(kNear * mRows.framesPerPoint(row));
        if (frame - edges.lower <= near)
            return edges.lower;
        return edges.upper - frame <= near && row + 1 < mRows.rowCount() ? edges.upper : frame;
    }
    /// A range stays as it is where nothing of it would be left.
    [[nodiscard]] Range<std::int64_t> operator()(const Range<std::int64_t>& frames) const {
        const Range<std::int64_t> snapped((*this)(frames.lower), (*this)(frames.upper));
        return snapped.lower < snapped.upper ? snapped : frames;
    }

private:
    const SongRows& mRows;
};

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
Items beatItems(const Song& song) {
    Items items;
    const BeatGrid grid = countedBeats(song);
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

Items chordItems(const Song& song, const PictureOptions& options, const EdgeSnapping& snapped) {
    Items items;
    const ChartHarmony harmony(song, options.isAtConcertPitch);
    for (const auto& chord : song.notes->chordEntries()) {
        auto item = std::make_shared<PictureItem>();
        const std::int64_t location = snapped(chord->location());
        item->identifier = chord->eventId();
        item->frames = {location, location};
        const auto sounding = options.asTriads ? triadOf(chord->chord()) : chord->chord();
        if (const auto written = harmony.chord(sounding))
            item->text = boundedName(typesetChord(written->string()));
        items.push_back(std::move(item));
    }
    return items;
}

/// Named colours that an application knows, and others for names of one's own.
void setColor(PictureItem& item, const TarnSectionColor& color) {
    if (const auto* rgba = color.components()) {
        // As on white paper, so that text on it stays readable wherever it is shown.
        const float alpha = std::clamp(rgba->alpha, 0.f, 1.f);
        const auto onPaper = [&](float component) {
            return std::lround((1 - alpha + alpha * std::clamp(component, 0.f, 1.f)) * 255);
        };
        const auto red = onPaper(rgba->red);
        const auto green = onPaper(rgba->green);
        const auto blue = onPaper(rgba->blue);
        item.color =
            "rgb(" + std::to_string(red) + "," + std::to_string(green) + "," + std::to_string(blue) + ")";
        constexpr long kMiddleBrightness = 128'000; // of 255,000; weights of ITU-R BT.601
        item.isDark = 299 * red + 587 * green + 114 * blue < kMiddleBrightness;
        return;
    }
    static constexpr std::array<std::pair<const char*, const char*>, 4> kKnown{
        {{"other", "#d8dde3"}, {"verse", "#bcdcf5"}, {"chorus", "#f9cfa5"}, {"bridge", "#d3c6ee"}}};
    for (const auto& [name, css] : kKnown) {
        if (*color.name() == name) {
            item.color = css;
            return;
        }
    }
    static constexpr std::array<const char*, 6> kOthers{"#c6e5c3", "#f5c4cf", "#f3e3a1",
                                                        "#bfe3df", "#e3c9b4", "#cfd5f2"};
    std::uint32_t hash = 2166136261u; // FNV-1a, so that a name has the same colour everywhere
    for (const char character : *color.name())
        hash = (hash ^ static_cast<unsigned char>(character)) * 16777619u;
    item.color = kOthers[hash % kOthers.size()];
}

Items sectionItems(const TarnSongStructureStorage& structure, std::int64_t songEnd,
                   const EdgeSnapping& snapped) {
    Items items;
    const auto sections = structure.sectionEntries();
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const std::int64_t start = sections[i]->location();
        const std::int64_t end =
            i + 1 < sections.size() ? sections[i + 1]->location() : std::max(start, songEnd);
        auto item = std::make_shared<PictureItem>();
        item->identifier = sections[i]->eventId();
        item->frames = snapped({start, end});
        item->text = boundedName(sections[i]->name().value_or(""));
        setColor(*item, sections[i]->sectionColor());
        items.push_back(std::move(item));
    }
    return items;
}

/// Regions in the lowest lane that is free where they begin. Those that find none go to `hidden`.
Items regionItems(const TarnNoteEntryStorage& notes, const EdgeSnapping& snapped, std::size_t& laneCount,
                  std::vector<Range<std::int64_t>>& hidden) {
    Items items;
    std::vector<std::int64_t> laneEnds;
    constexpr std::size_t kMostLanes = 6;
    for (const auto& region : notes.regionEntries()) {
        if (!region->isValid() || region->location() > std::numeric_limits<std::int64_t>::max() -
                                                           static_cast<std::int64_t>(region->length()))
            continue;
        const auto frames = snapped({region->location(), region->end()});
        auto lane =
            std::find_if(laneEnds.begin(), laneEnds.end(), [&](auto end) { return end <= frames.lower; });
        if (lane == laneEnds.end()) {
            if (laneEnds.size() == kMostLanes) {
                hidden.push_back(frames);
                continue;
            }
            lane = laneEnds.insert(laneEnds.end(), 0);
        }
        *lane = frames.upper;
        auto item = std::make_shared<PictureItem>();
        item->identifier = region->eventId();
        item->frames = frames;
        item->text = boundedName(region->name().value_or(""));
        item->lane = static_cast<std::size_t>(lane - laneEnds.begin());
        items.push_back(std::move(item));
    }
    laneCount = laneEnds.size();
    return items;
}

/// How many of the stretches touch each row.
std::vector<std::size_t> countsByRow(const SongRows& rows,
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
    for (std::int64_t row = 0; row < rows.rowCount(); ++row) {
        const auto frames = rows.frameRange(row);
        const auto begun = std::lower_bound(starts.begin(), starts.end(), frames.upper) - starts.begin();
        const auto ended = std::upper_bound(ends.begin(), ends.end(), frames.lower) - ends.begin();
        counts.push_back(frames.isEmpty() ? 0 : static_cast<std::size_t>(begun - ended));
    }
    return counts;
}

Items markerItems(const TarnNoteEntryStorage& notes, const EdgeSnapping& snapped) {
    Items items;
    for (const auto& marker : notes.markerEntries()) {
        auto item = std::make_shared<PictureItem>();
        const std::int64_t location = snapped(marker->location());
        item->identifier = marker->eventId();
        item->frames = {location, location};
        item->text = boundedName(marker->name().value_or(""));
        items.push_back(std::move(item));
    }
    return items;
}

std::shared_ptr<SongRows> rowsOf(const Song& song, const PictureOptions& options) {
    const BeatGrid grid = countedBeats(song);
    std::int64_t frameCount = song.recording.frameCount;
    if (!grid.isEmpty())
        frameCount = std::max(frameCount, grid.locations().back());
    return std::make_shared<SongRows>(grid.downbeatLocations(), frameCount, song.recording.sampleRate,
                                      options);
}

} // namespace

SongPictureLayout::SongPictureLayout(const Song& song, const PictureOptions& options)
    : mRows(rowsOf(song, options)) {
    const EdgeSnapping snapped(*mRows);
    mChords = chordItems(song, options, snapped);
    std::vector<Range<std::int64_t>> hiddenRegions;
    const auto list = [](Items items) { return std::make_shared<const ItemList>(std::move(items)); };
    mItems = std::make_unique<CombinedTimelineDataSource>(
        mRows, std::vector<std::shared_ptr<const TimelineDataSource>>{
                   list(beatItems(song)), list(mChords),
                   list(sectionItems(*song.structure, mRows->frameRange().upper, snapped)),
                   list(regionItems(*song.notes, snapped, mRegionLaneCount, hiddenRegions)),
                   list(markerItems(*song.notes, snapped))});
    mHiddenRegions = countsByRow(*mRows, hiddenRegions);
    if (countedBeatsPerTempoBeat(song.notes->timeSignature()) == 3)
        mBeatsPerGroup = 3;
}

std::vector<SongPictureLayout::Item> SongPictureLayout::itemsInRow(std::int64_t row, Section section) const {
    std::vector<Item> items;
    for (const auto& path : mItems->indexesForItems(row)) {
        if (path.indexAtPosition(0) == section)
            items.push_back(std::static_pointer_cast<const PictureItem>(mItems->item(path)));
    }
    return items;
}

SongPictureLayout::Item SongPictureLayout::chordBeforeRow(std::int64_t row) const {
    const auto next =
        std::lower_bound(mChords.begin(), mChords.end(), mRows->frameRange(row).lower,
                         [](const Item& chord, std::int64_t frame) { return chord->frames.lower < frame; });
    return next == mChords.begin() ? nullptr : *(next - 1);
}

} // namespace tarn
