#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include "Platform/Bundle.h"
#include "Platform/DispatchQueue.h"
#include "Platform/ProcessInfo.h"
#include "Platform/UserDefaults.h"
#include "TarnFoundation/Analysis/AnalysisCaches.h"
#include "TarnFoundation/Analysis/AnalysisInputs.h"
#include "TarnFoundation/Analysis/TarnChordResults.h"
#include "TarnFoundation/Formatting/TarnUserDefaultsKeys.h"

#include <span>
#include <utility>

namespace tarn {

namespace {

constexpr int kMaxConcurrentOperationCount = 2;
constexpr std::int64_t kTatumsPerBar = 8;
constexpr const char* kSpectrogramInterval = "SpectrogramOperation";

// Shares of the progress: chord detection takes most of the time.
constexpr std::int64_t kTotalUnitCount = 18;
constexpr std::int64_t kChordDetectionUnitCount = 12;
constexpr std::int64_t kOtherUnitCount = 1;

/// Distinguishes the intervals of overlapping runs.
std::uint64_t signpostOf(const KELPSpectrogramOperation& operation) {
    return reinterpret_cast<std::uintptr_t>(&operation);
}

void logChordCacheFailure(std::string_view format, const std::filesystem::path& file, std::string reason) {
    // The path is private; a file error's text begins with it.
    if (const auto path = file.string() + ": "; reason.starts_with(path))
        reason.erase(0, path.size());
    Log::standard().write(LogLevel::error, format, [&] {
        return std::vector{logPrivate(file.string()), logPublic(reason)};
    });
}

/// Posts on the main thread from a block operation, without an object when the controller has gone by then.
std::shared_ptr<Operation>
postingOperation(const char* notification,
                 const std::weak_ptr<TarnMusicInformationRetrievalController>& controller) {
    return std::make_shared<BlockOperation>([notification, controller] {
        MainQueue::sync([&] { NotificationCenter::defaultCenter().post(notification, controller.lock()); });
    });
}

} // namespace

/// The operations of one run.
struct TarnMusicInformationRetrievalController::Run {
    std::shared_ptr<TuningEstimationOperation> tuningEstimation;
    std::shared_ptr<KeyDetectionOperation> keyDetection;
    std::shared_ptr<BeatDetectionOperation> beatDetection;
    std::shared_ptr<BeatAlignmentOperation> beatAlignment;
    std::shared_ptr<KELPSpectrogramOperation> spectrogram;
    std::shared_ptr<KELPWaveformOperation> waveform;
    std::shared_ptr<ChordDetectionOperation> chordDetection;
    bool chordDetectionIsLegacy = false;
    std::shared_ptr<Operation> begin;
    std::shared_ptr<Operation> finish;
};

TarnMusicInformationRetrievalController::TarnMusicInformationRetrievalController(
    URL audioFileURL, std::string uuid, std::shared_ptr<TarnNoteEntryStorage> noteEntryStorage,
    std::shared_ptr<AnalysisOperationFactory> factory)
    : mAudioFileURL(std::move(audioFileURL)), mUUIDString(std::move(uuid)),
      mNoteEntryStorage(std::move(noteEntryStorage)), mFactory(std::move(factory)),
      mForceAllCalculations(UserDefaults::standard().boolForKey(TarnUserDefaultsKeyForceMIRProcessing)),
      mProgress(Progress::discrete(0)) {}

std::optional<std::vector<std::int64_t>> TarnMusicInformationRetrievalController::beatLocations() const {
    const std::lock_guard guard(mMutex);
    return mBeatLocations;
}

std::shared_ptr<const DetectedMetre> TarnMusicInformationRetrievalController::detectedMetre() const {
    const std::lock_guard guard(mMutex);
    return mDetectedMetre;
}

std::shared_ptr<OperationQueue> TarnMusicInformationRetrievalController::processingQueue() const {
    const std::lock_guard guard(mMutex);
    return mProcessingQueue;
}

const Log& TarnMusicInformationRetrievalController::log() {
    static const Log log = ProcessInfo::hasEnvironmentVariable("KELP_MIR_DEBUG")
                               ? Log(kAnalysisBundleIdentifier, "TarnMusicInformationRetrievalController")
                               : Log::disabled();
    return log;
}

// Runs

bool TarnMusicInformationRetrievalController::beginProcessingError(Error* error) {
    precondition(!weak_from_this().expired(), "An analysis controller must be made by std::make_shared");
    const auto queue = std::make_shared<OperationQueue>();
    queue->setMaxConcurrentOperationCount(kMaxConcurrentOperationCount);
    {
        const std::lock_guard guard(mMutex);
        mProcessingQueue = queue;
    }
    Run run;
    if (const char* reason = makeOperations(run)) {
        if (error) {
            *error = Error(TarnMusicInformationRetrievalErrorDomain, -1,
                           Bundle::framework().localizedString(reason));
            error->underlying = mFactory->refusal(mAudioFileURL);
        }
        return false;
    }
    connect(run);

    mProgress->restart(kTotalUnitCount); // an earlier run's stages no longer count
    mProgress->setLocalizedDescription(Bundle::framework().localizedString("Analyzing song"));
    mProgress->addChild(run.waveform->progress(), kOtherUnitCount);
    mProgress->addChild(run.tuningEstimation->progress(), kOtherUnitCount);
    mProgress->addChild(run.spectrogram->progress(), kOtherUnitCount);
    mProgress->addChild(run.beatDetection->progress(), kOtherUnitCount);
    mProgress->addChild(run.keyDetection->progress(), kOtherUnitCount);
    mProgress->addChild(run.chordDetection->progress(), kChordDetectionUnitCount);
    mProgress->addChild(run.beatAlignment->progress(), kOtherUnitCount);

    queue->addOperations({run.begin, run.waveform, run.tuningEstimation, run.spectrogram, run.beatDetection,
                          run.keyDetection, run.chordDetection, run.beatAlignment, run.finish},
                         false);
    return true;
}

const char* TarnMusicInformationRetrievalController::makeOperations(Run& run) {
    run.tuningEstimation = makeTuningEstimationOperationWithAudioFileURL(mAudioFileURL);
    if (!run.tuningEstimation)
        return "Failed to load audio file for tuning estimation.";
    run.keyDetection = makeKeyDetectionOperationWithAudioFileURL(mAudioFileURL);
    if (!run.keyDetection)
        return "Failed to load audio file for key detection.";
    run.beatDetection = makeBeatDetectionOperationWithAudioFileURL(mAudioFileURL);
    if (!run.beatDetection)
        return "Failed to load audio file for beat and key detection.";
    run.beatAlignment = makeBeatAlignmentOperation();
    run.spectrogram = withSelfAsDelegate(mFactory->makeSpectrogramOperation(mAudioFileURL));
    if (!run.spectrogram)
        return "Failed to load audio file for spectrogram processing.";
    run.waveform = withSelfAsDelegate(mFactory->makeWaveformOperation(mAudioFileURL, cachedWaveformURL()));
    if (!run.waveform)
        return "Failed to load audio file for waveform processing.";
    run.chordDetection = withSelfAsDelegate(mFactory->makeDetectChordsOperation(mAudioFileURL));
    if (run.chordDetection) {
        if (!mForceAllCalculations)
            readCacheForChordDetectionOperation(*run.chordDetection, cachedChordResultsURL());
        return nullptr;
    }
    run.chordDetection = withSelfAsDelegate(mFactory->makeLegacyChordDetectionOperation(mAudioFileURL));
    run.chordDetectionIsLegacy = true;
    return run.chordDetection ? nullptr : "Failed to load audio file for chord detection.";
}

void TarnMusicInformationRetrievalController::connect(Run& run) {
    run.begin =
        postingOperation(TarnMusicInformationRetrievalDidBeginProcessingNotification, weak_from_this());
    run.finish =
        postingOperation(TarnMusicInformationRetrievalDidFinishProcessingNotification, weak_from_this());
    run.spectrogram->addDependency(run.tuningEstimation);
    run.keyDetection->addDependency(run.tuningEstimation);
    if (run.chordDetectionIsLegacy)
        run.chordDetection->addDependency(run.beatDetection);
    run.chordDetection->addDependency(run.keyDetection);
    run.beatAlignment->addDependency(run.beatDetection);
    run.beatAlignment->addDependency(run.chordDetection);
    const std::shared_ptr<Operation> stages[] = {run.keyDetection,  run.waveform,       run.tuningEstimation,
                                                 run.beatDetection, run.chordDetection, run.beatAlignment,
                                                 run.spectrogram};
    for (const auto& stage : stages)
        run.finish->addDependency(stage);
}

void TarnMusicInformationRetrievalController::cancelProcessing() {
    if (const auto queue = processingQueue())
        queue->cancelAllOperations();
}

std::shared_ptr<TuningEstimationOperation>
TarnMusicInformationRetrievalController::makeTuningEstimationOperationWithAudioFileURL(const URL& url) {
    return withSelfAsDelegate(mFactory->makeTuningEstimationOperation(url));
}

std::shared_ptr<KeyDetectionOperation>
TarnMusicInformationRetrievalController::makeKeyDetectionOperationWithAudioFileURL(const URL& url) {
    return withSelfAsDelegate(mFactory->makeKeyDetectionOperation(url));
}

std::shared_ptr<BeatDetectionOperation>
TarnMusicInformationRetrievalController::makeBeatDetectionOperationWithAudioFileURL(const URL& url) {
    return withSelfAsDelegate(mFactory->makeBeatDetectionOperation(url));
}

std::shared_ptr<BeatAlignmentOperation>
TarnMusicInformationRetrievalController::makeBeatAlignmentOperation() {
    return withSelfAsDelegate(mFactory->makeBeatAlignmentOperation());
}

// Caches

TarnMusicInformationRetrievalController::URL
TarnMusicInformationRetrievalController::cacheURLFor(std::string_view folderName) {
    return analysis::cacheFolder(folderName);
}

TarnMusicInformationRetrievalController::URL
TarnMusicInformationRetrievalController::cachedSpectrogramDirectory() {
    return cacheURLFor("Spectrograms");
}

TarnMusicInformationRetrievalController::URL
TarnMusicInformationRetrievalController::cachedWaveformDirectory() {
    return cacheURLFor("Waveforms");
}

TarnMusicInformationRetrievalController::URL
TarnMusicInformationRetrievalController::spectrogramPathForUUID(const std::string& uuid) {
    return analysis::cacheFile(cachedSpectrogramDirectory(), uuid, "spectrogram");
}

TarnMusicInformationRetrievalController::URL
TarnMusicInformationRetrievalController::waveformPathForUUID(const std::string& uuid) {
    return analysis::cacheFile(cachedWaveformDirectory(), uuid, "waveform");
}

TarnMusicInformationRetrievalController::URL
TarnMusicInformationRetrievalController::cachedChordResultsURL() const {
    return analysis::cacheFile(cacheURLFor("Chords"), mUUIDString, "chordScores");
}

void TarnMusicInformationRetrievalController::reportUndecodableCache(const Error& error) {
    // A sound archive of something else is no reason for alarm.
    if (error.code == static_cast<long>(KeyedArchiveErrorCode::classNotAdmitted))
        return;
    Log::standard().write(LogLevel::standard, "Encountered error while decoding cached data: {}",
                          [&] { return std::vector{logPublic(error.localizedDescription())}; });
}

bool TarnMusicInformationRetrievalController::hasCachedResults(const ChordDetectionOperation& in) {
    const auto* operation = dynamic_cast<const DetectChordsOperation*>(&in);
    return !operation || !operation->topKResults().empty();
}

void TarnMusicInformationRetrievalController::writeCacheForChordDetectionOperation(
    const ChordDetectionOperation& operation, const URL& to) {
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

void TarnMusicInformationRetrievalController::readCacheForChordDetectionOperation(
    ChordDetectionOperation& operation, const URL& from) {
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

// Questions

bool TarnMusicInformationRetrievalController::spectrogramOperationRequiresProcessing(
    KELPSpectrogramOperation& operation) {
    return !operation.usingCache(); // When all is forced, no cache has been read.
}

double
TarnMusicInformationRetrievalController::tuningFrequencyForSpectrogramOperation(KELPSpectrogramOperation&) {
    return analysis::tuningFrequency(*mNoteEntryStorage);
}

bool TarnMusicInformationRetrievalController::waveformOperationRequiresProcessing(
    KELPWaveformOperation& operation) {
    return mForceAllCalculations || !operation.waveform()->isProcessingComplete();
}

bool TarnMusicInformationRetrievalController::requiresTuningEstimation(TuningEstimationOperation&) {
    return mForceAllCalculations || mNoteEntryStorage->standardPitchEntries().empty();
}

bool TarnMusicInformationRetrievalController::requiresKeyDetection(KeyDetectionOperation&) {
    return mForceAllCalculations || mNoteEntryStorage->keyEntries().empty();
}

double TarnMusicInformationRetrievalController::tuningFrequencyEstimation(KeyDetectionOperation&) {
    return analysis::tuningFrequency(*mNoteEntryStorage);
}

bool TarnMusicInformationRetrievalController::requiresBeatDetection(BeatDetectionOperation&) {
    return mForceAllCalculations || mNoteEntryStorage->beatEntries().empty() ||
           mNoteEntryStorage->timeSignatureEntries().empty() || mNoteEntryStorage->tempoEntries().empty();
}

bool TarnMusicInformationRetrievalController::requiresBeatAlignment(BeatAlignmentOperation&) {
    return mForceAllCalculations || mNoteEntryStorage->beatEntries().empty() ||
           mNoteEntryStorage->timeSignatureEntries().empty();
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

bool TarnMusicInformationRetrievalController::requiresChordDetectionIn(ChordDetectionOperation& operation) {
    if (mForceAllCalculations)
        return true;
    if (dynamic_cast<LegacyChordDetectionOperation*>(&operation))
        return mNoteEntryStorage->chordEntries().empty();
    return !hasCachedResults(operation);
}

double TarnMusicInformationRetrievalController::tuningEstimationForChordDetectionOperation(
    ChordDetectionOperation&) {
    return analysis::tuningFrequency(*mNoteEntryStorage);
}

/// The key that was found is on its way to the document through the main queue: waits for it, because chords
/// must not depend on who is first.
KELPKeyRef TarnMusicInformationRetrievalController::keyForChordDetectionOperation(ChordDetectionOperation&) {
    MainQueue::sync([] {});
    return analysis::key(*mNoteEntryStorage);
}

std::vector<double>
TarnMusicInformationRetrievalController::beatLocationsForChordDetectionOperation(ChordDetectionOperation&) {
    const auto found = beatLocations();
    const auto locations = found ? *found : analysis::locations(mNoteEntryStorage->beatEntries());
    return {locations.begin(), locations.end()};
}

// Reports

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
    post(notification, {{"chordDetector",
                         std::static_pointer_cast<ChordDetectionOperation>(operation.shared_from_this())}});
}

void TarnMusicInformationRetrievalController::spectrogramOperationDidBegin(
    KELPSpectrogramOperation& operation) {
    copyActivity(operation);
    log().signpostBegin(kSpectrogramInterval, signpostOf(operation));
    if (auto cached = readCacheFromURL<Spectrogram>(cachedSpectrogramURL())) {
        operation.setSpectrogram(std::move(cached));
        operation.setUsingCache(true);
    }
    postOnMainQueue(TarnSpectrogramDidBeginProcessingNotification,
                    {{"spectrogram", operation.spectrogram()}});
}

void TarnMusicInformationRetrievalController::spectrogramOperationDidEndProcessing(
    KELPSpectrogramOperation& operation) {
    const auto spectrogram = operation.spectrogram();
    postOnMainQueue(TarnSpectrogramDidFinishProcessingNotification, {{"spectrogram", spectrogram}});
    if (!spectrogram || operation.usingCache() || operation.isCancelled())
        return;
    // The spectrogram of an hour is some 40 MB: whoever cancels need not wait for both.
    const Data bytes = KeyedArchiver::archivedData(spectrogram);
    if (!operation.isCancelled())
        FileManager::write(bytes, cachedSpectrogramURL());
}

void TarnMusicInformationRetrievalController::spectrogramOperationDidEnd(
    KELPSpectrogramOperation& operation) {
    log().signpostEnd(kSpectrogramInterval, signpostOf(operation));
}

void TarnMusicInformationRetrievalController::waveformOperationDidBegin(KELPWaveformOperation& operation) {
    copyActivity(operation);
    postOnMainQueue(TarnWaveformDidBeginProcessingNotification, {{"waveform", operation.waveform()}});
}

void TarnMusicInformationRetrievalController::waveformOperationDidEnd(KELPWaveformOperation& operation) {
    postOnMainQueue(TarnWaveformDidFinishProcessingNotification, {{"waveform", operation.waveform()}});
}

void TarnMusicInformationRetrievalController::tuningEstimationOperationDidBegin(
    TuningEstimationOperation& operation) {
    copyActivity(operation);
}

void TarnMusicInformationRetrievalController::willBeginKeyDetection(KeyDetectionOperation& operation) {
    copyActivity(operation);
}

void TarnMusicInformationRetrievalController::beatDetectionOperationDidBegin(
    BeatDetectionOperation& operation) {
    copyActivity(operation);
}

void TarnMusicInformationRetrievalController::beatDetectionOperationDidBeginProcessing(
    BeatDetectionOperation&) {
    postOnMainQueue(TarnBeatDetectionDidBeginProcessingNotification);
}

void TarnMusicInformationRetrievalController::beatAlignmentOperationDidBegin(
    BeatAlignmentOperation& operation) {
    copyActivity(operation);
}

void TarnMusicInformationRetrievalController::chordDetectionDidBeginIn(ChordDetectionOperation& operation) {
    copyActivity(operation);
    postChordNotification(TarnChordDetectionDidBeginNotification, operation);
}

void TarnMusicInformationRetrievalController::chordDetectionDidBeginProcessingIn(
    ChordDetectionOperation& operation) {
    postChordNotification(TarnChordDetectionDidBeginProcessingNotification, operation);
}

void TarnMusicInformationRetrievalController::chordDetectionDidFinishProcessingIn(
    ChordDetectionOperation& operation) {
    postChordNotification(TarnChordDetectionDidFinishProcessingNotification, operation);
}

void TarnMusicInformationRetrievalController::chordDetectionDidFinishIn(ChordDetectionOperation& operation) {
    postChordNotification(TarnChordDetectionDidEndNotification, operation);
}

} // namespace tarn
