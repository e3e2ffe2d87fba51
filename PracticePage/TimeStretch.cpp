#include "PracticePage/TimeStretch.h"

#include <SoundTouch.h>
#include <algorithm>
#include <cmath>

namespace tarn {

static_assert(std::is_same_v<soundtouch::SAMPLETYPE, float>);

class TimeStretch::Engine {
public:
    soundtouch::SoundTouch touch;
    std::int64_t putFrames = 0;
    std::int64_t takenFrames = 0;
    bool hasEnded = false;
};

TimeStretch::TimeStretch(int inputRate, int outputRate, int channelCount, const SoundChange& change)
    : mInputPerOutput(change.speed * inputRate / outputRate),
      mChannels(static_cast<std::size_t>(channelCount)) {
    if (change.isNone() && inputRate == outputRate)
        return;
    mEngine = std::make_unique<Engine>();
    auto& touch = mEngine->touch;
    touch.setSampleRate(static_cast<unsigned>(inputRate));
    touch.setChannels(static_cast<unsigned>(channelCount));
    touch.setTempo(change.speed);
    touch.setPitchSemiTones(change.semitones);
    touch.setRate(static_cast<double>(inputRate) / outputRate);
}

TimeStretch::~TimeStretch() = default;

void TimeStretch::put(std::span<const float> block) {
    if (!mEngine) {
        mReady.insert(mReady.end(), block.begin(), block.end());
        return;
    }
    const auto frames = static_cast<unsigned>(block.size() / mChannels);
    mEngine->touch.putSamples(block.data(), frames);
    mEngine->putFrames += frames;
}

void TimeStretch::end() {
    if (!mEngine || mEngine->hasEnded)
        return;
    mEngine->touch.flush();
    mEngine->hasEnded = true;
}

std::vector<float> TimeStretch::take(std::size_t frames) {
    std::vector<float> taken;
    if (!mEngine) {
        taken.assign(mReady.begin(), mReady.begin() + static_cast<std::ptrdiff_t>(
                                                          std::min(frames * mChannels, mReady.size())));
        mReady.erase(mReady.begin(), mReady.begin() + static_cast<std::ptrdiff_t>(taken.size()));
        return taken;
    }
    if (mEngine->hasEnded) { // what was put in to get the last out is left out
        const auto length = static_cast<std::int64_t>(
            std::llround(static_cast<double>(mEngine->putFrames) / mInputPerOutput));
        frames = static_cast<std::size_t>(
            std::clamp<std::int64_t>(length - mEngine->takenFrames, 0, static_cast<std::int64_t>(frames)));
    }
    taken.resize(frames * mChannels);
    const unsigned received = mEngine->touch.receiveSamples(taken.data(), static_cast<unsigned>(frames));
    taken.resize(received * mChannels);
    mEngine->takenFrames += received;
    return taken;
}

} // namespace tarn
