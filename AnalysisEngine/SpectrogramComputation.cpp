#include "AnalysisEngine/SpectrogramComputation.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tarn {

std::shared_ptr<Spectrogram> makeSpectrogram(const AudioFeatures& features, double tuningFrequency) {
    Spectrogram::Layout layout;
    layout.framesPerColumn = features.sampleRate / SpectralFeatures::kFramesPerSecond;
    layout.columnCount = static_cast<std::uint32_t>(features.spectral.frameCount());
    layout.binCount = static_cast<std::uint16_t>(LogFrequencyMap::kBinCount);
    layout.binsPerSemitone = LogFrequencyMap::kBinsPerSemitone;
    layout.lowestPitch = LogFrequencyMap::kLowestNote;
    layout.tuningFrequency = tuningFrequency;
    return std::make_shared<Spectrogram>(layout);
}

void fillSpectrogram(const AudioFeatures& features, Spectrogram& spectrogram, const StageMonitor& monitor) {
    const Spectrogram::Layout& layout = spectrogram.layout();
    const LogFrequencyShift shift(layout.tuningFrequency);
    const float cellsPerDecibel = 255 / -layout.floorDecibels;
    LogSpectrum tuned;
    std::array<std::uint8_t, LogFrequencyMap::kBinCount> cells;
    for (std::uint32_t column = 0; column < layout.columnCount; ++column) {
        monitor.report(static_cast<double>(column) / layout.columnCount);
        shift.apply(features.spectral.frame(column), tuned);
        for (std::size_t bin = 0; bin < tuned.size(); ++bin) {
            const float decibels = 20 * std::log10(std::max(tuned[bin], 1e-9f));
            const float cell = (decibels - layout.floorDecibels) * cellsPerDecibel;
            cells[bin] = static_cast<std::uint8_t>(std::lround(std::clamp(cell, 0.0f, 255.0f)));
        }
        spectrogram.appendColumn(cells);
    }
}

} // namespace tarn
