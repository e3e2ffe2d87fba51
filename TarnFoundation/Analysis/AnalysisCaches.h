#pragma once

#include "KELPMusicInformationRetrieval/ChordDetectionOperation.h"
#include "KELPMusicInformationRetrieval/KELPSpectrogramOperation.h"
#include "Platform/Export.h"
#include "Platform/FileManager.h"
#include "Platform/KeyedArchive.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

/// The caches of an analysis: where they lie, in folders of the user's caches directory with one file for
/// each song, how they are read and written, and when they count. Songs' identifiers come from documents, and
/// documents from anywhere: the names of files are derived from them, so that no identifier leads out of its
/// folder, and no two share a file.
namespace TARN_PUBLIC tarn {
namespace analysis {

struct CacheKind {
    const char* folder;
    const char* extension; ///< without its dot
};
inline constexpr CacheKind kSpectrogramCaches{"Spectrograms", "spectrogram"};
inline constexpr CacheKind kWaveformCaches{"Waveforms", "waveform"};
inline constexpr CacheKind kChordCaches{"Chords", "chordScores"};
inline constexpr CacheKind kCacheKinds[] = {kSpectrogramCaches, kWaveformCaches, kChordCaches};

/// The folder of that name in the library's part of the caches directory. It is made if it is missing; where
/// that fails, using a file in it will.
[[nodiscard]] std::filesystem::path cacheFolder(std::string_view name);

/// The song's file of that kind. Its folder is made if it is missing.
[[nodiscard]] std::filesystem::path cacheFile(const CacheKind& kind, const std::string& identifier);

/// An identifier that can name a file stands for itself: 1 to 128 letters, digits, '-', '_' and '.' of ASCII
/// that do not begin with '.' or "sha256-". For any other the name is "sha256-" and its digest; so it is for
/// one with capitals where `ignoresCase`.
[[nodiscard]] std::string cacheName(const std::string& identifier, bool ignoresCase);

/// Logs that a cache holds no sound archive. A sound archive of another class is not reported.
void reportUndecodableCache(const Error& error);

/// The archived object of class `Class` in the file. Nothing when everything is calculated again (`force`),
/// when the file cannot be read, or when it holds another object; nothing and a message to the log when it is
/// not a sound archive.
template <typename Class>
[[nodiscard]] std::shared_ptr<Class> readCache(const std::filesystem::path& file, bool force) {
    if (force)
        return nullptr;
    const auto bytes = FileManager::contentsOf(file);
    if (!bytes)
        return nullptr;
    Error error;
    auto object = KeyedUnarchiver::unarchivedObject<Class>(*bytes, &error);
    if (!object)
        reportUndecodableCache(error);
    return object;
}

/// Gives the operation the spectrogram in the file, if there is one that counts.
void readSpectrogram(KELPSpectrogramOperation& operation, const std::filesystem::path& from, bool force);
/// Replaces the file by the operation's spectrogram, unless that is a cache's or the operation is cancelled
/// meanwhile. Failures are ignored: the spectrogram is computed again next time.
void writeSpectrogram(const KELPSpectrogramOperation& operation, const std::filesystem::path& to);

// Chord candidates (TarnChordResults.h). Operations other than a DetectChordsOperation have none: they are
// left alone and count as having cached results.

[[nodiscard]] bool hasChordResults(const ChordDetectionOperation& operation);
/// Replaces the file by the operation's candidates; a failure is logged.
void writeChordResults(const ChordDetectionOperation& operation, const std::filesystem::path& to);
/// Sets the operation's candidates to those of the file. A failure, including a missing file, is logged and
/// leaves them unchanged.
void readChordResults(ChordDetectionOperation& operation, const std::filesystem::path& from);

} // namespace analysis
} // namespace tarn
