// Title and artist as a recording's file tells them, by way of TagLib.
#pragma once

#include "Platform/Export.h"

#include <filesystem>
#include <string>

namespace TARN_PUBLIC tarn {

/// UTF-8 on one line, of bounded length; empty where the file does not say.
struct RecordingTags {
    std::string title;
    std::string artist;
};
[[nodiscard]] RecordingTags tagsOf(const std::filesystem::path& file);

} // namespace tarn
