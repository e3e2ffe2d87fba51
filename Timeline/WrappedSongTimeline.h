#pragma once

#include "Platform/Range.h"
#include "Timeline/WrappedTimeline.h"

#include <cstdint>
#include <memory>
#include <optional>

/// The layout of a song in rows of fixed width. The first row may start part-way in, so that its first
/// downbeat stands above those of the rows below; the last row ends at the song's end. Positions within a row
/// are points from the row's left edge.
namespace tarn {

/// Supplies the values of the layout.
class WrappedSongTimelineDelegate {
public:
    virtual ~WrappedSongTimelineDelegate() = default;
    [[nodiscard]] virtual std::int64_t sampleRate() const = 0;     ///< frames per second
    [[nodiscard]] virtual std::int64_t firstRowOffset() const = 0; ///< frames
    [[nodiscard]] virtual std::int64_t frameCount() const = 0;
    [[nodiscard]] virtual double rowWidth() const = 0; ///< points
    [[nodiscard]] virtual double framesPerPoint() const = 0;
};

/// Five numbers and the geometry that follows from them. Nothing else is kept, so every result belongs to the
/// values of the last `reloadValues()`. An overflow, a number that cannot become a frame, or a range that
/// ends before it begins aborts; the `try…` forms then return nothing. Conversions to frames truncate toward
/// zero unless said otherwise.
class WrappedSongTimeline : public WrappedTimelineMetrics {
public:
    /// Keeps the delegate weakly and does not ask it.
    explicit WrappedSongTimeline(std::weak_ptr<WrappedSongTimelineDelegate> delegate = {});

    [[nodiscard]] std::shared_ptr<WrappedSongTimelineDelegate> delegate() const { return mDelegate.lock(); }
    void setDelegate(std::weak_ptr<WrappedSongTimelineDelegate> delegate);
    /// Asks the delegate for all values, in the order of its questions. From the moment that the delegate is
    /// gone the values are the defaults, even within one call.
    void reloadValues();

    /// Frames per second; 44100 by default.
    [[nodiscard]] std::int64_t sampleRate() const { return mSampleRate; }
    /// How many frames of the first row lie before the song's start; 0 by default.
    [[nodiscard]] std::int64_t firstRowOffset() const { return mFirstRowOffset; }
    /// The song's length; 0 by default.
    [[nodiscard]] std::int64_t frameCount() const { return mFrameCount; }
    /// The width of a row in points; 0 (the default) or less means that the song is one row.
    [[nodiscard]] double rowWidth() const { return mRowWidth; }
    /// The zoom; 441 by default.
    [[nodiscard]] double framesPerPoint() const { return mFramesPerPoint; }

    /// The frames that a full row shows, not rounded.
    [[nodiscard]] double framesPerRow() const;
    /// How many rows the song fills, the last one in part.
    [[nodiscard]] double continuousRowCount() const;
    [[nodiscard]] std::optional<double> tryContinuousRowCount() const;
    [[nodiscard]] std::int64_t rowCount() const override;
    [[nodiscard]] std::optional<std::int64_t> tryRowCount() const;

    /// 0 ..< frameCount.
    [[nodiscard]] Range<std::int64_t> frameRange() const override;
    /// The frames of a row were there neither an offset nor an end.
    [[nodiscard]] Range<std::int64_t> nominalFrameRange(std::int64_t row) const;
    [[nodiscard]] std::optional<Range<std::int64_t>> tryNominalFrameRange(std::int64_t row) const;
    /// The frames that a row shows. Row 0 begins at frame 0 and is shorter by the offset.
    [[nodiscard]] Range<std::int64_t> frameRange(std::int64_t row) const override;
    [[nodiscard]] std::optional<Range<std::int64_t>> tryFrameRange(std::int64_t row) const;

    /// Where `frame` lies in `row`, in points; outside the row's width for frames that the row does not show.
    [[nodiscard]] double offset(std::int64_t frame, std::int64_t row) const;
    [[nodiscard]] std::optional<double> tryOffset(std::int64_t frame, std::int64_t row) const;
    /// The frame at `offset` points in `row`; the inverse of `offset`.
    [[nodiscard]] std::int64_t locationForOffset(double offset, std::int64_t row) const;
    [[nodiscard]] std::optional<std::int64_t> tryLocationForOffset(double offset, std::int64_t row) const;
    /// The frame that lies `offset` points after `frame`, where `frame` counts from the left edge of row 0:
    /// the first row's offset is taken off.
    [[nodiscard]] std::int64_t locationOffsetBy(std::int64_t frame, double offset) const;
    [[nodiscard]] std::optional<std::int64_t> tryLocationOffsetBy(std::int64_t frame, double offset) const;
    /// The first row's offset after dragging the layout by `delta` frames: within 0 ..< whole frames per row,
    /// since a drag by a row leaves the picture as it is. Less than one whole frame per row aborts.
    [[nodiscard]] std::int64_t newFirstRowOffset(std::int64_t delta) const;
    [[nodiscard]] std::optional<std::int64_t> tryNewFirstRowOffset(std::int64_t delta) const;

    /// A song of negative length shows no frame: those from its end on are in the last row, the others in row
    /// 0. A negative row count aborts.
    [[nodiscard]] std::int64_t rowIndex(std::int64_t frame) const override;

    /// A line at every second, and a weak one at every tenth.
    [[nodiscard]] std::int64_t majorSpacing() const override { return mSampleRate; }
    [[nodiscard]] std::int64_t minorSpacing() const override { return mSampleRate / 10; }

protected:
    [[nodiscard]] bool rowEndsAfter(std::int64_t row, std::int64_t frame) const override;
    [[nodiscard]] std::int64_t likelyRow(std::int64_t frame) const override;

private:
    using Frame = Checked<std::int64_t>;
    using FrameRange = Checked<Range<std::int64_t>>;

    [[nodiscard]] Checked<double> checkedContinuousRowCount() const;
    [[nodiscard]] Frame checkedRowCount() const;
    [[nodiscard]] FrameRange checkedNominalFrameRange(std::int64_t row) const;
    [[nodiscard]] FrameRange checkedFrameRange(std::int64_t row) const;
    [[nodiscard]] Checked<double> checkedOffset(std::int64_t frame, std::int64_t row) const;
    [[nodiscard]] Frame checkedLocationForOffset(double offset, std::int64_t row) const;
    [[nodiscard]] Frame checkedLocationOffsetBy(std::int64_t frame, double offset) const;
    [[nodiscard]] Frame checkedNewFirstRowOffset(std::int64_t delta) const;

    std::weak_ptr<WrappedSongTimelineDelegate> mDelegate;
    std::int64_t mSampleRate;
    std::int64_t mFirstRowOffset;
    std::int64_t mFrameCount;
    double mRowWidth;
    double mFramesPerPoint;
};

} // namespace tarn
