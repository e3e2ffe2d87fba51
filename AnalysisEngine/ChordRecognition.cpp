#include "AnalysisEngine/ChordRecognition.h"

#include "AnalysisEngine/ChordModel.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tarn {

namespace {

/// Logarithms of how much less likely a new chord is than the old one, on the first beat of the bar, in its
/// middle, on other beats and off the beats.
constexpr std::array<float, 4> kChangeCosts{1.5f, 2, 2.5f, 3.5f};
constexpr float kChangeCostWithoutBeats = 4;
/// Neighbouring spans hear much of the same, so that each counts for less than if it were alone.
constexpr float kTrust = 0.6f;
/// The spans that are told apart: their boundaries in seconds, and the number of the tatum that each of them
/// begins with; no numbers when there are no beats.
struct Grid {
    std::vector<double> boundaries;
    std::vector<std::ptrdiff_t> tatums;
};

Grid makeEvenGrid(double duration) {
    constexpr double kStep = 4 / SpectralFeatures::kFramesPerSecond;
    Grid grid;
    // What is left at the end counts to the last step unless it is most of one itself.
    const auto count = static_cast<std::size_t>(std::max(1L, std::lround(duration / kStep)));
    for (std::size_t i = 0; i < count; ++i)
        grid.boundaries.push_back(static_cast<double>(i) * kStep);
    grid.boundaries.push_back(duration);
    return grid;
}

/// The tatums go on at the same pace before the first and after the last one.
Grid makeTatumGrid(std::span<const std::int64_t> tatums, double sampleRate, double duration) {
    constexpr double kShortest = 0.05;
    const auto at = [&](std::size_t i) { return static_cast<double>(tatums[i]) / sampleRate; };
    const double opening = std::max(kShortest, at(1) - at(0));
    const double closing = std::max(kShortest, at(tatums.size() - 1) - at(tatums.size() - 2));
    Grid grid;
    const auto before = static_cast<std::ptrdiff_t>(std::max(0.0, std::floor(at(0) / opening)));
    for (std::ptrdiff_t i = before; i > 0; --i) {
        grid.boundaries.push_back(at(0) - static_cast<double>(i) * opening);
        grid.tatums.push_back(-i);
    }
    for (std::size_t i = 0; i < tatums.size(); ++i) {
        grid.boundaries.push_back(at(i));
        grid.tatums.push_back(static_cast<std::ptrdiff_t>(i));
    }
    while (grid.boundaries.back() + closing < duration) {
        grid.boundaries.push_back(grid.boundaries.back() + closing);
        grid.tatums.push_back(grid.tatums.back() + 1);
    }
    // What is left at either end is a span of its own unless it is too short to tell anything.
    if (grid.boundaries.front() > kShortest) {
        grid.boundaries.insert(grid.boundaries.begin(), 0.0);
        grid.tatums.insert(grid.tatums.begin(), grid.tatums.front() - 1);
    }
    grid.boundaries.front() = 0;
    if (duration - grid.boundaries.back() > kShortest) {
        grid.boundaries.push_back(duration);
    } else {
        grid.boundaries.back() = duration;
        grid.tatums.pop_back();
    }
    return grid;
}

/// How strong the place in the bar is at which a tatum lies, for a bar of so many tatums that begins at
/// `phase`; an index into kChangeCosts.
std::size_t weakness(std::ptrdiff_t tatum, std::ptrdiff_t phase, std::ptrdiff_t barLength) {
    const std::ptrdiff_t place = ((tatum - phase) % barLength + barLength) % barLength;
    if (place == 0)
        return 0;
    if (place % 2 != 0)
        return 3;
    return place * 2 == barLength ? 1 : 2;
}

struct Decoding {
    ChordPath path;
    std::vector<float> changeCosts;
};

/// Decodes with each bar that the song may have, and keeps what fits best.
Decoding decode(const Grid& grid, std::span<const LabelScores> evidence, const StageMonitor& monitor) {
    if (grid.tatums.empty()) {
        std::vector<float> costs(evidence.size(), kChangeCostWithoutBeats);
        ChordPath path = mostLikelyChords(evidence, costs, monitor);
        return {std::move(path), std::move(costs)};
    }
    Decoding best;
    constexpr int kHypotheses = 7; // a bar of four beats may begin on any of them, and one of three
    int tried = 0;
    for (const std::ptrdiff_t barLength : {8, 6}) {
        for (std::ptrdiff_t phase = 0; phase < barLength; phase += 2, ++tried) {
            std::vector<float> costs;
            for (const std::ptrdiff_t tatum : grid.tatums)
                costs.push_back(kChangeCosts[weakness(tatum, phase, barLength)]);
            const StageMonitor part =
                monitor.part(1.0 * tried / kHypotheses, 1.0 * (tried + 1) / kHypotheses);
            ChordPath path = mostLikelyChords(evidence, costs, part);
            if (best.changeCosts.empty() || path.score > best.path.score)
                best = {std::move(path), std::move(costs)};
        }
    }
    return best;
}

/// The bass note of a chord that lasts over the spans from `begin` to `end`.
int bassOf(ChordLabel label, const ChordModel& model, std::size_t begin, std::size_t end) {
    if (label == kNoChordLabel)
        return 0;
    const int root = rootOf(label);
    std::array<float, 12> scores{};
    for (std::size_t span = begin; span < end; ++span) {
        const std::array<float, 12> heard = model.bassEvidence(span, root);
        for (std::size_t interval = 0; interval < 12; ++interval)
            scores[interval] += heard[interval];
    }
    const auto interval = std::max_element(scores.begin(), scores.end()) - scores.begin();
    return (root + static_cast<int>(interval)) % 12;
}

/// Calls `visit(begin, end)` for each run of spans with the same label.
template <typename Visit>
void forEachChord(const std::vector<ChordLabel>& labels, Visit visit) {
    for (std::size_t begin = 0, end = 0; begin < labels.size(); begin = end) {
        while (end < labels.size() && labels[end] == labels[begin])
            ++end;
        visit(begin, end);
    }
}

std::vector<ChordCandidate> rank(const LabelScores& probabilities) {
    constexpr std::size_t kCandidates = 10;
    std::vector<ChordCandidate> ranked;
    for (std::size_t label = 0; label < kChordLabelCount; ++label)
        ranked.push_back({static_cast<ChordLabel>(label), probabilities[label]});
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.probability > b.probability; });
    ranked.resize(kCandidates);
    return ranked;
}

} // namespace

