#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"
#include "Platform/FileManager.h"
#include "Platform/Log.h"
#include "Platform/OperationQueue.h"
#include "Platform/Progress.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

inline constexpr const char* TarnMusicInformationRetrievalErrorDomain =
    "TarnMusicInformationRetrievalErrorDomain";

// The notifications of an analysis. The object is the controller. User information, with the type of each
// value:
//   "spectrogram"    std::shared_ptr<Spectrogram>, filled while the stage works
//   "waveform"       std::shared_ptr<Waveform>, filled while the stage works
//   "standardPitch"  std::shared_ptr<TarnStandardPitchEntry>
//   "tempo"          std::shared_ptr<TarnTempoEntry>
//   "beatEntries"    EntryList<TarnBeatEntry>
//   "timeSignature"  std::shared_ptr<TarnTimeSignatureEntry>
//   "chordDetector"  std::shared_ptr<ChordDetectionOperation>
// Entries are new ones of the document that are not inserted; whoever receives them decides.

/// On the main thread, when the first operation of a run starts and after all stages have ended; without an
/// object when the controller has gone. Nothing waits for the first of them, so a main thread that is busy
/// meanwhile may hear from a stage before.
inline constexpr const char* TarnMusicInformationRetrievalDidBeginProcessingNotification =
    "TarnMusicInformationRetrievalDidBeginProcessingNotification";
inline constexpr const char* TarnMusicInformationRetrievalDidFinishProcessingNotification =
    "TarnMusicInformationRetrievalDidFinishProcessingNotification";
/// On the main thread: "spectrogram".
inline constexpr const char* TarnSpectrogramDidBeginProcessingNotification =
    "TarnSpectrogramDidBeginProcessingNotification";
inline constexpr const char* TarnSpectrogramDidFinishProcessingNotification =
    "TarnSpectrogramDidFinishProcessingNotification";
/// On the main thread: "waveform".
inline constexpr const char* TarnWaveformDidBeginProcessingNotification =
    "TarnWaveformDidBeginProcessingNotification";
inline constexpr const char* TarnWaveformDidFinishProcessingNotification =
    "TarnWaveformDidFinishProcessingNotification";
/// For the application's use; not posted here.
inline constexpr const char* TarnTuningEstimationDidBeginProcessingNotification =
    "TarnTuningEstimationDidBeginProcessingNotification";
/// On the main thread, before the stages that ask for the tuning: "standardPitch".
inline constexpr const char* TarnTuningEstimationDidFinishProcessingNotification =
    "TarnTuningEstimationDidFinishProcessingNotification";
/// For the application's use; not posted here.
inline constexpr const char* TarnKeyDetectionDidBeginProcessingNotification =
    "TarnKeyDetectionDidBeginProcessingNotification";
inline constexpr const char* TarnKeyDetectionDidFinishProcessingNotification =
    "TarnKeyDetectionDidFinishProcessingNotification";
/// On the main thread.
inline constexpr const char* TarnBeatDetectionDidBeginProcessingNotification =
    "TarnBeatDetectionDidBeginProcessingNotification";
/// On the main thread: "tempo".
inline constexpr const char* TarnBeatDetectionDidFinishProcessingNotification =
    "TarnBeatDetectionDidFinishProcessingNotification";
/// For the application's use; not posted here.
inline constexpr const char* TarnBeatAlignmentDidBeginProcessingNotification =
    "TarnBeatAlignmentDidBeginProcessingNotification";
/// On the main thread: "beatEntries" and "timeSignature", or neither when no beat is the downbeat.
inline constexpr const char* TarnBeatAlignmentDidFinishProcessingNotification =
    "TarnBeatAlignmentDidFinishProcessingNotification";
/// The notifications of chord detection are posted on its own thread: "chordDetector".
inline constexpr const char* TarnChordDetectionDidBeginNotification =
    "TarnChordDetectionDidBeginNotification";
inline constexpr const char* TarnChordDetectionDidBeginProcessingNotification =
    "TarnChordDetectionDidBeginProcessingNotification";
/// In a run that inserts chords, posted twice: on the main thread right after the insertion, and on the
/// operation's thread.
inline constexpr const char* TarnChordDetectionDidFinishProcessingNotification =
    "TarnChordDetectionDidFinishProcessingNotification";
inline constexpr const char* TarnChordDetectionDidEndNotification = "TarnChordDetectionDidEndNotification";

