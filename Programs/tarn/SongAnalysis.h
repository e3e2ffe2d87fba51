#pragma once

#include "Programs/tarn/SongDocument.h"

#include <filesystem>
#include <functional>

namespace tarn::program {

/// What can be heard of an audio file.
struct AudioFacts {
    double sampleRate = 0;           ///< frames per second
    std::int64_t frameCount = 0;     ///< frames that can be decoded
    std::int64_t declaredFrames = 0; ///< more than frameCount where the file breaks off
};

/// Whether the user wants the work to end; asked often.
using CancellationQuestion = std::function<bool()>;
/// Hears how far the work is, 0 to 1, and what is being done.
using ProgressReport = std::function<void(double fraction, const std::string& activity)>;

/// Decodes the whole file. Throws Failure (unreadableInput, undecodableInput, cancelled).
[[nodiscard]] AudioFacts readAudioFacts(const std::filesystem::path& song,
                                        const CancellationQuestion& isCancelled);

/// Whether the document has an entry of each kind that an analysis finds.
[[nodiscard]] bool isAnalyzed(const SongDocument& document);

/// Removes the entries of the kinds that an analysis finds; what only people enter stays.
void removeAnalysis(const SongDocument& document);

/// Analyses the song as far as entries of a kind are missing from the document, and adds those that are
/// found. `cacheName` names the cache files that it uses (ProgramCache.h). The caller's thread is the main
/// thread. Throws Failure (undecodableInput, cancelled).
void analyzeSong(const SongDocument& document, const std::filesystem::path& song,
                 const std::string& cacheName, const ProgressReport& report,
                 const CancellationQuestion& isCancelled);

} // namespace tarn::program
