#pragma once

#include "Platform/Export.h"
#include "PracticePage/AccessControl.h"
#include "PracticePage/EventHub.h"
#include "PracticePage/HTTP.h"
#include "PracticePage/PracticeSession.h"
#include "PracticePage/RowsJSON.h"
#include "PracticePage/SoundStreams.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A song that can be opened again.
struct RecentSong {
    std::filesystem::path document;
    std::string title;
    std::string artist;
};

/// What pages ask for, and what they get (docs/practice-page.md). Nothing in a request names a file of the
/// system: songs are opened by their place in a list. Thread-safe.
class PracticeAPI {
public:
    struct Options {
        AccessControl::Options access;
        /// The song's document is kept there, for it cannot be written beside the recording.
        std::optional<std::filesystem::path> documentFolder;
        /// "en" or "de"; nothing: as the browser says.
        std::optional<std::string> language;
        /// What can be opened where no song is; may be empty.
        std::function<std::vector<RecentSong>()> recentSongs;
        /// Told of the document that was chosen among them; may be empty.
        std::function<void(const std::filesystem::path&)> rememberSong;
    };
    explicit PracticeAPI(Options options);
    ~PracticeAPI();

    /// Opens the song, in the place of the one that is open. Throws SongError.
    void open(const PracticeSession::Options& song);

    [[nodiscard]] HTTPResponse answer(const HTTPRequest& request);

    [[nodiscard]] AccessControl& access() { return mAccess; }
    [[nodiscard]] EventHub& events() { return mEvents; }
    /// How long no page has been open and none has asked for anything.
    [[nodiscard]] std::chrono::steady_clock::duration idleTime() const;
    /// Whether a page was ever there.
    [[nodiscard]] bool wasVisited() const { return mWasVisited; }

private:
    struct Route;
    struct Call; ///< a request of a page that was admitted
    static const std::vector<Route>& routes();

    [[nodiscard]] HTTPResponse admitted(const HTTPRequest& request);
    [[nodiscard]] HTTPResponse beginSession(const HTTPRequest& request);
    [[nodiscard]] std::shared_ptr<PracticeSession> session() const;

    HTTPResponse song(const Call& call);
    HTTPResponse rows(const Call& call);
    HTTPResponse waveform(const Call& call);
    HTTPResponse spectrogram(const Call& call);
    HTTPResponse newStream(const Call& call);
    HTTPResponse streamBlock(const Call& call);
    HTTPResponse endStream(const Call& call);
    HTTPResponse countIn(const Call& call);
    HTTPResponse chord(const Call& call);
    HTTPResponse setPractice(const Call& call);
    HTTPResponse edit(const Call& call);
    HTTPResponse undo(const Call& call);
    HTTPResponse redo(const Call& call);
    HTTPResponse agreeToSound(const Call& call);
    HTTPResponse eventStream(const Call& call);
    HTTPResponse stop(const Call& call);
    HTTPResponse analyze(const Call& call);
    HTTPResponse goodbye(const Call& call);
    HTTPResponse recent(const Call& call);
    HTTPResponse openRecent(const Call& call);

    const Options mOptions;
    AccessControl mAccess;
    EventHub mEvents;
    ChartRows mRows;
    SoundStreams mStreams;
    mutable std::mutex mMutex;
    std::shared_ptr<PracticeSession> mSession;
    std::vector<RecentSong> mListed; ///< as a page was told last, whatever has become of them
    std::atomic<bool> mWasVisited = false;
    std::atomic<std::chrono::steady_clock::duration> mLastRequest;
};

} // namespace tarn
