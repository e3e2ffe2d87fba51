#include "PracticePage/RecordingDisplay.h"

#include "KELPMusicInformationRetrieval/AnalysisOperationFactory.h"
#include "TarnFoundation/Analysis/AnalysisCaches.h"

namespace tarn {
namespace {

class WaveformDelegate : public KELPWaveformOperationDelegate {
    bool waveformOperationRequiresProcessing(KELPWaveformOperation& operation) override {
        return !operation.waveform()->isProcessingComplete();
    }
};

} // namespace

class RecordingDisplay::SpectrogramDelegate : public KELPSpectrogramOperationDelegate {
public:
    SpectrogramDelegate(std::filesystem::path cache, double tuningFrequency)
        : mCache(std::move(cache)), mTuningFrequency(tuningFrequency) {}

private:
    void spectrogramOperationDidBegin(KELPSpectrogramOperation& operation) override {
        analysis::readSpectrogram(operation, mCache, false);
    }
    bool spectrogramOperationRequiresProcessing(KELPSpectrogramOperation& operation) override {
        return !operation.usingCache();
    }
    double tuningFrequencyForSpectrogramOperation(KELPSpectrogramOperation& /*operation*/) override {
        return mTuningFrequency;
    }
    void spectrogramOperationDidEndProcessing(KELPSpectrogramOperation& operation) override {
        analysis::writeSpectrogram(operation, mCache);
    }

    const std::filesystem::path mCache;
    const double mTuningFrequency;
};

RecordingDisplay::~RecordingDisplay() {
    if (mWaveform)
        mWaveform->cancel();
    if (mSpectrogram)
        mSpectrogram->cancel();
    if (mWaveform)
        mWaveform->waitUntilFinished();
    if (mSpectrogram)
        mSpectrogram->waitUntilFinished();
}

std::shared_ptr<Waveform> RecordingDisplay::showWaveform(const std::filesystem::path& recording,
                                                         const std::string& cacheName) {
    const std::lock_guard guard(mMutex);
    if (mWaveform)
        return mWaveform->waveform();
    const auto cache = cacheName.empty() ? std::filesystem::path()
                                         : analysis::cacheFile(analysis::kWaveformCaches, cacheName);
    mWaveform = AnalysisOperationFactory::shared()->makeWaveformOperation(recording, cache);
    if (!mWaveform)
        return nullptr;
    mWaveformDelegate = std::make_shared<WaveformDelegate>();
    mWaveform->delegate = mWaveformDelegate;
    mQueue->addOperation(mWaveform);
    return mWaveform->waveform();
}

std::shared_ptr<Waveform> RecordingDisplay::waveform() const {
    const std::lock_guard guard(mMutex);
    return mWaveform ? mWaveform->waveform() : nullptr;
}

std::shared_ptr<Spectrogram> RecordingDisplay::showSpectrogram(const std::filesystem::path& recording,
                                                               const std::string& cacheName,
                                                               double tuningFrequency) {
    const std::lock_guard guard(mMutex);
    if (mSpectrogram)
        return mSpectrogram->spectrogram();
    mSpectrogram = AnalysisOperationFactory::shared()->makeSpectrogramOperation(recording);
    if (!mSpectrogram)
        return nullptr;
    mSpectrogramDelegate = std::make_shared<SpectrogramDelegate>(
        analysis::cacheFile(analysis::kSpectrogramCaches, cacheName), tuningFrequency);
    mSpectrogram->delegate = mSpectrogramDelegate;
    mQueue->addOperation(mSpectrogram);
    return mSpectrogram->spectrogram();
}

} // namespace tarn
