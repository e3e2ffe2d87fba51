#pragma once

#include "KELPMusicInformationRetrieval/BeatAlignmentOperation.h"
#include "KELPMusicInformationRetrieval/BeatDetectionOperation.h"
#include "KELPMusicInformationRetrieval/ChordDetectionOperation.h"
#include "KELPMusicInformationRetrieval/KELPSpectrogramOperation.h"
#include "KELPMusicInformationRetrieval/KELPWaveformOperation.h"
#include "KELPMusicInformationRetrieval/KeyDetectionOperation.h"
#include "KELPMusicInformationRetrieval/RecordingFacts.h"
#include "KELPMusicInformationRetrieval/TuningEstimationOperation.h"
#include "Platform/Error.h"
#include "Platform/Export.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace TARN_PUBLIC tarn {

/// Why no operation is made for an audio file: the code of an error in kAnalysisRefusalDomain.
inline constexpr const char* kAnalysisRefusalDomain = "TarnAnalysisRefusalDomain";
enum class AnalysisRefusal : long {
    noEngine = 1,    ///< no engine has registered: a mistake of the application
    missingFile,     ///< there is no such file
    unreadableFile,  ///< a folder, a pipe or device, or one that may not be read
    undecodableAudio ///< the file is not audio, or audio that is not supported
};
/// The refusal with its text for users, and with what it came from where that is known.
[[nodiscard]] std::shared_ptr<const Error> analysisRefusal(AnalysisRefusal reason,
                                                           std::shared_ptr<const Error> underlying = nullptr);

/// Makes the analysis operations for an audio file. Returns nothing for an operation that refuses
/// the file and for a kind that the factory does not make. An engine derives from this class and
/// registers itself for the process.
class AnalysisOperationFactory {
public:
    virtual ~AnalysisOperationFactory() = default;

    using File = std::filesystem::path;
    virtual std::shared_ptr<TuningEstimationOperation> makeTuningEstimationOperation(const File& /*audio*/) {
        return nullptr;
    }
    virtual std::shared_ptr<KeyDetectionOperation> makeKeyDetectionOperation(const File& /*audio*/) {
        return nullptr;
    }
    virtual std::shared_ptr<BeatDetectionOperation> makeBeatDetectionOperation(const File& /*audio*/) {
        return nullptr;
    }
    virtual std::shared_ptr<BeatAlignmentOperation> makeBeatAlignmentOperation() = 0; ///< never nothing
    virtual std::shared_ptr<KELPSpectrogramOperation> makeSpectrogramOperation(const File& /*audio*/) {
        return nullptr;
    }
    virtual std::shared_ptr<KELPWaveformOperation> makeWaveformOperation(const File& /*audio*/,
                                                                         const File& /*cache*/) {
        return nullptr;
    }
    virtual std::shared_ptr<DetectChordsOperation> makeDetectChordsOperation(const File& /*audio*/) {
        return nullptr;
    }
    virtual std::shared_ptr<LegacyChordDetectionOperation>
    makeLegacyChordDetectionOperation(const File& /*audio*/) {
        return nullptr;
    }

    /// What tells the engine's results from those of its other editions; empty when it does not say.
    [[nodiscard]] virtual std::string version() const { return {}; }

    /// Why operations for this file are not made (kAnalysisRefusalDomain); nothing when it is not refused, or
    /// when the engine does not tell.
    virtual std::shared_ptr<const Error> refusal(const File&) { return nullptr; }

    /// Whether the user wants the work to end; asked every few milliseconds. May be empty.
    using CancellationQuestion = std::function<bool()>;
    /// Reads the whole file. Nothing when it is not a recording that can be read, with the reason in
    /// `refusal` (when given), to be read after the file's name; nothing and no reason when the work was
    /// cancelled. A factory that does not read files itself need not override this: it refuses every file.
    virtual std::optional<RecordingFacts> readRecording(const File& audio,
                                                        const CancellationQuestion& isCancelled = {},
                                                        std::string* refusal = nullptr);

    /// The same in two steps, between which operations may do the reading, so that the file is decoded once.
    /// The first decodes nothing: of what only decoding tells, the envelope is empty and `frameCount` what
    /// the file declares, 0 where it does not.
    virtual std::optional<RecordingFacts> identifyRecording(const File& audio,
                                                            const CancellationQuestion& isCancelled = {},
                                                            std::string* refusal = nullptr);
    /// Completes what `identifyRecording` returned, from what operations have heard of the file meanwhile, or
    /// else by reading it. Returns false when cancelled, or where the file has gone meanwhile.
    virtual bool hearRecording(const File& audio, RecordingFacts& facts,
                               const CancellationQuestion& isCancelled = {});

    /// The process-wide factory; until an engine has registered, one that refuses every file. Never nothing.
    /// Thread-safe.
    static std::shared_ptr<AnalysisOperationFactory> shared();
    static void setShared(std::shared_ptr<AnalysisOperationFactory> factory);
};

} // namespace tarn
