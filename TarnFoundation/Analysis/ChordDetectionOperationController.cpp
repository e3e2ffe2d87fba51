#include "TarnFoundation/Analysis/ChordDetectionOperationController.h"

#include "TarnFoundation/Analysis/AnalysisInputs.h"

#include <utility>

namespace tarn {

ChordDetectionOperationController::ChordDetectionOperationController(
    std::filesystem::path audioFileURL, std::shared_ptr<TarnNoteEntryStorage> noteEntryStorage,
    std::shared_ptr<AnalysisOperationFactory> factory)
    : mAudioFileURL(std::move(audioFileURL)), mNoteEntryStorage(std::move(noteEntryStorage)),
      mFactory(std::move(factory)), mOperationQueue(std::make_shared<OperationQueue>()) {}

void ChordDetectionOperationController::run(CompletionHandler completionHandler) {
    const std::weak_ptr<ChordDetectionOperationController> self = weak_from_this();
    precondition(!self.expired(), "A chord detection controller must be made by std::make_shared");
    const auto made = mFactory->makeDetectChordsOperation(mAudioFileURL);
    {
        const std::lock_guard guard(mMutex);
        mOperation = made;
        if (made)
            mCompletionHandler.swap(completionHandler);
    }
    if (!made) {
        if (completionHandler)
            completionHandler({});
        return;
    }
    made->delegate = self;
    mOperationQueue->addOperation(made);
}

ChordDetectionOperationController::CompletionHandler
ChordDetectionOperationController::completionHandler() const {
    const std::lock_guard guard(mMutex);
    return mCompletionHandler;
}

std::shared_ptr<DetectChordsOperation> ChordDetectionOperationController::operation() const {
    const std::lock_guard guard(mMutex);
    return mOperation;
}

double
ChordDetectionOperationController::tuningEstimationForChordDetectionOperation(ChordDetectionOperation&) {
    return analysis::tuningFrequency(*mNoteEntryStorage);
}

KELPKeyRef ChordDetectionOperationController::keyForChordDetectionOperation(ChordDetectionOperation&) {
    return analysis::key(*mNoteEntryStorage);
}

std::vector<double>
ChordDetectionOperationController::beatLocationsForChordDetectionOperation(ChordDetectionOperation&) {
    const auto locations = analysis::locations(mNoteEntryStorage->beatEntries());
    return {locations.begin(), locations.end()};
}

void ChordDetectionOperationController::chordDetectionDidFinishProcessingWithResults(
    const ChordDetectionResultArray& results, ChordDetectionOperation&) {
    const auto entries = analysis::newChordEntries(*mNoteEntryStorage, results);
    CompletionHandler handler;
    {
        // Taken before the call, so that a handler may start the next run.
        const std::lock_guard guard(mMutex);
        handler.swap(mCompletionHandler);
    }
    if (handler)
        handler(entries);
}

} // namespace tarn
