#pragma once

#include "Platform/Export.h"
#include "PracticePage/PracticeSession.h"
#include "Song/Song.h"

#include <cstdint>
#include <optional>
#include <string>

namespace TARN_PUBLIC tarn {

/// What a page is told of a song besides the song.
struct SongSurroundings {
    bool mayEdit = true;
    std::optional<std::string> soundReason;    ///< why the recording cannot be heard
    std::optional<std::string> soundQuestion;  ///< the path that the user has to agree to
    std::optional<std::string> documentFolder; ///< where the document goes instead of beside the recording
};

/// The song as one JSON object (docs/practice-page.md).
[[nodiscard]] std::string songJSON(const PracticeSession::View& view, const SongSurroundings& surroundings);

} // namespace tarn
