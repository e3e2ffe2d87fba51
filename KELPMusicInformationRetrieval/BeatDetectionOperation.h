#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperation.h"
#include "Platform/Export.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace TARN_PUBLIC tarn {

class BeatDetectionOperation;

class BeatDetectionOperationDelegate {
public:
    virtual ~BeatDetectionOperationDelegate() = default;
    virtual bool requiresBeatDetection(BeatDetectionOperation& operation) = 0;
    virtual void beatDetectionOperationDidBegin(BeatDetectionOperation&) {}
    virtual void beatDetectionOperationDidEnd(BeatDetectionOperation&) {}
    virtual void beatDetectionOperationDidBeginProcessing(BeatDetectionOperation&) {}
    /// `beats` are tatums, two for each counted beat, in frames and ascending; `overallTempo` is in counted
    /// beats per minute. Not reported when no beats were found.
    virtual void beatDetectionOperationDidEndProcessing(const std::vector<std::int64_t>& /*beats*/,
                                                        double /*overallTempo*/, BeatDetectionOperation&) {}
};

/// Finds the beats and the tempo.
class BeatDetectionOperation : public AnalysisOperation<BeatDetectionOperationDelegate> {
public:
    struct Result {
        std::vector<std::int64_t> beats;
        double overallTempo = 0;
    };

protected:
    void main() override {
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

    /// Nothing when cancelled or when there are no beats.
    virtual std::optional<Result> process() = 0;
};

} // namespace tarn
