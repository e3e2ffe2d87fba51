#pragma once

#include "Interchange/MIDIFileReader.h"
#include "Platform/Export.h"
#include "Song/Song.h"
#include "Song/SongPositions.h"

#include <optional>
#include <string>

namespace TARN_PUBLIC tarn {

/// Where the notes of a MIDI file are put in a song.
struct NotePlacement {
    /// Along the song's counted beats instead of by the file's time.
    bool followsBeats = false;
    /// Along the beats where the file's first bar is put (bar 1), else where the file begins (the start of
    /// the recording).
    std::optional<Position> at;
    /// The only channel whose notes are taken, 1 to 16; without one all but 10, which plays percussion, and
    /// an exported track of chords.
    std::optional<int> channel;
};

/// Replaces the document's notes by those of a file, in one change, and returns what was replaced. Notes are
/// spelled to suit the song's key; those that do not begin in the recording are left out, and none outlasts
/// it. Throws EditRefused, the document being unchanged, for a file without notes, a song without beats to
/// follow, and a position that the song does not have.
std::string replaceNotes(Song& document, const MIDIFile& file, const NotePlacement& placement);

/// Replaces the document's beats by those of a file, in one change, and returns what was replaced: the beats
/// that its metres count, at the times that its tempi give them, from `at` on (the start of the recording),
/// of an exported file the song's alone. Beats before the first bar are a pickup.
/// Throws FormatRefused for a file whose ticks divide seconds, or whose beats lie outside the recording,
/// FormatError for beats that lie too close together, and EditRefused for a position that the song does not
/// have.
std::string replaceBeatsByMetre(Song& document, const MIDIFile& file, const std::optional<Position>& at);

} // namespace tarn
