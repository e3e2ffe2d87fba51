#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <cstdint>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A beat of a count-in.
struct CountInBeat {
    double before = 0; ///< seconds of the song before the start, above 0
    bool isDownbeat = false;
    friend bool operator==(const CountInBeat&, const CountInBeat&) = default;
};

/// The beats that are counted before the sound starts at a frame, from the first one on: as many as so many
/// bars have there. They are the song's own where it has them; before its first beat those that the count-in
/// controller makes; and where the song has too few beats to tell, those of its tempo, or of 120 a minute.
/// The song itself is not touched.
[[nodiscard]] std::vector<CountInBeat> countInBefore(const Song& song, std::int64_t start, int bars);

} // namespace tarn
