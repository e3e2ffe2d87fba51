#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tarn {

/// How loud a recording is over time, coarsely: enough to tell a recording that was encoded, tagged or scaled
/// again from another one, and too little to hear anything of it. Stretches of equal length, the last one
/// shorter; each has a level for each of a few bands of a third of an octave.
struct LoudnessEnvelope {
    static constexpr std::size_t kBandCount = 18;
    static constexpr double kLowestBandCentre = 125; ///< Hz; the others follow a third of an octave apart
    /// Recordings with more stretches of one second than that have longer ones, each time twice as long.
    static constexpr std::size_t kMaximumStretchCount = 1024;
    static constexpr std::int8_t kFloor = -60; ///< decibels; also the level of silence

    int stretchSeconds = 1; ///< a power of two
    /// kBandCount levels for each stretch in order of time: decibels over the mean power of the recording in
    /// all bands together, between kFloor and 60.
    std::vector<std::int8_t> levels;

    [[nodiscard]] bool isEmpty() const { return levels.empty(); }
    [[nodiscard]] std::size_t stretchCount() const { return levels.size() / kBandCount; }

    /// With stretches twice as long: the mean power of each two. The last one stands alone in an odd number.
    [[nodiscard]] LoudnessEnvelope coarser() const;

    friend bool operator==(const LoudnessEnvelope&, const LoudnessEnvelope&) = default;
};

/// The mean distance of the levels in decibels, over what is heard: a level of less than 40 dB below the mean
/// counts as that quiet, because lossy encoders change it, and where both are that quiet nothing counts.
/// Nothing when one is empty or the lengths differ by more than one stretch.
[[nodiscard]] std::optional<double> distance(const LoudnessEnvelope& a, const LoudnessEnvelope& b);

/// Decibels of distance up to which two recordings of one length are the same one. Encoding a song again with
/// the usual lossy codecs at 64 kbit/s and more moves it by 0.1 to 0.4, another mix, another song or the same
/// one a semitone higher by 1.6 and more.
inline constexpr double kSameRecordingDistance = 1;

} // namespace tarn
