// The built-in analysis engine: makes every analysis operation for the audio files that it can read.
#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"
#include "Platform/Export.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

struct AudioFeatures;
class SharedAudio;

/// Operations made for the same file while one of them exists share one pass over its audio. The same file
/// gives the same results however the operations are scheduled; what they are asked to go by (tuning, key,
/// beats) aside. Beat alignment that is asked about beats which another operation has detected, in a file
/// that was in use when it was made, goes by the bars that were found with them.
class AnalysisEngine : public AnalysisOperationFactory {
public:
    std::shared_ptr<TuningEstimationOperation> makeTuningEstimationOperation(const File& audio) override;
    std::shared_ptr<KeyDetectionOperation> makeKeyDetectionOperation(const File& audio) override;
    std::shared_ptr<BeatDetectionOperation> makeBeatDetectionOperation(const File& audio) override;
    std::shared_ptr<BeatAlignmentOperation> makeBeatAlignmentOperation() override;
    std::shared_ptr<KELPSpectrogramOperation> makeSpectrogramOperation(const File& audio) override;
    std::shared_ptr<KELPWaveformOperation> makeWaveformOperation(const File& audio,
                                                                 const File& cache) override;
    /// Ranked candidates are labelled root * 20 + quality (AnalysisEngine/ChordVocabulary.h), 240 for no
    /// chord.
    std::shared_ptr<DetectChordsOperation> makeDetectChordsOperation(const File& audio) override;
    std::shared_ptr<LegacyChordDetectionOperation>
    makeLegacyChordDetectionOperation(const File& audio) override;
    /// Grows whenever results change.
    [[nodiscard]] std::string version() const override { return "3"; }
    std::shared_ptr<const Error> refusal(const File& audio) override;
    std::optional<RecordingFacts> identifyRecording(const File& audio,
                                                    const CancellationQuestion& isCancelled,
                                                    std::string* refusal) override;
    bool hearRecording(const File& audio, RecordingFacts& facts,
                       const CancellationQuestion& isCancelled) override;
    std::optional<RecordingFacts> readRecording(const File& audio, const CancellationQuestion& isCancelled,
                                                std::string* refusal) override;

private:
    template <typename EngineOperation>
    std::shared_ptr<EngineOperation> makeOperation(const File& audio);
    std::shared_ptr<SharedAudio> sharedAudio(const File& audio);
    std::vector<std::shared_ptr<SharedAudio>> openAudio();
    std::shared_ptr<const AudioFeatures> heardFeatures(const File& audio);

    std::mutex mMutex;
    std::vector<std::weak_ptr<SharedAudio>> mOpen; ///< the files that operations use
};

/// Makes the engine the process-wide factory of analysis operations.
void registerAnalysisEngine();

} // namespace tarn
