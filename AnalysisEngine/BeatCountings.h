// The ways in which the beats of a song could be counted, and what is heard at and between the beats of each.
#pragma once

#include "AnalysisEngine/BeatFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <vector>

namespace TARN_PUBLIC tarn {

/// What is heard at a place of the song. All are square roots, so that loud places don't outweigh all others.
enum Aspect : std::size_t {
    accent,  ///< how strongly notes begin
    bass,    ///< the same below 130 Hz
    treble,  ///< the same above 1600 Hz: snare drum and cymbals
    harmony, ///< how much the sounding pitches change
    aspectCount
};
using Aspects = std::array<float, aspectCount>;

/// A series of beats that somebody might tap along with a song, or of eighths that he might count.
struct BeatCounting {
    /// Twelfths of a beat: they have halves, thirds, quarters, and the late off-beats of a swung rhythm.
    static constexpr std::size_t kPlaces = 12;
    /// Of these, how many are halves or thirds.
    static constexpr std::size_t kHarmonyPlaces = 4;
    static constexpr std::size_t kLongestLag = 16;

    /// Whether they are slow enough for beats, and whether they could be the eighths of bars with an odd
    /// number of these.
    [[nodiscard]] bool mayBeBeats() const { return isBeat(period); }
    [[nodiscard]] bool mayBeEighths() const { return isEighth(period) && !isOffPulse; }
    static constexpr bool isBeat(double seconds) { return seconds >= 0.24 && seconds <= 1.65; }
    static constexpr bool isEighth(double seconds) { return seconds >= 0.13 && seconds <= 0.32; }

    double period = 0;         ///< Seconds between beats, in the median.
    double unevenness = 0;     ///< Mean relative change from an interval to the next.
    bool isOffPulse = false;   ///< The beats lie between the pulses that were tracked.
    std::vector<double> beats; ///< Ascending times in flux frames.

    /// At each beat, relative to the mean over the beats, 4 at most.
    std::vector<Aspects> heard;
    Aspects mean{};
    /// Means at each place between a beat and the next. Harmony is only there at halves and thirds.
    std::array<Aspects, kPlaces> profile{};

    /// How much beats are like those so many beats before, -1 to 1: in what is heard within them, and in the
    /// pitches that sound. Lag 0 isn't used.
    std::array<float, kLongestLag + 1> rhythmLikeness{}, harmonyLikeness{};
};

/// The pulses of each level (trackPulses) taken one, two, three or four to the beat, from each pulse that may
/// come first; single pulses also from the places between them. Those too slow or too fast to be counted are
/// left out.
std::vector<BeatCounting> beatCountings(const BeatFeatures& features, const std::vector<float>& strength,
                                        const std::vector<std::vector<double>>& levels,
                                        const StageMonitor& monitor);

} // namespace tarn
