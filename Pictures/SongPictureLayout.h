#pragma once

#include "Pictures/SongPicture.h"
#include "Platform/Export.h"
#include "Timeline/CombinedTimelineDataSource.h"
#include "Timeline/WrappedSongTimeline.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// What a picture shows at a stretch of frames.
struct PictureItem : TimelineItem {
    Range<std::int64_t> frames;
    std::string text;  ///< to show, not yet escaped
    std::string color; ///< of sections: as CSS
    std::size_t number =
        0; ///< of beats: their number in the bar from 1 (0 before the first bar); of downbeats: the bar's
    bool isDownbeat = false; ///< of beats
    std::size_t lane = 0;    ///< of regions: 0 is the lowest; regions that overlap lie in different lanes

    [[nodiscard]] Range<std::int64_t> frameRange() const override { return frames; }
};

/// The song wrapped into rows: the timeline and the items that its rows show.
class SongPictureLayout {
public:
    /// The sections of the data source.
    enum Section : std::size_t { beats, chords, sections, regions, markers };

    SongPictureLayout(const Song& document, const PictureOptions& options);

    [[nodiscard]] const WrappedSongTimeline& timeline() const { return *mTimeline; }
    /// The most rows, about: the song is drawn at a greater scale where it would take more.
    static constexpr double kMostRows = 10'000;

    /// The items of a section that a row shows, in order.
    [[nodiscard]] std::vector<std::shared_ptr<const PictureItem>> itemsInRow(std::int64_t row,
                                                                             Section section) const;
    /// How many of the regions of a row are not among its items, for more overlap than there are lanes.
    [[nodiscard]] std::size_t hiddenRegionCount(std::int64_t row) const {
        return mHiddenRegions.empty() ? 0 : mHiddenRegions[static_cast<std::size_t>(row)];
    }
    /// How many lanes of regions the song needs, a few at most; 0 without regions.
    [[nodiscard]] std::size_t regionLaneCount() const { return mRegionLaneCount; }
    [[nodiscard]] bool hasSections() const { return mItems->itemCount(sections) > 0; }
    [[nodiscard]] bool hasMarkers() const { return mItems->itemCount(markers) > 0; }

private:
    class Geometry;
    std::shared_ptr<Geometry> mGeometry; ///< kept, since the timeline holds it weakly
    std::shared_ptr<WrappedSongTimeline> mTimeline;
    std::unique_ptr<CombinedTimelineDataSource> mItems;
    std::size_t mRegionLaneCount = 0;
    std::vector<std::size_t> mHiddenRegions; ///< one for each row; empty where no region is hidden
};

} // namespace tarn
