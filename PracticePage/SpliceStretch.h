#pragma once

#include "Platform/Export.h"
#include "PracticePage/OnsetDetector.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Makes a sound longer or shorter at its pitch, in a stream: it is played as it is, and every now and then
/// continued a little earlier or later, where it looks most alike (in the manner of WSOLA, Verhelst and
/// Roelands, ICASSP 1993). What begins suddenly is played exactly when it is due, once, and whole: splices
/// lie between such onsets, never across them.
class SpliceStretch {
public:
    /// `speed` is 1/16 to 8: frames of the input that pass with each frame of the output.
    SpliceStretch(int sampleRate, int channelCount, double speed);

    /// The next of the input, channels by turns.
    void put(std::span<const float> block);
    /// No more input follows.
    void end() { mHasEnded = true; }
    /// Appends all that is ready to the output.
    void takeInto(std::vector<float>& output);

private:
    /// An onset that is to come, and the frame of the output at which it is due.
    struct Goal {
        std::int64_t input;
        std::int64_t output;
        [[nodiscard]] std::int64_t offset() const { return input - output; }
    };

    [[nodiscard]] std::int64_t frames(double seconds) const;
    [[nodiscard]] std::int64_t inputAt(std::int64_t output, std::int64_t offset) const {
        return output + offset;
    }
    [[nodiscard]] std::int64_t inputEnd() const;
    [[nodiscard]] bool hasEnough() const;
    [[nodiscard]] std::optional<Goal> goal() const;
    /// Whether the sound goes on towards the goal without a splice.
    bool approach(const Goal& goal);
    void spliceWhereNeeded(const std::optional<Goal>& goal);
    /// How alike the sounds from two frames of the input on are, -1 to 1.
    [[nodiscard]] double likeness(std::int64_t a, std::int64_t b) const;
    void startSplice(std::int64_t offset);
    void play(std::vector<float>& output, std::int64_t count);
    [[nodiscard]] float sample(std::int64_t frame, std::size_t channel) const;
    void forgetWhatIsPast();

    const int mSampleRate;
    const std::size_t mChannels;
    const double mSpeed;
    std::vector<float> mInput;    ///< channels by turns
    std::vector<float> mMixed;    ///< the same as one channel
    std::int64_t mInputStart = 0; ///< the frame at which they begin
    bool mHasEnded = false;
    OnsetDetector mOnsets;
    std::int64_t mOutput = 0;              ///< the frame that is played next
    std::int64_t mOffset = 0;              ///< input less output
    std::int64_t mFormerOffset = 0;        ///< that fades out
    std::int64_t mFadeLeft = 0;            ///< frames
    std::optional<std::int64_t> mSpliceAt; ///< towards the goal: the output's frame
};

} // namespace tarn
