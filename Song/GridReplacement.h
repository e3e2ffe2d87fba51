#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"
#include "TarnFoundation/Grid/BeatGrid.h"
#include "TarnFoundation/UserEntries/TimeSignature.h"

#include <optional>
#include <span>

namespace TARN_PUBLIC tarn {

/// Gives the song other counted beats, from the start of the recording on, in ascending order. Where the
/// song counts quarters, an eighth is put halfway between each two of them that are new neighbours; between
/// those that were neighbours before, the eighth stays where it is. Beats that stay where they are keep their
/// identifiers; those before the recording stay. The metre is set where one is given that differs. The tempo
/// entry is left alone.
void replaceGrid(Song& song, std::span<const GridBeat> counted, std::optional<TimeSignature> metre);

/// Of how many counted beats a beat of the tempo consists: of three eighths in compound metres (6/8, 9/8,
/// 12/8), of two in others of eighths, and of one in metres of quarters.
[[nodiscard]] int countedBeatsPerTempoBeat(TimeSignature metre);

/// Beats of the tempo per minute, by the beats as they are; 0 without beats.
[[nodiscard]] double tempoOfBeats(const Song& song);

void setTempo(Song& song, double beatsPerMinute);
/// The tempo of the beats as they are.
void setTempoFromBeats(Song& song);

} // namespace tarn
