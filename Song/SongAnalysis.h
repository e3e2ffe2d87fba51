#pragma once

#include "KELPMusicInformationRetrieval/AudioSource.h"
#include "Platform/Export.h"
#include "Song/Song.h"

#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Thrown when the user cancelled an analysis; nothing was written.
class SongAnalysisCancelled : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "The analysis was cancelled."; }
};

struct SongAnalysisOptions {
    /// Find everything again, also what the document has already; entries of these kinds are replaced, and
    /// the former document is kept beside the file.
    bool force = false;
    /// The recording belongs to the document although it sounds different. Its sample rate has to be the
    /// same.
    bool relink = false;
    /// Receives how far the work is, 0 to 1, and what is being done. May be empty.
    std::function<void(double fraction, const std::string& activity)> report;
    /// Whether the user wants the work to end; called often. May be empty.
    std::function<bool()> isCancelled;
    /// Receives the copy that the analysis works on whenever something was found: not all of it, and not in
    /// the document yet. The song is valid during the call. May be empty.
    std::function<void(const Song& soFar)> found;
};

struct SongAnalysisOutcome {
    std::shared_ptr<Song> song; ///< as it was saved
    RecordingFacts recording;
    /// The file is not the one that the document was made from, but sounds the same.
    bool wasEncodedAgain = false;
    /// Where the former document is kept, when there was one and it was replaced.
    std::optional<std::filesystem::path> former;
    /// What was found but not taken, because somebody changed entries of that kind in the meantime, who keeps
    /// them: "chord", "beat", …
    std::vector<std::string> keptKinds;
};

/// Analyses a recording into the document in a file, a new one where there is none; in one that exists, only
/// kinds of entries that are missing are found and added. The analysis works on a copy; what it found enters
/// the document as it is at the end, so that edits by others in the meantime are kept. The process-wide
/// factory reads the recording; caches are named by its digest. Blocks until the analysis ends; the caller's
/// thread becomes the main thread (MainQueue).
/// Throws SongAnalysisCancelled and SongError (unreadable, unsupportedRecording, undecodable, otherRecording,
/// otherSampleRate, unsound, unwritable, busy, changed); the file is then as it was.
SongAnalysisOutcome analyzeIntoDocument(const std::filesystem::path& recording,
                                        const std::filesystem::path& document,
                                        const SongAnalysisOptions& options = {});

/// A new song of a recording, without annotations, with title and artist as its file has them, kept in no
/// file yet. `file`, where it is going to be kept, decides how the recording is named. Of the options only
/// `isCancelled` counts. Throws as analyzeRecording.
[[nodiscard]] std::shared_ptr<Song> newSong(const std::filesystem::path& recording,
                                            const std::filesystem::path& file = {},
                                            const SongAnalysisOptions& options = {});

/// The same, analysed, which is one step of its history; blocks as analyzeIntoDocument does. Throws
/// SongAnalysisCancelled and SongError (unreadable, unsupportedRecording).
[[nodiscard]] std::shared_ptr<Song> analyzeRecording(const std::filesystem::path& recording,
                                                     const std::filesystem::path& file = {},
                                                     const SongAnalysisOptions& options = {});

/// The same of an application's own sound. The song has no file of it, but its rate, length and digest, which
/// is of the samples.
[[nodiscard]] std::shared_ptr<Song> analyzeRecording(const std::shared_ptr<AudioSource>& source,
                                                     const SongAnalysisOptions& options = {});

/// Whether the song has an entry of each kind that an analysis finds.
[[nodiscard]] bool isAnalyzed(const Song& song);

} // namespace tarn
