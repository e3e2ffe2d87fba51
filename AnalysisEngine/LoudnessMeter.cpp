#include "AnalysisEngine/LoudnessMeter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace tarn {

namespace {

constexpr double kSpectraPerSecond =
    10; ///< about; enough for the bands at the bottom to have bins of their own

} // namespace

LoudnessMeter::LoudnessMeter(int sampleRate)
    : mSampleRate(sampleRate),
      mTransform(std::bit_ceil(static_cast<std::size_t>(sampleRate / kSpectraPerSecond))) {
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
    for (; mPending.size() - begin >= length; begin += length)
        addSpectrum(std::span(mPending).subspan(begin, length));
    mPending.erase(mPending.begin(), mPending.begin() + static_cast<std::ptrdiff_t>(begin));
}

void LoudnessMeter::addSpectrum(std::span<const float> samples) {
    auto stretch = static_cast<std::size_t>(mPosition / mSampleRate / mStretchSeconds);
    if (stretch >= LoudnessEnvelope::kMaximumStretchCount) {
        halveStretches();
        stretch /= 2;
    }
    mPosition += static_cast<std::int64_t>(samples.size());
    mStretches.resize(std::max(mStretches.size(), stretch + 1));
    const auto magnitudes = mTransform.hannMagnitudes(samples);
    for (std::size_t band = 0; band < LoudnessEnvelope::kBandCount; ++band) {
        for (std::size_t bin = mBandEdges[band]; bin < mBandEdges[band + 1]; ++bin)
            mStretches[stretch][band] +=
                static_cast<double>(magnitudes[bin]) * static_cast<double>(magnitudes[bin]);
    }
}

void LoudnessMeter::halveStretches() {
    mStretchSeconds *= 2;
    for (std::size_t i = 0; i < mStretches.size(); ++i) {
        if (i % 2 == 0)
            mStretches[i / 2] = mStretches[i];
        else
            std::transform(mStretches[i].begin(), mStretches[i].end(), mStretches[i / 2].begin(),
                           mStretches[i / 2].begin(), std::plus<>());
    }
    mStretches.resize((mStretches.size() + 1) / 2);
}

LoudnessEnvelope LoudnessMeter::finish() {
    if (mPosition == 0 && !mPending.empty()) { // shorter than one spectrum
        mPending.resize(mTransform.length(), 0.0f);
        addSpectrum(mPending);
    }
    double total = 0;
    for (const BandPowers& powers : mStretches)
        total = std::accumulate(powers.begin(), powers.end(), total);
    const double mean = total / static_cast<double>(std::max<std::size_t>(mStretches.size(), 1));
    LoudnessEnvelope envelope{mStretchSeconds, {}};
    envelope.levels.reserve(mStretches.size() * LoudnessEnvelope::kBandCount);
    for (const BandPowers& powers : mStretches) {
        for (const double power : powers) {
            const double level =
                power > 0 && mean > 0 ? 10 * std::log10(power / mean) : LoudnessEnvelope::kFloor;
            envelope.levels.push_back(static_cast<std::int8_t>(
                std::lround(std::clamp(level, double{LoudnessEnvelope::kFloor}, 60.0))));
        }
    }
    return envelope;
}

} // namespace tarn
