#pragma once

#include "Pictures/SongPicture.h"
#include "Platform/Export.h"
#include "TarnFoundation/Grid/BeatGrid.h"
#include "Timeline/WrappedTimeline.h"

#include <cstdint>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A song on rows of whole bars, as sheet music has them: a row begins on a bar line and holds one, two, or a
/// multiple of four bars, about as many as the options' seconds ask for. A short pickup or ending joins its
/// neighbour's row; a long one, a bar that is much longer than a row, and a song without bars are divided
/// evenly. Rows of the usual number of bars fill the page's width, whatever their tempo, so that bar lines
/// roughly line up from row to row; shorter ones take their share of it.
class SongRows : public WrappedTimelineProtocol {
public:
    /// The most rows, about: the song is drawn at a greater scale where it would take more.
    static constexpr double kMostRows = 10'000;

    /// Shows the frames 0 ..< frameCount. Bar lines outside are ignored.
    SongRows(const std::vector<std::int64_t>& barLines, std::int64_t frameCount, double sampleRate,
             const PictureOptions& options);

    [[nodiscard]] std::int64_t rowCount() const override { return static_cast<std::int64_t>(mRows.size()); }
    [[nodiscard]] Range<std::int64_t> frameRange() const override { return {0, mFrameCount}; }
    [[nodiscard]] Range<std::int64_t> frameRange(std::int64_t row) const override;
    /// The zoom of a row, and of most rows.
    [[nodiscard]] double framesPerPoint(std::int64_t row) const;
    [[nodiscard]] double usualFramesPerPoint() const { return mUsualLength / mWidth; }
    [[nodiscard]] double pageWidth() const { return mWidth; }
    /// How wide the row's music is, in points.
    [[nodiscard]] double width(std::int64_t row) const;
    /// Where a frame lies in a row, in points from its left edge; at an edge for frames beyond it.
    [[nodiscard]] double offset(std::int64_t frame, std::int64_t row) const;

protected:
    [[nodiscard]] bool rowEndsAfter(std::int64_t row, std::int64_t frame) const override;
    [[nodiscard]] std::int64_t likelyRow(std::int64_t frame) const override;

private:
    struct Row {
        std::int64_t start;
        bool fillsWidth;
    };
    void addBars(const std::vector<std::int64_t>& lines);
    void addEvenly(Range<std::int64_t> frames);
    [[nodiscard]] const Row& rowAt(std::int64_t row) const;

    double mWidth;
    std::int64_t mFrameCount;
    double mUsualLength = 1; ///< frames that a row of the usual number of bars takes
    std::size_t mBarsPerRow = 1;
    std::vector<Row> mRows;
};

} // namespace tarn
