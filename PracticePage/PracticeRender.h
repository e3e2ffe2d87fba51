#pragma once

#include "Platform/Export.h"
#include "PracticePage/PracticeRecording.h"
#include "PracticePage/TimeStretch.h"
#include "Song/Song.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>

namespace TARN_PUBLIC tarn {

/// The practice sound of a song as a file has it.
struct PracticeRender {
    SoundChange change;
    std::int64_t from = 0; ///< frames of the recording
    std::int64_t to = 0;
    bool hasClick = false; ///< on each counted beat, bar lines accented
    int countInBars = 0;   ///< clicks before the sound
};

/// Writes it as a WAV file of 16 bits and returns its length in frames. Throws std::runtime_error for more
/// than such a file can hold.
std::int64_t writePracticeSound(std::ostream& out, const Song& song, std::unique_ptr<AudioReader> reader,
                                const PracticeRender& render);

} // namespace tarn
