#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// How a sound is changed for practising.
struct SoundChange {
    double speed = 1;     ///< 0.25 to 2; the pitch stays
    double semitones = 0; ///< -24 to 24, broken ones too; the speed stays
};

/// Plays a sound faster, slower, higher or lower, and at another rate, block by block.
class TimeStretch {
public:
    TimeStretch(int inputRate, int outputRate, int channelCount, const SoundChange& change);
    ~TimeStretch();
    TimeStretch(const TimeStretch&) = delete;
    TimeStretch& operator=(const TimeStretch&) = delete;

    /// Frames of the input that pass with each frame of the output.
    [[nodiscard]] double inputPerOutput() const { return mInputPerOutput; }

    /// The next of the input, channels by turns.
    void put(std::span<const float> block);
    /// No more input follows.
    void end();
    /// Up to so many frames of the output that are ready.
    [[nodiscard]] std::vector<float> take(std::size_t frames);

private:
    class Resampling;
    class Stretching;
    void pass(bool isLast);

    const double mInputPerOutput;
    const std::size_t mChannels;
    std::unique_ptr<Stretching> mStretching; ///< null where the length stays
    std::unique_ptr<Resampling> mResampling; ///< null where the rate stays
    std::vector<float> mStretched;
    std::vector<float> mReady;
};

} // namespace tarn
