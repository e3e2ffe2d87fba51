#pragma once

#include "Pictures/SongPicture.h"
#include "Pictures/SongRows.h"
#include "Platform/Export.h"
#include "Song/ChartHarmony.h"
#include "Timeline/CombinedTimelineDataSource.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// What a picture shows at a stretch of frames.
struct PictureItem : TimelineItem {
    std::uint64_t identifier = 0; ///< of the entry; 0 for beats
    Range<std::int64_t> frames;
    std::string text;        ///< to show, bounded, not yet escaped
    std::string color;       ///< of sections: as CSS
    bool isDark = false;     ///< of sections: whether the colour asks for light text
    std::size_t number = 0;  ///< of beats: their number in the bar from 1 (0 before the first bar); of
                             ///< downbeats: the bar's
    bool isDownbeat = false; ///< of beats
    std::size_t lane = 0;    ///< of regions: 0 is the lowest; regions that overlap lie in different lanes

    [[nodiscard]] Range<std::int64_t> frameRange() const override { return frames; }
};

/// The song in rows, and the items that they show. What begins or ends within three points of a row's edge is
/// taken to mean the edge: a chord that is a little early stands on its bar line.
class SongPictureLayout {
public:
    /// The sections of the data source.
    enum Section : std::size_t { beats, chords, sections, regions, markers };
    using Item = std::shared_ptr<const PictureItem>;

    SongPictureLayout(const Song& song, const PictureOptions& options);

    [[nodiscard]] const SongRows& rows() const { return *mRows; }

    /// The items of a section that a row shows, in order.
    [[nodiscard]] std::vector<Item> itemsInRow(std::int64_t row, Section section) const;
    /// The last chord before the row; null when there is none.
    [[nodiscard]] Item chordBeforeRow(std::int64_t row) const;
    /// How many of the regions of a row are not among its items, for more overlap than there are lanes.
    [[nodiscard]] std::size_t hiddenRegionCount(std::int64_t row) const {
        return mHiddenRegions.empty() ? 0 : mHiddenRegions[static_cast<std::size_t>(row)];
    }
    /// How many lanes of regions the song needs, a few at most; 0 without regions.
    [[nodiscard]] std::size_t regionLaneCount() const { return mRegionLaneCount; }
    /// How many counted beats make one that is felt: three in compound metres such as 6/8, else one.
    [[nodiscard]] std::size_t beatsPerGroup() const { return mBeatsPerGroup; }
    [[nodiscard]] bool has(Section section) const { return mItems->itemCount(section) > 0; }

private:
    std::shared_ptr<SongRows> mRows;
    std::vector<Item> mChords;
    std::unique_ptr<CombinedTimelineDataSource> mItems;
    std::size_t mRegionLaneCount = 0;
    std::size_t mBeatsPerGroup = 1;
    std::vector<std::size_t> mHiddenRegions; ///< one for each row; empty where no region is hidden
};

} // namespace tarn
