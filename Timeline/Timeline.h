#pragma once

#include "Platform/Range.h"

#include <cstdint>
#include <optional>
#include <vector>

/// What a view that draws a song along a line asks for: the frames that there are, and a grid over them.
/// Frames are audio sample frames from the start of the song.
namespace tarn {

/// A stretch of frames that can be drawn.
class TimelineProtocol {
public:
    virtual ~TimelineProtocol() = default;
    /// All frames of the timeline.
    [[nodiscard]] virtual Range<std::int64_t> frameRange() const = 0;
};

/// The grid that is drawn behind a timeline: lines at the multiples of two spacings.
class TimelineMetrics {
public:
    virtual ~TimelineMetrics() = default;
    /// The distance of the strong and of the weak lines, in frames.
    [[nodiscard]] virtual std::int64_t majorSpacing() const = 0;
    [[nodiscard]] virtual std::int64_t minorSpacing() const = 0;

    /// The strong and the weak lines of `range`, as framesOnGridWithSpacing finds them.
    [[nodiscard]] std::vector<std::int64_t> majorFrames(Range<std::int64_t> range) const;
    [[nodiscard]] std::vector<std::int64_t> minorFrames(Range<std::int64_t> range) const;
};

/// The multiples of `spacing` greater than `range.lower` and not greater than `range.upper`: a line at the
/// beginning of a row belongs to the end of the row before. That holds for positive frames; below zero the
/// underlying divisions truncate toward zero, which moves the lines of that side by up to one spacing. A
/// spacing of 0 aborts, as does an overflow; the `try…` form then returns nothing.
[[nodiscard]] std::vector<std::int64_t> framesOnGridWithSpacing(std::int64_t spacing,
                                                                Range<std::int64_t> range);
[[nodiscard]] std::optional<std::vector<std::int64_t>> tryFramesOnGridWithSpacing(std::int64_t spacing,
                                                                                  Range<std::int64_t> range);

} // namespace tarn
