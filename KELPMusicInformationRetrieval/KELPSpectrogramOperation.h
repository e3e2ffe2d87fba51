#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperation.h"
#include "KELPMusicInformationRetrieval/Spectrogram.h"

#include <atomic>
#include <mutex>

namespace tarn {

class KELPSpectrogramOperation;

class KELPSpectrogramOperationDelegate {
public:
    virtual ~KELPSpectrogramOperationDelegate() = default;
    virtual bool spectrogramOperationRequiresProcessing(KELPSpectrogramOperation& operation) = 0;
    virtual double
    tuningFrequencyForSpectrogramOperation(KELPSpectrogramOperation& operation) = 0; ///< Hz of A4
    virtual void spectrogramOperationDidBegin(KELPSpectrogramOperation&) {}
    virtual void spectrogramOperationDidEnd(KELPSpectrogramOperation&) {}
    virtual void spectrogramOperationDidBeginProcessing(KELPSpectrogramOperation&) {}
    /// The spectrogram is complete, whether computed now or taken from a cache.
    virtual void spectrogramOperationDidEndProcessing(KELPSpectrogramOperation&) {}
};

/// Computes the spectrogram. Whoever makes the operation gives it an empty one, which `process` fills. A
/// delegate that has one in a cache sets it, and `usingCache`, when the operation begins.
class KELPSpectrogramOperation : public AnalysisOperation<KELPSpectrogramOperationDelegate> {
public:
    /// The spectrogram, from the beginning; filled while the operation works. Thread-safe.
    [[nodiscard]] std::shared_ptr<Spectrogram> spectrogram() const;
    void setSpectrogram(std::shared_ptr<Spectrogram> spectrogram);
    [[nodiscard]] bool usingCache() const { return mUsingCache; }
    void setUsingCache(bool usingCache) { mUsingCache = usingCache; }

protected:
    void main() override;
    /// Fills and finishes the empty spectrogram, in the place of whatever was set meanwhile. Returns whether
    /// it came to its end (not cancelled).
    virtual bool process(double tuningFrequency) = 0;

private:
    mutable std::mutex mMutex;
    std::shared_ptr<Spectrogram> mSpectrogram;
    std::atomic<bool> mUsingCache = false;
};

} // namespace tarn
