#pragma once

#include "Platform/Export.h"
#include "PracticePage/PracticeAPI.h"

#include <filesystem>
#include <vector>

namespace TARN_PUBLIC tarn {

/// The user's folder for what the practice page keeps besides documents, by the convention of the system (XDG
/// base directories). Not created by this call.
[[nodiscard]] std::filesystem::path practiceFolder();

/// Where the document of a recording is kept.
struct DocumentPlace {
    std::filesystem::path file;
    bool isBesideRecording = true; ///< otherwise in practiceFolder(), for that folder cannot be written
};
[[nodiscard]] DocumentPlace documentPlaceOf(const std::filesystem::path& recording);

/// The songs that were opened last, the newest first, without those that are gone.
[[nodiscard]] std::vector<RecentSong> recentSongs();
/// Makes the document the newest. What cannot be written is not remembered.
void rememberSong(const std::filesystem::path& document);

} // namespace tarn
