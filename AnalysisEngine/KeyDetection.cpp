#include "AnalysisEngine/KeyDetection.h"

#include "AnalysisEngine/ChordModel.h"
#include "AnalysisEngine/KeyModelParameters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <vector>

namespace tarn {

namespace {

/// A number for each chord that the key model tells apart, by root and family.
using ByChord = std::array<std::array<float, kChordFamilyCount>, 12>;

/// What the key model knows of a song's chords.
struct ChordUse {
    ByChord dwell{};                                     ///< Square roots of the shares of time.
    ByChord last{};                                      ///< 1 for the last chord.
    ByChord first{};                                     ///< 1 for the first one.
    std::array<std::array<float, 12>, 12> progression{}; ///< Square roots of the shares of changes, by roots.
};

float& entryOf(ByChord& table, ChordLabel chord) {
    return table[static_cast<std::size_t>(rootOf(chord))]
                [static_cast<std::size_t>(familyOf(qualityOf(chord)))];
}

/// `chords` are as long as each other, and none is kNoChordLabel.
ChordUse describeUse(std::span<const ChordLabel> chords) {
    ChordUse use;
    entryOf(use.first, chords.front()) = 1;
    entryOf(use.last, chords.back()) = 1;
    float changes = 0;
    for (std::size_t i = 0; i < chords.size(); ++i) {
        entryOf(use.dwell, chords[i]) += 1;
        if (i > 0 && rootOf(chords[i]) != rootOf(chords[i - 1])) {
            const auto from = static_cast<std::size_t>(rootOf(chords[i - 1]));
            use.progression[from][static_cast<std::size_t>(rootOf(chords[i]))] += 1;
            changes += 1;
        }
    }
    for (auto& root : use.dwell) {
        for (float& value : root)
            value = std::sqrt(value / static_cast<float>(chords.size()));
    }
    for (auto& from : use.progression) {
        for (float& value : from)
            value = std::sqrt(value / std::max(changes, 1.0f));
    }
    return use;
}

float scoreOf(const ChordUse& use, std::size_t tonic, const KeyModel& model) {
    float score = model.bias;
    for (std::size_t degree = 0; degree < 12; ++degree) {
        const std::size_t root = (tonic + degree) % 12;
        for (std::size_t family = 0; family < kChordFamilyCount; ++family) {
            score += model.dwell[degree][family] * use.dwell[root][family];
            score += model.last[degree][family] * use.last[root][family];
            score += model.first[degree][family] * use.first[root][family];
        }
        score += model.toTonic[degree] * use.progression[root][tonic];
        score += model.toDominant[degree] * use.progression[root][(tonic + 7) % 12];
    }
    return score;
}

} // namespace

std::optional<DetectedKey> detectKey(const SpectralFeatures& features, double tuningFrequency,
                                     const StageMonitor& monitor) {
    constexpr double kSpan = 8 / SpectralFeatures::kFramesPerSecond;
    constexpr float kChangeCost = 3;
    std::vector<double> boundaries;
    for (double at = 0; at * SpectralFeatures::kFramesPerSecond < static_cast<double>(features.frameCount());
         at += kSpan)
        boundaries.push_back(at);
    const std::vector<HarmonicSpan> spans =
        describeHarmony(features, tuningFrequency, boundaries, monitor.part(0, 0.6));
    std::vector<ChordLabel> chords =
        mostLikelyChords(ChordModel(spans).evidence(monitor.part(0.6, 0.95)),
                         std::vector<float>(spans.size(), kChangeCost), monitor.part(0.95, 1))
            .labels;
    std::erase(chords, kNoChordLabel);
    constexpr double kShortest = 2; // seconds of chords that can be in a key
    if (static_cast<double>(chords.size()) * kSpan < kShortest)
        return std::nullopt;
    const ChordUse use = describeUse(chords);
    std::array<double, 24> scores{};
    for (std::size_t key = 0; key < scores.size(); ++key)
        scores[key] = static_cast<double>(scoreOf(use, key % 12, kKeyModels[key / 12]));
    const auto best = std::max_element(scores.begin(), scores.end());
    double others = 0;
    for (const double score : scores)
        others += std::exp(score - *best);
    return DetectedKey{static_cast<int>(best - scores.begin()), 1 / others};
}

} // namespace tarn
