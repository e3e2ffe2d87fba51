#pragma once

#include "Platform/Export.h"
#include "PracticePage/LoopedSound.h"
#include "PracticePage/TimeStretch.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A part of a stream during which the song moves on evenly.
struct SoundSegment {
    std::int64_t sample = 0;    ///< of the block, at which it begins
    double songFrame = 0;       ///< which sounds there
    double framesPerSample = 1; ///< frames of the song that pass with each sample
};

struct SoundBlock {
    std::vector<std::int16_t> samples; ///< channels by turns
    std::vector<SoundSegment> segments;
    bool isLast = false; ///< which may be shorter, or empty
};

/// The practice sound of a passage in blocks of one size, from the first to the last.
class SoundStream {
public:
    SoundStream(std::unique_ptr<AudioReader> reader, const PlayedPassage& passage, const SoundChange& change,
                int outputRate);

    [[nodiscard]] int sampleRate() const { return mOutputRate; }
    [[nodiscard]] int channelCount() const { return mSound.channelCount(); }
    /// Frames in a block: about a sixth of a second.
    [[nodiscard]] std::size_t blockFrames() const { return mBlockFrames; }

    /// The block of that number: the next one, or the one before again. Nothing for any other.
    [[nodiscard]] const SoundBlock* block(std::int64_t number);

private:
    SoundBlock makeBlock();
    [[nodiscard]] std::vector<SoundSegment> segments(std::int64_t from, std::int64_t to) const;

    LoopedSound mSound;
    const int mOutputRate;
    const std::size_t mBlockFrames;
    TimeStretch mStretch;
    std::int64_t mNextBlock = 0;
    std::int64_t mNextSample = 0;
    SoundBlock mBlock;
};

} // namespace tarn
