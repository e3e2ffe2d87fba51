// The bars of a song as beat detection finds them, complete enough that a document's bars can be made from
// them alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarn {

/// Frames from `start` on.
struct DetectedBar {
    std::int64_t start = 0;
    std::int64_t length = 0;
};

/// Every bar has equally many counted beats, wherever it is longer or shorter than others: where the song
/// slows down, or pauses before the next bar.
struct DetectedMetre {
    /// As in 3/4 or 6/8; both 0 where no metre is found.
    int numerator = 0;
    int denominator = 0;

    /// Ascending frames of the file, none before its start or after its end: the beats that a listener
    /// counts, quarters or, in compound metres, dotted quarters.
    std::vector<std::int64_t> countedBeats;
    /// Index into `countedBeats` of the first that opens a bar; those before it are an upbeat. Never beyond
    /// the first bar's length.
    std::size_t firstDownbeat = 0;
    int beatsPerBar = 0;

    /// The eighth notes: each counted beat and what lies evenly spaced between it and the next, two to a beat
    /// or, in compound metres, three. The last beat's may be fewer, where the file ends.
    std::vector<std::int64_t> tatums;
    int tatumsPerBeat = 0;

    /// All bars that begin with a counted beat, one after another; the last one may be incomplete, and ends
    /// where its next beat would be.
    std::vector<DetectedBar> bars;

    /// How sure it is that these are the counted beats, and that bars are of this kind: 0 to 1.
    double beatConfidence = 0;
    double metreConfidence = 0;
};

} // namespace tarn
