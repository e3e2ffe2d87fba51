// The statistical model of chords that key detection and chord recognition share: how likely each chord label
// makes what sounds in a span and around it, and which sequence of labels explains a song best. Its
// parameters are learned (ChordModelParameters.h).
#pragma once

#include "AnalysisEngine/ChordVocabulary.h"
#include "AnalysisEngine/HarmonicSpans.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <array>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A logarithm of its probability for each label, or what is added to that.
using LabelScores = std::array<float, kChordLabelCount>;

/// A perceptron that looks at each span and its surroundings from each of the twelve roots, all pitch classes
/// counted from there, with the same weights: a song gets the same chords in every key. After the spectral
/// surroundings of F. Korzeniowski and G. Widmer, "Feature learning for chord recognition: the deep chroma
/// extractor", ISMIR 2016, with notes in place of their spectra.
class ChordModel {
public:
    /// The spans are those of a whole song, and are used as long as the model is.
    explicit ChordModel(std::span<const HarmonicSpan> spans);

    /// The logarithms of the labels' probabilities in a span.
    [[nodiscard]] LabelScores evidence(std::size_t span) const;
    /// The same for all spans.
    [[nodiscard]] std::vector<LabelScores> evidence(const StageMonitor& monitor = {}) const;

    /// The logarithms of the probabilities of the basses of a chord on this root, by interval above it.
    [[nodiscard]] std::array<float, 12> bassEvidence(std::size_t span, int root) const;

private:
    /// Two profiles of spans that may be far away are known by their sums over all spans before one.
    using LongerSums = std::array<std::array<double, 12>, 2>;

    struct Surroundings;
    [[nodiscard]] Surroundings surroundingsOf(std::size_t span) const;

    std::span<const HarmonicSpan> mSpans;
    std::vector<LongerSums> mSums;
};

struct ChordPath {
    std::vector<ChordLabel> labels; ///< One for each span.
    double score = 0;               ///< Logarithm of the path's unnormalised probability.
};

/// The best sequence of labels. `changeCosts` has the cost of a change at the beginning of each span (the
/// first one's isn't used).
ChordPath mostLikelyChords(std::span<const LabelScores> evidence, std::span<const float> changeCosts,
                           const StageMonitor& monitor = {});

/// The probabilities of the labels in each span, given the whole song; `changeCosts` as above.
std::vector<LabelScores> chordProbabilities(std::span<const LabelScores> evidence,
                                            std::span<const float> changeCosts,
                                            const StageMonitor& monitor = {});

} // namespace tarn
