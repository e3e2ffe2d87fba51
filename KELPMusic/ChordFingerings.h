#pragma once

#include "KELPMusic/KELPChord.h"
#include "KELPMusic/KELPStringedInstrumentDescription.h"
#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TARN_PUBLIC tarn {

/// How a chord is fingered on a stringed instrument.
struct ChordFingering {
    /// For each string in the order of the tuning: 0 is open, -1 not played.
    std::vector<std::int8_t> frets;
    /// The lowest fret that is stopped, 1 where none is.
    int baseFret = 1;
    friend bool operator==(const ChordFingering&, const ChordFingering&) = default;
};

/// The fingerings that are easiest to play, up to `most`, the best first: four fingers over four frets, a
/// barre counting as one, all strings that are played lying beside each other. They sound the chord's tones
/// and no others, all of them as far as there are strings, the fifth going first; the chord's bass lies
/// lowest where the strings ascend. None for no chord and for chords that the instrument cannot play so.
[[nodiscard]] std::vector<ChordFingering> chordFingerings(const KELPChord& chord,
                                                          const KELPStringedInstrumentDescription& instrument,
                                                          std::size_t most);

} // namespace tarn
