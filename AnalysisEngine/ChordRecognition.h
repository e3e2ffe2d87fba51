// Chord recognition: which chords a song has and where they change, and how likely the other candidates are.
#pragma once

#include "AnalysisEngine/AudioFeatures.h"
#include "AnalysisEngine/ChordVocabulary.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <cstdint>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

struct RecognizedChord {
    std::int64_t location; ///< Frame of the file at which the chord begins.
    ChordLabel label;
    int bass;          ///< Pitch class of the lowest note; 0 without chord.
    float probability; ///< That this is the chord, on average while it lasts.
};

struct ChordCandidate {
    ChordLabel label;
    float probability;
};

/// What may sound from `location` until the next frame's.
struct ChordCandidates {
    std::int64_t location;
    std::vector<ChordCandidate> ranked; ///< The most probable first; at least one.
};

struct ChordRecognition {
    /// Ascending, neighbours differ; the first begins at 0 (possibly "no chord") and the last one lasts until
    /// the end. Empty when not a single frame was decoded.
    std::vector<RecognizedChord> chords;
    std::vector<ChordCandidates> candidates;
};

/// `tuningFrequency` is that of A4 in Hz. `tatums` are the song's beats in ascending frames of the file, two
/// to the counted beat, the first one counted; where given, chords change only there, and rather on strong
/// beats.
///
/// The sequence is decoded by a hidden Markov model after A. Sheh and D. Ellis, "Chord segmentation and
/// recognition using EM-trained hidden Markov models", ISMIR 2003, whose observations are those of
/// ChordModel::evidence() and whose changes depend on the place in the bar.
ChordRecognition recognizeChords(const AudioFeatures& features, double tuningFrequency,
                                 std::span<const std::int64_t> tatums, const StageMonitor& monitor = {});

} // namespace tarn
