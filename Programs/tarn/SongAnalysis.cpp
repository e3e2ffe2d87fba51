#include "Programs/tarn/SongAnalysis.h"

#include "AnalysisEngine/AnalysisEngine.h"
#include "AnalysisEngine/AudioReader.h"
#include "Platform/DispatchQueue.h"
#include "Platform/FileManager.h"
#include "Programs/tarn/Failure.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include <cerrno>

namespace tarn::program {

namespace {

using Controller = TarnMusicInformationRetrievalController;

Failure cancelled(const std::filesystem::path& song) {
    return {ExitStatus::cancelled, song.string() + ": the analysis was cancelled; nothing was written"};
}

/// Adds what the controller hands over to the document, as long as it lacks entries of that kind.
class ResultReceiver {
public:
    ResultReceiver(TarnNoteEntryStorage& notes, const std::shared_ptr<Controller>& controller)
        : mNotes(notes) {
        const auto observe = [&](const char* name, void (ResultReceiver::*receive)(const Notification&)) {
            mTokens.push_back(NotificationCenter::defaultCenter().addObserver(
                name, controller, nullptr, [this, receive](const Notification& n) { (this->*receive)(n); }));
        };
        observe(TarnTuningEstimationDidFinishProcessingNotification, &ResultReceiver::receiveStandardPitch);
        observe(TarnBeatDetectionDidFinishProcessingNotification, &ResultReceiver::receiveTempo);
        observe(TarnBeatAlignmentDidFinishProcessingNotification, &ResultReceiver::receiveBeats);
    }
    ~ResultReceiver() {
        for (const auto& token : mTokens)
            token->remove();
    }
    ResultReceiver(const ResultReceiver&) = delete;
    ResultReceiver& operator=(const ResultReceiver&) = delete;

private:
    void receiveStandardPitch(const Notification& notification) {
        const auto* pitch = notification.value<std::shared_ptr<TarnStandardPitchEntry>>("standardPitch");
        if (pitch && mNotes.standardPitchEntries().empty())
            mNotes.addStandardPitchEntry(*pitch);
    }

    void receiveTempo(const Notification& notification) {
        const auto* tempo = notification.value<std::shared_ptr<TarnTempoEntry>>("tempo");
        if (tempo && (*tempo)->tempo() > 0 && mNotes.tempoEntries().empty())
            mNotes.addTempoEntry(*tempo);
    }

    /// The time signature first: it decides how the storage keeps beats consistent. One that the document has
    /// already goes on to say where bars begin.
    void receiveBeats(const Notification& notification) {
        const auto* beats = notification.value<EntryList<TarnBeatEntry>>("beatEntries");
        const auto* signature = notification.value<std::shared_ptr<TarnTimeSignatureEntry>>("timeSignature");
        if (!beats || !signature)
            return;
        const auto earlier = mNotes.timeSignatureEntries();
        if (earlier.empty())
            mNotes.addTimeSignatureEntry(*signature);
        if (!mNotes.beatEntries().empty())
            return;
        mNotes.addBeatEntriesFromArray(*beats);
        if (!earlier.empty())
            mNotes.applyTimeSignatureToBeatEntries(*earlier.front());
    }

    TarnNoteEntryStorage& mNotes;
    std::vector<NotificationCenter::Token> mTokens;
};

} // namespace

AudioFacts readAudioFacts(const std::filesystem::path& song, const CancellationQuestion& isCancelled) {
    if (Error error; !FileManager::isReadableFile(song, &error))
        throw Failure(ExitStatus::unreadableInput,
                      song.string() + (error.code == ENOENT   ? ": there is no such file; name an audio file"
                                       : error.code == EISDIR ? ": this is a folder; name an audio file"
                                       : error.code == ENOTSUP
                                           ? ": a recording must be an ordinary file, because it is read "
                                             "more than once; save it as one"
                                           : ": the file cannot be read; look at its permissions"));
    std::string refusal;
    const auto reader = AudioReader::open(song, &refusal);
    if (!reader)
        throw Failure(ExitStatus::undecodableInput,
                      song.string() + ": " + refusal +
                          "; name a WAV, AIFF, FLAC, Ogg, Opus or MP3 file that is whole");
    while (!reader->nextBlock().empty()) {
        if (isCancelled())
            throw cancelled(song);
    }
    return {static_cast<double>(reader->sampleRate()), reader->framesRead(),
            reader->declaresLength() ? reader->frameCount() : reader->framesRead()};
}

bool isAnalyzed(const SongDocument& document) {
    const TarnNoteEntryStorage& notes = *document.notes;
    return !notes.standardPitchEntries().empty() && !notes.keyEntries().empty() &&
           !notes.tempoEntries().empty() && !notes.timeSignatureEntries().empty() &&
           !notes.beatEntries().empty() && !notes.chordEntries().empty();
}

void removeAnalysis(const SongDocument& document) {
    TarnNoteEntryStorage& notes = *document.notes;
    notes.removeStandardPitchEntriesInArray(notes.standardPitchEntries());
    notes.removeKeyEntriesInArray(notes.keyEntries());
    notes.removeTempoEntriesInArray(notes.tempoEntries());
    notes.removeTimeSignatureEntriesInArray(notes.timeSignatureEntries());
    notes.removeBeatEntriesInArray(notes.beatEntries());
    notes.removeChordEntriesInArray(notes.chordEntries());
}

void analyzeSong(const SongDocument& document, const std::filesystem::path& song,
                 const std::string& cacheName, const ProgressReport& report,
                 const CancellationQuestion& isCancelled) {
    MainQueue::becomeMainThread();
    registerAnalysisEngine();
    const auto controller = std::make_shared<Controller>(song, cacheName, document.notes);
    const ResultReceiver receiver(*document.notes, controller);
    Error error;
    if (!controller->beginProcessingError(&error))
        throw Failure(ExitStatus::undecodableInput,
                      song.string() + ": " + error.localizedDescription() + " Name another audio file.");

    const auto queue = controller->processingQueue();
    bool wasCancelled = false;
    MainQueue::runUntil([&] {
        if (!wasCancelled && isCancelled()) {
            wasCancelled = true;
            controller->cancelProcessing();
        }
        if (!wasCancelled)
            report(controller->progress()->fractionCompleted(),
                   controller->progress()->localizedDescription());
        return queue->operations().empty();
    });
    MainQueue::runPending();
    if (wasCancelled)
        throw cancelled(song);
}

} // namespace tarn::program
