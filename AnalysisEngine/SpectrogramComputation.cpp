#include "AnalysisEngine/SpectrogramComputation.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tarn {

std::shared_ptr<Spectrogram> makeSpectrogram(double sampleRate, std::optional<std::int64_t> frameCount) {
    Spectrogram::Layout layout;
    layout.framesPerColumn = sampleRate / SpectralFeatures::kFramesPerSecond;
    layout.columnCount = static_cast<std::uint32_t>(
        std::ceil(static_cast<double>(frameCount.value_or(0)) / layout.framesPerColumn));
    layout.binCount = static_cast<std::uint16_t>(LogFrequencyMap::kBinCount);
    layout.binsPerSemitone = LogFrequencyMap::kBinsPerSemitone;
    layout.lowestPitch = LogFrequencyMap::kLowestNote;
    return std::make_shared<Spectrogram>(layout);
}

void appendColumns(const LogSpectrogram& frames, Spectrogram& spectrogram, const StageMonitor& monitor) {
    const Spectrogram::Layout layout = spectrogram.layout();
    const LogFrequencyShift shift(layout.tuningFrequency);
    const float cellsPerDecibel = 255 / -layout.floorDecibels;
    const std::size_t count = frames.size();
    LogSpectrum tuned;
    std::array<std::uint8_t, LogFrequencyMap::kBinCount> cells;
    for (std::size_t column = spectrogram.completedColumnCount(); column < count; ++column) {
        monitor.report(static_cast<double>(column) / static_cast<double>(count));
        shift.apply(frames[column], tuned);
        for (std::size_t bin = 0; bin < tuned.size(); ++bin) {
            const float decibels = 20 * std::log10(std::max(tuned[bin], 1e-9f));
            const float cell = (decibels - layout.floorDecibels) * cellsPerDecibel;
            cells[bin] = static_cast<std::uint8_t>(std::lround(std::clamp(cell, 0.0f, 255.0f)));
        }
        spectrogram.appendColumn(cells);
    }
    monitor.report(1);
}

} // namespace tarn
