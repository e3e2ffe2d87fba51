#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"
#include "TarnFoundation/BeatGridReading.h"

namespace TARN_PUBLIC tarn {

/// The beats and bars that a musician counts: those of the time signature's view from the start of the
/// recording on. They are known by their positions alone, so that it does not matter whether entries of a
/// damaged document share an identifier.
[[nodiscard]] inline BeatGrid countedBeats(const Song& document) {
    return countedBeatGridOf(*document.notes).from(0);
}

} // namespace tarn
