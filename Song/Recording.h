#pragma once

#include "KELPMusicInformationRetrieval/RecordingFacts.h"

#include <cstdint>
#include <string>

namespace tarn {

/// What identifies the recording that a song annotates.
struct Recording {
    /// Relative to the document's folder when it lies there or below, else absolute; UTF-8.
    std::string fileName;
    double sampleRate = 0; ///< frames per second, above 0
    std::int64_t frameCount = 0;
    std::string identifier; ///< that of the song; any text
    /// SHA-256 of the file's bytes as 64 hexadecimal digits in lower case; empty in documents of programs
    /// that did not keep it.
    std::string digest = {};
    /// Empty in documents of programs that did not keep it.
    LoudnessEnvelope envelope = {};
};

/// How an audio file relates to the recording that a document annotates.
enum class RecordingMatch {
    sameFile,  ///< the same bytes
    sameSound, ///< other bytes, the same sound: encoded, tagged or scaled again
    sameShape, ///< the same rate and length; the document knows no more
    other,
};

/// Frames are the unit of a document, so that only a file of the same rate can match. Lengths may differ by
/// 50 ms or the 3456 frames that encoders add, whichever is more, and envelopes by kSameRecordingDistance.
[[nodiscard]] RecordingMatch match(const Recording& recording, const RecordingFacts& file);

} // namespace tarn
