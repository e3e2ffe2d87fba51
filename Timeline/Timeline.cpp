#include "Timeline/Timeline.h"

#include "Platform/CheckedArithmetic.h"

namespace tarn {

std::vector<std::int64_t> TimelineMetrics::majorFrames(Range<std::int64_t> range) const {
    return framesOnGridWithSpacing(majorSpacing(), range);
}

std::vector<std::int64_t> TimelineMetrics::minorFrames(Range<std::int64_t> range) const {
    return framesOnGridWithSpacing(minorSpacing(), range);
}

namespace {

using Frames = std::vector<std::int64_t>;

Checked<Frames> framesOnGrid(std::int64_t spacing, Range<std::int64_t> range) {
    const auto gridFrameAfter = [spacing](std::int64_t frame) {
        // Truncating division, so not a floor for negative frames.
        return tryAdd(frame, spacing)
            .then([&](std::int64_t next) { return tryDivide(next, spacing); })
            .then([&](std::int64_t line) { return tryMultiply(line, spacing); });
    };
    return gridFrameAfter(range.lower).then([&](std::int64_t start) {
        return gridFrameAfter(range.upper).then([&](std::int64_t end) {
            Frames frames;
            // Start and end are multiples of the spacing, so the steps meet the end exactly. A negative
            // spacing counts down.
            for (auto frame = start; spacing > 0 ? frame < end : frame > end; frame += spacing)
                frames.push_back(frame);
            return Checked(std::move(frames));
        });
    });
}

} // namespace

Frames framesOnGridWithSpacing(std::int64_t spacing, Range<std::int64_t> range) {
    return framesOnGrid(spacing, range).orAbort();
}
std::optional<Frames> tryFramesOnGridWithSpacing(std::int64_t spacing, Range<std::int64_t> range) {
    return framesOnGrid(spacing, range).value();
}

} // namespace tarn
