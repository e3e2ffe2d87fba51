#pragma once

#include "AnalysisEngine/AudioReader.h"
#include "Platform/Export.h"
#include "Platform/Range.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace TARN_PUBLIC tarn {

/// What is played of a recording, one frame after the other.
struct PlayedPassage {
    std::int64_t from = 0; ///< frame of the recording
    /// Played again and again as soon as its end is reached. Nothing: no loop.
    std::optional<Range<std::int64_t>> loop = {};
    std::optional<std::int64_t> to =
        {}; ///< where the sound ends without a loop; the recording's end at the latest
};

/// The sound of a passage at the recording's own rate, read in blocks. Where a loop returns, its last
/// milliseconds fade into those before its start: without a gap, and each round as long as the loop.
class LoopedSound {
public:
    static constexpr double kFadeSeconds = 0.005;
    /// Shorter loops are not played.
    static constexpr double kShortestLoop = 0.05; // seconds

    LoopedSound(std::unique_ptr<AudioReader> reader, const PlayedPassage& passage);

    [[nodiscard]] int sampleRate() const { return mReader->sampleRate(); }
    [[nodiscard]] int channelCount() const { return mReader->outputChannelCount(); }

    /// Where the recording stands at a frame of the sound: from there on both move on together.
    struct Turn {
        std::int64_t soundFrame = 0;
        std::int64_t songFrame = 0;
    };
    /// All so far, the start first.
    [[nodiscard]] const std::vector<Turn>& turns() const { return mTurns; }

    /// The next frames, channels by turns; a few thousand at most, none after the end.
    std::vector<float> next();

private:
    void seek(std::int64_t songFrame);
    /// Up to so many frames; none at the recording's end.
    std::vector<float> read(std::int64_t frames);
    /// So many, silent after the recording's end.
    std::vector<float> readAll(std::int64_t frames);
    std::vector<float> returnToStart();

    std::unique_ptr<AudioReader> mReader;
    PlayedPassage mPassage;
    std::int64_t mFrame;          ///< of the recording, at which the next block begins
    std::int64_t mSoundFrame = 0; ///< the same of the sound
    std::vector<float> mLeft;     ///< of a block that was read, what comes next
    std::vector<Turn> mTurns;
};

} // namespace tarn
