#include "PracticePage/LoopedSound.h"

#include <algorithm>
#include <limits>

namespace tarn {

LoopedSound::LoopedSound(std::unique_ptr<AudioReader> reader, const PlayedPassage& passage)
    : mReader(std::move(reader)), mPassage(passage), mFrame(passage.from) {
    go(passage.from);
}

void LoopedSound::go(std::int64_t songFrame) {
    mLeft.clear();
    mFrame = songFrame;
    mTurns.push_back({mSoundFrame, songFrame});
    (void)mReader->seek(songFrame); // where it does not go, the sound has ended
}

/// As many frames as there are, up to that number.
std::vector<float> LoopedSound::read(std::int64_t frames) {
    const auto channels = static_cast<std::size_t>(channelCount());
    const std::size_t wanted = static_cast<std::size_t>(std::max<std::int64_t>(frames, 0)) * channels;
    if (mLeft.empty()) {
        const auto block = mReader->nextBlock();
        mLeft.assign(block.begin(), block.end());
    }
    const std::size_t taken = std::min(wanted, mLeft.size());
    std::vector<float> result(mLeft.begin(), mLeft.begin() + static_cast<std::ptrdiff_t>(taken));
    mLeft.erase(mLeft.begin(), mLeft.begin() + static_cast<std::ptrdiff_t>(taken));
    mFrame += static_cast<std::int64_t>(taken / channels);
    return result;
}

std::vector<float> LoopedSound::next() {
    const auto channels = static_cast<std::size_t>(channelCount());
    const auto& loop = mPassage.loop;
    const bool isBeforeLoopEnd = loop && mFrame < loop->upper;
    if (loop && mFrame == loop->upper) {
        const auto fade = static_cast<std::int64_t>(kFadeSeconds * sampleRate());
        mFading.clear();
        while (static_cast<std::int64_t>(mFading.size() / channels) < fade) {
            const auto more = read(fade - static_cast<std::int64_t>(mFading.size() / channels));
            if (more.empty())
                break;
            mFading.insert(mFading.end(), more.begin(), more.end());
        }
        mFading.resize(static_cast<std::size_t>(fade) * channels);
        go(loop->lower);
        return next();
    }
    const std::int64_t end = isBeforeLoopEnd ? loop->upper
                             : loop          ? std::numeric_limits<std::int64_t>::max()
                                             : mPassage.to.value_or(std::numeric_limits<std::int64_t>::max());
    auto block = read(end - mFrame);
    if (block.empty() && isBeforeLoopEnd && mFrame > loop->lower) {
        mPassage.loop = Range(loop->lower, mFrame); // the recording ends before the loop does
        return next();
    }
    const auto faded = std::min(block.size(), mFading.size());
    const auto whole = static_cast<float>(kFadeSeconds * sampleRate());
    for (std::size_t i = 0; i < faded; ++i) {
        const auto before = static_cast<float>((mFading.size() - i + channels - 1) / channels);
        const float share = std::clamp(before / whole, 0.0f, 1.0f);
        block[i] = block[i] * (1 - share) + mFading[i] * share;
    }
    mFading.erase(mFading.begin(), mFading.begin() + static_cast<std::ptrdiff_t>(faded));
    mSoundFrame += static_cast<std::int64_t>(block.size() / channels);
    return block;
}

} // namespace tarn