/// Analyses one song: makes the operations for its audio file, runs them as they depend on one another, at
/// most two at a time, answers their questions from the document, and keeps the caches of the spectrogram and
/// of the chord candidates. Key and chords that were found are inserted into the document on the main thread;
/// standard pitch, tempo, beats and time signature are handed to the application in notifications. Chord
/// detection waits until the key that was found is in the document.
///
/// Made with std::make_shared, used on the main thread, which has to drain its queue during a run. The
/// operations hold the controller weakly: dropping it cancels nothing, but stages that have not started then
/// do nothing, and nobody hears of the results of those that have. Call cancelProcessing first to stop those
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

    /// `uuid` identifies the song and names its cache files.
    TarnMusicInformationRetrievalController(
        URL audioFileURL, std::string uuid, std::shared_ptr<TarnNoteEntryStorage> noteEntryStorage,
        std::shared_ptr<AnalysisOperationFactory> factory = AnalysisOperationFactory::shared());

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
    /// Whether every stage works again, whatever the document and the caches hold. Read from the user
    /// defaults when the controller was made.
    [[nodiscard]] bool forceAllCalculations() const { return mForceAllCalculations; }
    /// The last run as a whole, 18 units; its description is that of the stage that began last.
    [[nodiscard]] const std::shared_ptr<Progress>& progress() const { return mProgress; }
    /// The queue of the last run; nothing before the first. Thread-safe.
    [[nodiscard]] std::shared_ptr<OperationQueue> processingQueue() const;

    /// Starts a run. False, with the reason in `error` when it is given, when an operation cannot be made for
    /// the audio file; nothing runs then. `error->underlying` then tells a file that is missing, cannot be
    /// read or is no audio from a missing engine (AnalysisRefusal). An earlier run goes on.
    bool beginProcessingError(Error* error = nullptr);
    /// Cancels the operations of the last run. What is in the document already stays.
    void cancelProcessing();

    /// Where the controller's debug messages go: nowhere unless the environment held KELP_MIR_DEBUG, with any
    /// value, at the first use.
    static const Log& log();

    // Cache files. Each look-up makes the folder if it is missing; where that fails, using the file will. The
    // files' names are derived from the identifiers (AnalysisCaches.h), which may hold anything.

    /// The folder of that name in the library's part of the user's caches directory.
    [[nodiscard]] static URL cacheURLFor(std::string_view folderName);
    [[nodiscard]] static URL cachedSpectrogramDirectory();
    [[nodiscard]] static URL cachedWaveformDirectory();
    [[nodiscard]] static URL spectrogramPathForUUID(const std::string& uuid);
    [[nodiscard]] static URL waveformPathForUUID(const std::string& uuid);
    [[nodiscard]] URL cachedSpectrogramURL() const { return spectrogramPathForUUID(mUUIDString); }
    [[nodiscard]] URL cachedWaveformURL() const { return waveformPathForUUID(mUUIDString); }
    [[nodiscard]] URL cachedChordResultsURL() const;

    /// The archived object of class `Class` in the file. Nothing when all calculations are forced, when the
    /// file cannot be read, or when it holds another object; nothing and a message to the log when it is not
    /// a sound archive.
    template <typename Class>
    [[nodiscard]] std::shared_ptr<Class> readCacheFromURL(const URL& url) const {
        if (mForceAllCalculations)
            return nullptr;
        const auto bytes = FileManager::contentsOf(url);
        if (!bytes)
            return nullptr;
        Error error;
        auto object = KeyedUnarchiver::unarchivedObject<Class>(*bytes, &error);
        if (!object)
            reportUndecodableCache(error);
        return object;
    }

    // The cache of chord candidates (TarnChordResults.h). Operations other than a DetectChordsOperation have
    // none: they are left alone and count as having cached results.

    [[nodiscard]] static bool hasCachedResults(const ChordDetectionOperation& in);
    /// Replaces the file by the operation's candidates; a failure is logged.
    static void writeCacheForChordDetectionOperation(const ChordDetectionOperation& operation, const URL& to);
    /// Sets the operation's candidates to those of the file. A failure, be it a missing file, is logged and
    /// leaves them unchanged.
    static void readCacheForChordDetectionOperation(ChordDetectionOperation& operation, const URL& from);

    // Operations with this controller as delegate; nothing where the file is refused.

    [[nodiscard]] std::shared_ptr<TuningEstimationOperation>
    makeTuningEstimationOperationWithAudioFileURL(const URL& url);
    [[nodiscard]] std::shared_ptr<KeyDetectionOperation>
    makeKeyDetectionOperationWithAudioFileURL(const URL& url);
    [[nodiscard]] std::shared_ptr<BeatDetectionOperation>
    makeBeatDetectionOperationWithAudioFileURL(const URL& url);
    [[nodiscard]] std::shared_ptr<BeatAlignmentOperation> makeBeatAlignmentOperation(); ///< never nothing

