#include "AnalysisEngine/BarModel.h"

#include "AnalysisEngine/BarChoiceParameters.h"
#include "AnalysisEngine/BarRoleParameters.h"

#include "Platform/FatalError.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace tarn {

namespace {

constexpr float kLeastLikelihood = -4; // of one beat: outliers don't decide
constexpr float kJumpCost = 16;        // logarithm of the odds against a jump

/// Number of different time signatures among the kinds before this one.
constexpr std::size_t metreIndex(const BarKind& kind) {
    std::size_t index = 0;
    for (std::size_t i = 0; i < kBarKinds.size(); ++i) {
        const BarKind& other = kBarKinds[i];
        if (other.numerator() == kind.numerator() && other.denominator() == kind.denominator())
            break;
        const bool isNew = i == 0 || other.numerator() != kBarKinds[i - 1].numerator() ||
                           other.denominator() != kBarKinds[i - 1].denominator();
        index += isNew;
    }
    return index;
}

constexpr std::size_t kMetreCount = metreIndex(kBarKinds.back()) + 1;

class FeatureList {
public:
    void add(double value) { mValues[mSize++] = static_cast<float>(value); }
    /// Which of the time signatures it is takes the rest of the places.
    BarFeatures finish(std::size_t metre) {
        precondition(mSize + kMetreCount == kBarFeatureCount, "The features of bars are counted wrongly");
        mValues[mSize + metre] = 1;
        return mValues;
    }

private:
    BarFeatures mValues{};
    std::size_t mSize = 0;
};

void addDuration(double seconds, double usual, FeatureList& list) {
    const double octaves = std::log2(seconds / usual);
    list.add(octaves);
    list.add(octaves * octaves);
}

/// How an aspect of what is heard is spread over the beat: logarithms of its share at places of the profile.
void addSpread(const BeatCounting& counting, Aspect aspect, std::initializer_list<std::size_t> places,
               FeatureList& list) {
    const double floor = aspect == harmony ? 0.02 : 0.1; // next to nothing
    const std::size_t known = aspect == harmony ? BeatCounting::kHarmonyPlaces : BeatCounting::kPlaces;
    double mean = 0;
    for (const Aspects& place : counting.profile)
        mean += static_cast<double>(place[aspect]) / static_cast<double>(known);
    for (const std::size_t place : places)
        list.add(std::log((static_cast<double>(counting.profile[place][aspect]) + floor) / (mean + floor)));
}

/// Whether bars of that length are more alike than stretches of other lengths.
void addLikeness(const std::array<float, BeatCounting::kLongestLag + 1>& likeness, std::size_t length,
                 FeatureList& list) {
    const auto at = [&](std::size_t lag) { return static_cast<double>(likeness[lag]); };
    double others = 0;
    for (std::size_t lag = 1; lag < 2 * length; ++lag)
        others += lag == length ? 0 : at(lag) / static_cast<double>(2 * length - 2);
    list.add(at(length));
    list.add(at(length) - others);
    list.add(at(2 * length) - at(length));
    list.add(at(length) - at(length % 2 == 0 ? length / 2 : length - 1));
    list.add(std::max(at(length - 1), at(length + 1)) - at(length));
}

} // namespace

bool isPossible(const BeatCounting& counting, const BarKind& kind) {
    return kind.countsEighths() ? counting.mayBeEighths() : counting.mayBeBeats();
}

std::vector<RoleLikelihoods> roleLikelihoods(const BeatCounting& counting, bool countsEighths) {
    constexpr std::ptrdiff_t kBefore = 2, kAfter = 3; // beats whose sound says something of this one
    constexpr float kMostSquared = 2;
    const auto& weights = countsEighths ? kEighthRoleWeights : kBeatRoleWeights;
    const auto count = static_cast<std::ptrdiff_t>(counting.heard.size());
    std::vector<RoleLikelihoods> result;
    for (std::ptrdiff_t beat = 0; beat < count; ++beat) {
        RoleLikelihoods sums{};
        std::size_t input = 0;
        const auto add = [&](float value) {
            for (std::size_t role = 0; role < kBarRoleCount; ++role)
                sums[role] += value * weights[input][role];
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
        const float anyRole = most + std::log(total / kBarRoleCount);
        for (float& sum : sums)
            sum = std::max(kLeastLikelihood, sum - anyRole);
        result.push_back(sums);
    }
    return result;
}

BarPositions barPositions(const std::vector<RoleLikelihoods>& likelihoods, const BarKind& kind) {
    const std::size_t length = kind.length(), count = likelihoods.size();
    std::vector<float> score(length), next(length);
    std::vector<std::uint8_t> from(count * length);
    for (std::size_t beat = 0; beat < count; ++beat) {
        const auto top =
            static_cast<std::size_t>(std::max_element(score.begin(), score.end()) - score.begin());
        for (std::size_t position = 0; position < length; ++position) {
            const std::size_t before = (position + length - 1) % length;
            const bool jumps = beat > 0 && score[top] - kJumpCost > score[before];
            next[position] = (jumps ? score[top] - kJumpCost : score[before]) +
                             likelihoods[beat][static_cast<std::size_t>(kind.roleAt(position))];
            from[beat * length + position] = static_cast<std::uint8_t>(jumps ? top : before);
        }
        score.swap(next);
    }
    const auto last = std::max_element(score.begin(), score.end());
    BarPositions result;
    result.places.resize(count);
    result.likelihood = static_cast<double>(*last) / static_cast<double>(std::max<std::size_t>(1, count));
    auto position = static_cast<std::uint8_t>(last - score.begin());
    for (std::size_t beat = count; beat-- > 0;) {
        result.places[beat] = position;
        const std::uint8_t before = from[beat * length + position];
        if (beat > 0 && (before + 1u) % length != position)
            ++result.jumps;
        position = before;
    }
    return result;
}

BarFeatures barFeatures(const BeatCounting& counting, const BarKind& kind, const BarPositions& positions) {
    constexpr double kUsualBeat = 0.55, kUsualBar = 2.1; // seconds
    constexpr double kLeastUnevenness = 1e-3;
    FeatureList list;
    list.add(positions.likelihood);
    list.add(positions.likelihood / counting.period);
    list.add(10 * static_cast<double>(positions.jumps) / static_cast<double>(counting.beats.size()));
    addDuration(counting.period, kUsualBeat, list);
    addDuration(counting.period * static_cast<double>(kind.length()), kUsualBar, list);
    addSpread(counting, accent, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, list);
    addSpread(counting, bass, {0, 3, 4, 6, 8, 9}, list);
    addSpread(counting, treble, {0, 3, 4, 6, 8, 9}, list);
    addSpread(counting, harmony, {0, 4, 6, 8}, list);
    for (const float value : counting.mean)
        list.add(static_cast<double>(value));
    addLikeness(counting.rhythmLikeness, kind.length(), list);
    addLikeness(counting.harmonyLikeness, kind.length(), list);
    list.add(counting.isOffPulse);
    list.add(std::log(counting.unevenness + kLeastUnevenness));
    return list.finish(metreIndex(kind));
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
