#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <memory>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// What differs between two states of a song, in the words of pages: "beats", "chords", "key", "sections",
/// "regions", "markers", "notes", "properties", "practice".
[[nodiscard]] std::vector<std::string> differingKinds(const Song& before, const Song& after);

/// The song as it is now, in storages of its own, so that it stays as it is.
[[nodiscard]] std::shared_ptr<Song> frozenCopy(const Song& song);

} // namespace tarn
