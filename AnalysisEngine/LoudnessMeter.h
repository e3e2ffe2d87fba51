// The loudness envelope of a recording, computed while its samples go by.
#pragma once

#include "AnalysisEngine/RealFourierTransform.h"
#include "KELPMusicInformationRetrieval/LoudnessEnvelope.h"

#include <array>
#include <span>
#include <vector>

namespace tarn {

/// Takes the mono samples of a recording block by block. Memory does not grow with its length.
class LoudnessMeter {
public:
    explicit LoudnessMeter(int sampleRate);

    void process(std::span<const float> samples);
    /// The envelope of all samples so far; nothing may be processed afterwards.
    [[nodiscard]] LoudnessEnvelope finish();

private:
    /// The sums of the spectra that begin in a stretch.
    struct Stretch {
        std::array<double, LoudnessEnvelope::kBandCount> powers{};
        std::int64_t spectrumCount = 0;
    };
    void addSpectrum(std::span<const float> samples);
    void doubleStretches();

    int mSampleRate;
    RealFourierTransform mTransform;
    /// The bins where the bands begin, and where the last one ends.
    std::array<std::size_t, LoudnessEnvelope::kBandCount + 1> mBandEdges{};
    std::vector<float> mPending;
    std::int64_t mPosition = 0; ///< frame at which the pending samples begin
    int mStretchSeconds = 1;
    std::vector<Stretch> mStretches;
};

} // namespace tarn