ChordRecognition recognizeChords(const AudioFeatures& features, double tuningFrequency,
                                 std::span<const std::int64_t> tatums, const StageMonitor& monitor) {
    ChordRecognition result;
    if (features.frameCount == 0)
        return result;
    const double duration = static_cast<double>(features.frameCount) / features.sampleRate;
    const Grid grid =
        tatums.size() < 2 ? makeEvenGrid(duration) : makeTatumGrid(tatums, features.sampleRate, duration);
    const std::vector<HarmonicSpan> spans =
        describeHarmony(features.spectral, tuningFrequency, grid.boundaries, monitor.part(0, 0.5));
    const ChordModel model(spans);
    std::vector<LabelScores> evidence = model.evidence(monitor.part(0.5, 0.8));
    constexpr double kShortest = 0.1; // seconds in which a chord can be heard
    if (duration < kShortest) {
        for (LabelScores& scores : evidence) {
            scores.fill(-10);
            scores[kNoChordLabel] = 0;
        }
    }
    for (LabelScores& scores : evidence) {
        for (float& score : scores)
            score *= kTrust;
    }
    const Decoding decoded = decode(grid, evidence, monitor.part(0.8, 0.9));
    const std::vector<LabelScores> probabilities =
        chordProbabilities(evidence, decoded.changeCosts, monitor.part(0.9, 1));

    const auto frameOf = [&](std::size_t span) {
        return static_cast<std::int64_t>(std::llround(grid.boundaries[span] * features.sampleRate));
    };
    const std::vector<ChordLabel>& labels = decoded.path.labels;
    forEachChord(labels, [&](std::size_t begin, std::size_t end) {
        const ChordLabel label = labels[begin];
        float probability = 0;
        for (std::size_t span = begin; span < end; ++span)
            probability += probabilities[span][label];
        probability /= static_cast<float>(end - begin);
        result.chords.push_back({frameOf(begin), label, bassOf(label, model, begin, end), probability});
    });
    for (std::size_t i = 0; i < spans.size(); ++i)
        result.candidates.push_back({frameOf(i), rank(probabilities[i])});
    return result;
}

} // namespace tarn
