#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <string>

namespace TARN_PUBLIC tarn {

/// The song as one JSON object on a line of its own: what `show --json` and `analyze --json` print and what
/// .json files hold. Locations and lengths are frames, "seconds" and "endSeconds" the same in seconds, pitch
/// classes 0 to 11 from C; kinds and names stand as in the document, chords as charts print them ("name") and
/// as research tools write them ("harte"); confidences lie between 0 and 1. What is not there is null. What
/// is not UTF-8 in a name is replaced, and controls in names are escaped.
[[nodiscard]] std::string documentJSON(const Song& document);
/// Prints it.
void printJSON(const Song& document);

} // namespace tarn
