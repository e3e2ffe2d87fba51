#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// The program's own cache of analyses. It lies apart from the caches of applications that use the library.
/// Its files are named by the content of the recordings, so that no document can say where they lie, a copy
/// of a recording finds them, and a changed one does not; and what it keeps is bounded. Runs of the program
/// may use it at the same time.
namespace tarn::program {

/// How much an analysis leaves in the cache.
inline constexpr std::uintmax_t kLargestCache = 512'000'000; // bytes

/// Makes the analysis keep its caches in the program's own folder. Called once, before anything else.
void useProgramCache();

/// The name of a recording's cache files: the SHA-256 digest of its bytes as 64 hexadecimal digits; empty
/// when it cannot be read.
[[nodiscard]] std::string cacheNameOf(const std::filesystem::path& recording);

/// Makes the files of that name the ones that were used last.
void markCacheUsed(const std::string& name);

/// A folder of the cache, and what the program has in it.
struct CacheFolder {
    std::filesystem::path path;
    std::size_t fileCount = 0;
    std::uintmax_t size = 0; ///< bytes
};
[[nodiscard]] std::vector<CacheFolder> cacheFolders();

/// Removes the files that have not been used for longest, until the rest is no larger, and what killed runs
/// have left. Only files of the cache's own names are touched. Returns which file could not be removed, and
/// why.
std::optional<std::string> trimCache(std::uintmax_t mostBytes);

} // namespace tarn::program
