#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include "Platform/Bundle.h"
#include "Platform/DispatchQueue.h"
#include "Platform/PathConversion.h"
#include "Platform/ProcessInfo.h"
#include "Platform/UserDefaults.h"
#include "TarnFoundation/Analysis/AnalysisRun.h"
#include "TarnFoundation/Formatting/TarnUserDefaultsKeys.h"

#include <utility>

namespace tarn {

namespace {

/// Posts on the main thread, without an object when the controller has gone by then. Waits for it, because a
/// run is not over before the application has heard of its end.
std::shared_ptr<Operation>
postingOperation(const char* notification,
                 const std::weak_ptr<TarnMusicInformationRetrievalController>& controller) {
    return std::make_shared<BlockOperation>([notification, controller] {
        MainQueue::sync([&] { NotificationCenter::defaultCenter().post(notification, controller.lock()); });
    });
}

} // namespace

TarnMusicInformationRetrievalController::TarnMusicInformationRetrievalController(
    URL audioFileURL, std::string uuid, std::shared_ptr<TarnNoteEntryStorage> noteEntryStorage,
    std::shared_ptr<AnalysisOperationFactory> factory, bool force)
    : mAudioFileURL(std::move(audioFileURL)), mUUIDString(std::move(uuid)),
      mNoteEntryStorage(std::move(noteEntryStorage)), mFactory(std::move(factory)),
      mForceAllCalculations(force), mProgress(Progress::discrete(0)) {}

bool TarnMusicInformationRetrievalController::isForcedByDefaults() {
    return UserDefaults::standard().boolForKey(TarnUserDefaultsKeyForceMIRProcessing);
}

std::optional<std::vector<std::int64_t>> TarnMusicInformationRetrievalController::beatLocations() const {
    const std::lock_guard guard(mMutex);
    return mBeatLocations;
}

TarnMusicInformationRetrievalController::Confidences
TarnMusicInformationRetrievalController::confidences() const {
    const std::lock_guard guard(mMutex);
    return mConfidences;
}

std::shared_ptr<const DetectedMetre> TarnMusicInformationRetrievalController::detectedMetre() const {
    const std::lock_guard guard(mMutex);
    return mDetectedMetre;
}

std::shared_ptr<OperationQueue> TarnMusicInformationRetrievalController::processingQueue() const {
    const std::lock_guard guard(mMutex);
    return mRun ? mRun->queue() : nullptr;
}

const Log& TarnMusicInformationRetrievalController::log() {
    static const Log log = ProcessInfo::hasEnvironmentVariable("KELP_MIR_DEBUG")
                               ? Log(kAnalysisBundleIdentifier, "TarnMusicInformationRetrievalController")
                               : Log::disabled();
    return log;
}

bool TarnMusicInformationRetrievalController::beginProcessingError(Error* error) {
    precondition(!weak_from_this().expired(), "An analysis controller must be made by std::make_shared");
    const auto run = std::make_shared<analysis::Run>();
    {
        const std::lock_guard guard(mMutex);
        mRun = run;
    }
    const char* const refusal = run->start(
        stages(), *mProgress,
        postingOperation(TarnMusicInformationRetrievalDidBeginProcessingNotification, weak_from_this()),
        postingOperation(TarnMusicInformationRetrievalDidFinishProcessingNotification, weak_from_this()));
    if (refusal && error) {
        *error =
            Error(TarnMusicInformationRetrievalErrorDomain, -1, Bundle::framework().localizedString(refusal));
        error->underlying = mFactory->refusal(mAudioFileURL);
    }
    return !refusal;
}

void TarnMusicInformationRetrievalController::cancelProcessing() {
    std::shared_ptr<analysis::Run> run;
    {
        const std::lock_guard guard(mMutex);
        run = mRun;
    }
    if (run)
        run->cancel();
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

} // namespace tarn
