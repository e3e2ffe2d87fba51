#pragma once

#include "Platform/Export.h"

#include <algorithm>
#include <string>

namespace TARN_PUBLIC tarn {

/// What a musician says of a song as a whole.
struct SongProperties {
    static constexpr int kHighestCapo = 24;
    static constexpr int kFarthestTransposition = 24;

    std::string title;  ///< UTF-8; empty where nothing is said
    std::string artist; ///< the same
    int capo = 0;       ///< the fret at which the capo sits, 0 (none) to kHighestCapo
    /// Semitones by which the song is played higher than it sounds on the recording, at most
    /// kFarthestTransposition up or down.
    int transposition = 0;

    /// By how many semitones chords are written higher in charts than they sound on the recording: what is
    /// fingered above a capo is that much lower than what sounds. Values beyond the limits count as the
    /// limits.
    [[nodiscard]] int chartShift() const {
        return std::clamp(transposition, -kFarthestTransposition, kFarthestTransposition) -
               std::clamp(capo, 0, kHighestCapo);
    }
    [[nodiscard]] bool areWithinLimits() const {
        return capo >= 0 && capo <= kHighestCapo && transposition >= -kFarthestTransposition &&
               transposition <= kFarthestTransposition;
    }

    friend bool operator==(const SongProperties&, const SongProperties&) = default;
};

} // namespace tarn
