#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// Where the caches of an analysis lie: in folders of the user's caches directory, one file for each song.
/// Songs' identifiers come from documents, and documents from anywhere: the names of files are derived from
/// them, so that no identifier leads out of its folder, and no two share a file.
namespace tarn::analysis {

/// The folder of that name in the library's part of the caches directory. It is made if it is missing; where
/// that fails, using a file in it will.
[[nodiscard]] std::filesystem::path cacheFolder(std::string_view name);

/// The song's file in a cache folder.
[[nodiscard]] std::filesystem::path cacheFile(const std::filesystem::path& folder,
                                              const std::string& identifier, const char* extension);

/// An identifier that can name a file stands for itself: 1 to 128 letters, digits, '-', '_' and '.' of ASCII
/// that do not begin with '.' or "sha256-". For any other the name is "sha256-" and its digest; so it is for
/// one with capitals where `ignoresCase`.
[[nodiscard]] std::string cacheName(const std::string& identifier, bool ignoresCase);

} // namespace tarn::analysis
