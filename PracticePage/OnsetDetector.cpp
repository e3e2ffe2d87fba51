#include "PracticePage/OnsetDetector.h"

#include <algorithm>
#include <numeric>

namespace tarn {
namespace {

constexpr double kHopSeconds = 0.0007;
constexpr double kLeastSpacingSeconds = 0.05;
constexpr std::size_t kHopsBefore = 30; // 20 ms
constexpr double kRise = 8;
constexpr double kLeastEnergy = 1e-6; // of a sample's difference; below it lies silence

} // namespace

OnsetDetector::OnsetDetector(int sampleRate)
    : mHop(static_cast<std::size_t>(std::max(4.0, kHopSeconds * sampleRate))),
      mLeastSpacing(static_cast<std::int64_t>(kLeastSpacingSeconds * sampleRate)) {}

void OnsetDetector::put(std::span<const float> samples) {
    for (const float sample : samples) {
        const double difference = sample - mLast;
        mLast = sample;
        mEnergy += difference * difference;
        if (++mInHop == mHop)
            endHop();
    }
}

void OnsetDetector::endHop() {
    const double energy = mEnergy / static_cast<double>(mHop);
    const double before = mEnergies.empty() ? 0
                                            : std::accumulate(mEnergies.begin(), mEnergies.end(), 0.0) /
                                                  static_cast<double>(mEnergies.size());
    const bool isFarEnough = mOnsets.empty() || mPosition - mOnsets.back() >= mLeastSpacing;
    if (energy > kLeastEnergy && energy > kRise * before && isFarEnough)
        mOnsets.push_back(mPosition);
    mEnergies.push_back(energy);
    if (mEnergies.size() > kHopsBefore)
        mEnergies.pop_front();
    mPosition += static_cast<std::int64_t>(mHop);
    mInHop = 0;
    mEnergy = 0;
}

void OnsetDetector::forgetBefore(std::int64_t sample) {
    while (!mOnsets.empty() && mOnsets.front() < sample)
        mOnsets.pop_front();
}

std::optional<std::int64_t> OnsetDetector::firstAfter(std::int64_t sample) const {
    const auto found = std::ranges::upper_bound(mOnsets, sample);
    return found == mOnsets.end() ? std::nullopt : std::optional(*found);
}

std::optional<std::int64_t> OnsetDetector::lastUpTo(std::int64_t sample) const {
    const auto next = std::ranges::upper_bound(mOnsets, sample);
    return next == mOnsets.begin() ? std::nullopt : std::optional(*std::prev(next));
}

} // namespace tarn
