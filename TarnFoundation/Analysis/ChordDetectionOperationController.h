#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"
#include "Platform/Export.h"
#include "Platform/OperationQueue.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>

namespace TARN_PUBLIC tarn {

/// Runs chord detection alone and hands the chords it finds to a completion handler. The document answers the
/// operation's questions and makes the entries, but none is inserted. Made with std::make_shared; dropping it
/// does not stop a running detection, but its results are lost.
class ChordDetectionOperationController
    : public ChordDetectionOperationDelegate,
      public std::enable_shared_from_this<ChordDetectionOperationController> {
public:
    using CompletionHandler = std::function<void(const EntryList<TarnChordEntry>&)>;

    ChordDetectionOperationController(
        std::filesystem::path audioFileURL, std::shared_ptr<TarnNoteEntryStorage> noteEntryStorage,
        std::shared_ptr<AnalysisOperationFactory> factory = AnalysisOperationFactory::shared());

    /// Starts a detection whose chords `completionHandler` receives on the operation's thread; it replaces a
    /// handler and an operation of an earlier run. Results of an earlier run that is still under way go to it
    /// as well. The handler is called at once, with no entries, when the file is refused, and never when the
    /// detection is cancelled; it may be empty.
    void run(CompletionHandler completionHandler);
    void runWithCompletionHandler(CompletionHandler completionHandler) { run(std::move(completionHandler)); }

    [[nodiscard]] const std::filesystem::path& audioFileURL() const { return mAudioFileURL; }
    [[nodiscard]] const std::shared_ptr<TarnNoteEntryStorage>& noteEntryStorage() const {
        return mNoteEntryStorage;
    }
    /// The handler that waits for results; empty when none does.
    [[nodiscard]] CompletionHandler completionHandler() const;
    /// That of the last run, if it could be made.
    [[nodiscard]] std::shared_ptr<DetectChordsOperation> operation() const;
    [[nodiscard]] const std::shared_ptr<OperationQueue>& operationQueue() const { return mOperationQueue; }

private:
    double tuningEstimationForChordDetectionOperation(ChordDetectionOperation& operation) override;
    KELPKeyRef keyForChordDetectionOperation(ChordDetectionOperation& operation) override;
    std::vector<double> beatLocationsForChordDetectionOperation(ChordDetectionOperation& operation) override;
    void chordDetectionDidFinishProcessingWithResults(const ChordDetectionResultArray& results,
                                                      ChordDetectionOperation& operation) override;

    const std::filesystem::path mAudioFileURL;
    const std::shared_ptr<TarnNoteEntryStorage> mNoteEntryStorage;
    const std::shared_ptr<AnalysisOperationFactory> mFactory;
    mutable std::mutex mMutex; ///< guards the handler and the operation
    CompletionHandler mCompletionHandler;
    std::shared_ptr<DetectChordsOperation> mOperation;
    const std::shared_ptr<OperationQueue> mOperationQueue;
};

} // namespace tarn
