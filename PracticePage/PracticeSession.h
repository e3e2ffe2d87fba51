#pragma once

#include "Platform/Export.h"
#include "PracticePage/EventHub.h"
#include "PracticePage/FileIdentity.h"
#include "PracticePage/PracticeRecording.h"
#include "PracticePage/RecordingDisplay.h"
#include "Song/Song.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace TARN_PUBLIC tarn {

/// An edit that comes too late: the song is not as its author saw it.
class OutdatedEdit : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A song that is open for practising: its document on the disk, analysed where that is needed, and saved
/// with each change. What others do to the file is noticed within a second. Pages hear of everything by
/// events. Thread-safe.
class PracticeSession {
public:
    struct Options {
        std::filesystem::path document;
        /// Empty: the one that the document names.
        std::filesystem::path recording = {};
        bool isRecordingNamedByUser = false;
    };
    enum class State { ready, analyzing, failed };
    /// The song at one moment. It never changes; changes give another song.
    struct View {
        std::shared_ptr<const Song> song;
        std::uint64_t revision = 0; ///< grows with each change
        /// That of the last change of more than how the song is practised and whether it is analysed.
        std::uint64_t songRevision = 0;
        State state = State::ready;
        std::string failure;  ///< of the analysis, for people
        std::string activity; ///< of the analysis
        double progress = 0;  ///< of the analysis, 0 to 1
    };

    /// Opens the document, or makes a new one by analysing the recording. Throws SongError.
    PracticeSession(Options options, EventHub& events);
    /// Ends an analysis. Everything else is saved already.
    ~PracticeSession();
    PracticeSession(const PracticeSession&) = delete;
    PracticeSession& operator=(const PracticeSession&) = delete;

    [[nodiscard]] View view() const;
    [[nodiscard]] const std::filesystem::path& document() const { return mOptions.document; }
    [[nodiscard]] PracticeRecording& recording() { return mRecording; }
    /// Null where it cannot be drawn, or not yet.
    [[nodiscard]] std::shared_ptr<Waveform> waveform() const;
    [[nodiscard]] std::shared_ptr<Spectrogram> spectrogram();

    struct Edited {
        std::uint64_t revision = 0;
        std::string message;
    };
    /// Makes and saves the edit. `seen`, where given, is the revision that its author saw; that the song is
    /// practised otherwise since does not matter. Throws OutdatedEdit, EditSyntaxError, EditRefused,
    /// SongError.
    Edited edit(std::string_view sentence, std::optional<std::uint64_t> seen);
    /// The same with the newest step of the history. Throws SongHistoryError too.
    Edited undo(std::optional<std::uint64_t> seen);
    Edited redo(std::optional<std::uint64_t> seen);
    /// Keeps how the song is practised. Throws SongError.
    std::uint64_t setPractice(const std::string& settings);
    /// The user agrees to hear a recording outside the document's folder.
    void agreeToRecording();

    void stopAnalysis();
    /// Analyses what is missing, unless that is going on. Throws EditRefused without a recording.
    void analyze();

private:
    [[nodiscard]] static std::shared_ptr<Song> firstSong(const Options& options, RecordingDisplay& display);
    template <typename Change>
    Edited changed(std::optional<std::uint64_t> seen, const Change& change);
    void work(bool isAnalysisNeeded);
    void runAnalysis();
    /// Returns whether it can be heard.
    bool checkRecording();
    void watch();
    void reloadWhereChanged();
    /// Makes the song the one that pages see, and tells them.
    std::uint64_t publish(std::shared_ptr<const Song> song, const char* event = "song");
    void setState(State state, const std::string& failure = {});
    void tell(const char* event, const std::vector<std::string>& kinds);
    void report(double fraction, const std::string& activity);

    const Options mOptions;
    EventHub& mEvents;
    RecordingDisplay mDisplay;
    mutable std::mutex mMutex; ///< guards mView and mSeenFile
    View mView;
    std::optional<FileIdentity> mSeenFile; ///< from which the song was read, or as it was written
    PracticeRecording mRecording;
    std::mutex mChangeMutex;                    ///< one change at a time
    std::optional<std::string> mPracticeToKeep; ///< until there is a document
    std::atomic<bool> mIsCancelled = false;
    std::atomic<bool> mIsEnding = false;
    std::mutex mEndMutex;
    std::condition_variable mEnd;
    std::mutex mWorkerMutex; ///< one begins it at a time
    std::thread mWorker;
    std::thread mWatcher;
};

} // namespace tarn
