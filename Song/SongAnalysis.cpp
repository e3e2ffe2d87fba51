#include "Song/SongAnalysis.h"

#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"
#include "Platform/DispatchQueue.h"
#include "Platform/FileManager.h"
#include "Platform/NotificationCenter.h"
#include "Platform/PathConversion.h"
#include "Platform/PlainText.h"
#include "Song/SongChange.h"
#include "Song/SongError.h"
#include "Song/SongFile.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <random>
#include <set>
#include <utility>

namespace tarn {

namespace {

using Controller = TarnMusicInformationRetrievalController;

/// The kinds of entries that an analysis finds, in the order in which they enter a document: the time
/// signature decides how beats are kept consistent, and chords are spelled in the key.
using AnalyzedKinds =
    EntryKindList<StandardPitchKind, KeyKind, TempoKind, TimeSignatureKind, BeatKind, ChordKind>;

/// Adds what the controller hands over to the document, as long as it lacks entries of that kind.
class ResultReceiver {
public:
    ResultReceiver(TarnNoteEntryStorage& notes, const std::shared_ptr<Controller>& controller)
        : mController(controller), mNotes(notes) {
        const auto observe = [&](const char* name, void (ResultReceiver::*receive)(const Notification&)) {
            mSubscription.add(NotificationCenter::defaultCenter().subscribe(
                name, controller, [this, receive](const Notification& n) { (this->*receive)(n); }));
        };
        observe(TarnTuningEstimationDidFinishProcessingNotification, &ResultReceiver::receiveStandardPitch);
        observe(TarnBeatDetectionDidFinishProcessingNotification, &ResultReceiver::receiveTempo);
        observe(TarnBeatAlignmentDidFinishProcessingNotification, &ResultReceiver::receiveBeats);
    }
    ResultReceiver(const ResultReceiver&) = delete;
    ResultReceiver& operator=(const ResultReceiver&) = delete;

private:
    void receiveStandardPitch(const Notification& notification) {
        const auto* pitch = analysis::kStandardPitchKey.valueIn(notification);
        if (pitch && mNotes.standardPitchEntries().empty())
            mNotes.addStandardPitchEntry(*pitch);
    }

    void receiveTempo(const Notification& notification) {
        const auto* tempo = analysis::kTempoKey.valueIn(notification);
        if (tempo && (*tempo)->tempo() > 0 && mNotes.tempoEntries().empty())
            mNotes.addTempoEntry(*tempo);
    }

    /// A time signature that the document has already goes on to say where bars begin.
    void receiveBeats(const Notification& notification) {
        const auto* beats = analysis::kBeatEntriesKey.valueIn(notification);
        const auto* signature = analysis::kTimeSignatureKey.valueIn(notification);
        if (!beats || !signature)
            return;
        const auto metre = mController->detectedMetre();
        const auto earlier = mNotes.timeSignatureEntries();
        if (earlier.empty())
            mNotes.addTimeSignatureEntry(metre ? timeSignatureOf(*metre) : *signature);
        if (!mNotes.beatEntries().empty())
            return;
        // A document in quarters has two entries to the counted beat, whatever the engine hears.
        const bool takesEighths = metre && mNotes.timeSignature().denominator == metre->denominator;
        mNotes.addBeatEntriesFromArray(takesEighths ? beatsOf(*metre) : *beats);
        if (!earlier.empty())
            mNotes.applyTimeSignatureToBeatEntries(*earlier.front());
    }

    std::shared_ptr<TarnTimeSignatureEntry> timeSignatureOf(const DetectedMetre& metre) {
        auto entry = mNotes.newTimeSignatureEntry();
        entry->setNumerator(static_cast<std::uint8_t>(metre.numerator));
        entry->setDenominator(static_cast<std::uint8_t>(metre.denominator));
        return entry;
    }

    EntryList<TarnBeatEntry> beatsOf(const DetectedMetre& metre) {
        std::vector<std::shared_ptr<TarnBeatEntry>> entries;
        auto bar = metre.bars.begin();
        for (const std::int64_t eighth : metre.eighths) {
            const bool opensBar = bar != metre.bars.end() && bar->start == eighth;
            bar += opensBar;
            entries.push_back(mNotes.newBeatEntry());
            entries.back()->setLocation(eighth);
            entries.back()->setDownbeat(opensBar);
        }
        return EntryList<TarnBeatEntry>(std::move(entries));
    }

