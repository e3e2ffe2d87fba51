#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <memory>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Replaces the song's chords, in one change, and says so. Where the song begins with N.C., that entry stays,
/// with what is known of it, up to the first of the new chords that sounds; N.C. before that is left out.
std::string replaceChordsOf(Song& song, std::vector<std::shared_ptr<TarnChordEntry>> chords);

} // namespace tarn
