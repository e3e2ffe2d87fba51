#pragma once

#include "KELPMusic/KELPChord.h"
#include "Platform/Export.h"

#include <string>
#include <string_view>

/// Chord labels as research tools write them: root, colon, a shorthand and added or omitted (*) degrees, and
/// the bass as a degree of the root ("C#:min7", "G:7(b9)/3", "N" where there is no harmony). C. Harte,
/// M. Sandler, S. Abdallah, E. Gómez: "Symbolic representation of musical chords: a proposed syntax for text
/// annotations" (ISMIR 2005), with the shorthand sus2 of the annotations that followed.
namespace TARN_PUBLIC tarn {

/// The label of a chord; "N" for none and for no chord. It reads as a chord with the same label.
[[nodiscard]] std::string harteLabel(const KELPChordRef& chord);
/// The same with the name that a chart prints; "N.C." for none and for no chord.
[[nodiscard]] std::string chartLabel(const KELPChordRef& chord);

/// The chord of a label; "X" (a harmony that the annotator could not name) reads as no chord. Of the chord
/// table's qualities the one with these tones, whatever their octaves, else the degrees as they stand.
/// Besides the shorthands that harteLabel writes, 1, 5, aug7, 11, maj11, min11, 13, maj13 and min13 are read.
/// Empty for any other text, for chords without a root and for more than six degrees.
[[nodiscard]] KELPChordRef chordWithHarteLabel(std::string_view label);

/// The chord of a label or, where the text is not a label, of a chart's name ("F#m7/E").
[[nodiscard]] KELPChordRef chordWithLabelOrName(std::string_view text);

} // namespace tarn
