// Spectra of logarithmic frequency, in bins a fifth of a semitone apart: made from spectra of linear
// frequency, and moved to the notes of a tuning.
#pragma once

#include "AnalysisEngine/AudioReader.h"
#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

class LogFrequencyMap {
public:
    /// Samples at the analysis rate in the transform whose spectrum is mapped (372 ms).
    static constexpr std::size_t kTransformLength = 8192;
    /// Hz from one bin of the linear spectrum to the next.
    static constexpr double kBinWidth = static_cast<double>(kAnalysisRate) / kTransformLength;
    static constexpr int kBinsPerSemitone = 5;
    /// The lowest logarithmic bin is centred on this MIDI note (A0) of concert pitch; the highest is
    /// in B8.
    static constexpr int kLowestNote = 21;
    static constexpr std::size_t kBinCount = std::size_t{99} * kBinsPerSemitone;

    LogFrequencyMap();

    /// `spectrum` has the bins from 0 Hz to half the analysis rate, both included; `bins` has kBinCount.
    void apply(std::span<const float> spectrum, std::span<float> bins) const;

private:
    /// The part of the linear spectrum that makes one logarithmic bin.
    struct Kernel {
        std::size_t firstBin;
        std::size_t firstWeight;
        std::size_t length;
    };
    std::vector<Kernel> mKernels;
    std::vector<float> mWeights;
};

/// Magnitudes by logarithmic frequency.
using LogSpectrum = std::array<float, LogFrequencyMap::kBinCount>;

/// Moves spectra so that their bins lie at the notes of another standard pitch than concert pitch, by linear
/// interpolation.
class LogFrequencyShift {
public:
    /// Hz of A4. What isn't within an octave of concert pitch, which no document should say, counts as that.
    explicit LogFrequencyShift(double tuningFrequency);

    /// What would lie outside the spectrum is taken from its edge.
    void apply(std::span<const float> bins, LogSpectrum& tuned) const;

private:
    std::ptrdiff_t mWhole;
    float mPart;
};

} // namespace tarn
