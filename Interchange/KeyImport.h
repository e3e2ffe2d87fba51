#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <optional>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// The tonic chord of a key as files name it: "Eb", "F#m", "A minor", "C:dorian"; modes with a minor third
/// are minor. Null for any other text.
[[nodiscard]] KELPKeyRef keyWithName(std::string_view name);

/// Replaces the song's keys by this one, unless it is the song's key already.
void replaceKey(Song& song, const KELPKeyRef& key);

} // namespace tarn
