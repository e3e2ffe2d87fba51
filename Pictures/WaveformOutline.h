#pragma once

#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"
#include "Platform/Range.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace TARN_PUBLIC tarn {

/// A song's waveform as paths: the peaks and, in front of them, the root mean square. In x a unit is a column
/// of frames, counted from the song's start; y reaches from -127 to 127, which the song's loudest peak fills.
class WaveformOutline {
public:
    /// For a picture of this zoom. A column is one and a half points wide, or more where the waveform is not
    /// as fine; there are at most 300,000, so that a song of hours makes a picture of megabytes. Null has no
    /// columns.
    WaveformOutline(std::shared_ptr<Waveform> waveform, double framesPerPoint);

    [[nodiscard]] std::size_t columnCount() const { return mColumnCount; }
    [[nodiscard]] double framesPerColumn() const { return mFramesPerColumn; }
    /// The columns that show some of the frames.
    [[nodiscard]] Range<std::size_t> columnsOf(const Range<std::int64_t>& frames) const;
    /// The columns `first ..< end` as an SVG path of each outline, which goes on for a column, so that no
    /// seam shows where paths meet.
    [[nodiscard]] std::string paths(std::size_t first, std::size_t end) const;

private:
    [[nodiscard]] Waveform::Point column(std::size_t index) const;

    std::shared_ptr<Waveform> mWaveform;
    double mFramesPerColumn;
    double mPointsPerColumn = 1;
    std::span<const Waveform::Point> mPoints;
    std::size_t mColumnCount = 0;
    double mScale = 1;
};

} // namespace tarn
