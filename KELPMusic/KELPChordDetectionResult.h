#pragma once

#include "KELPMusic/KELPChord.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace tarn {

class KELPChordDetectionResult;

using KELPChordDetectionResultRef = std::shared_ptr<const KELPChordDetectionResult>;

/// A chord that was found or proposed, with the confidence in it and the sample frame at which it begins.
/// Immutable.
class KELPChordDetectionResult {
public:
    explicit KELPChordDetectionResult(KELPChordRef chord, float score, std::int64_t location = 0)
        : mChord(std::move(chord)), mScore(score), mLocation(location) {}

    [[nodiscard]] static KELPChordDetectionResultRef resultForChord(KELPChordRef chord, float score,
                                                                    std::int64_t location = 0) {
        return std::make_shared<KELPChordDetectionResult>(std::move(chord), score, location);
    }

    [[nodiscard]] const KELPChordRef& chord() const { return mChord; }
    [[nodiscard]] float score() const { return mScore; }
    [[nodiscard]] std::int64_t location() const { return mLocation; }

private:
    KELPChordRef mChord;
    float mScore;
    std::int64_t mLocation;
};

} // namespace tarn
