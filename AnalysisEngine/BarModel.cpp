#include "AnalysisEngine/BarModel.h"

#include "AnalysisEngine/BarChoiceParameters.h"
#include "AnalysisEngine/BarRoleParameters.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace tarn {

namespace {

constexpr float kLeastLikelihood = -4; // of one beat: outliers don't decide
constexpr float kJumpCost = 10;

BeatRole roleAt(const BarKind& kind, std::size_t position) {
    switch (kind.beats[position]) {
    case 'D':
        return BeatRole::downbeat;
    case 'H':
        return BeatRole::middle;
    default:
        return BeatRole::other;
    }
}

} // namespace

std::vector<RoleLikelihoods> roleLikelihoods(const BeatCounting& counting) {
    constexpr std::ptrdiff_t kBefore = 2, kAfter = 3; // beats whose sound says something of this one
    constexpr float kMostSquared = 2;
    const auto count = static_cast<std::ptrdiff_t>(counting.heard.size());
    std::vector<RoleLikelihoods> result;
    for (std::ptrdiff_t beat = 0; beat < count; ++beat) {
        RoleLikelihoods sums{};
        std::size_t input = 0;
        const auto add = [&](float value) {
            for (std::size_t role = 0; role < kBeatRoleCount; ++role)
                sums[role] += value * kRoleWeights[input][role];
            ++input;
        };
        for (std::ptrdiff_t other = beat - kBefore; other <= beat + kAfter; ++other)
            for (std::size_t aspect = 0; aspect < aspectCount; ++aspect)
                add(other >= 0 && other < count ? counting.heard[static_cast<std::size_t>(other)][aspect]
                                                : 1);
        for (const float value : counting.heard[static_cast<std::size_t>(beat)])
            add(std::min(value, kMostSquared) * std::min(value, kMostSquared));
        add(1);
        const float most = *std::max_element(sums.begin(), sums.end());
        float total = 0;
        for (const float sum : sums)
            total += std::exp(sum - most);
        const float anyRole = most + std::log(total / kBeatRoleCount);
        for (float& sum : sums)
            sum = std::max(kLeastLikelihood, sum - anyRole);
        result.push_back(sums);
    }
    return result;
}

BarPositions barPositions(const std::vector<RoleLikelihoods>& likelihoods, const BarKind& kind) {
    const std::size_t length = kind.beats.size(), count = likelihoods.size();
    std::vector<float> score(length), next(length);
    std::vector<std::uint8_t> from(count * length);
    for (std::size_t beat = 0; beat < count; ++beat) {
        const auto top =
            static_cast<std::size_t>(std::max_element(score.begin(), score.end()) - score.begin());
        for (std::size_t position = 0; position < length; ++position) {
            const std::size_t before = (position + length - 1) % length;
            const bool jumps = beat > 0 && score[top] - kJumpCost > score[before];
            next[position] = (jumps ? score[top] - kJumpCost : score[before]) +
                             likelihoods[beat][static_cast<std::size_t>(roleAt(kind, position))];
            from[beat * length + position] = static_cast<std::uint8_t>(jumps ? top : before);
        }
        score.swap(next);
    }
    const auto last = std::max_element(score.begin(), score.end());
    BarPositions result;
    result.positions.resize(count);
    result.likelihood = static_cast<double>(*last) / static_cast<double>(std::max<std::size_t>(1, count));
    auto position = static_cast<std::uint8_t>(last - score.begin());
    for (std::size_t beat = count; beat-- > 0;) {
        result.positions[beat] = position;
        const std::uint8_t before = from[beat * length + position];
        if (beat > 0 && (before + 1u) % length != position)
            ++result.jumps;
        position = before;
    }
    return result;
}

BarFeatures barFeatures(const BeatCounting& counting, std::size_t kind, const BarPositions& positions) {
    BarFeatures result{};
    std::size_t size = 0;
    const auto add = [&](double value) { result[size++] = static_cast<float>(value); };
    const std::size_t length = kBarKinds[kind].beats.size();

    add(positions.likelihood);
    add(positions.likelihood / counting.period);
    add(10 * static_cast<double>(positions.jumps) / static_cast<double>(counting.beats.size()));
    constexpr double kUsualBeat = 0.55, kUsualBar = 2.1; // seconds
    for (const double octaves : {std::log2(counting.period / kUsualBeat),
                                 std::log2(counting.period * static_cast<double>(length) / kUsualBar)}) {
        add(octaves);
        add(octaves * octaves);
    }

    // How what is heard is spread over the beat.
    const auto spread = [&](Aspect aspect, std::initializer_list<std::size_t> places, double floor) {
        double mean = 0;
        for (const Aspects& place : counting.profile)
            mean += static_cast<double>(place[aspect]) / BeatCounting::kPlaces;
        if (aspect == harmony)
            mean *= 3; // four of the twelve places have it
        for (const std::size_t place : places)
            add(std::log((static_cast<double>(counting.profile[place][aspect]) + floor) / (mean + floor)));
    };
    spread(accent, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, 0.1);
    spread(bass, {0, 3, 4, 6, 8, 9}, 0.1);
    spread(treble, {0, 3, 4, 6, 8, 9}, 0.1);
    spread(harmony, {0, 4, 6, 8}, 0.02);
    for (const float value : counting.mean)
        add(static_cast<double>(value));

    // Whether bars of that length are more alike than stretches of other lengths.
    for (const auto* likeness : {&counting.rhythmLikeness, &counting.harmonyLikeness}) {
        const auto at = [&](std::size_t lag) { return static_cast<double>((*likeness)[lag]); };
        double others = 0, otherCount = 0;
        for (std::size_t lag = 1; lag < 2 * length; ++lag) {
            if (lag != length) {
                others += at(lag);
                ++otherCount;
            }
        }
        add(at(length));
        add(at(length) - others / otherCount);
        add(at(2 * length) - at(length));
        add(at(length) - at(length % 2 == 0 ? length / 2 : length - 1));
        add(std::max(at(length - 1), at(length + 1)) - at(length));
    }
    add(kBarKinds[kind].isCompound);
    add(counting.isOffPulse);
    add(std::log(counting.unevenness + 1e-3));
    result[size + kind] = 1;
    return result;
}

double barScore(const BarFeatures& features) {
    constexpr float kMost = 4; // deviations from the mean
    BarFeatures inputs;
    for (std::size_t i = 0; i < inputs.size(); ++i)
        inputs[i] = std::clamp((features[i] - kBarFeatureMeans[i]) * kBarFeatureScales[i], -kMost, kMost);
    double score = 0;
    for (std::size_t i = 0; i < inputs.size(); ++i)
        score += static_cast<double>(inputs[i] * kDirectWeights[i]);
    for (std::size_t unit = 0; unit < kHiddenUnits; ++unit) {
        float sum = kHiddenBiases[unit];
        for (std::size_t i = 0; i < inputs.size(); ++i)
            sum += inputs[i] * kHiddenWeights[unit][i];
        score += static_cast<double>(kOutputWeights[unit] * std::tanh(sum));
    }
    return score;
}

} // namespace tarn
