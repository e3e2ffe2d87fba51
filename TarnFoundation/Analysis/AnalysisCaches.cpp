#include "TarnFoundation/Analysis/AnalysisCaches.h"

#include "Platform/FileManager.h"
#include "Platform/SHA256.h"

#include <algorithm>
#include <span>
#include <system_error>

namespace tarn::analysis {

namespace {

constexpr std::string_view kDigestPrefix = "sha256-";
constexpr std::size_t kLongestKeptName = 128; ///< leaves room for an extension on every file system

bool isCapital(char c) {
    return c >= 'A' && c <= 'Z';
}

bool isSmall(char c) {
    return c >= 'a' && c <= 'z';
}

bool isKept(char c) {
    return isCapital(c) || isSmall(c) || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
}

/// Joined as text, because an absolute path would take the directory's place.
std::filesystem::path pathInDirectory(std::filesystem::path directory, std::string_view name) {
    directory /= "";
    directory += name;
    return directory;
}

/// Whether names that differ in their case only are the same file in this folder. That depends on the file
/// system, and on some on the folder, not on the operating system alone, so the folder is asked whether it
/// also answers to its own name in the other case: nothing has to be written for that.
bool ignoresCase(const std::filesystem::path& folder) {
    std::string name = folder.filename().string();
    for (char& c : name) {
        if (isCapital(c) || isSmall(c))
            c ^= 'a' ^ 'A';
    }
    std::error_code missing;
    return std::filesystem::equivalent(folder, folder.parent_path() / name, missing);
}

} // namespace

std::filesystem::path cacheFolder(std::string_view name) {
    auto folder = pathInDirectory(FileManager::cachesDirectory() / "Tarn", name);
    FileManager::createDirectories(folder);
    return folder;
}

std::filesystem::path cacheFile(const std::filesystem::path& folder, const std::string& identifier,
                                const char* extension) {
    return pathInDirectory(folder, cacheName(identifier, ignoresCase(folder)) + '.' + extension);
}

std::string cacheName(const std::string& identifier, bool ignoresCase) {
    const bool canBeKept = !identifier.empty() && identifier.size() <= kLongestKeptName &&
                           std::all_of(identifier.begin(), identifier.end(), isKept) &&
                           !identifier.starts_with('.') && !identifier.starts_with(kDigestPrefix);
    if (canBeKept && !(ignoresCase && std::any_of(identifier.begin(), identifier.end(), isCapital)))
        return identifier;
    return std::string(kDigestPrefix) + SHA256::hexDigestOf(std::as_bytes(std::span(identifier)));
}

} // namespace tarn::analysis