    const std::shared_ptr<Controller> mController;
    TarnNoteEntryStorage& mNotes;
    Subscription mSubscription;
};

/// What can be told of a recording before it is decoded. Throws SongAnalysisCancelled and SongError.
RecordingFacts identify(const std::filesystem::path& recording, const SongAnalysisOptions& options) {
    const bool isFile = !AudioSourcePath::sourceAt(recording);
    if (Error error; isFile && !FileManager::isReadableFile(recording, &error))
        throw SongError(SongError::Kind::unreadable,
                        textOfPath(recording) +
                            (error.code == ENOENT   ? ": there is no such file; name an audio file"
                             : error.code == EISDIR ? ": this is a folder; name an audio file"
                             : error.code == ENOTSUP
                                 ? ": a recording has to be an ordinary file, because it is "
                                   "read more than once; save it as one"
                                 : ": the file cannot be read; check its permissions"));
    std::string refusal;
    auto facts =
        AnalysisOperationFactory::shared()->identifyRecording(recording, options.isCancelled, &refusal);
    if (facts)
        return *std::move(facts);
    if (refusal.empty())
        throw SongAnalysisCancelled();
    throw SongError(SongError::Kind::unsupportedRecording, textOfPath(recording) + ": " + refusal);
}

/// Completes the facts: from what an analysis has heard that still goes on, else by reading the recording.
void hear(const std::filesystem::path& recording, RecordingFacts& facts, const SongAnalysisOptions& options) {
    if (AnalysisOperationFactory::shared()->hearRecording(recording, facts, options.isCancelled))
        return;
    if (options.isCancelled && options.isCancelled())
        throw SongAnalysisCancelled();
    throw SongError(SongError::Kind::unreadable,
                    textOfPath(recording) + ": the file went or changed while it was read");
}

/// What is told of a document's own recording without decoding it again.
bool knows(const Song& song, const RecordingFacts& facts) {
    return song.hasRecording() && song.recording.digest == facts.digest && !song.recording.envelope.isEmpty();
}

std::string newIdentifier() {
    std::random_device random;
    std::string identifier;
    for (const int length : {8, 4, 4, 4, 12}) {
        if (!identifier.empty())
            identifier += '-';
        for (int i = 0; i < length; ++i)
            identifier += "0123456789ABCDEF"[random() % 16];
    }
    return identifier;
}

/// The recording's name in a document that is kept in `document`.
std::string nameSeenFrom(const std::filesystem::path& document, const std::filesystem::path& recording) {
    const auto absolute = std::filesystem::absolute(recording).lexically_normal();
    if (document.empty())
        return genericTextOfPath(absolute);
    auto name =
        absolute.lexically_relative(std::filesystem::absolute(document).lexically_normal().parent_path());
    if (name.empty() || *name.begin() == "..")
        name = absolute;
    return genericTextOfPath(name);
}

/// A song without annotations.
std::shared_ptr<Song> songOf(const RecordingFacts& facts) {
    auto song = std::make_shared<Song>(Recording{"", facts.sampleRate, facts.frameCount, newIdentifier()});
    song->properties.title = facts.title;
    song->properties.artist = facts.artist;
    return song;
}

void describe(Song& song, const std::filesystem::path& recording, const RecordingFacts& facts,
              const std::filesystem::path& document) {
    song.recording.fileName = nameSeenFrom(document, recording);
    song.recording.frameCount = facts.frameCount;
    song.recording.digest = facts.digest;
    song.recording.envelope = facts.envelope;
}

/// Throws SongError where the recording is not the document's.
RecordingMatch checkedMatch(const Song& song, const RecordingFacts& facts, bool relink,
                            const std::filesystem::path& document) {
    if (!song.hasRecording()) { // annotations that were kept without one
        if (song.recording.sampleRate == facts.sampleRate)
            return RecordingMatch::sameShape;
        throw SongError(SongError::Kind::otherSampleRate,
                        textOfPath(document) + ": this document has no recording yet, and counts " +
                            decimalText(song.recording.sampleRate, 0) + " frames a second, not " +
                            decimalText(facts.sampleRate, 0));
    }
    const auto found = match(song.recording, facts);
    if (found != RecordingMatch::other)
        return found;
    const std::string reason = textOfPath(document) + ": this document belongs to another recording (" +
                               song.recording.fileName + ")";
    if (song.recording.sampleRate != facts.sampleRate)
        throw SongError(SongError::Kind::otherSampleRate, reason + " with another sample rate");
    if (!relink)
        throw SongError(SongError::Kind::otherRecording, reason);
    return found;
}

/// What an analysis says of how sure it is.
struct FoundConfidences {
    std::map<std::string, double> overall; ///< as in AnalysisFacts
    std::map<std::int64_t, double> chords; ///< by location
};

/// Of the kinds of entries that were missing before.
FoundConfidences confidencesOf(const Controller& controller, const std::set<std::string>& missing) {
    auto [key, chords] = controller.confidences();
    FoundConfidences found;
    if (missing.contains(ChordKind::kName))
        found.chords = std::move(chords);
    if (key)
        found.overall[KeyKind::kName] = *key;
    if (const auto metre = controller.detectedMetre()) {
        found.overall[BeatKind::kName] = metre->beatConfidence;
        found.overall[TimeSignatureKind::kName] = metre->metreConfidence;
    }
    std::erase_if(found.overall, [&](const auto& fact) { return !missing.contains(fact.first); });
    return found;
}

/// Takes over what was found about those kinds of entries, but for the kinds that somebody else changed.
void takeConfidences(Song& song, const FoundConfidences& found, const std::vector<std::string>& keptKinds) {
    const auto isKept = [&](const std::string& kind) {
        return std::find(keptKinds.begin(), keptKinds.end(), kind) != keptKinds.end();
    };
    for (const auto& [kind, confidence] : found.overall)
        if (!isKept(kind))
            song.facts.overall[kind] = confidence;
    if (isKept(ChordKind::kName) || found.chords.empty())
        return;
    song.facts.chords.clear();
    for (const auto& entry : song.notes->chordEntries())
        if (const auto at = found.chords.find(entry->location()); at != found.chords.end())
            song.facts.chords[entry->eventId()] = at->second;
}

/// Analyses as far as entries of a kind are missing, and adds those that are found. Returns how sure it is of
/// these.
FoundConfidences analyze(Song& song, const std::filesystem::path& recording, const std::string& cacheName,
                         const SongAnalysisOptions& options) {
    MainQueue::becomeMainThread();
    std::set<std::string> missing;
    AnalyzedKinds::forEach([&]<typename Kind>(Kind) {
        if (song.notes->entries<Kind>().empty())
            missing.insert(Kind::kName);
    });
    const auto controller =
        std::make_shared<Controller>(recording, cacheName, song.notes, AnalysisOperationFactory::shared(),
                                     options.force || Controller::isForcedByDefaults());
    const ResultReceiver receiver(*song.notes, controller);
    bool hasNews = false;
    Subscription changes;
    NoteEntryKinds::forEach([&](auto kind) {
        changes.add(NotificationCenter::defaultCenter().subscribe(
            kind.kDidChangeNotification, song.notes, [&](const Notification&) { hasNews = true; }));
    });
    Error error;
    if (!controller->beginProcessingError(&error))
        throw SongError(SongError::Kind::unsupportedRecording,
                        textOfPath(recording) + ": " +
                            (error.underlying ? *error.underlying : error).localizedDescription());

    const auto queue = controller->processingQueue();
    bool wasCancelled = false;
    MainQueue::runUntil([&] {
        if (!wasCancelled && options.isCancelled && options.isCancelled()) {
            wasCancelled = true;
            controller->cancelProcessing();
        }
        if (!wasCancelled && options.report)
            options.report(controller->progress()->fractionCompleted(),
                           controller->progress()->localizedDescription());
        if (!wasCancelled && options.found && std::exchange(hasNews, false))
            options.found(song);
        return queue->operations().empty();
    });
    MainQueue::runPending();
    if (wasCancelled)
        throw SongAnalysisCancelled();
    song.facts.engineVersion = AnalysisOperationFactory::shared()->version();
    return confidencesOf(*controller, missing);
}

void removeAnalysis(TarnNoteEntryStorage& notes) {
    AnalyzedKinds::forEach([&]<typename Kind>(Kind) { notes.remove<Kind>(notes.entries<Kind>()); });
}

template <typename Entry>
bool differ(const EntryList<Entry>& some, const EntryList<Entry>& others) {
    const EntryChangeset<Entry> difference(some, others);
    return !difference.added().empty() || !difference.removed().empty() || !difference.changed().empty();
}

template <typename Entry>
EntryList<Entry> copiesIn(TarnNoteEntryStorage& notes, const EntryList<Entry>& entries) {
    std::vector<std::shared_ptr<Entry>> copies;
    copies.reserve(entries.size());
    for (const auto& entry : entries)
        copies.push_back(notes.copyOfUserEntry(entry));
    return copies;
}

/// Brings what an analysis changed from `before` to `after` into `target`, kind by kind. A kind that differs
/// in `target` from `before` has been changed by somebody else and stays as it is; returns the names of
/// those. Metre and beats make sense only together and count as one.
std::vector<std::string> merge(const TarnNoteEntryStorage& before, const TarnNoteEntryStorage& after,
                               TarnNoteEntryStorage& target) {
    const bool isGridChanged = differ(before.timeSignatureEntries(), target.timeSignatureEntries()) ||
                               differ(before.beatEntries(), target.beatEntries());
    std::vector<std::string> kept;
    AnalyzedKinds::forEach([&]<typename Kind>(Kind) {
        const auto former = before.entries<Kind>();
        const auto found = after.entries<Kind>();
        const auto present = target.entries<Kind>();
        if (!differ(former, found))
            return;
        constexpr bool isOfGrid = std::is_same_v<Kind, TimeSignatureKind> || std::is_same_v<Kind, BeatKind>;
        if (isOfGrid ? isGridChanged : differ(former, present))
            kept.emplace_back(Kind::kName);
        else
            target.replace<Kind>(present, copiesIn(target, found));
    });
    return kept;
}

/// A turn at the document; waiting for it ends when the user wants the analysis to end.
SongChange changeOf(const std::filesystem::path& document, const SongAnalysisOptions& options) {
    constexpr std::chrono::milliseconds kPatience{100};
    const auto end = std::chrono::steady_clock::now() + SongChange::kPatience;
    for (;;) {
        if (options.isCancelled && options.isCancelled())
            throw SongAnalysisCancelled();
        try {
            return SongChange(document, kPatience);
        } catch (const SongError& error) {
            if (error.kind() != SongError::Kind::busy || std::chrono::steady_clock::now() >= end)
                throw;
        }
    }
}

} // namespace

bool isAnalyzed(const Song& song) {
    bool hasAll = true;
    AnalyzedKinds::forEach(
        [&]<typename Kind>(Kind) { hasAll = hasAll && !song.notes->entries<Kind>().empty(); });
    return hasAll;
}

std::shared_ptr<Song> newSong(const std::filesystem::path& recording, const std::filesystem::path& file,
                              const SongAnalysisOptions& options) {
    auto facts = identify(recording, options);
    hear(recording, facts, options);
    auto song = songOf(facts);
    describe(*song, recording, facts, file);
    return song;
}

std::shared_ptr<Song> analyzeRecording(const std::filesystem::path& recording,
                                       const std::filesystem::path& file,
                                       const SongAnalysisOptions& options) {
    auto facts = identify(recording, options);
    auto song = songOf(facts);
    takeConfidences(*song, analyze(*song, recording, facts.digest, options), {});
    hear(recording, facts, options);
    describe(*song, recording, facts, file);
    song->record("Analysed");
    return song;
}

std::shared_ptr<Song> analyzeRecording(const std::shared_ptr<AudioSource>& source,
                                       const SongAnalysisOptions& options) {
    const AudioSourcePath sound(source);
    auto song = analyzeRecording(sound.path(), {}, options);
    song->recording.fileName.clear();
    return song;
}

SongAnalysisOutcome analyzeIntoDocument(const std::filesystem::path& recording,
                                        const std::filesystem::path& document,
                                        const SongAnalysisOptions& options) {
    std::optional<Data> readBytes;
    std::shared_ptr<Song> existing;
    { // A turn before the work, too: what is wrong with the document is told first.
        const SongChange change = changeOf(document, options);
        readBytes = change.bytes();
        existing = change.song();
    }
    SongAnalysisOutcome outcome;
    outcome.recording = identify(recording, options);
    RecordingFacts& facts = outcome.recording;
    const auto analyzed = existing ? existing : songOf(facts);
    if (existing && knows(*existing, facts)) {
        facts.frameCount = existing->recording.frameCount;
        facts.envelope = existing->recording.envelope;
        facts.hearing = nullptr;
    } else if (existing) { // what it sounds like decides whether it is the document's
        hear(recording, facts, options);
    }
    RecordingMatch relation = RecordingMatch::sameFile;
    if (readBytes)
        relation = checkedMatch(*analyzed, facts, options.relink, document);
    if (options.force)
        removeAnalysis(*analyzed->notes);
    FoundConfidences found;
    if (!isAnalyzed(*analyzed))
        found = analyze(*analyzed, recording, facts.digest, options);
    if (!existing)
        hear(recording, facts, options);

    SongChange change = changeOf(document, options);
    if (!change.bytes() || change.bytes() == readBytes) {
        outcome.song = analyzed;
    } else {
        outcome.song = change.song();
        relation = checkedMatch(*outcome.song, facts, options.relink, document);
        const auto before = readBytes ? songFromBytes(*readBytes, document) : songOf(facts);
        outcome.song->facts.engineVersion = analyzed->facts.engineVersion;
        outcome.keptKinds = merge(*before->notes, *analyzed->notes, *outcome.song->notes);
    }
    takeConfidences(*outcome.song, found, outcome.keptKinds);
    outcome.wasEncodedAgain = relation == RecordingMatch::sameSound;
    describe(*outcome.song, recording, facts, document);
    if (options.force && change.bytes())
        outcome.former = change.keepFormer();
    change.save(outcome.song, options.force ? "Analysed again" : "Analysed");
    return outcome;
}

} // namespace tarn
