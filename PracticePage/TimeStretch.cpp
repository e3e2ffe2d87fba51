#include "PracticePage/TimeStretch.h"

#include "Platform/FatalError.h"
#include "PracticePage/SpliceStretch.h"

#include <algorithm>
#include <cmath>
#include <soxr.h>

namespace tarn {

class TimeStretch::Stretching : public SpliceStretch {
    using SpliceStretch::SpliceStretch;
};

/// Of all channels, by a fixed ratio.
class TimeStretch::Resampling {
public:
    Resampling(double inputRate, double outputRate, std::size_t channelCount) : mChannels(channelCount) {
        const soxr_io_spec_t floats = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_MQ, 0);
        soxr_error_t error = nullptr;
        mState = soxr_create(inputRate, outputRate, static_cast<unsigned>(channelCount), &error, &floats,
                             &quality, nullptr);
        precondition(mState && !error, "The resampler could not be created");
    }
    ~Resampling() { soxr_delete(mState); }
    Resampling(const Resampling&) = delete;
    Resampling& operator=(const Resampling&) = delete;

    void process(std::span<const float> input, bool isLast, std::vector<float>& output) {
        const std::size_t frames = input.size() / mChannels;
        for (std::size_t done = 0; done < frames;)
            done += convert(input.data() + done * mChannels, frames - done, output).consumed;
        while (isLast && convert(nullptr, 0, output).produced > 0) {
        }
    }

private:
    struct Converted {
        std::size_t consumed = 0;
        std::size_t produced = 0;
    };
    Converted convert(const float* input, std::size_t frames, std::vector<float>& output) {
        constexpr std::size_t kRoom = 4096;
        const std::size_t filled = output.size();
        output.resize(filled + kRoom * mChannels);
        Converted converted;
        const auto error = soxr_process(mState, input, frames, &converted.consumed, output.data() + filled,
                                        kRoom, &converted.produced);
        precondition(!error, "The resampler failed");
        output.resize(filled + converted.produced * mChannels);
        return converted;
    }

    const std::size_t mChannels;
    soxr_t mState;
};

TimeStretch::TimeStretch(int inputRate, int outputRate, int channelCount, const SoundChange& change)
    : mInputPerOutput(change.speed * inputRate / outputRate),
      mChannels(static_cast<std::size_t>(channelCount)) {
    // A higher pitch: the sound is made longer, and then played faster.
    const double higher = std::exp2(change.semitones / 12);
    if (change.speed != higher)
        mStretching = std::make_unique<Stretching>(inputRate, channelCount, change.speed / higher);
    if (higher != 1 || inputRate != outputRate)
        mResampling = std::make_unique<Resampling>(inputRate * higher, outputRate, mChannels);
}

TimeStretch::~TimeStretch() = default;

void TimeStretch::put(std::span<const float> block) {
    if (mStretching)
        mStretching->put(block);
    else
        mStretched.insert(mStretched.end(), block.begin(), block.end());
    pass(false);
}

void TimeStretch::end() {
    if (mStretching)
        mStretching->end();
    pass(true);
}

void TimeStretch::pass(bool isLast) {
    if (mStretching)
        mStretching->takeInto(mStretched);
    if (mResampling)
        mResampling->process(mStretched, isLast, mReady);
    else
        mReady.insert(mReady.end(), mStretched.begin(), mStretched.end());
    mStretched.clear();
}

std::vector<float> TimeStretch::take(std::size_t frames) {
    const auto count = static_cast<std::ptrdiff_t>(std::min(frames * mChannels, mReady.size()));
    std::vector<float> taken(mReady.begin(), mReady.begin() + count);
    mReady.erase(mReady.begin(), mReady.begin() + count);
    return taken;
}

} // namespace tarn
