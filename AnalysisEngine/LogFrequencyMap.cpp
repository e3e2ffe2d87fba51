#include "AnalysisEngine/LogFrequencyMap.h"

#include "KELPMusic/ConcertPitch.h"
#include "Platform/FatalError.h"

#include <algorithm>
#include <cmath>

namespace tarn {

LogFrequencyMap::LogFrequencyMap() {
    const auto linearBin = [](double note) { return frequencyOfMIDINote(note) / kBinWidth; };
    // Each logarithmic bin is a triangle that reaches to its neighbours' centres, but at least to the next
    // linear bin, so that low bins interpolate and high ones gather whatever lies in them.
    constexpr double kStep = 1.0 / kBinsPerSemitone;
    for (std::size_t bin = 0; bin < kBinCount; ++bin) {
        const double note = kLowestNote + static_cast<double>(bin) * kStep;
        const double centre = linearBin(note);
        const double below = std::min(centre - 1, linearBin(note - kStep));
        const double above = std::max(centre + 1, linearBin(note + kStep));
        Kernel kernel{static_cast<std::size_t>(std::max(0.0, std::ceil(below))), mWeights.size(), 0};
        const auto last = std::min(static_cast<std::size_t>(above), kTransformLength / 2);
        for (std::size_t i = kernel.firstBin; i <= last; ++i) {
            const double at = static_cast<double>(i);
            const double weight =
                at <= centre ? (at - below) / (centre - below) : (above - at) / (above - centre);
            mWeights.push_back(static_cast<float>(weight));
        }
        kernel.length = mWeights.size() - kernel.firstWeight;
        mKernels.push_back(kernel);
    }
}

void LogFrequencyMap::apply(std::span<const float> spectrum, std::span<float> bins) const {
    precondition(spectrum.size() == kTransformLength / 2 + 1 && bins.size() == kBinCount,
                 "The spectrum does not have the map's shape.");
    for (std::size_t bin = 0; bin < kBinCount; ++bin) {
        const Kernel& kernel = mKernels[bin];
        float sum = 0;
        for (std::size_t i = 0; i < kernel.length; ++i)
            sum += spectrum[kernel.firstBin + i] * mWeights[kernel.firstWeight + i];
        bins[bin] = sum;
    }
}

LogFrequencyShift::LogFrequencyShift(double tuningFrequency) {
    const bool usable = tuningFrequency >= kConcertPitch / 2 && tuningFrequency <= kConcertPitch * 2;
    const double bins =
        usable ? 12 * LogFrequencyMap::kBinsPerSemitone * std::log2(tuningFrequency / kConcertPitch) : 0;
    mWhole = static_cast<std::ptrdiff_t>(std::floor(bins));
    mPart = static_cast<float>(bins - std::floor(bins));
}

void LogFrequencyShift::apply(std::span<const float> bins, LogSpectrum& tuned) const {
    const auto at = [bins](std::ptrdiff_t bin) {
        return bins[static_cast<std::size_t>(
            std::clamp<std::ptrdiff_t>(bin, 0, LogFrequencyMap::kBinCount - 1))];
    };
    for (std::size_t bin = 0; bin < tuned.size(); ++bin) {
        const std::ptrdiff_t from = static_cast<std::ptrdiff_t>(bin) + mWhole;
        tuned[bin] = at(from) * (1 - mPart) + at(from + 1) * mPart;
    }
}

} // namespace tarn
