#pragma once

#include "KELPMusicInformationRetrieval/ChordDetectionOperation.h"
#include "KELPMusicInformationRetrieval/Spectrogram.h"
#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"
#include "Platform/NotificationCenter.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <memory>
#include <utility>

/// The notifications of an analysis, and what they carry. Their object is the controller.
namespace TARN_PUBLIC tarn {

/// On the main thread, when the first operation of a run starts and after all stages have ended; without an
/// object when the controller has gone. Nothing waits for the first of them, so when the
/// main thread is busy, a notification of a stage may come before it.
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

namespace analysis {

/// What is in the user information of a notification: the key, and the type of the value under it.
template <typename Value>
struct InfoKey {
    const char* name;

    /// The value in the notification; null when it carries none.
    [[nodiscard]] const Value* valueIn(const Notification& notification) const {
        return notification.value<Value>(name);
    }
    /// User information with this value alone.
    [[nodiscard]] UserInfo with(Value value) const { return {{name, std::move(value)}}; }
};

// Filled while the stage works.
inline constexpr InfoKey<std::shared_ptr<Spectrogram>> kSpectrogramKey{"spectrogram"};
inline constexpr InfoKey<std::shared_ptr<Waveform>> kWaveformKey{"waveform"};
// New entries of the document that are not inserted; whoever receives them decides.
inline constexpr InfoKey<std::shared_ptr<TarnStandardPitchEntry>> kStandardPitchKey{"standardPitch"};
inline constexpr InfoKey<std::shared_ptr<TarnTempoEntry>> kTempoKey{"tempo"};
inline constexpr InfoKey<EntryList<TarnBeatEntry>> kBeatEntriesKey{"beatEntries"};
inline constexpr InfoKey<std::shared_ptr<TarnTimeSignatureEntry>> kTimeSignatureKey{"timeSignature"};
// The operation that detects.
inline constexpr InfoKey<std::shared_ptr<ChordDetectionOperation>> kChordDetectorKey{"chordDetector"};

/// What the end of beat alignment carries.
[[nodiscard]] inline UserInfo alignmentInfo(EntryList<TarnBeatEntry> beats,
                                            std::shared_ptr<TarnTimeSignatureEntry> timeSignature) {
    UserInfo info = kBeatEntriesKey.with(std::move(beats));
    info.merge(kTimeSignatureKey.with(std::move(timeSignature)));
    return info;
}

} // namespace analysis
} // namespace tarn
