#include "KELPMusic/KELPChordDetectionResult.h"

namespace tarn {

std::string KELPChordDetectionResult::description() const {
    return (mChord ? mChord->description() : "No chord") + " at " + std::to_string(mLocation) + " (" +
           std::to_string(mScore) + ")";
}

bool KELPChordDetectionResult::operator==(const KELPChordDetectionResult& other) const {
    const bool hasEqualChord = mChord && other.mChord ? *mChord == *other.mChord : mChord == other.mChord;
    return hasEqualChord && mScore == other.mScore && mLocation == other.mLocation;
}

const ClassDescription& KELPChordDetectionResult::classDescription() {
    static constexpr ClassDescription description{
        "KELPChordDetectionResult", nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
            KELPChordRef chord = coder.decodeObject<KELPChord>("chord");
            const auto score = coder.decodeFloat("score");
            const auto location = coder.decodeInt("location");
            if (!score || !location)
                return nullptr;
            return std::make_shared<KELPChordDetectionResult>(std::move(chord), *score, *location);
        }};
    return description;
}

void KELPChordDetectionResult::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeObject("chord", mChord);
    coder.encodeFloat("score", mScore);
    coder.encodeInt("location", mLocation);
}

} // namespace tarn
