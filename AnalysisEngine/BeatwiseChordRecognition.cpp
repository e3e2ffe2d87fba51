#include "AnalysisEngine/BeatwiseChordRecognition.h"

#include "AnalysisEngine/ChordModel.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

constexpr double kSecondsWithoutBeats = 0.5;

/// In seconds, from the start of the song to its end, ascending.
std::vector<double> spanBoundaries(const AudioFeatures& features, std::span<const std::int64_t> tatums) {
    const double end = static_cast<double>(features.frameCount) / features.sampleRate;
    std::vector<double> boundaries{0};
    const auto add = [&](double time) {
        if (time > boundaries.back() && time < end)
            boundaries.push_back(time);
    };
    if (tatums.empty()) {
        for (double time = kSecondsWithoutBeats; time < end; time += kSecondsWithoutBeats)
            add(time);
    }
    for (std::size_t i = 0; i < tatums.size(); i += 2)
        add(static_cast<double>(tatums[i]) / features.sampleRate);
    boundaries.push_back(end);
    return boundaries;
}

/// Major (quality 0), minor (quality 1), or no chord.
ChordLabel bestTriad(const LabelScores& scores) {
    ChordLabel best = kNoChordLabel;
    for (int root = 0; root < 12; ++root) {
        for (const std::size_t quality : {0, 1}) {
            const ChordLabel label = chordLabel(root, quality);
            if (scores[label] > scores[best])
                best = label;
        }
    }
    return best;
}

} // namespace

std::vector<RecognizedChord> recognizeChordsBeatwise(const AudioFeatures& features, double tuningFrequency,
                                                     std::span<const std::int64_t> tatums,
                                                     const StageMonitor& monitor) {
    std::vector<RecognizedChord> chords;
    if (features.frameCount == 0)
        return chords;
    const auto boundaries = spanBoundaries(features, tatums);
    const auto spans = describeHarmony(features.spectral, tuningFrequency, boundaries, monitor.part(0, 0.6));
    const auto evidence = ChordModel(spans).evidence(monitor.part(0.6, 1));
    for (std::size_t i = 0; i < evidence.size(); ++i) {
        const ChordLabel label = bestTriad(evidence[i]);
        if (!chords.empty() && chords.back().label == label)
            continue;
        const auto location = std::int64_t{std::llround(boundaries[i] * features.sampleRate)};
        chords.push_back(
            {location, label, label == kNoChordLabel ? 0 : rootOf(label), std::exp(evidence[i][label])});
    }
    return chords;
}

} // namespace tarn
