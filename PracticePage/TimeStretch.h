#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// How a sound is changed for practising.
struct SoundChange {
    double speed = 1;     ///< 0.25 to 2; the pitch stays
    double semitones = 0; ///< -24 to 24, broken ones too; the speed stays

    [[nodiscard]] bool isNone() const { return speed == 1 && semitones == 0; }
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
    class Engine;
    double mInputPerOutput;
    std::unique_ptr<Engine> mEngine; ///< null where nothing is changed
    std::vector<float> mReady;
    std::size_t mChannels;
};

} // namespace tarn
