#include "Timeline/WrappedTimeline.h"

#include "Platform/FatalError.h"

#include <algorithm>

namespace tarn {

std::vector<Range<std::int64_t>> WrappedTimelineProtocol::rowRanges() const {
    const Range<std::int64_t> rows(0, rowCount());
    std::vector<Range<std::int64_t>> ranges;
    for (auto row = rows.lower; row < rows.upper; ++row)
        ranges.push_back(frameRange(row));
    return ranges;
}

/// By bisection that looks first at the likely row and its neighbour, which is usually all it takes.
std::int64_t WrappedTimelineProtocol::firstRowEndingAfter(std::int64_t frame,
                                                          Range<std::int64_t> rows) const {
    auto first = rows.lower;
    auto end = rows.upper;
    auto probe = likelyRow(frame);
    for (bool isFirstStep = true; first < end; isFirstStep = false) {
        probe = std::clamp(probe, first, end - 1);
        const bool endsAfter = rowEndsAfter(probe, frame);
        (endsAfter ? end : first) = endsAfter ? probe : probe + 1;
        if (isFirstStep)
            probe = endsAfter ? probe - 1 : probe + 1;
        else
            probe = first + (end - first) / 2;
    }
    return first;
}

std::int64_t WrappedTimelineProtocol::rowIndex(std::int64_t frame) const {
    const Range<std::int64_t> rows(0, rowCount());
    // Row beginnings ascend, so a row is valid when row 0 and it are: these checks stand for those of all
    // rows between.
    if (!rows.isEmpty())
        (void)frameRange(0);
    const auto song = frameRange();
    if (song.contains(frame)) {
        const auto first = firstRowEndingAfter(frame, rows);
        if (first < rows.upper && frameRange(first).contains(frame))
            return first;
    }
    if (!rows.isEmpty())
        (void)frameRange(rows.upper - 1);
    if (song.contains(frame))
        fatalError("Frame within song bounds, yet not found in the row ranges");
    return frame < 0 ? 0 : rows.upper - 1;
}

std::vector<std::int64_t> WrappedTimelineMetrics::majorFramesInRow(std::int64_t row) const {
    return majorFrames(frameRange(row));
}

std::vector<std::int64_t> WrappedTimelineMetrics::minorFramesInRow(std::int64_t row) const {
    return minorFrames(frameRange(row));
}

} // namespace tarn
