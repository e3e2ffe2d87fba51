#pragma once

#include "Platform/Range.h"
#include "Timeline/Timeline.h"

#include <cstdint>
#include <vector>

/// A timeline that is drawn in rows, like text.
namespace tarn {

/// A timeline whose frames are spread over rows. The rows follow each other without gap: a row begins where
/// the row before it ends, so row ends ascend. Rows may be empty.
class WrappedTimelineProtocol : public TimelineProtocol {
public:
    [[nodiscard]] virtual std::int64_t rowCount() const = 0;
    using TimelineProtocol::frameRange;
    /// The frames that `row` shows.
    [[nodiscard]] virtual Range<std::int64_t> frameRange(std::int64_t row) const = 0;

    /// The frame ranges of all rows, in order. A negative row count aborts.
    [[nodiscard]] std::vector<Range<std::int64_t>> rowRanges() const;
    /// The first row that shows `frame`. Frames before the song are in row 0, frames at or after its end in
    /// the last row (-1 when there are no rows). A frame of the song that no row shows aborts, as does a row
    /// without a valid range among those up to the result. Takes a number of steps that is logarithmic in the
    /// row count.
    [[nodiscard]] virtual std::int64_t rowIndex(std::int64_t frame) const;

protected:
    /// Whether `frame`, which lies within the song, lies before the end of `row`. Asked for any row, in any
    /// order; must not abort even where the row's range would.
    [[nodiscard]] virtual bool rowEndsAfter(std::int64_t row, std::int64_t frame) const = 0;
    /// The row that probably shows `frame`, where the search begins. Only speed depends on it.
    [[nodiscard]] virtual std::int64_t likelyRow(std::int64_t frame) const = 0;

private:
    [[nodiscard]] std::int64_t firstRowEndingAfter(std::int64_t frame, Range<std::int64_t> rows) const;
};

/// The grid of a timeline that is drawn in rows.
class WrappedTimelineMetrics : public WrappedTimelineProtocol, public TimelineMetrics {
public:
    /// The strong and the weak lines of one row.
    [[nodiscard]] std::vector<std::int64_t> majorFramesInRow(std::int64_t row) const;
    [[nodiscard]] std::vector<std::int64_t> minorFramesInRow(std::int64_t row) const;
};

} // namespace tarn
