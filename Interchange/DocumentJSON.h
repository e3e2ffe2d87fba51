#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <nlohmann/json_fwd.hpp>

namespace TARN_PUBLIC tarn {

/// The document as the one JSON object that `show --json` and `analyze --json` print: frames for locations
/// and lengths, pitch classes 0 to 11 from C, kinds and names as in the document; null for what is not there.
[[nodiscard]] nlohmann::ordered_json documentJSON(const Song& document);
/// Prints it on a line of its own; what is not UTF-8 in a name is replaced.
void printJSON(const Song& document);

} // namespace tarn
