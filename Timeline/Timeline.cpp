#include "Timeline/Timeline.h"

#include "Platform/CheckedArithmetic.h"

namespace tarn {

std::vector<std::int64_t> TimelineMetrics::majorFrames(Range<std::int64_t> range) const {
    return framesOnGridWithSpacing(majorSpacing(), range);
}

std::vector<std::int64_t> TimelineMetrics::minorFrames(Range<std::int64_t> range) const {
    return framesOnGridWithSpacing(minorSpacing(), range);
}

std::vector<std::int64_t> framesOnGridWithSpacing(std::int64_t spacing, Range<std::int64_t> range) {
    const auto gridFrameAfter = [spacing](std::int64_t frame) {
        // Truncating division, so not a floor for negative frames.
        return checkedMultiply(checkedDivide(checkedAdd(frame, spacing), spacing), spacing);
    };
    const auto start = gridFrameAfter(range.lower);
    const auto end = gridFrameAfter(range.upper);
    std::vector<std::int64_t> frames;
    // Start and end are multiples of the spacing, so the steps meet the end exactly. A negative spacing
    // counts down.
    for (auto frame = start; spacing > 0 ? frame < end : frame > end; frame += spacing)
        frames.push_back(frame);
    return frames;
}

} // namespace tarn
