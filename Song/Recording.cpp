#include "Song/Recording.h"

#include <cmath>

namespace tarn {

RecordingMatch match(const Recording& recording, const RecordingFacts& file) {
    constexpr double kLengthTolerance = 0.05; // seconds
    if (!recording.digest.empty() && recording.digest == file.digest)
        return RecordingMatch::sameFile;
    if (recording.sampleRate != file.sampleRate)
        return RecordingMatch::other;
    if (recording.envelope.isEmpty())
        return recording.frameCount == file.frameCount ? RecordingMatch::sameShape : RecordingMatch::other;
    const double difference =
        std::abs(static_cast<double>(recording.frameCount) - static_cast<double>(file.frameCount));
    const auto heard = distance(recording.envelope, file.envelope);
    return difference <= kLengthTolerance * file.sampleRate && heard && *heard <= kSameRecordingDistance
               ? RecordingMatch::sameSound
               : RecordingMatch::other;
}

} // namespace tarn
