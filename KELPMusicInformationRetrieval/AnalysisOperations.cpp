#include "KELPMusicInformationRetrieval/BeatAlignmentOperation.h"
#include "KELPMusicInformationRetrieval/BeatDetectionOperation.h"
#include "KELPMusicInformationRetrieval/ChordDetectionOperation.h"
#include "KELPMusicInformationRetrieval/KELPSpectrogramOperation.h"
#include "KELPMusicInformationRetrieval/KELPWaveformOperation.h"
#include "KELPMusicInformationRetrieval/KeyDetectionOperation.h"
#include "KELPMusicInformationRetrieval/TuningEstimationOperation.h"

/// The order of questions and reports of every stage.
namespace tarn {

std::shared_ptr<Spectrogram> KELPSpectrogramOperation::spectrogram() const {
    const std::lock_guard guard(mMutex);
    return mSpectrogram;
}

void KELPSpectrogramOperation::setSpectrogram(std::shared_ptr<Spectrogram> spectrogram) {
    const std::lock_guard guard(mMutex);
    mSpectrogram = std::move(spectrogram);
}

void KELPSpectrogramOperation::main() {
    using Delegate = KELPSpectrogramOperationDelegate;
    tell(&Delegate::spectrogramOperationDidBegin, *this);
    bool complete = true;
    if (ask(&Delegate::spectrogramOperationRequiresProcessing, *this)) {
        tell(&Delegate::spectrogramOperationDidBeginProcessing, *this);
        const double tuningFrequency = ask(&Delegate::tuningFrequencyForSpectrogramOperation, *this);
        complete = hasDelegate() && process(tuningFrequency) && !isCancelled();
    }
    if (complete)
        tell(&Delegate::spectrogramOperationDidEndProcessing, *this);
    tell(&Delegate::spectrogramOperationDidEnd, *this);
}

void KELPWaveformOperation::main() {
    using Delegate = KELPWaveformOperationDelegate;
    tell(&Delegate::waveformOperationDidBegin, *this);
    if (ask(&Delegate::waveformOperationRequiresProcessing, *this)) {
        tell(&Delegate::waveformOperationDidBeginProcessing, *this);
        if (process() && !isCancelled())
            tell(&Delegate::waveformOperationDidEndProcessing, *this);
    }
    tell(&Delegate::waveformOperationDidEnd, *this);
}

void TuningEstimationOperation::main() {
    using Delegate = TuningEstimationOperationDelegate;
    tell(&Delegate::tuningEstimationOperationDidBegin, *this);
    if (!ask(&Delegate::requiresTuningEstimation, *this))
        return;
    tell(&Delegate::tuningEstimationOperationDidBeginProcessing, *this);
    const auto estimate = process();
    if (!estimate || isCancelled())
        return;
    mTuningEstimate = *estimate;
    tell(&Delegate::tuningEstimationOperationDidFinishProcessing, *this);
    tell(&Delegate::tuningEstimationOperationDidFinish, *this);
}

void KeyDetectionOperation::main() {
    using Delegate = KeyDetectionOperationDelegate;
    tell(&Delegate::willBeginKeyDetection, *this);
    if (ask(&Delegate::requiresKeyDetection, *this)) {
        const double tuningFrequency = ask(&Delegate::tuningFrequencyEstimation, *this);
        const auto key = hasDelegate() ? process(tuningFrequency) : std::nullopt;
        if (!isCancelled())
            mKey = key;
    }
    tell(&Delegate::didFinishKeyDetection, *this);
}

void BeatDetectionOperation::main() {
    using Delegate = BeatDetectionOperationDelegate;
    tell(&Delegate::beatDetectionOperationDidBegin, *this);
    if (ask(&Delegate::requiresBeatDetection, *this)) {
        tell(&Delegate::beatDetectionOperationDidBeginProcessing, *this);
        const auto result = process();
        if (result && !result->beats.empty() && !isCancelled())
            tell(&Delegate::beatDetectionOperationDidEndProcessing, result->beats, result->overallTempo,
                 *this);
    }
    tell(&Delegate::beatDetectionOperationDidEnd, *this);
}

std::shared_ptr<const DetectedMetre> BeatAlignmentOperation::metre() const {
    const std::lock_guard guard(mMutex);
    return mMetre;
}

void BeatAlignmentOperation::setMetre(std::shared_ptr<const DetectedMetre> metre) {
    const std::lock_guard guard(mMutex);
    mMetre = std::move(metre);
}

void BeatAlignmentOperation::main() {
    using Delegate = BeatAlignmentOperationDelegate;
    tell(&Delegate::beatAlignmentOperationDidBegin, *this);
    if (ask(&Delegate::requiresBeatAlignment, *this)) {
        tell(&Delegate::beatAlignmentOperationDidBeginProcessing, *this);
        const Input input{ask(&Delegate::beatLocations, *this), ask(&Delegate::numberOfTatumsPerBar, *this),
                          ask(&Delegate::chordChangeLocations, *this)};
        const auto result = hasDelegate() ? process(input) : std::nullopt;
        if (result && !isCancelled())
            tell(&Delegate::beatAlignmentOperationDidFindDownbeatLocation, *this, result->downbeatLocation,
                 result->tatumCount);
    }
    tell(&Delegate::beatAlignmentOperationDidEnd, *this);
}

void ChordDetectionOperation::main() {
    using Delegate = ChordDetectionOperationDelegate;
    tell(&Delegate::chordDetectionDidBeginIn, *this);
    if (ask(&Delegate::requiresChordDetectionIn, *this)) {
        tell(&Delegate::chordDetectionDidBeginProcessingIn, *this);
        const Input input{ask(&Delegate::tuningEstimationForChordDetectionOperation, *this),
                          ask(&Delegate::keyForChordDetectionOperation, *this),
                          ask(&Delegate::beatLocationsForChordDetectionOperation, *this)};
        const auto results = hasDelegate() ? process(input) : std::nullopt;
        if (results && !isCancelled()) {
            tell(&Delegate::chordDetectionDidFinishProcessingWithResults, *results, *this);
            tell(&Delegate::chordDetectionDidFinishProcessingIn, *this);
        }
    }
    tell(&Delegate::chordDetectionDidFinishIn, *this);
}

} // namespace tarn
