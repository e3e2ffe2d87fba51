#include "AnalysisEngine/ChordModel.h"

#include "AnalysisEngine/ChordModelParameters.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

using Profile = std::array<float, 12>;

constexpr std::size_t kNear = 8;
constexpr std::size_t kFar = 32;
constexpr float kLevelUnit = 20;

/// Logarithms of the probabilities that are proportional to the scores' exponentials.
template <std::size_t count>
void normalize(std::array<float, count>& scores) {
    const float highest = *std::max_element(scores.begin(), scores.end());
    double sum = 0;
    for (const float score : scores)
        sum += std::exp(static_cast<double>(score - highest));
    const float total = highest + static_cast<float>(std::log(sum));
    for (float& score : scores)
        score -= total;
}

/// `out` += `weight` * `row`, unit by unit: sums whose order no compiler changes.
template <std::size_t count>
void addWeighted(float weight, const std::array<float, count>& row, std::array<float, count>& out) {
    for (std::size_t unit = 0; unit < count; ++unit)
        out[unit] += weight * row[unit];
}

template <std::size_t inputs, std::size_t outputs>
std::array<float, outputs> layer(const std::array<float, inputs>& values,
                                 const std::array<std::array<float, outputs>, inputs>& weights,
                                 const std::array<float, outputs>& biases) {
    std::array<float, outputs> result = biases;
    for (std::size_t i = 0; i < inputs; ++i) {
        if (values[i] != 0)
            addWeighted(values[i], weights[i], result);
    }
    return result;
}

template <std::size_t count>
void rectify(std::array<float, count>& values) {
    for (float& value : values)
        value = std::max(0.0f, value);
}

} // namespace

/// What the model sees of a span, in the order of its weights.
struct ChordModel::Surroundings {
    std::array<Profile, kChordInputProfiles> profiles;
    std::array<float, kChordInputNumbers> numbers;

    /// The second hidden layer, seen from a root.
    [[nodiscard]] std::array<float, kChordSecondUnits> seenFrom(std::size_t root) const {
        std::array<float, kChordFirstUnits> first = kChordFirstBiases;
        for (std::size_t profile = 0; profile < profiles.size(); ++profile) {
            for (std::size_t interval = 0; interval < 12; ++interval) {
                const std::size_t pitchClass = (root + interval) % 12;
                addWeighted(profiles[profile][pitchClass], kChordFirstWeights[12 * profile + interval],
                            first);
            }
        }
        for (std::size_t number = 0; number < numbers.size(); ++number)
            addWeighted(numbers[number], kChordFirstWeights[12 * profiles.size() + number], first);
        rectify(first);
        std::array<float, kChordSecondUnits> second = layer(first, kChordSecondWeights, kChordSecondBiases);
        rectify(second);
        return second;
    }
};

ChordModel::ChordModel(std::span<const HarmonicSpan> spans) : mSpans(spans), mSums(spans.size() + 1) {
    for (std::size_t i = 0; i < spans.size(); ++i) {
        mSums[i + 1] = mSums[i];
        for (std::size_t pitchClass = 0; pitchClass < 12; ++pitchClass) {
            mSums[i + 1][0][pitchClass] += static_cast<double>(spans[i].notes[pitchClass]);
            mSums[i + 1][1][pitchClass] += static_cast<double>(spans[i].lowest[pitchClass]);
        }
    }
}

ChordModel::Surroundings ChordModel::surroundingsOf(std::size_t span) const {
    Surroundings result{};
    // Beyond its ends a song goes on as it begins and ends.
    const auto at = [&](std::ptrdiff_t offset) -> const HarmonicSpan& {
        const std::ptrdiff_t last = static_cast<std::ptrdiff_t>(mSpans.size()) - 1;
        const auto place = std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(span) + offset, 0, last);
        return mSpans[static_cast<std::size_t>(place)];
    };
    std::size_t profile = 0;
    std::size_t number = 0;
    for (const std::ptrdiff_t offset : {0, -1, 1}) {
        const HarmonicSpan& heard = at(offset);
        for (const auto member :
             {&HarmonicSpan::notes, &HarmonicSpan::lowest, &HarmonicSpan::bass, &HarmonicSpan::treble})
            result.profiles[profile++] = heard.*member;
        result.numbers[number++] = heard.level / kLevelUnit;
    }
    for (const std::ptrdiff_t offset : {-2, 2}) {
        const HarmonicSpan& heard = at(offset);
        for (const auto member : {&HarmonicSpan::notes, &HarmonicSpan::lowest})
            result.profiles[profile++] = heard.*member;
    }
    for (const std::size_t reach : {kNear, kFar, mSpans.size()}) {
        const std::size_t first = span - std::min(span, reach);
        const std::size_t last = std::min(span + reach + 1, mSpans.size());
        for (std::size_t longer = 0; longer < 2; ++longer) {
            for (std::size_t pitchClass = 0; pitchClass < 12; ++pitchClass) {
                const double sum = mSums[last][longer][pitchClass] - mSums[first][longer][pitchClass];
                result.profiles[profile][pitchClass] =
                    static_cast<float>(sum / static_cast<double>(last - first));
            }
            ++profile;
        }
    }
    result.numbers[number] = 10 * std::log2(std::max(mSpans[span].seconds, 0.01f)) / kLevelUnit;
    return result;
}

