#pragma once

#include "KELPMusic/ConcertPitch.h"
#include "KELPMusicInformationRetrieval/AnalysisOperation.h"
#include "Platform/Export.h"

#include <optional>

namespace TARN_PUBLIC tarn {

class TuningEstimationOperation;

class TuningEstimationOperationDelegate {
public:
    virtual ~TuningEstimationOperationDelegate() = default;
    virtual bool requiresTuningEstimation(TuningEstimationOperation& operation) = 0;
    virtual void tuningEstimationOperationDidBegin(TuningEstimationOperation&) {}
    virtual void tuningEstimationOperationDidBeginProcessing(TuningEstimationOperation&) {}
    virtual void tuningEstimationOperationDidFinishProcessing(TuningEstimationOperation&) {}
    /// The result of the estimation can be read. Reported only when there was one: not by an operation that
    /// was not required, since its estimate would mean nothing.
    virtual void tuningEstimationOperationDidFinish(TuningEstimationOperation&) {}
};

/// Estimates what the recording is tuned to.
class TuningEstimationOperation : public AnalysisOperation<TuningEstimationOperationDelegate> {
public:
    /// Hz of A4; concert pitch before there is an estimate.
    [[nodiscard]] double tuningEstimate() const { return mTuningEstimate; }

protected:
    void main() override {
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

    /// The estimate, or nothing when cancelled.
    virtual std::optional<double> process() = 0;

private:
    double mTuningEstimate = kConcertPitch;
};

} // namespace tarn
