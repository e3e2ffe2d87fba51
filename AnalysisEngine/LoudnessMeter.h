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
    using BandPowers = std::array<double, LoudnessEnvelope::kBandCount>; ///< sums over spectra
    void addSpectrum(std::span<const float> samples);
    void halveStretches();

    int mSampleRate;
    RealFourierTransform mTransform;
    std::array<std::size_t, LoudnessEnvelope::kBandCount + 1>
        mBandEdges{}; ///< bins where bands begin; the last end
    std::vector<float> mPending;
    std::int64_t mPosition = 0; ///< frame at which the pending samples begin
    int mStretchSeconds = 1;
    std::vector<BandPowers> mStretches;
};

} // namespace tarn
