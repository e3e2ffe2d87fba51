#include "AnalysisEngine/ChordModel.h"

#include "AnalysisEngine/ChordModelParameters.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

/// The part that the pitch class at an interval above the root plays in a chord of this quality; the order of
/// the model's weights.
std::size_t roleOf(int interval, const ChordQuality& quality) {
    enum Role : std::size_t { root, third, fifth, seventh, suspension, foreign };
    if (!quality.contains(interval))
        return foreign;
    constexpr std::array<Role, 12> kRoles{root,  foreign, suspension, third,   third,   suspension,
                                          fifth, fifth,   fifth,      seventh, seventh, seventh};
    return kRoles[static_cast<std::size_t>(interval)];
}

/// By interval above the root.
struct QualityWeights {
    std::array<float, 12> treble;
    std::array<float, 12> bass;
};

std::array<QualityWeights, kChordQualityCount> makeQualityWeights(const std::array<float, 6>& trebleRoles,
                                                                  const std::array<float, 6>& bassRoles) {
    std::array<QualityWeights, kChordQualityCount> weights;
    for (std::size_t quality = 0; quality < kChordQualityCount; ++quality) {
        for (std::size_t interval = 0; interval < 12; ++interval) {
            const std::size_t role = roleOf(static_cast<int>(interval), kChordQualities[quality]);
            weights[quality].treble[interval] = trebleRoles[role];
            weights[quality].bass[interval] = bassRoles[role];
        }
    }
    return weights;
}

/// The shares, compressed, at unit length.
std::array<float, 12> profileOf(const std::array<float, 12>& shares) {
    constexpr float kCompression = 0.7f;
    std::array<float, 12> profile;
    float energy = 0;
    for (std::size_t i = 0; i < 12; ++i) {
        profile[i] = std::pow(shares[i], kCompression);
        energy += profile[i] * profile[i];
    }
    for (float& value : profile)
        value = energy > 0 ? value / std::sqrt(energy) : 0;
    return profile;
}

double logSumExp(std::span<const double> values) {
    const double highest = *std::max_element(values.begin(), values.end());
    double sum = 0;
    for (const double value : values)
        sum += std::exp(value - highest);
    return highest + std::log(sum);
}

} // namespace

std::vector<LabelScores> chordEvidence(std::span<const HarmonicSpan> spans) {
    const std::array<QualityWeights, kChordQualityCount> weights =
        makeQualityWeights(kTrebleRoleWeights, kBassRoleWeights);
    std::vector<LabelScores> evidence(spans.size());
    for (std::size_t i = 0; i < spans.size(); ++i) {
        const std::array<float, 12> treble = profileOf(spans[i].treble);
        const std::array<float, 12> bass = profileOf(spans[i].bass);
        const float peakiness = *std::max_element(spans[i].treble.begin(), spans[i].treble.end());
        std::array<double, kChordLabelCount> scores;
        for (std::size_t root = 0; root < 12; ++root) {
            for (std::size_t quality = 0; quality < kChordQualityCount; ++quality) {
                float score = kQualityBiases[quality];
                for (std::size_t interval = 0; interval < 12; ++interval) {
                    const std::size_t pitchClass = (root + interval) % 12;
                    score += weights[quality].treble[interval] * treble[pitchClass];
                    score += weights[quality].bass[interval] * bass[pitchClass];
                }
                scores[chordLabel(static_cast<int>(root), quality)] = static_cast<double>(score);
            }
        }
        scores[kNoChordLabel] = static_cast<double>(kNoChordWeights[0] + kNoChordWeights[1] * spans[i].level +
                                                    kNoChordWeights[2] * peakiness);
        const double total = logSumExp(scores);
        for (std::size_t label = 0; label < kChordLabelCount; ++label)
            evidence[i][label] = static_cast<float>(scores[label] - total);
    }
    return evidence;
}

