#pragma once

#include "KELPMusicInformationRetrieval/LoudnessEnvelope.h"

#include <cstdint>
#include <string>

namespace tarn {

/// What one reading of an audio file tells of the recording as a whole.
struct RecordingFacts {
    double sampleRate = 0;           ///< frames per second
    std::int64_t frameCount = 0;     ///< frames that can be decoded
    std::int64_t declaredFrames = 0; ///< more than frameCount where the file breaks off
    std::string digest;              ///< SHA-256 of the file's bytes, 64 hexadecimal digits in lower case
    LoudnessEnvelope envelope;       ///< of the mean of the channels
};

} // namespace tarn
