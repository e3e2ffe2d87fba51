#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperation.h"
#include "KELPMusicInformationRetrieval/Waveform.h"

namespace tarn {

class KELPWaveformOperation;

class KELPWaveformOperationDelegate {
public:
    virtual ~KELPWaveformOperationDelegate() = default;
    virtual bool waveformOperationRequiresProcessing(KELPWaveformOperation& operation) = 0;
    virtual void waveformOperationDidBegin(KELPWaveformOperation&) {}
    virtual void waveformOperationDidEnd(KELPWaveformOperation&) {}
    virtual void waveformOperationDidBeginProcessing(KELPWaveformOperation&) {}
    virtual void waveformOperationDidEndProcessing(KELPWaveformOperation&) {}
};

/// Computes the waveform, or takes it from its cache file. Whoever makes the operation reads the cache file
/// then, so that `waveform()` tells from the beginning whether processing is required.
class KELPWaveformOperation : public AnalysisOperation<KELPWaveformOperationDelegate> {
public:
    /// Never nothing; filled while the operation works. Thread-safe.
    [[nodiscard]] virtual std::shared_ptr<Waveform> waveform() const = 0;

protected:
    void main() override;
    /// Fills `waveform()` and writes the cache file. Returns whether it came to its end (not cancelled).
    virtual bool process() = 0;
};

} // namespace tarn
