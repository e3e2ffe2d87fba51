#include "KELPMusicInformationRetrieval/LoudnessEnvelope.h"

#include <algorithm>
#include <cmath>

namespace tarn {

LoudnessEnvelope LoudnessEnvelope::coarser() const {
    LoudnessEnvelope result{2 * stretchSeconds, {}};
    for (std::size_t first = 0; first < stretchCount(); first += 2) {
        const std::size_t second = std::min(first + 1, stretchCount() - 1);
        for (std::size_t band = 0; band < kBandCount; ++band) {
            const auto power = [&](std::size_t stretch) {
                return std::pow(10.0, levels[stretch * kBandCount + band] / 10.0);
            };
            const double mean = 10 * std::log10((power(first) + power(second)) / 2);
            result.levels.push_back(static_cast<std::int8_t>(std::lround(mean)));
        }
    }
    return result;
}

std::optional<double> distance(const LoudnessEnvelope& a, const LoudnessEnvelope& b) {
    constexpr int kQuietest = -40; // decibels
    if (a.isEmpty() || b.isEmpty())
        return std::nullopt;
    // A length close to where stretches double may have come out on either side.
    if (a.stretchSeconds < b.stretchSeconds)
        return distance(a.coarser(), b);
    if (b.stretchSeconds < a.stretchSeconds)
        return distance(a, b.coarser());
    const auto [shorter, longer] = std::minmax({a.levels.size(), b.levels.size()});
    if (longer - shorter > LoudnessEnvelope::kBandCount)
        return std::nullopt;
    double sum = 0;
    std::size_t heard = 0;
    for (std::size_t i = 0; i < shorter; ++i) {
        const int levelOfA = std::max<int>(a.levels[i], kQuietest);
        const int levelOfB = std::max<int>(b.levels[i], kQuietest);
        sum += std::abs(levelOfA - levelOfB);
        heard += levelOfA > kQuietest || levelOfB > kQuietest ? 1 : 0;
    }
    return heard == 0 ? 0 : sum / static_cast<double>(heard);
}

} // namespace tarn
