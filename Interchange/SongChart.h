#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <string>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// What holds for the whole song, a line for each fact: recording, tempo, metre, key, tuning, number of bars.
/// "unknown" where the document says nothing. Title, artist, capo and transposition stand there where they
/// are set. The key is that of the chart.
[[nodiscard]] std::string songFacts(const Song& document, bool isAtConcertPitch = false);

/// The first chords of the song, in order and without passages that have none; "unknown" without chords.
[[nodiscard]] std::string firstChords(const Song& document, std::size_t count);

/// The song as musicians write it down: bars with their beats, a chord's name on the beat nearest to its
/// beginning and again at the beginning of each bar, "/" on beats on which it goes on; rows begin with the
/// number of the first bar and its time, sections stand above their first bar, regions and markers follow
/// with their bars and beats. Without bars, sections and chords with their times. Chords follow capo and
/// transposition unless the chart is at concert pitch.
[[nodiscard]] std::string songChart(const Song& document, bool isAtConcertPitch = false);

/// Replaces the song's chords and sections by those of a chart as songChart writes it, put on the song's
/// bars, and returns what was replaced. Lines that are not rows of bars or headings are passed over. Throws
/// FormatError, and FormatRefused for a song without bars.
std::string replaceByChart(Song& document, std::string_view chart, bool isAtConcertPitch = false);

} // namespace tarn
