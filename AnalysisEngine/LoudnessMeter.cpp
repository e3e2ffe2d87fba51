#include "AnalysisEngine/LoudnessMeter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace tarn {

namespace {

/// How long a spectrum spans at least: the bands at the bottom need bins of their own.
constexpr double kSpectrumDuration = 0.1; // seconds

} // namespace

LoudnessMeter::LoudnessMeter(int sampleRate)
    : mSampleRate(sampleRate),
      mTransform(std::bit_ceil(static_cast<std::size_t>(sampleRate * kSpectrumDuration))) {
    const double binsPerHertz = static_cast<double>(mTransform.length()) / sampleRate;
    for (std::size_t band = 0; band < mBandEdges.size(); ++band) {
        const double edge =
            LoudnessEnvelope::kLowestBandCentre * std::exp2((static_cast<double>(band) - 0.5) / 3);
        mBandEdges[band] =
            std::min(static_cast<std::size_t>(std::ceil(edge * binsPerHertz)), mTransform.binCount());
    }
}

void LoudnessMeter::process(std::span<const float> samples) {
    const std::size_t length = mTransform.length();
    mPending.insert(mPending.end(), samples.begin(), samples.end());
    std::size_t begin = 0;
    for (; mPending.size() - begin >= length; begin += length / 2)
        addSpectrum(std::span(mPending).subspan(begin, length));
    mPending.erase(mPending.begin(), mPending.begin() + static_cast<std::ptrdiff_t>(begin));
}

void LoudnessMeter::addSpectrum(std::span<const float> samples) {
    auto number = static_cast<std::size_t>(mPosition / mSampleRate / mStretchSeconds);
    if (number >= LoudnessEnvelope::kMaximumStretchCount) {
        doubleStretches();
        number /= 2;
    }
    mPosition += static_cast<std::int64_t>(samples.size() / 2);
    mStretches.resize(std::max(mStretches.size(), number + 1));
    Stretch& stretch = mStretches[number];
    ++stretch.spectrumCount;
    const auto magnitudes = mTransform.hannMagnitudes(samples);
    for (std::size_t band = 0; band < LoudnessEnvelope::kBandCount; ++band) {
        for (std::size_t bin = mBandEdges[band]; bin < mBandEdges[band + 1]; ++bin) {
            const double magnitude = magnitudes[bin];
            stretch.powers[band] += magnitude * magnitude;
        }
    }
}

void LoudnessMeter::doubleStretches() {
    mStretchSeconds *= 2;
    for (std::size_t i = 0; i < mStretches.size(); ++i) {
        Stretch& target = mStretches[i / 2];
        if (i % 2 == 0) {
            target = mStretches[i];
            continue;
        }
        target.spectrumCount += mStretches[i].spectrumCount;
        for (std::size_t band = 0; band < LoudnessEnvelope::kBandCount; ++band)
            target.powers[band] += mStretches[i].powers[band];
    }
    mStretches.resize((mStretches.size() + 1) / 2);
}

LoudnessEnvelope LoudnessMeter::finish() {
    if (mStretches.empty() && !mPending.empty()) { // shorter than one spectrum
        mPending.resize(mTransform.length(), 0.0f);
        addSpectrum(mPending);
    }
    double total = 0;
    for (const Stretch& stretch : mStretches)
        total += std::accumulate(stretch.powers.begin(), stretch.powers.end(), 0.0) /
                 static_cast<double>(std::max<std::int64_t>(stretch.spectrumCount, 1));
    const double mean = total / static_cast<double>(std::max<std::size_t>(mStretches.size(), 1));
    LoudnessEnvelope envelope{mStretchSeconds, {}};
    envelope.levels.reserve(mStretches.size() * LoudnessEnvelope::kBandCount);
    for (const Stretch& stretch : mStretches) {
        for (const double sum : stretch.powers) {
            constexpr double kFloor = LoudnessEnvelope::kFloor;
            const double power = sum / static_cast<double>(std::max<std::int64_t>(stretch.spectrumCount, 1));
            const double level = power > 0 && mean > 0 ? 10 * std::log10(power / mean) : kFloor;
            envelope.levels.push_back(
                static_cast<std::int8_t>(std::lround(std::clamp(level, kFloor, -kFloor))));
        }
    }
    return envelope;
}

} // namespace tarn
