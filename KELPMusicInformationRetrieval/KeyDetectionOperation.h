#pragma once

#include "KELPMusicInformationRetrieval/AnalysisOperation.h"
#include "Platform/Export.h"

#include <cstdint>
#include <optional>

namespace TARN_PUBLIC tarn {

class KeyDetectionOperation;

class KeyDetectionOperationDelegate {
public:
    virtual ~KeyDetectionOperationDelegate() = default;
    virtual bool requiresKeyDetection(KeyDetectionOperation& operation) = 0;
    virtual double tuningFrequencyEstimation(KeyDetectionOperation& operation) = 0; ///< Hz of A4
    virtual void willBeginKeyDetection(KeyDetectionOperation&) {}
    virtual void didFinishKeyDetection(KeyDetectionOperation&) {}
};

/// Finds the song's key.
class KeyDetectionOperation : public AnalysisOperation<KeyDetectionOperationDelegate> {
public:
    /// 0 to 11 the major keys from C, 12 to 23 the minor keys; nothing before the work, and for music without
    /// a key.
    [[nodiscard]] std::optional<int> key() const { return mKey; }
    /// How sure it is of the key, 0 to 1; nothing where it does not say.
    [[nodiscard]] std::optional<double> confidence() const { return mConfidence; }

protected:
    void main() override {
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

    virtual std::optional<int> process(double tuningFrequency) = 0;
    /// For `process`, of the key that it returns.
    void setConfidence(double confidence) { mConfidence = confidence; }

private:
    std::optional<int> mKey;
    std::optional<double> mConfidence;
};

} // namespace tarn