std::array<float, kChordQualityCount> qualityProbabilities(int root, std::span<const HarmonicSpan> spans,
                                                           const LabelScores& arrival) {
    static const std::array<QualityWeights, kChordQualityCount> weights =
        makeQualityWeights(kLastingTrebleRoleWeights, kLastingBassRoleWeights);
    std::array<float, 12> treble{};
    std::array<float, 12> bass{};
    for (const HarmonicSpan& span : spans) {
        for (std::size_t interval = 0; interval < 12; ++interval) {
            const std::size_t pitchClass = (static_cast<std::size_t>(root) + interval) % 12;
            treble[interval] += span.treble[pitchClass] / static_cast<float>(spans.size());
            bass[interval] += span.bass[pitchClass] / static_cast<float>(spans.size());
        }
    }
    std::array<double, kChordQualityCount> scores;
    for (std::size_t quality = 0; quality < kChordQualityCount; ++quality) {
        float weakest = 1;
        for (const int interval : kChordQualities[quality].intervals) {
            if (interval > 0)
                weakest = std::min(weakest, treble[static_cast<std::size_t>(interval)]);
        }
        float score = kLastingQualityBiases[quality] + kLastingCompletenessWeight * weakest +
                      kLastingArrivalWeight * arrival[chordLabel(root, quality)];
        for (std::size_t interval = 0; interval < 12; ++interval) {
            score += weights[quality].treble[interval] * treble[interval];
            score += weights[quality].bass[interval] * bass[interval];
        }
        scores[quality] = static_cast<double>(score);
    }
    const double total = logSumExp(scores);
    std::array<float, kChordQualityCount> probabilities;
    for (std::size_t quality = 0; quality < kChordQualityCount; ++quality)
        probabilities[quality] = static_cast<float>(std::exp(scores[quality] - total));
    return probabilities;
}

ChordPath mostLikelyChords(std::span<const LabelScores> evidence, std::span<const float> changeCosts,
                           const LabelScores& arrival, const StageMonitor& monitor) {
    ChordPath path;
    if (evidence.empty())
        return path;
    // A change from a label to itself is never better than staying, so the best label to come from is the
    // same for all.
    std::vector<std::array<bool, kChordLabelCount>> changed(evidence.size());
    std::vector<ChordLabel> changedFrom(evidence.size(), 0);
    std::array<double, kChordLabelCount> best;
    for (std::size_t label = 0; label < kChordLabelCount; ++label)
        best[label] = static_cast<double>(evidence[0][label] + arrival[label]);
    for (std::size_t i = 1; i < evidence.size(); ++i) {
        if (i % 64 == 0)
            monitor.report(static_cast<double>(i) / static_cast<double>(evidence.size()));
        const auto from = static_cast<std::size_t>(std::max_element(best.begin(), best.end()) - best.begin());
        changedFrom[i] = static_cast<ChordLabel>(from);
        const double leaving = best[from] - static_cast<double>(changeCosts[i]);
        for (std::size_t label = 0; label < kChordLabelCount; ++label) {
            const double changing = leaving + static_cast<double>(arrival[label]);
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
                                            std::span<const float> changeCosts, const LabelScores& arrival,
                                            const StageMonitor& monitor) {
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
    Probabilities arriving;
    for (std::size_t label = 0; label < kChordLabelCount; ++label) {
        arriving[label] = std::exp(static_cast<double>(arrival[label]));
    }
    const auto likelihood = [&](std::size_t i, std::size_t label) {
        return std::max(1e-30, std::exp(static_cast<double>(evidence[i][label])));
    };
    Probabilities forward;
    for (std::size_t i = 0; i < evidence.size(); ++i) {
        if (i % 64 == 0)
            monitor.report(0.5 * static_cast<double>(i) / static_cast<double>(evidence.size()));
        const double change = i > 0 ? std::exp(-static_cast<double>(changeCosts[i])) : 1;
        for (std::size_t label = 0; label < kChordLabelCount; ++label) {
            const double before = (i > 0 ? forward[label] : 0) + change * arriving[label];
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
            changing += arriving[label] * backward[label];
        }
        const double change = std::exp(-static_cast<double>(changeCosts[i]));
        for (double& value : backward)
            value += change * changing;
        normalize(backward);
    }
    return result;
}

} // namespace tarn
