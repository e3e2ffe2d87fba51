// The metre of a song as an analysis finds it: complete enough that a document's beats, bars and time
// signature can be made from it alone.
#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Frames from `start` on.
struct DetectedBar {
    std::int64_t start = 0;
    std::int64_t length = 0;
};

struct DetectedMetre {
    /// The commonest bar as a time signature. The denominator is 8 in compound metres (6/8, 9/8, 12/8) and
    /// where a bar has an odd number of eighths (5/8, 7/8), else 4.
    int numerator = 0;
    int denominator = 0;

    /// The beats that a listener counts: quarters, in compound metres dotted quarters, in bars with an odd
    /// number of eighths both. Ascending frames of the file, none before its start or after its end.
    std::vector<std::int64_t> countedBeats;

    /// The counted beats with the eighths that lie between each and the next. The last beat may lack some,
    /// where the file ends.
    std::vector<std::int64_t> eighths;

    /// All bars, one after another; each begins with a counted beat. Beats before the first are an upbeat.
    /// Single bars may have more or fewer beats than the time signature says. The last may be incomplete.
    std::vector<DetectedBar> bars;

    /// Counted beats per minute; where these are uneven, quarters. Where the tempo is constant, the one that
    /// fits all beats with the least squares of their distances, else the median over the song.
    double tempo = 0;

    /// How sure it is that these are the counted beats, and that bars are of this kind: 0 to 1.
    double beatConfidence = 0;
    double metreConfidence = 0;
};

} // namespace tarn
