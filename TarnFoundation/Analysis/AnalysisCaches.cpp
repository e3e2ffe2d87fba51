#include "TarnFoundation/Analysis/AnalysisCaches.h"

#include "Platform/Log.h"
#include "Platform/PathConversion.h"
#include "Platform/SHA256.h"
#include "TarnFoundation/Analysis/TarnChordResults.h"

#include <algorithm>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

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
/// system, and on some on the folder, not on the operating system alone, so this tests
/// whether the folder is also found under its own name in the other case, which needs no writing.
bool ignoresCase(const std::filesystem::path& folder) {
    std::string name = textOfPath(folder.filename());
    for (char& c : name) {
        if (isCapital(c) || isSmall(c))
            c ^= 'a' ^ 'A';
    }
    std::error_code missing;
    return std::filesystem::equivalent(folder, folder.parent_path() / pathOfText(name), missing);
}

void logChordCacheFailure(std::string_view format, const std::filesystem::path& file, std::string reason) {
    // The path is private; a file error's text begins with it.
    if (const auto path = textOfPath(file) + ": "; reason.starts_with(path))
        reason.erase(0, path.size());
    Log::standard().write(LogLevel::error, format, [&] {
        return std::vector{logPrivate(textOfPath(file)), logPublic(reason)};
    });
}

} // namespace

std::filesystem::path cacheFolder(std::string_view name) {
    auto folder = pathInDirectory(FileManager::cachesDirectory() / "Tarn", name);
    FileManager::createDirectories(folder);
    return folder;
}

std::filesystem::path cacheFile(const CacheKind& kind, const std::string& identifier) {
    const auto folder = cacheFolder(kind.folder);
    return pathInDirectory(folder, cacheName(identifier, ignoresCase(folder)) + '.' + kind.extension);
}

std::string cacheName(const std::string& identifier, bool ignoresCase) {
    const bool canBeKept = !identifier.empty() && identifier.size() <= kLongestKeptName &&
                           std::all_of(identifier.begin(), identifier.end(), isKept) &&
                           !identifier.starts_with('.') && !identifier.starts_with(kDigestPrefix);
    if (canBeKept && !(ignoresCase && std::any_of(identifier.begin(), identifier.end(), isCapital)))
        return identifier;
    return std::string(kDigestPrefix) + SHA256::hexDigestOf(std::as_bytes(std::span(identifier)));
}

void reportUndecodableCache(const Error& error) {
    if (error.code == static_cast<long>(KeyedArchiveErrorCode::classNotAdmitted))
        return;
    Log::standard().write(LogLevel::standard, "Encountered error while decoding cached data: {}",
                          [&] { return std::vector{logPublic(error.localizedDescription())}; });
}

void readSpectrogram(KELPSpectrogramOperation& operation, const std::filesystem::path& from, bool force) {
    auto cached = readCache<Spectrogram>(from, force);
    if (!cached)
        return;
    operation.setSpectrogram(std::move(cached));
    operation.setUsingCache(true);
}

void writeSpectrogram(const KELPSpectrogramOperation& operation, const std::filesystem::path& to) {
    const auto spectrogram = operation.spectrogram();
    if (!spectrogram || operation.usingCache() || operation.isCancelled())
        return;
    // The spectrogram of an hour is some 40 MB: whoever cancels need not wait for both.
    const Data bytes = KeyedArchiver::archivedData(spectrogram);
    if (!operation.isCancelled())
        FileManager::write(bytes, to);
}

bool hasChordResults(const ChordDetectionOperation& operation) {
    const auto* detection = dynamic_cast<const DetectChordsOperation*>(&operation);
    return !detection || !detection->topKResults().empty();
}

void writeChordResults(const ChordDetectionOperation& operation, const std::filesystem::path& to) {
    const auto* detection = dynamic_cast<const DetectChordsOperation*>(&operation);
    if (!detection)
        return;
    constexpr std::string_view kFailure = "Failed to write scored chord results cache to {}\nError: {}";
    const auto results = TarnChordResults::fromTopKResults(detection->topKResults());
    try {
        const auto bytes = BinaryDataEncoder().encode(results);
        Error error;
        if (!FileManager::write(std::as_bytes(std::span(bytes)), to, &error))
            logChordCacheFailure(kFailure, to, error.localizedDescription());
    } catch (const BinaryEncodingError& error) {
        logChordCacheFailure(kFailure, to, error.context().debugDescription);
    }
}

void readChordResults(ChordDetectionOperation& operation, const std::filesystem::path& from) {
    auto* detection = dynamic_cast<DetectChordsOperation*>(&operation);
    if (!detection)
        return;
    constexpr std::string_view kFailure = "Failed to read scored chord results cache from {}\nError: {}";
    Error error;
    const auto bytes = FileManager::contentsOf(from, &error);
    if (!bytes) {
        logChordCacheFailure(kFailure, from, error.localizedDescription());
        return;
    }
    try {
        detection->setTopKResults(BinaryDataDecoder().decode<TarnChordResults>(*bytes).topKResults());
    } catch (const BinaryDecodingError& failure) {
        logChordCacheFailure(kFailure, from, failure.context().debugDescription);
    }
}

} // namespace tarn::analysis
