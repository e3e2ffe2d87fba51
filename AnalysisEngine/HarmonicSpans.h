// Which pitch classes sound, span by span: the evidence from which key and chords are recognised.
#pragma once

#include "AnalysisEngine/SpectralFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <array>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// How loud the notes of a stretch of the song are by pitch class (0 is C): square roots of the classes'
/// shares, or all 0 in silence.
struct HarmonicSpan {
    std::array<float, 12> notes{};  ///< Of all notes.
    std::array<float, 12> lowest{}; ///< Notes count the less, the more sounds below them.
    std::array<float, 12> bass{};
    std::array<float, 12> treble{};
    float level = 0; ///< Mean magnitude of the stretch relative to the song's, in decibels, -60 to 20.
    float seconds = 0;
};

/// Describes the spans between consecutive `boundaries` (ascending, in seconds), each from its lower boundary
/// up to its upper one. A span in which no frame lies takes the frame that follows it. Fewer than two
/// boundaries, no spans.
///
/// Each frame is tuned, freed of its spectral slope and loudness by the mean and deviation of its
/// surroundings, and averaged over the span. The average is explained as a sum of notes with decaying
/// harmonics (non-negative least squares by the multiplicative updates of D. Lee and H. Seung, "Algorithms
/// for non-negative matrix factorization", NIPS 2000), after M. Mauch and S. Dixon, "Approximate note
/// transcription for the improved identification of difficult chords", ISMIR 2010.
std::vector<HarmonicSpan> describeHarmony(const SpectralFeatures& features, double tuningFrequency,
                                          std::span<const double> boundaries,
                                          const StageMonitor& monitor = {});

} // namespace tarn
