// The chords that the engine tells apart, as roots and sets of intervals, and the codes that label them in
// ranked candidates: root * 15 + quality for root 0 (C) to 11 (B), and 180 for no chord.
#pragma once

#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace TARN_PUBLIC tarn {

struct ChordQuality {
    const char* suffix; ///< what follows the root in a chord's name
    /// Semitones above the root; -1 where the chord has but three notes.
    std::array<int, 4> intervals;

    constexpr bool contains(int interval) const {
        return intervals[0] == interval || intervals[1] == interval || intervals[2] == interval ||
               intervals[3] == interval;
    }
};

inline constexpr std::array<ChordQuality, 15> kChordQualities{{
    {"", {0, 4, 7, -1}},
    {"m", {0, 3, 7, -1}},
    {"dim", {0, 3, 6, -1}},
    {"aug", {0, 4, 8, -1}},
    {"sus2", {0, 2, 7, -1}},
    {"sus4", {0, 5, 7, -1}},
    {"6", {0, 4, 7, 9}},
    {"m6", {0, 3, 7, 9}},
    {"7", {0, 4, 7, 10}},
    {"maj7", {0, 4, 7, 11}},
    {"m7", {0, 3, 7, 10}},
    {"m(maj7)", {0, 3, 7, 11}},
    {"dim7", {0, 3, 6, 9}},
    {"m7b5", {0, 3, 6, 10}},
    {"7sus4", {0, 5, 7, 10}},
}};

using ChordLabel = std::uint8_t;

inline constexpr std::size_t kChordQualityCount = kChordQualities.size();
inline constexpr ChordLabel kNoChordLabel = 12 * kChordQualityCount;
inline constexpr std::size_t kChordLabelCount = kNoChordLabel + 1;

constexpr ChordLabel chordLabel(int root, std::size_t quality) {
    return static_cast<ChordLabel>(static_cast<std::size_t>(root) * kChordQualityCount + quality);
}

/// Both are for labels other than kNoChordLabel.
constexpr int rootOf(ChordLabel label) {
    return static_cast<int>(label / kChordQualityCount);
}
constexpr const ChordQuality& qualityOf(ChordLabel label) {
    return kChordQualities[label % kChordQualityCount];
}

/// What a chord tells of the key, beside its root, is its third.
inline constexpr std::size_t kChordFamilyCount = 3;

/// 0 with a major third, 1 with a minor one, 2 with none.
constexpr std::size_t familyOf(const ChordQuality& quality) {
    return quality.contains(4) ? 0 : quality.contains(3) ? 1 : 2;
}

} // namespace tarn