LabelScores ChordModel::evidence(std::size_t span) const {
    const Surroundings surroundings = surroundingsOf(span);
    LabelScores scores;
    std::array<float, 2 * kChordSecondUnits> pooled{}; // means and maxima over the roots
    for (std::size_t root = 0; root < 12; ++root) {
        const auto units = surroundings.seenFrom(root);
        const auto qualities = layer(units, kChordQualityWeights, kChordQualityBiases);
        std::copy(qualities.begin(), qualities.end(), &scores[chordLabel(static_cast<int>(root), 0)]);
        for (std::size_t unit = 0; unit < units.size(); ++unit) {
            pooled[unit] += units[unit] / 12;
            pooled[units.size() + unit] = std::max(pooled[units.size() + unit], units[unit]);
        }
    }
    scores[kNoChordLabel] = layer(pooled, kNoChordWeights, kNoChordBias)[0];
    normalize(scores);
    return scores;
}

std::vector<LabelScores> ChordModel::evidence(const StageMonitor& monitor) const {
    std::vector<LabelScores> result(mSpans.size());
    for (std::size_t i = 0; i < mSpans.size(); ++i) {
        if (i % 16 == 0)
            monitor.report(static_cast<double>(i) / static_cast<double>(mSpans.size()));
        result[i] = evidence(i);
    }
    return result;
}

std::array<float, 12> ChordModel::bassEvidence(std::size_t span, int root) const {
    const auto units = surroundingsOf(span).seenFrom(static_cast<std::size_t>(root));
    auto scores = layer(units, kChordBassWeights, kChordBassBiases);
    normalize(scores);
    return scores;
}

ChordPath mostLikelyChords(std::span<const LabelScores> evidence, std::span<const float> changeCosts,
                           const StageMonitor& monitor) {
    ChordPath path;
    if (evidence.empty())
        return path;
    // A change from a label to itself is never better than staying, so the best label to come from is the
    // same for all.
    std::vector<std::array<bool, kChordLabelCount>> changed(evidence.size());
    std::vector<ChordLabel> changedFrom(evidence.size(), 0);
    std::array<double, kChordLabelCount> best;
    for (std::size_t label = 0; label < kChordLabelCount; ++label)
        best[label] = static_cast<double>(evidence[0][label]);
    for (std::size_t i = 1; i < evidence.size(); ++i) {
        if (i % 64 == 0)
            monitor.report(static_cast<double>(i) / static_cast<double>(evidence.size()));
        const auto from = static_cast<std::size_t>(std::max_element(best.begin(), best.end()) - best.begin());
        changedFrom[i] = static_cast<ChordLabel>(from);
        const double changing = best[from] - static_cast<double>(changeCosts[i]);
        for (std::size_t label = 0; label < kChordLabelCount; ++label) {
            changed[i][label] = changing > best[label];
            best[label] = std::max(best[label], changing) + static_cast<double>(evidence[i][label]);
        }
    }
    const auto last = std::max_element(best.begin(), best.end());
    path.score = *last;
    path.labels.resize(evidence.size());
    auto label = static_cast<ChordLabel>(last - best.begin());
    for (std::size_t i = evidence.size(); i-- > 0;) {
        path.labels[i] = label;
        if (changed[i][label])
            label = changedFrom[i];
    }
    return path;
}

std::vector<LabelScores> chordProbabilities(std::span<const LabelScores> evidence,
                                            std::span<const float> changeCosts, const StageMonitor& monitor) {
    // Forward and backward probabilities, scaled span by span: the probabilities of a span sum to 1.
    using Probabilities = std::array<double, kChordLabelCount>;
    std::vector<LabelScores> result(evidence.size());
    if (evidence.empty())
        return result;
    const auto normalize = [](Probabilities& values) {
        double sum = 0;
        for (const double value : values)
            sum += value;
        for (double& value : values)
            value /= sum;
    };
    const auto likelihood = [&](std::size_t i, std::size_t label) {
        return std::max(1e-30, std::exp(static_cast<double>(evidence[i][label])));
    };
    Probabilities forward;
    for (std::size_t i = 0; i < evidence.size(); ++i) {
        if (i % 64 == 0)
            monitor.report(0.5 * static_cast<double>(i) / static_cast<double>(evidence.size()));
        const double change = i > 0 ? std::exp(-static_cast<double>(changeCosts[i])) : 1;
        for (std::size_t label = 0; label < kChordLabelCount; ++label) {
            const double before = (i > 0 ? forward[label] : 0) + change;
            forward[label] = before * likelihood(i, label);
        }
        normalize(forward);
        for (std::size_t label = 0; label < kChordLabelCount; ++label)
            result[i][label] = static_cast<float>(forward[label]);
    }
    Probabilities backward;
    backward.fill(1.0 / kChordLabelCount);
    for (std::size_t i = evidence.size(); i-- > 0;) {
        if (i % 64 == 0)
            monitor.report(1 - 0.5 * static_cast<double>(i) / static_cast<double>(evidence.size()));
        Probabilities both;
        for (std::size_t label = 0; label < kChordLabelCount; ++label)
            both[label] = static_cast<double>(result[i][label]) * backward[label];
        normalize(both);
        double changing = 0;
        for (std::size_t label = 0; label < kChordLabelCount; ++label) {
            result[i][label] = static_cast<float>(both[label]);
            backward[label] *= likelihood(i, label);
            changing += backward[label];
        }
        const double change = std::exp(-static_cast<double>(changeCosts[i]));
        for (double& value : backward)
            value += change * changing;
        normalize(backward);
    }
    return result;
}

} // namespace tarn
