#include "AnalysisEngine/SpectralFeatures.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

constexpr std::size_t kWindowLength = LogFrequencyMap::kTransformLength;
constexpr double kLowestTuningFrequency = 55;

} // namespace

SpectralFeatureExtractor::SpectralFeatureExtractor(std::shared_ptr<LogSpectrogram> magnitudes)
    : mTransform(kWindowLength), mPending(kWindowLength / 2, 0.0f), mMagnitudes(std::move(magnitudes)) {
    mFeatures.magnitudes = mMagnitudes;
}

void SpectralFeatureExtractor::process(std::span<const float> samples) {
    mSampleCount += samples.size();
    mPending.insert(mPending.end(), samples.begin(), samples.end());
    std::size_t begin = 0;
    for (; mPending.size() - begin >= kWindowLength; begin += SpectralFeatures::kHop)
        addFrame(std::span(mPending).subspan(begin, kWindowLength));
    mPending.erase(mPending.begin(), mPending.begin() + static_cast<std::ptrdiff_t>(begin));
}

SpectralFeatures SpectralFeatureExtractor::finish() {
    const std::size_t frames = (mSampleCount + SpectralFeatures::kHop - 1) / SpectralFeatures::kHop;
    for (std::size_t begin = 0; mFeatures.frameCount() < frames; begin += SpectralFeatures::kHop) {
        mPending.resize(std::max(mPending.size(), begin + kWindowLength), 0.0f);
        addFrame(std::span(mPending).subspan(begin, kWindowLength));
    }
    return std::move(mFeatures);
}

void SpectralFeatureExtractor::addFrame(std::span<const float> samples) {
    const std::span<const float> spectrum = mTransform.hannMagnitudes(samples);
    mMap.apply(spectrum, mMagnitudes->next());
    mMagnitudes->append();
    addPartials(spectrum);
}

void SpectralFeatureExtractor::addPartials(std::span<const float> spectrum) {
    constexpr double octaves = SpectralFeatures::kTuningOctaves;
    const auto first =
        static_cast<std::size_t>(kLowestTuningFrequency * std::exp2(-0.5 / 12) / LogFrequencyMap::kBinWidth) +
        1;
    const auto last = static_cast<std::size_t>(kLowestTuningFrequency * std::exp2(octaves - 0.5 / 12) /
                                               LogFrequencyMap::kBinWidth);
    const float loudest = *std::max_element(spectrum.begin() + static_cast<std::ptrdiff_t>(first),
                                            spectrum.begin() + static_cast<std::ptrdiff_t>(last));
    const float threshold = std::max(1e-6f, 0.01f * loudest); // 40 dB below the loudest partial
    mPartials.clear();
    for (std::size_t bin = first; bin < last; ++bin) {
        const float middle = spectrum[bin];
        if (middle < threshold || middle <= spectrum[bin - 1] || middle < spectrum[bin + 1])
            continue;
        // The vertex of the parabola through the logarithms of the peak and its neighbours.
        const double left = std::log(std::max(1e-12f, spectrum[bin - 1]));
        const double right = std::log(std::max(1e-12f, spectrum[bin + 1]));
        const double curvature = left + right - 2 * std::log(middle);
        const double offset = curvature < 0 ? std::clamp(0.5 * (left - right) / curvature, -0.5, 0.5) : 0;
        const double frequency = (static_cast<double>(bin) + offset) * LogFrequencyMap::kBinWidth;
        mPartials.push_back({1200 * std::log2(frequency / kLowestTuningFrequency), middle});
    }
    // Drums and noise have peaks too, but those don't stay where they are from one frame to the next.
    constexpr double steady = 10;
    auto before = mPreviousPartials.begin();
    for (const Partial& partial : mPartials) {
        while (before != mPreviousPartials.end() && before->cents < partial.cents - steady)
            ++before;
        if (before == mPreviousPartials.end() || before->cents > partial.cents + steady)
            continue;
        const double fromLowest = partial.cents + 50;
        const auto octave = static_cast<std::size_t>(std::clamp(fromLowest / 1200, 0.0, octaves - 1));
        const auto cell = static_cast<std::size_t>(std::fmod(std::max(0.0, fromLowest), 100));
        mFeatures.partialDeviations[octave][cell] += partial.magnitude;
    }
    mPreviousPartials.swap(mPartials);
}

} // namespace tarn
