// The statistical model of chords that key detection and chord recognition share: how likely each chord label
// makes the pitch classes of a span, and which sequence of labels explains a song best. Its parameters are
// learned (ChordModelParameters.h).
#pragma once

#include "AnalysisEngine/ChordVocabulary.h"
#include "AnalysisEngine/HarmonicSpans.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <array>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A number for each label: a logarithm of its probability, or what is added to it.
using LabelScores = std::array<float, kChordLabelCount>;

/// The logarithms of the labels' probabilities, each span seen on its own. A log-linear model whose weights
/// depend on the part that a pitch class plays in the chord (root, third, ...), not on the chord itself.
std::vector<LabelScores> chordEvidence(std::span<const HarmonicSpan> spans);

/// The probabilities of the qualities of a chord with this root that lasts over all of these spans (at least
/// one). `arrival` as in mostLikelyChords(). Where single spans can hardly tell a melody's notes from the
/// chord's, what sounds throughout a chord is part of it; and a third that is hardly played at all is better
/// judged once than span by span.
std::array<float, kChordQualityCount> qualityProbabilities(int root, std::span<const HarmonicSpan> spans,
                                                           const LabelScores& arrival);

struct ChordPath {
    std::vector<ChordLabel> labels; ///< One for each span.
    double score = 0;               ///< Logarithm of the path's unnormalised probability.
};

/// The best sequence of labels. `changeCosts` has the cost of a change at the beginning of each span (the
/// first one's isn't used), `arrival` what a label scores each time that it begins.
ChordPath mostLikelyChords(std::span<const LabelScores> evidence, std::span<const float> changeCosts,
                           const LabelScores& arrival, const StageMonitor& monitor = {});

/// The probabilities of the labels in each span, given the whole song; `changeCosts` and `arrival` as above.
std::vector<LabelScores> chordProbabilities(std::span<const LabelScores> evidence,
                                            std::span<const float> changeCosts, const LabelScores& arrival,
                                            const StageMonitor& monitor = {});

} // namespace tarn
