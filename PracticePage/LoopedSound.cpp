#include "PracticePage/LoopedSound.h"

#include <algorithm>
#include <limits>

namespace tarn {

LoopedSound::LoopedSound(std::unique_ptr<AudioReader> reader, const PlayedPassage& passage)
    : mReader(std::move(reader)), mPassage(passage), mFrame(passage.from) {
    seek(passage.from);
    mTurns.push_back({0, passage.from});
}

void LoopedSound::seek(std::int64_t songFrame) {
    mLeft.clear();
    mFrame = songFrame;
    (void)mReader->seek(songFrame); // where it does not go, the sound has ended
}

std::vector<float> LoopedSound::read(std::int64_t frames) {
    const auto channels = static_cast<std::size_t>(channelCount());
    if (mLeft.empty()) {
        const auto block = mReader->nextBlock();
        mLeft.assign(block.begin(), block.end());
    }
    const auto taken = static_cast<std::ptrdiff_t>(
        std::min(static_cast<std::size_t>(std::max<std::int64_t>(frames, 0)) * channels, mLeft.size()));
    std::vector<float> result(mLeft.begin(), mLeft.begin() + taken);
    mLeft.erase(mLeft.begin(), mLeft.begin() + taken);
    mFrame += taken / channelCount();
    return result;
}

std::vector<float> LoopedSound::readAll(std::int64_t frames) {
    std::vector<float> result;
    const auto wanted = static_cast<std::size_t>(frames * channelCount());
    while (result.size() < wanted) {
        const auto more = read((static_cast<std::int64_t>(wanted - result.size())) / channelCount());
        if (more.empty())
            break;
        result.insert(result.end(), more.begin(), more.end());
    }
    result.resize(wanted);
    return result;
}

/// The end of a round: it fades out while what lies before the loop's start fades in, so that the start is
/// heard whole.
std::vector<float> LoopedSound::returnToStart() {
    const auto& loop = *mPassage.loop;
    const std::int64_t length = loop.upper - mFrame;
    auto ending = readAll(length);
    const std::int64_t before = std::min(length, loop.lower);
    seek(loop.lower - before);
    const auto beginning = readAll(before);
    const std::size_t silent = ending.size() - beginning.size();
    for (std::size_t i = 0; i < ending.size(); ++i) {
        const float share = static_cast<float>(i) / static_cast<float>(ending.size());
        ending[i] = ending[i] * (1 - share) + (i < silent ? 0 : beginning[i - silent] * share);
    }
    mTurns.push_back({mSoundFrame + length, loop.lower});
    return ending;
}

std::vector<float> LoopedSound::next() {
    constexpr auto kNoEnd = std::numeric_limits<std::int64_t>::max();
    const bool isInLoop = mPassage.loop && mFrame < mPassage.loop->upper;
    const auto fade = static_cast<std::int64_t>(kFadeSeconds * sampleRate());
    const std::int64_t end = isInLoop        ? mPassage.loop->upper - fade
                             : mPassage.loop ? kNoEnd
                                             : mPassage.to.value_or(kNoEnd);
    std::vector<float> block;
    if (isInLoop && mFrame >= end)
        block = returnToStart();
    else
        block = read(end - mFrame);
    if (block.empty() && isInLoop && mFrame > mPassage.loop->lower + 2 * fade) {
        mPassage.loop = Range(mPassage.loop->lower, mFrame); // the recording ends before the loop does
        (void)returnToStart();                               // at once
        block = read(mPassage.loop->upper - fade - mFrame);
    }
    mSoundFrame += static_cast<std::int64_t>(block.size()) / channelCount();
    return block;
}

} // namespace tarn
