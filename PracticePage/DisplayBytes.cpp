#include "PracticePage/DisplayBytes.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tarn {
namespace {

/// The finest level that is not much finer than needed.
std::size_t levelFor(double framesPerPart) {
    std::size_t level = 0;
    while (level + 1 < Waveform::kLevelCount && Waveform::framesPerPoint(level + 1) <= framesPerPart)
        ++level;
    return level;
}

/// The indexes that one of several equal parts of a stretch touches, at least one, of those that there are.
Range<std::size_t> touched(double first, double perPart, std::size_t part, std::size_t count) {
    const auto clamped = [count](double index) {
        return static_cast<std::size_t>(std::clamp(index, 0.0, static_cast<double>(count)));
    };
    const double lower = std::floor(first + perPart * static_cast<double>(part));
    const double upper = std::ceil(first + perPart * static_cast<double>(part + 1));
    return {clamped(lower), clamped(std::max(upper, lower + 1))};
}

} // namespace

std::string waveformBytes(const Waveform& waveform, const Range<std::int64_t>& frames, std::size_t count) {
    std::string bytes(count, '\0');
    const double perPart = static_cast<double>(frames.upper - frames.lower) / static_cast<double>(count);
    const std::size_t level = levelFor(perPart);
    const double scale = Waveform::framesPerPoint(level);
    const auto points = waveform.points(level);
    for (std::size_t part = 0; part < count; ++part) {
        const auto indexes =
            touched(static_cast<double>(frames.lower) / scale, perPart / scale, part, points.size());
        int peak = 0;
        for (std::size_t i = indexes.lower; i < indexes.upper; ++i)
            peak = std::max({peak, std::abs(int{points[i].minimum}), std::abs(int{points[i].maximum})});
        constexpr int kFullScale = 127;
        bytes[part] = static_cast<char>(std::min(255, peak * 255 / kFullScale));
    }
    return bytes;
}

std::string spectrogramBytes(const Spectrogram& spectrogram, const Range<std::int64_t>& frames,
                             std::size_t columns, std::size_t rows) {
    std::string bytes(columns * rows, '\0');
    const auto layout = spectrogram.layout();
    const double perPart = static_cast<double>(frames.upper - frames.lower) / static_cast<double>(columns);
    const double binsPerRow = static_cast<double>(layout.binCount) / static_cast<double>(rows);
    const std::size_t complete = spectrogram.completedColumnCount();
    for (std::size_t part = 0; part < columns; ++part) {
        const auto indexes = touched(static_cast<double>(frames.lower) / layout.framesPerColumn,
                                     perPart / layout.framesPerColumn, part, complete);
        for (std::size_t i = indexes.lower; i < indexes.upper; ++i) {
            const auto cells = spectrogram.column(static_cast<std::uint32_t>(i));
            for (std::size_t row = 0; row < rows; ++row) {
                const auto bins = touched(0, binsPerRow, row, layout.binCount);
                auto& byte = bytes[part * rows + row];
                for (std::size_t bin = bins.lower; bin < bins.upper; ++bin)
                    byte = static_cast<char>(std::max(static_cast<std::uint8_t>(byte), cells[bin]));
            }
        }
    }
    return bytes;
}

} // namespace tarn
