// What tuning, key, chords and the drawn spectrogram need of a song's audio, gathered in one pass over the
// signal at the analysis rate: a spectrogram of logarithmic frequency that any standard pitch can be applied
// to afterwards, and how far the song's partials lie from the notes of equal temperament. Computed once, then
// immutable.
#pragma once

#include "AnalysisEngine/LogFrequencyMap.h"
#include "AnalysisEngine/RealFourierTransform.h"
#include "KELPMusicInformationRetrieval/GrowingTable.h"
#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Frames of LogFrequencyMap::kBinCount magnitudes, readable while they are computed. A sinusoid of amplitude
/// 1 has magnitude 1 or a little less in its bin.
using LogSpectrogram = GrowingTable<float>;
[[nodiscard]] inline std::shared_ptr<LogSpectrogram> makeLogSpectrogram() {
    return std::make_shared<LogSpectrogram>(LogFrequencyMap::kBinCount);
}

struct SpectralFeatures {
    /// Frames are this far apart, in samples at the analysis rate (46 ms). Frame n is centred on sample n *
    /// kHop, and covers as many samples as LogFrequencyMap's transform.
    static constexpr std::size_t kHop = 1024;
    static constexpr double kFramesPerSecond = static_cast<double>(kAnalysisRate) / kHop;

    std::shared_ptr<const LogSpectrogram> magnitudes = makeLogSpectrogram();

    /// Summed magnitude of steady partials, by the octave of the partial (the first from A1 = 55 Hz) and by
    /// its distance from the nearest note at concert pitch: cell c holds those from c - 50 to c - 49 cents.
    static constexpr std::size_t kTuningOctaves = 6;
    std::array<std::array<double, 100>, kTuningOctaves> partialDeviations{};

    std::size_t frameCount() const { return magnitudes->size(); }
    std::span<const float> frame(std::size_t index) const { return (*magnitudes)[index]; }
};

/// Takes the signal at the analysis rate in blocks of any length.
class SpectralFeatureExtractor {
public:
    /// `magnitudes` are those of the features, still without frames.
    explicit SpectralFeatureExtractor(std::shared_ptr<LogSpectrogram> magnitudes = makeLogSpectrogram());

    void process(std::span<const float> samples);

    /// The features of all that was processed; the extractor is spent afterwards. No sample, no frame.
    SpectralFeatures finish();

private:
    struct Partial {
        double cents; ///< Above A1 of concert pitch.
        float magnitude;
    };

    void addFrame(std::span<const float> samples);
    void addPartials(std::span<const float> spectrum);

    RealFourierTransform mTransform;
    LogFrequencyMap mMap;
    std::vector<float> mPending; ///< Samples from the next frame's first on.
    std::size_t mSampleCount = 0;
    std::vector<Partial> mPreviousPartials;
    std::vector<Partial> mPartials;
    std::shared_ptr<LogSpectrogram> mMagnitudes;
    SpectralFeatures mFeatures;
};

} // namespace tarn