private:
    struct Run;

    // What the operations ask.
    bool spectrogramOperationRequiresProcessing(KELPSpectrogramOperation& operation) override;
    double tuningFrequencyForSpectrogramOperation(KELPSpectrogramOperation& operation) override;
    bool waveformOperationRequiresProcessing(KELPWaveformOperation& operation) override;
    bool requiresTuningEstimation(TuningEstimationOperation& operation) override;
    bool requiresKeyDetection(KeyDetectionOperation& operation) override;
    double tuningFrequencyEstimation(KeyDetectionOperation& operation) override;
    bool requiresBeatDetection(BeatDetectionOperation& operation) override;
    bool requiresBeatAlignment(BeatAlignmentOperation& operation) override;
    std::vector<std::int64_t> beatLocations(BeatAlignmentOperation& operation) override;
    std::int64_t numberOfTatumsPerBar(BeatAlignmentOperation& operation) override;
    std::vector<std::int64_t> chordChangeLocations(BeatAlignmentOperation& operation) override;
    bool requiresChordDetectionIn(ChordDetectionOperation& operation) override;
    double tuningEstimationForChordDetectionOperation(ChordDetectionOperation& operation) override;
    KELPKeyRef keyForChordDetectionOperation(ChordDetectionOperation& operation) override;
    std::vector<double> beatLocationsForChordDetectionOperation(ChordDetectionOperation& operation) override;

    // What they report.
    void spectrogramOperationDidBegin(KELPSpectrogramOperation& operation) override;
    void spectrogramOperationDidEnd(KELPSpectrogramOperation& operation) override;
    void spectrogramOperationDidEndProcessing(KELPSpectrogramOperation& operation) override;
    void waveformOperationDidBegin(KELPWaveformOperation& operation) override;
    void waveformOperationDidEnd(KELPWaveformOperation& operation) override;
    void tuningEstimationOperationDidBegin(TuningEstimationOperation& operation) override;
    void willBeginKeyDetection(KeyDetectionOperation& operation) override;
    void beatDetectionOperationDidBegin(BeatDetectionOperation& operation) override;
    void beatDetectionOperationDidBeginProcessing(BeatDetectionOperation& operation) override;
    void beatAlignmentOperationDidBegin(BeatAlignmentOperation& operation) override;
    void chordDetectionDidBeginIn(ChordDetectionOperation& operation) override;
    void chordDetectionDidBeginProcessingIn(ChordDetectionOperation& operation) override;
    void chordDetectionDidFinishProcessingIn(ChordDetectionOperation& operation) override;
    void chordDetectionDidFinishIn(ChordDetectionOperation& operation) override;

    // The results (TarnMusicInformationRetrievalController+Results.cpp).
    void tuningEstimationOperationDidFinish(TuningEstimationOperation& operation) override;
    void didFinishKeyDetection(KeyDetectionOperation& operation) override;
    void beatDetectionOperationDidEndProcessing(const std::vector<std::int64_t>& beats, double overallTempo,
                                                BeatDetectionOperation& operation) override;
    void beatAlignmentOperationDidFindDownbeatLocation(BeatAlignmentOperation& operation,
                                                       std::int64_t downbeatLocation,
                                                       std::int64_t tatumCount) override;
    void chordDetectionDidFinishProcessingWithResults(const ChordDetectionResultArray& results,
                                                      ChordDetectionOperation& operation) override;

    /// The delegate of an operation of the kind whose delegate it is.
    template <typename Operation>
    std::shared_ptr<Operation> withSelfAsDelegate(std::shared_ptr<Operation> operation) {
        if (operation)
            operation->delegate = weak_from_this();
        return operation;
    }
    /// Makes all operations; the reason, not localized, why one could not be made.
    const char* makeOperations(Run& run);
    void connect(Run& run);
    void copyActivity(const Operation& operation);
    void post(const char* notification, UserInfo userInfo = {});
    void postOnMainQueue(const char* notification, UserInfo userInfo = {});
    void postChordNotification(const char* notification, ChordDetectionOperation& operation);
    static void reportUndecodableCache(const Error& error);

    const URL mAudioFileURL;
    const std::string mUUIDString;
    const std::shared_ptr<TarnNoteEntryStorage> mNoteEntryStorage;
    const std::shared_ptr<AnalysisOperationFactory> mFactory;
    const bool mForceAllCalculations;
    const std::shared_ptr<Progress> mProgress;

    mutable std::mutex mMutex; ///< guards what follows
    std::optional<std::vector<std::int64_t>> mBeatLocations;
    std::shared_ptr<const DetectedMetre> mDetectedMetre;
    std::shared_ptr<OperationQueue> mProcessingQueue;
};

} // namespace tarn
