#pragma once

#include "KELPMusic/KELPChord.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarn {

class KELPChordDetectionResult;

using KELPChordDetectionResultRef = std::shared_ptr<const KELPChordDetectionResult>;
using ChordDetectionResultArray = std::vector<KELPChordDetectionResultRef>;

/// A chord that was found or proposed, with the confidence in it and the sample frame at which it begins.
/// Immutable; equal when all three are equal.
class KELPChordDetectionResult final : public SecureCoding {
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
    /// "F#m7 at 44100 (0.500000)".
    [[nodiscard]] std::string description() const;

    [[nodiscard]] bool operator==(const KELPChordDetectionResult& other) const;

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archive keys: "chord" (KELPChord, may be absent), "score" and "location" (numbers).
    void encodeWithCoder(KeyedArchiver& coder) const override;

private:
    KELPChordRef mChord;
    float mScore;
    std::int64_t mLocation;
};

} // namespace tarn

template <>
struct std::hash<tarn::KELPChordDetectionResult> {
    std::size_t operator()(const tarn::KELPChordDetectionResult& result) const noexcept {
        const std::size_t chord = result.chord() ? std::hash<tarn::KELPChord>{}(*result.chord()) : 0;
        return (chord * 31 + std::hash<float>{}(result.score())) * 31 +
               std::hash<std::int64_t>{}(result.location());
    }
};
