#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"
#include "TarnFoundation/Grid/BeatGrid.h"
#include "TarnFoundation/UserEntries/TimeSignature.h"

#include <span>

namespace TARN_PUBLIC tarn {

/// Gives the song other counted beats, from the start of the recording on, in ascending order. Where the
/// song counts quarters, an eighth is put halfway between each two of them. Beats that stay where they are
/// keep their identifiers; those before the recording stay. The metre is set where it differs, and the tempo
/// is that of the new grid.
void replaceGrid(Song& song, std::span<const GridBeat> counted, TimeSignature metre);

/// The tempo is this, whatever the beats say.
void setTempo(Song& song, double beatsPerMinute);

} // namespace tarn
