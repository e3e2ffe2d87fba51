#include "AnalysisEngine/KeyDetection.h"

#include "AnalysisEngine/ChordModel.h"
#include "AnalysisEngine/ChordModelParameters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <vector>

namespace tarn {

std::optional<int> detectKey(const SpectralFeatures& features, double tuningFrequency,
                             const StageMonitor& monitor) {
    constexpr double kSpan = 4 / SpectralFeatures::kFramesPerSecond;
    constexpr float kChangeCost = 5;
    std::vector<double> boundaries;
    for (double at = 0; at * SpectralFeatures::kFramesPerSecond < static_cast<double>(features.frameCount());
         at += kSpan)
        boundaries.push_back(at);
    const std::vector<HarmonicSpan> spans =
        describeHarmony(features, tuningFrequency, boundaries, monitor.part(0, 0.9));
    constexpr std::size_t kSpansAtOnce = 256; // a few milliseconds' worth: songs may be hours long
    std::vector<LabelScores> evidence;
    for (std::size_t begin = 0; begin < spans.size(); begin += kSpansAtOnce) {
        monitor.report(0.9);
        const std::size_t count = std::min(kSpansAtOnce, spans.size() - begin);
        const std::vector<LabelScores> part = chordEvidence(std::span(spans).subspan(begin, count));
        evidence.insert(evidence.end(), part.begin(), part.end());
    }
    const std::vector<ChordLabel> chords =
        mostLikelyChords(evidence, std::vector<float>(spans.size(), kChangeCost), LabelScores{},
                         monitor.part(0.9, 1))
            .labels;

    std::array<std::array<double, kChordFamilyCount>, 12> dwell{};
    double total = 0;
    for (const ChordLabel chord : chords) {
        if (chord == kNoChordLabel)
            continue;
        dwell[static_cast<std::size_t>(rootOf(chord))][familyOf(qualityOf(chord))] += 1;
        total += 1;
    }
    if (total == 0)
        return std::nullopt;
    std::optional<int> key;
    // What chords drawn blindly would score; a song in a key lies clearly above it.
    constexpr double kLeastAdvantage = 1.5;
    double highest = std::log(kLeastAdvantage / (12.0 * kChordFamilyCount));
    for (std::size_t candidate = 0; candidate < 24; ++candidate) {
        double score = 0;
        for (std::size_t degree = 0; degree < 12; ++degree) {
            for (std::size_t family = 0; family < kChordFamilyCount; ++family) {
                const double share = dwell[(candidate + degree) % 12][family] / total;
                score += share * static_cast<double>(kKeyProfiles[candidate / 12][degree][family]);
            }
        }
        if (score > highest) {
            highest = score;
            key = static_cast<int>(candidate);
        }
    }
    return key;
}

} // namespace tarn
