#pragma once

#include "Pictures/SongPictureLayout.h"
#include "Pictures/WaveformOutline.h"
#include "Platform/Export.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// Draws the rows of a layout as SVG, each in coordinates of its own: the music begins at x = 0, the row's
/// top is y = 0, times stand in a margin on the left.
class RowPicture {
public:
    static constexpr double kLeftMargin = 36; ///< points
    static constexpr double kWaveformHeight = 58;

    RowPicture(const SongPictureLayout& layout, double sampleRate)
        : mLayout(layout), mSampleRate(sampleRate) {}

    [[nodiscard]] double height(std::int64_t row) const;
    [[nodiscard]] double waveformTop(std::int64_t row) const;

    /// `waveform` is what shows the row's columns of the outline, in its coordinates; empty where there is
    /// none.
    [[nodiscard]] std::string draw(std::int64_t row, const WaveformOutline& outline,
                                   std::string_view waveform) const;

private:
    class Drawing;
    struct Anatomy;
    const SongPictureLayout& mLayout;
    double mSampleRate;
};

} // namespace tarn
