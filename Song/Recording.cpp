#include "Song/Recording.h"

#include <algorithm>
#include <cmath>

namespace tarn {

RecordingMatch match(const Recording& recording, const RecordingFacts& file) {
    constexpr double kLengthTolerance = 0.05;   // seconds
    constexpr double kEncoderFrames = 3 * 1152; // an MP3 encoder's delay and the frame that it fills up
    if (recording.sampleRate != file.sampleRate)
        return RecordingMatch::other;
    if (recording.digest.empty() && recording.envelope.isEmpty())
        return recording.frameCount == file.frameCount ? RecordingMatch::sameShape : RecordingMatch::other;
    if (recording.digest == file.digest)
        return RecordingMatch::sameFile;
    const double difference =
        std::abs(static_cast<double>(recording.frameCount) - static_cast<double>(file.frameCount));
    const auto heard = distance(recording.envelope, file.envelope);
    const bool isAsLong = difference <= std::max(kLengthTolerance * file.sampleRate, kEncoderFrames);
    return isAsLong && heard && *heard <= kSameRecordingDistance ? RecordingMatch::sameSound
                                                                 : RecordingMatch::other;
}

} // namespace tarn
