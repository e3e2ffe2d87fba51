#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"
#include "Platform/Log.h"
#include "Platform/OperationQueue.h"
#include "Platform/Progress.h"
#include "TarnFoundation/Analysis/AnalysisCaches.h"
#include "TarnFoundation/Analysis/AnalysisNotifications.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace TARN_PUBLIC tarn {

inline constexpr const char* TarnMusicInformationRetrievalErrorDomain =
    "TarnMusicInformationRetrievalErrorDomain";

namespace analysis {
class Run;
struct Stage;
} // namespace analysis

/// Analyses one song: makes the operations for its audio file, runs them as they depend on one another, at
/// most two at a time, answers their questions from the document, and keeps the caches of the spectrogram and
/// of the chord candidates. Key and chords that were found are inserted into the document on the main thread;
/// standard pitch, tempo, beats and time signature are handed to the application in notifications
/// (AnalysisNotifications.h). Chord detection waits until the key that was found is in the document.
///
/// Made with std::make_shared, used on the main thread, which has to drain its queue during a run. The
/// operations hold the controller weakly: dropping it cancels nothing, but stages that have not started then
/// do nothing, and the results of those that have are lost. Call cancelProcessing first to stop those
/// as well.
class TarnMusicInformationRetrievalController
    : public std::enable_shared_from_this<TarnMusicInformationRetrievalController>,
      public KELPSpectrogramOperationDelegate,
      public KELPWaveformOperationDelegate,
      public TuningEstimationOperationDelegate,
      public KeyDetectionOperationDelegate,
      public BeatDetectionOperationDelegate,
      public BeatAlignmentOperationDelegate,
      public ChordDetectionOperationDelegate {
public:
    using URL = std::filesystem::path;

    /// `uuid` identifies the song and names its cache files. `force`: calculates everything, whatever caches
    /// and the document hold.
    TarnMusicInformationRetrievalController(
        URL audioFileURL, std::string uuid, std::shared_ptr<TarnNoteEntryStorage> noteEntryStorage,
        std::shared_ptr<AnalysisOperationFactory> factory = AnalysisOperationFactory::shared(),
        bool force = isForcedByDefaults());
    /// Whether the user defaults hold TarnUserDefaultsKeyForceMIRProcessing.
    [[nodiscard]] static bool isForcedByDefaults();

    [[nodiscard]] const URL& audioFileURL() const { return mAudioFileURL; }
    [[nodiscard]] const std::string& uuidString() const { return mUUIDString; }
    [[nodiscard]] const std::shared_ptr<TarnNoteEntryStorage>& noteEntryStorage() const {
        return mNoteEntryStorage;
    }
    /// The beats that beat detection reported last, in frames; nothing before the first report. A detection
    /// that finds no beats makes no report and leaves them as they are. Thread-safe.
    [[nodiscard]] std::optional<std::vector<std::int64_t>> beatLocations() const;
    /// All that is known of the bars that beat alignment reported last, for applications that take more from
    /// it than its notification carries; nothing before the first report and from engines that know no more.
    /// Thread-safe.
    [[nodiscard]] std::shared_ptr<const DetectedMetre> detectedMetre() const;
    /// How sure key and chord detection are of what they reported last, 0 to 1; empty where the engine does
    /// not say. Thread-safe.
    struct Confidences {
        std::optional<double> key;
        std::map<std::int64_t, double> chords; ///< by location
    };
    [[nodiscard]] Confidences confidences() const;
    /// Whether every stage works again, whatever the document and the caches hold. Read from the user
    /// defaults when the controller was made.
    [[nodiscard]] bool forceAllCalculations() const { return mForceAllCalculations; }
    /// The last run as a whole, 18 units; its description is that of the stage that began last.
    [[nodiscard]] const std::shared_ptr<Progress>& progress() const { return mProgress; }
    /// The queue of the last run; nothing before the first. Thread-safe.
    [[nodiscard]] std::shared_ptr<OperationQueue> processingQueue() const;

    /// Starts a run. False, with the reason in `error` when it is given, when an operation cannot be made for
    /// the audio file; nothing runs then. `error->underlying` then tells a file that is missing, cannot be
    /// read or is not audio from a missing engine (AnalysisRefusal). An earlier run goes on.
    bool beginProcessingError(Error* error = nullptr);
    /// Cancels the operations of the last run. What is in the document already stays; what has been found but
    /// has not reached the main thread is neither inserted nor handed over. Thread-safe.
    void cancelProcessing();

    /// Where the controller's debug messages go: nowhere unless the environment held KELP_MIR_DEBUG, with any
    /// value, at the first use.
    static const Log& log();

    // Cache files (AnalysisCaches.h). Each look-up makes the folder if it is missing.

    [[nodiscard]] static URL cacheURLFor(std::string_view folderName) {
        return analysis::cacheFolder(folderName);
    }
    [[nodiscard]] static URL cachedSpectrogramDirectory() {
        return cacheURLFor(analysis::kSpectrogramCaches.folder);
    }
    [[nodiscard]] static URL cachedWaveformDirectory() {
        return cacheURLFor(analysis::kWaveformCaches.folder);
    }
    [[nodiscard]] static URL spectrogramPathForUUID(const std::string& uuid) {
        return analysis::cacheFile(analysis::kSpectrogramCaches, uuid);
    }
    [[nodiscard]] static URL waveformPathForUUID(const std::string& uuid) {
        return analysis::cacheFile(analysis::kWaveformCaches, uuid);
    }
    [[nodiscard]] URL cachedSpectrogramURL() const { return spectrogramPathForUUID(mUUIDString); }
    [[nodiscard]] URL cachedWaveformURL() const { return waveformPathForUUID(mUUIDString); }
    [[nodiscard]] URL cachedChordResultsURL() const {
        return analysis::cacheFile(analysis::kChordCaches, mUUIDString);
    }

    /// analysis::readCache, which finds nothing when all calculations are forced.
    template <typename Class>
    [[nodiscard]] std::shared_ptr<Class> readCacheFromURL(const URL& url) const {
        return analysis::readCache<Class>(url, mForceAllCalculations);
    }

    // The cache of chord candidates.

    [[nodiscard]] static bool hasCachedResults(const ChordDetectionOperation& in) {
        return analysis::hasChordResults(in);
    }
    static void writeCacheForChordDetectionOperation(const ChordDetectionOperation& operation,
                                                     const URL& to) {
        analysis::writeChordResults(operation, to);
    }
    static void readCacheForChordDetectionOperation(ChordDetectionOperation& operation, const URL& from) {
        analysis::readChordResults(operation, from);
    }

    // Operations with this controller as delegate; nothing where the file is refused.

    [[nodiscard]] std::shared_ptr<TuningEstimationOperation>
    makeTuningEstimationOperationWithAudioFileURL(const URL& url);
    [[nodiscard]] std::shared_ptr<KeyDetectionOperation>
    makeKeyDetectionOperationWithAudioFileURL(const URL& url);
    [[nodiscard]] std::shared_ptr<BeatDetectionOperation>
    makeBeatDetectionOperationWithAudioFileURL(const URL& url);
    [[nodiscard]] std::shared_ptr<BeatAlignmentOperation> makeBeatAlignmentOperation(); ///< never nothing

private:
    // What the stages ask and report, stage by stage (TarnMusicInformationRetrievalController+Stages.cpp).

    void waveformOperationDidBegin(KELPWaveformOperation& operation) override;
    bool waveformOperationRequiresProcessing(KELPWaveformOperation& operation) override;
    void waveformOperationDidEnd(KELPWaveformOperation& operation) override;

    void tuningEstimationOperationDidBegin(TuningEstimationOperation& operation) override;
    bool requiresTuningEstimation(TuningEstimationOperation& operation) override;
    void tuningEstimationOperationDidFinish(TuningEstimationOperation& operation) override;

    void spectrogramOperationDidBegin(KELPSpectrogramOperation& operation) override;
    bool spectrogramOperationRequiresProcessing(KELPSpectrogramOperation& operation) override;
    double tuningFrequencyForSpectrogramOperation(KELPSpectrogramOperation& operation) override;
    void spectrogramOperationDidEndProcessing(KELPSpectrogramOperation& operation) override;
    void spectrogramOperationDidEnd(KELPSpectrogramOperation& operation) override;

    void beatDetectionOperationDidBegin(BeatDetectionOperation& operation) override;
    bool requiresBeatDetection(BeatDetectionOperation& operation) override;
    void beatDetectionOperationDidBeginProcessing(BeatDetectionOperation& operation) override;
    void beatDetectionOperationDidEndProcessing(const std::vector<std::int64_t>& beats, double overallTempo,
                                                BeatDetectionOperation& operation) override;

    void willBeginKeyDetection(KeyDetectionOperation& operation) override;
    bool requiresKeyDetection(KeyDetectionOperation& operation) override;
    double tuningFrequencyEstimation(KeyDetectionOperation& operation) override;
    void didFinishKeyDetection(KeyDetectionOperation& operation) override;

    void chordDetectionDidBeginIn(ChordDetectionOperation& operation) override;
    bool requiresChordDetectionIn(ChordDetectionOperation& operation) override;
    void chordDetectionDidBeginProcessingIn(ChordDetectionOperation& operation) override;
    double tuningEstimationForChordDetectionOperation(ChordDetectionOperation& operation) override;
    KELPKeyRef keyForChordDetectionOperation(ChordDetectionOperation& operation) override;
    std::vector<double> beatLocationsForChordDetectionOperation(ChordDetectionOperation& operation) override;
    void chordDetectionDidFinishProcessingWithResults(const ChordDetectionResultArray& results,
                                                      ChordDetectionOperation& operation) override;
    void chordDetectionDidFinishProcessingIn(ChordDetectionOperation& operation) override;
    void chordDetectionDidFinishIn(ChordDetectionOperation& operation) override;

    void beatAlignmentOperationDidBegin(BeatAlignmentOperation& operation) override;
    bool requiresBeatAlignment(BeatAlignmentOperation& operation) override;
    std::vector<std::int64_t> beatLocations(BeatAlignmentOperation& operation) override;
    std::int64_t numberOfTatumsPerBar(BeatAlignmentOperation& operation) override;
    std::vector<std::int64_t> chordChangeLocations(BeatAlignmentOperation& operation) override;
    void beatAlignmentOperationDidFindDownbeatLocation(BeatAlignmentOperation& operation,
                                                       std::int64_t downbeatLocation,
                                                       std::int64_t tatumCount) override;

    /// The table of stages. Used while the controller lives.
    [[nodiscard]] std::vector<analysis::Stage> stages();
    /// The delegate of an operation of the kind whose delegate it is.
    template <typename Operation>
    std::shared_ptr<Operation> withSelfAsDelegate(std::shared_ptr<Operation> operation) {
        if (operation)
            operation->delegate = weak_from_this();
        return operation;
    }
    std::shared_ptr<Operation> makeDetectChordsOperation();
    /// Whether a stage has to work whose results are missing, or are not.
    [[nodiscard]] bool isRequired(bool lacksResults) const { return mForceAllCalculations || lacksResults; }
    void copyActivity(const Operation& operation);
    void post(const char* notification, UserInfo userInfo = {});
    void postOnMainQueue(const char* notification, UserInfo userInfo = {});
    void postChordNotification(const char* notification, ChordDetectionOperation& operation);
    void insertChords(const ChordDetectionResultArray& results, ChordDetectionOperation& operation);

    const URL mAudioFileURL;
    const std::string mUUIDString;
    const std::shared_ptr<TarnNoteEntryStorage> mNoteEntryStorage;
    const std::shared_ptr<AnalysisOperationFactory> mFactory;
    const bool mForceAllCalculations;
    const std::shared_ptr<Progress> mProgress;

    std::atomic<int> mKeysOnTheirWay = 0; ///< found, but not yet in the document

    mutable std::mutex mMutex; ///< guards what follows
    std::optional<std::vector<std::int64_t>> mBeatLocations;
    std::shared_ptr<const DetectedMetre> mDetectedMetre;
    Confidences mConfidences;
    std::shared_ptr<analysis::Run> mRun; ///< the last one
};

} // namespace tarn
