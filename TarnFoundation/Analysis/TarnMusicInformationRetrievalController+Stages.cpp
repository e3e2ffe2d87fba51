#include "Platform/DispatchQueue.h"
#include "TarnFoundation/Analysis/AnalysisInputs.h"
#include "TarnFoundation/Analysis/AnalysisResults.h"
#include "TarnFoundation/Analysis/AnalysisRun.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

/// The stages of an analysis: their table, and what each asks and reports. A stage that begins names the
/// activity that users read.
namespace tarn {

namespace {

constexpr std::int64_t kTatumsPerBar = 8;
constexpr const char* kSpectrogramInterval = "SpectrogramOperation";

/// Distinguishes the intervals of overlapping runs.
std::uint64_t signpostOf(const KELPSpectrogramOperation& operation) {
    return reinterpret_cast<std::uintptr_t>(&operation);
}

/// Keeps what found a result until the main thread has it, so that cancelling reaches it; nothing for an
/// operation that nobody shares.
std::shared_ptr<const Operation> finderOf(const Operation& operation) {
    return operation.weak_from_this().lock();
}

/// A result that reaches the main thread after its run was cancelled is neither inserted nor handed over.
bool isWanted(const std::shared_ptr<const Operation>& finder) {
    return !finder || !finder->isCancelled();
}

} // namespace

/// In the order in which the operations are made: the first that cannot be made gives the reason why the run
/// is refused.
std::vector<analysis::Stage> TarnMusicInformationRetrievalController::stages() {
    return {
        {.name = "tuning",
         .make = [this] { return makeTuningEstimationOperationWithAudioFileURL(mAudioFileURL); },
         .place = 2,
         .progressUnits = 1,
         .refusal = "Failed to load audio file for tuning estimation."},
        {.name = "key",
         .make = [this] { return makeKeyDetectionOperationWithAudioFileURL(mAudioFileURL); },
         .dependencies = {"tuning"},
         .place = 5,
         .progressUnits = 1,
         .refusal = "Failed to load audio file for key detection."},
        {.name = "beats",
         .make = [this] { return makeBeatDetectionOperationWithAudioFileURL(mAudioFileURL); },
         .place = 4,
         .progressUnits = 1,
         .refusal = "Failed to load audio file for beat and key detection."},
        {.name = "alignment",
         .make = [this] { return makeBeatAlignmentOperation(); },
         .dependencies = {"beats", "chords"},
         .place = 7,
         .progressUnits = 1},
        {.name = "spectrogram",
         .make = [this] { return withSelfAsDelegate(mFactory->makeSpectrogramOperation(mAudioFileURL)); },
         .dependencies = {"tuning"},
         .place = 3,
         .progressUnits = 1,
         .refusal = "Failed to load audio file for spectrogram processing."},
        {.name = "waveform",
         .make =
             [this] {
                 return withSelfAsDelegate(
                     mFactory->makeWaveformOperation(mAudioFileURL, cachedWaveformURL()));
             },
         .place = 1,
         .progressUnits = 1,
         .refusal = "Failed to load audio file for waveform processing."},
        {.name = "chords",
         .make = [this] { return makeDetectChordsOperation(); },
         .dependencies = {"key"},
         .place = 6,
         .progressUnits = 12}, // most of the time
        {.name = "chords",
         .make =
             [this] {
                 return withSelfAsDelegate(mFactory->makeLegacyChordDetectionOperation(mAudioFileURL));
             },
         .dependencies = {"beats", "key"},
         .place = 6,
         .progressUnits = 12,
         .refusal = "Failed to load audio file for chord detection."},
    };
}

std::shared_ptr<Operation> TarnMusicInformationRetrievalController::makeDetectChordsOperation() {
    const auto operation = withSelfAsDelegate(mFactory->makeDetectChordsOperation(mAudioFileURL));
    if (operation && !mForceAllCalculations)
        analysis::readChordResults(*operation, cachedChordResultsURL());
    return operation;
}

// What the stages have in common

void TarnMusicInformationRetrievalController::copyActivity(const Operation& operation) {
    mProgress->setLocalizedDescription(operation.progress()->localizedDescription());
}

void TarnMusicInformationRetrievalController::post(const char* notification, UserInfo userInfo) {
    NotificationCenter::defaultCenter().post(notification, shared_from_this(), std::move(userInfo));
}

/// What has been reported is posted even when the controller is dropped meanwhile.
void TarnMusicInformationRetrievalController::postOnMainQueue(const char* notification, UserInfo userInfo) {
    MainQueue::async([self = shared_from_this(), notification, userInfo = std::move(userInfo)] {
        self->post(notification, userInfo);
    });
}

void TarnMusicInformationRetrievalController::postChordNotification(const char* notification,
                                                                    ChordDetectionOperation& operation) {
    post(notification, analysis::kChordDetectorKey.with(
                           std::static_pointer_cast<ChordDetectionOperation>(operation.shared_from_this())));
}

// Waveform

void TarnMusicInformationRetrievalController::waveformOperationDidBegin(KELPWaveformOperation& operation) {
    copyActivity(operation);
    postOnMainQueue(TarnWaveformDidBeginProcessingNotification,
                    analysis::kWaveformKey.with(operation.waveform()));
}

bool TarnMusicInformationRetrievalController::waveformOperationRequiresProcessing(
    KELPWaveformOperation& operation) {
    return isRequired(!operation.waveform()->isProcessingComplete());
}

void TarnMusicInformationRetrievalController::waveformOperationDidEnd(KELPWaveformOperation& operation) {
    postOnMainQueue(TarnWaveformDidFinishProcessingNotification,
                    analysis::kWaveformKey.with(operation.waveform()));
}

// Tuning

void TarnMusicInformationRetrievalController::tuningEstimationOperationDidBegin(
    TuningEstimationOperation& operation) {
    copyActivity(operation);
}

bool TarnMusicInformationRetrievalController::requiresTuningEstimation(TuningEstimationOperation&) {
    return isRequired(mNoteEntryStorage->standardPitchEntries().empty());
}

/// Waits for the main thread: the stages that come next ask for the tuning, and what the application makes of
/// the standard pitch in this notification counts.
void TarnMusicInformationRetrievalController::tuningEstimationOperationDidFinish(
    TuningEstimationOperation& operation) {
    MainQueue::sync([&] {
        if (operation.isCancelled())
            return;
        const auto entry = analysis::newStandardPitchEntry(*mNoteEntryStorage, operation.tuningEstimate());
        post(TarnTuningEstimationDidFinishProcessingNotification, analysis::kStandardPitchKey.with(entry));
    });
}

// Spectrogram

void TarnMusicInformationRetrievalController::spectrogramOperationDidBegin(
    KELPSpectrogramOperation& operation) {
    copyActivity(operation);
    log().signpostBegin(kSpectrogramInterval, signpostOf(operation));
    analysis::readSpectrogram(operation, cachedSpectrogramURL(), mForceAllCalculations);
    postOnMainQueue(TarnSpectrogramDidBeginProcessingNotification,
                    analysis::kSpectrogramKey.with(operation.spectrogram()));
}

bool TarnMusicInformationRetrievalController::spectrogramOperationRequiresProcessing(
    KELPSpectrogramOperation& operation) {
    return !operation.usingCache(); // When all is forced, no cache has been read.
}

double
TarnMusicInformationRetrievalController::tuningFrequencyForSpectrogramOperation(KELPSpectrogramOperation&) {
    return analysis::tuningFrequency(*mNoteEntryStorage);
}

void TarnMusicInformationRetrievalController::spectrogramOperationDidEndProcessing(
    KELPSpectrogramOperation& operation) {
    postOnMainQueue(TarnSpectrogramDidFinishProcessingNotification,
                    analysis::kSpectrogramKey.with(operation.spectrogram()));
    analysis::writeSpectrogram(operation, cachedSpectrogramURL());
}

void TarnMusicInformationRetrievalController::spectrogramOperationDidEnd(
    KELPSpectrogramOperation& operation) {
    log().signpostEnd(kSpectrogramInterval, signpostOf(operation));
}

// Beats

void TarnMusicInformationRetrievalController::beatDetectionOperationDidBegin(
    BeatDetectionOperation& operation) {
    copyActivity(operation);
}

bool TarnMusicInformationRetrievalController::requiresBeatDetection(BeatDetectionOperation&) {
    return isRequired(mNoteEntryStorage->beatEntries().empty() ||
                      mNoteEntryStorage->timeSignatureEntries().empty() ||
                      mNoteEntryStorage->tempoEntries().empty());
}

void TarnMusicInformationRetrievalController::beatDetectionOperationDidBeginProcessing(
    BeatDetectionOperation&) {
    postOnMainQueue(TarnBeatDetectionDidBeginProcessingNotification);
}

/// Waits for the main thread: observers receive the tempo before the beats are aligned.
void TarnMusicInformationRetrievalController::beatDetectionOperationDidEndProcessing(
    const std::vector<std::int64_t>& beats, double overallTempo, BeatDetectionOperation& operation) {
    {
        const std::lock_guard guard(mMutex);
        mBeatLocations = beats.empty() ? std::nullopt : std::optional(beats);
    }
    const auto entry = analysis::newTempoEntry(*mNoteEntryStorage, overallTempo);
    MainQueue::sync([&] {
        if (!operation.isCancelled())
            post(TarnBeatDetectionDidFinishProcessingNotification, analysis::kTempoKey.with(entry));
    });
}

// Key

void TarnMusicInformationRetrievalController::willBeginKeyDetection(KeyDetectionOperation& operation) {
    copyActivity(operation);
}

bool TarnMusicInformationRetrievalController::requiresKeyDetection(KeyDetectionOperation&) {
    return isRequired(mNoteEntryStorage->keyEntries().empty());
}

double TarnMusicInformationRetrievalController::tuningFrequencyEstimation(KeyDetectionOperation&) {
    return analysis::tuningFrequency(*mNoteEntryStorage);
}

void TarnMusicInformationRetrievalController::didFinishKeyDetection(KeyDetectionOperation& operation) {
    const auto key = operation.key();
    if (!key)
        return;
    {
        const std::lock_guard guard(mMutex);
        mConfidences.key = operation.confidence();
    }
    ++mKeysOnTheirWay;
    MainQueue::async([self = shared_from_this(), keyIndex = *key, finder = finderOf(operation)] {
        MainQueue::assertOnMainThread();
        if (isWanted(finder))
            self->mNoteEntryStorage->addKeyEntry(analysis::newKeyEntry(*self->mNoteEntryStorage, keyIndex));
        --self->mKeysOnTheirWay;
    });
}

// Chords

void TarnMusicInformationRetrievalController::chordDetectionDidBeginIn(ChordDetectionOperation& operation) {
    copyActivity(operation);
    postChordNotification(TarnChordDetectionDidBeginNotification, operation);
}

bool TarnMusicInformationRetrievalController::requiresChordDetectionIn(ChordDetectionOperation& operation) {
    const bool isLegacy = dynamic_cast<LegacyChordDetectionOperation*>(&operation);
    return isRequired(isLegacy ? mNoteEntryStorage->chordEntries().empty() : !hasCachedResults(operation));
}

void TarnMusicInformationRetrievalController::chordDetectionDidBeginProcessingIn(
    ChordDetectionOperation& operation) {
    postChordNotification(TarnChordDetectionDidBeginProcessingNotification, operation);
}

double TarnMusicInformationRetrievalController::tuningEstimationForChordDetectionOperation(
    ChordDetectionOperation&) {
    return analysis::tuningFrequency(*mNoteEntryStorage);
}

/// Waits for a key that was found and is on its way to the document through the main queue: chords must not
/// depend on who is first, and what the application makes of the key when it is inserted counts.
KELPKeyRef TarnMusicInformationRetrievalController::keyForChordDetectionOperation(ChordDetectionOperation&) {
    if (mKeysOnTheirWay > 0)
        MainQueue::sync([] {});
    return analysis::key(*mNoteEntryStorage);
}

std::vector<double>
TarnMusicInformationRetrievalController::beatLocationsForChordDetectionOperation(ChordDetectionOperation&) {
    const auto found = beatLocations();
    const auto locations = found ? *found : analysis::locations(mNoteEntryStorage->beatEntries());
    return {locations.begin(), locations.end()};
}

/// Waits for the main thread: beat alignment asks the document for the chords' locations.
void TarnMusicInformationRetrievalController::chordDetectionDidFinishProcessingWithResults(
    const ChordDetectionResultArray& results, ChordDetectionOperation& operation) {
    {
        const std::lock_guard guard(mMutex);
        mConfidences.chords.clear();
        for (const auto& result : results)
            if (result->score() > 0) // 0 says nothing
                mConfidences.chords[result->location()] = static_cast<double>(result->score());
    }
    if (mNoteEntryStorage->chordEntries().empty())
        MainQueue::sync([&] { insertChords(results, operation); });
    analysis::writeChordResults(operation, cachedChordResultsURL());
}

/// On the main thread, where the user may have added a chord, or cancelled, while the results waited.
void TarnMusicInformationRetrievalController::insertChords(const ChordDetectionResultArray& results,
                                                           ChordDetectionOperation& operation) {
    if (operation.isCancelled() || !mNoteEntryStorage->chordEntries().empty())
        return;
    mNoteEntryStorage->addChordEntriesFromArray(analysis::newChordEntries(*mNoteEntryStorage, results));
    postChordNotification(TarnChordDetectionDidFinishProcessingNotification, operation);
}

void TarnMusicInformationRetrievalController::chordDetectionDidFinishProcessingIn(
    ChordDetectionOperation& operation) {
    postChordNotification(TarnChordDetectionDidFinishProcessingNotification, operation);
}

void TarnMusicInformationRetrievalController::chordDetectionDidFinishIn(ChordDetectionOperation& operation) {
    postChordNotification(TarnChordDetectionDidEndNotification, operation);
}

// Alignment

void TarnMusicInformationRetrievalController::beatAlignmentOperationDidBegin(
    BeatAlignmentOperation& operation) {
    copyActivity(operation);
}

bool TarnMusicInformationRetrievalController::requiresBeatAlignment(BeatAlignmentOperation&) {
    return isRequired(mNoteEntryStorage->beatEntries().empty() ||
                      mNoteEntryStorage->timeSignatureEntries().empty());
}

std::vector<std::int64_t> TarnMusicInformationRetrievalController::beatLocations(BeatAlignmentOperation&) {
    return beatLocations().value_or(std::vector<std::int64_t>());
}

std::int64_t TarnMusicInformationRetrievalController::numberOfTatumsPerBar(BeatAlignmentOperation&) {
    return kTatumsPerBar;
}

std::vector<std::int64_t>
TarnMusicInformationRetrievalController::chordChangeLocations(BeatAlignmentOperation&) {
    return analysis::locations(mNoteEntryStorage->chordEntries());
}

void TarnMusicInformationRetrievalController::beatAlignmentOperationDidFindDownbeatLocation(
    BeatAlignmentOperation& operation, std::int64_t downbeatLocation, std::int64_t tatumCount) {
    {
        const std::lock_guard guard(mMutex);
        mDetectedMetre = operation.metre();
    }
    const auto timeSignature = analysis::newTimeSignatureEntry(*mNoteEntryStorage, tatumCount);
    const auto beats =
        analysis::newBeatEntries(*mNoteEntryStorage, beatLocations(operation), downbeatLocation, tatumCount);
    UserInfo info = beats ? analysis::alignmentInfo(*beats, timeSignature) : UserInfo();
    MainQueue::async([self = shared_from_this(), info = std::move(info), finder = finderOf(operation)] {
        if (isWanted(finder))
            self->post(TarnBeatAlignmentDidFinishProcessingNotification, info);
    });
}

} // namespace tarn
