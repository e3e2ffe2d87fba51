#include "PracticePage/PracticeSession.h"

#include "KELPMusic/ConcertPitch.h"
#include "Platform/PathConversion.h"
#include "Platform/SHA256.h"
#include "PracticePage/SongNews.h"
#include "Song/Edits/Edits.h"
#include "Song/SongAnalysis.h"
#include "Song/SongChange.h"
#include "Song/SongError.h"
#include "Song/SongFile.h"
#include "Song/SongPositions.h"

#include <chrono>
#include <nlohmann/json.hpp>

namespace tarn {
namespace {

using nlohmann::json;

std::filesystem::path recordingOf(const PracticeSession::Options& options, const Song& song) {
    return options.recording.empty() ? song.recordingFile(options.document) : options.recording;
}

/// There is nothing to practise by; what is missing in a song that was analysed, somebody took away.
bool needsAnalysis(const Song& song) {
    return song.hasRecording() && song.facts.engineVersion.empty() && song.notes->beatEntries().empty() &&
           song.notes->chordEntries().empty();
}

} // namespace

std::shared_ptr<Song> PracticeSession::firstSong(const Options& options, RecordingDisplay& display) {
    std::error_code ignored;
    if (std::filesystem::exists(options.document, ignored) || options.recording.empty())
        return Song::open(options.document);
    // A song that is nothing but a recording yet; the analysis gives it a document.
    const auto waveform = display.showWaveform(options.recording, "");
    if (!waveform)
        return newSong(options.recording); // which throws the reason
    Recording recording;
    recording.fileName = genericTextOfPath(options.recording.filename());
    recording.sampleRate = waveform->sampleRate();
    recording.frameCount = waveform->frameCount();
    return std::make_shared<Song>(std::move(recording));
}

PracticeSession::PracticeSession(Options options, EventHub& events)
    : mOptions(std::move(options)),
      mEvents(events), mView{firstSong(mOptions, mDisplay), 1, State::ready, "", "", 0},
      mSeenFile(FileIdentity::of(mOptions.document)),
      mRecording(recordingOf(mOptions, *mView.song), mOptions.document, mOptions.isRecordingNamedByUser) {
    const bool isNeeded = needsAnalysis(*mView.song);
    if (isNeeded)
        mView.state = State::analyzing;
    mWorker = std::thread([this, isNeeded] { work(isNeeded); });
    mWatcher = std::thread([this] { watch(); });
}

PracticeSession::~PracticeSession() {
    {
        const std::lock_guard guard(mEndMutex);
        mIsEnding = true;
    }
    mIsCancelled = true;
    mEnd.notify_all();
    mWatcher.join();
    if (mWorker.joinable())
        mWorker.join();
}

PracticeSession::View PracticeSession::view() const {
    const std::lock_guard guard(mMutex);
    return mView;
}

std::shared_ptr<Waveform> PracticeSession::waveform() const {
    return mDisplay.waveform();
}

std::shared_ptr<Spectrogram> PracticeSession::spectrogram() {
    const View now = view();
    if (now.state == State::analyzing || mRecording.reason())
        return nullptr;
    const auto pitches = now.song->notes->standardPitchEntries();
    return mDisplay.showSpectrogram(mRecording.file(), now.song->recording.digest,
                                    pitches.empty() ? kConcertPitch : pitches.front()->frequency());
}

void PracticeSession::tell(const char* event, const std::vector<std::string>& kinds) {
    mEvents.push(event, json{{"revision", view().revision}, {"kinds", kinds}}.dump());
}

std::uint64_t PracticeSession::publish(std::shared_ptr<const Song> song, const char* event) {
    std::vector<std::string> kinds;
    std::uint64_t revision = 0;
    {
        const std::lock_guard guard(mMutex);
        kinds = differingKinds(*mView.song, *song);
        mView.song = std::move(song);
        revision = ++mView.revision;
    }
    tell(event, kinds);
    return revision;
}

void PracticeSession::setState(State state, const std::string& failure) {
    {
        const std::lock_guard guard(mMutex);
        mView.state = state;
        mView.failure = failure;
        mView.activity.clear();
        mView.progress = 0;
        ++mView.revision;
    }
    tell("song", {"state"});
}

// Changes

template <typename Change>
PracticeSession::Edited PracticeSession::changed(std::optional<std::uint64_t> seen, const Change& change) {
    const std::lock_guard changing(mChangeMutex);
    if (view().state == State::analyzing)
        throw EditRefused("the song is being analysed");
    SongChange turn(mOptions.document);
    reloadWhereChanged(); // what others did shows in the revision
    if (seen && *seen != view().revision)
        throw OutdatedEdit("The song has been changed since.");
    Edited edited;
    edited.message = change(turn.existingSong());
    turn.save(turn.song());
    {
        const std::lock_guard guard(mMutex);
        mSeenFile = FileIdentity::of(mOptions.document);
    }
    edited.revision = publish(turn.song());
    return edited;
}

PracticeSession::Edited PracticeSession::edit(std::string_view sentence, std::optional<std::uint64_t> seen) {
    return changed(seen, [sentence](Song& song) {
        std::string message;
        for (const std::string& line : applyEdits(song, sentence))
            message += (message.empty() ? "" : "\n") + line;
        return message;
    });
}

PracticeSession::Edited PracticeSession::undo(std::optional<std::uint64_t> seen) {
    return changed(seen, [](Song& song) { return song.undo(); });
}

PracticeSession::Edited PracticeSession::redo(std::optional<std::uint64_t> seen) {
    return changed(seen, [](Song& song) { return song.redo(); });
}

std::uint64_t PracticeSession::setPractice(const std::string& settings) {
    {
        const std::lock_guard changing(mChangeMutex);
        if (view().state == State::analyzing) {
            mPracticeToKeep = settings;
            return view().revision;
        }
    }
    return changed({},
                   [&settings](Song& song) {
                       song.practice = settings;
                       return std::string();
                   })
        .revision;
}

// The recording and its analysis

void PracticeSession::agreeToRecording() {
    mRecording.agree();
    mDisplay.showWaveform(mRecording.file(), view().song->recording.digest);
    tell("song", {"sound"});
}

bool PracticeSession::checkRecording() {
    const auto song = view().song;
    const bool isReady =
        mRecording.check(*song, [this] { return mIsCancelled.load(); }) && !mRecording.question();
    if (isReady)
        mDisplay.showWaveform(mRecording.file(), song->recording.digest);
    tell("song", {"sound"});
    return isReady;
}

void PracticeSession::work(bool isAnalysisNeeded) {
    std::error_code ignored;
    const bool isNew = !std::filesystem::exists(mOptions.document, ignored);
    const bool isReady = isNew || checkRecording();
    if (isAnalysisNeeded && isReady)
        runAnalysis();
    else if (isAnalysisNeeded)
        setState(State::ready);
}

void PracticeSession::report(double fraction, const std::string& activity) {
    {
        const std::lock_guard guard(mMutex);
        if (activity == mView.activity && fraction - mView.progress < 0.01)
            return;
        mView.activity = activity;
        mView.progress = fraction;
    }
    mEvents.push("progress", json{{"stage", activity}, {"fraction", fraction}}.dump(
                                 -1, ' ', false, json::error_handler_t::replace));
}

void PracticeSession::runAnalysis() {
    mRecording.accept(); // it was checked or is the one that makes the song, as long as it stays as it is
    tell("song", {"sound"});
    SongAnalysisOptions options;
    options.isCancelled = [this] { return mIsCancelled.load(); };
    options.report = [this](double fraction, const std::string& activity) { report(fraction, activity); };
    options.found = [this](const Song& soFar) {
        const auto copy = frozenCopy(soFar);
        if (!copy->hasRecording())
            copy->recording.fileName = view().song->recording.fileName;
        publish(copy, "partial");
    };
    std::string failure;
    try {
        const auto outcome = analyzeIntoDocument(mRecording.file(), mOptions.document, options);
        {
            const std::lock_guard guard(mMutex);
            mSeenFile = FileIdentity::of(mOptions.document);
        }
        publish(outcome.song);
    } catch (const SongAnalysisCancelled&) {
        failure = "The analysis was stopped.";
    } catch (const std::exception& error) {
        failure = error.what();
    }
    setState(failure.empty() ? State::ready : State::failed, failure);
    if (!failure.empty())
        mEvents.push("failed", json{{"error", failure}}.dump(-1, ' ', false, json::error_handler_t::replace));
    std::optional<std::string> practice;
    {
        const std::lock_guard changing(mChangeMutex);
        practice.swap(mPracticeToKeep);
    }
    if (practice && failure.empty())
        setPractice(*practice);
}

void PracticeSession::stopAnalysis() {
    if (view().state == State::analyzing)
        mIsCancelled = true;
}

void PracticeSession::analyze() {
    const std::lock_guard starting(mWorkerMutex);
    const View now = view();
    if (now.state == State::analyzing)
        return;
    if (!now.song->hasRecording())
        throw EditRefused("the song has no recording");
    if (mWorker.joinable())
        mWorker.join();
    mIsCancelled = mIsEnding.load();
    setState(State::analyzing);
    mWorker = std::thread([this] { work(true); });
}

// The file

void PracticeSession::reloadWhereChanged() {
    const auto identity = FileIdentity::of(mOptions.document);
    {
        const std::lock_guard guard(mMutex);
        if (!identity || identity == mSeenFile)
            return;
        mSeenFile = identity;
    }
    try {
        publish(Song::open(mOptions.document));
    } catch (const SongError&) {
        // Somebody is writing it in place, or has damaged it; pages keep what they have until it changes
        // again.
    }
}

void PracticeSession::watch() {
    std::unique_lock lock(mEndMutex);
    while (!mEnd.wait_for(lock, std::chrono::milliseconds(250), [this] { return mIsEnding.load(); })) {
        lock.unlock();
        if (const std::unique_lock changing(mChangeMutex, std::try_to_lock);
            changing && view().state != State::analyzing)
            reloadWhereChanged();
        lock.lock();
    }
}

} // namespace tarn
