#include "PracticePage/SoundStream.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tarn {
namespace {

std::int16_t quantized(float sample) {
    constexpr float kFullScale = 32767;
    return static_cast<std::int16_t>(std::lround(std::clamp(sample, -1.0f, 1.0f) * kFullScale));
}

} // namespace

SoundStream::SoundStream(std::unique_ptr<AudioReader> reader, const PlayedPassage& passage,
                         const SoundChange& change, int outputRate)
    : mSound(std::move(reader), passage), mOutputRate(outputRate),
      mBlockFrames(std::bit_ceil(static_cast<std::size_t>(outputRate) / 6)),
      mStretch(mSound.sampleRate(), outputRate, mSound.channelCount(), change) {}

const SoundBlock* SoundStream::block(std::int64_t number) {
    if (number == mNextBlock && !mBlock.isLast) {
        mBlock = makeBlock();
        ++mNextBlock;
    } else if (number != mNextBlock - 1) {
        return nullptr;
    }
    return &mBlock;
}

SoundBlock SoundStream::makeBlock() {
    SoundBlock block;
    const std::size_t wanted = mBlockFrames * static_cast<std::size_t>(channelCount());
    bool hasEnded = false;
    while (block.samples.size() < wanted) {
        const auto taken =
            mStretch.take((wanted - block.samples.size()) / static_cast<std::size_t>(channelCount()));
        std::ranges::transform(taken, std::back_inserter(block.samples), quantized);
        if (!taken.empty())
            continue;
        if (hasEnded) {
            block.isLast = true;
            break;
        }
        const auto sound = mSound.next();
        hasEnded = sound.empty();
        if (hasEnded)
            mStretch.end();
        else
            mStretch.put(sound);
    }
    const auto frames = static_cast<std::int64_t>(block.samples.size()) / channelCount();
    block.segments = segments(mNextSample, mNextSample + frames);
    mNextSample += frames;
    return block;
}

std::vector<SoundSegment> SoundStream::segments(std::int64_t from, std::int64_t to) const {
    const double perSample = mStretch.inputPerOutput();
    const auto firstSampleOf = [perSample](const LoopedSound::Turn& turn) {
        return static_cast<std::int64_t>(std::ceil(static_cast<double>(turn.soundFrame) / perSample));
    };
    const auto& turns = mSound.turns();
    std::vector<SoundSegment> result;
    for (std::size_t i = 0; i < turns.size(); ++i) {
        const bool hasEnded = i + 1 < turns.size() && firstSampleOf(turns[i + 1]) <= from;
        const std::int64_t sample = std::max(firstSampleOf(turns[i]), from);
        if (hasEnded || (sample >= to && !result.empty()))
            continue;
        const double passed =
            static_cast<double>(sample) * perSample - static_cast<double>(turns[i].soundFrame);
        result.push_back({sample - from, static_cast<double>(turns[i].songFrame) + passed, perSample});
    }
    return result;
}

} // namespace tarn
