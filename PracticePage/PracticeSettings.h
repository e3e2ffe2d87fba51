#pragma once

#include "Platform/Export.h"
#include "Song/Song.h"

#include <string>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// How a song is practised (speed, loop, volumes, click, …) is a JSON object with the members of
/// docs/practice-page.md. Those that this edition knows are checked; what a newer one has added is kept.

/// The song's settings: an object without what is not valid; {} where there are none.
[[nodiscard]] std::string practiceSettingsOf(const Song& song);

/// What to keep in the song for the settings that a page sends: these, and of those that the song has already
/// what is unknown here. Throws RequestRefused (400) for anything but an object of known members in their
/// ranges, of 8 KiB at most.
[[nodiscard]] std::string newPracticeSettings(const Song& song, std::string_view sent);

} // namespace tarn
