#pragma once

#include "KELPMusicInformationRetrieval/LoudnessEnvelope.h"
#include "Platform/Export.h"

#include <cstdint>
#include <memory>
#include <string>

namespace TARN_PUBLIC tarn {

/// What one reading of an audio file says about the recording as a whole.
struct RecordingFacts {
    double sampleRate = 0;           ///< frames per second
    std::int64_t frameCount = 0;     ///< frames that can be decoded
    std::int64_t declaredFrames = 0; ///< more than frameCount where the file breaks off
    std::string digest;              ///< SHA-256 of the file's bytes, 64 hexadecimal digits in lower case
    LoudnessEnvelope envelope = {};  ///< of the mean of the channels
    std::string title = {};          ///< as the file's tags have it: UTF-8 on one line, mostly empty
    std::string artist = {};         ///< the same
    /// Keeps what operations hear of the file until the facts are complete; nothing afterwards.
    std::shared_ptr<const void> hearing = {};
};

} // namespace tarn
