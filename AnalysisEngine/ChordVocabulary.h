// The chords that the engine tells apart, as roots and sets of intervals, and the codes that label them in
// ranked candidates: root * 15 + quality for root 0 (C) to 11 (B), and 180 for no chord.
#pragma once

#include "KELPMusic/KELPChordTable.h"
#include "Platform/Export.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace TARN_PUBLIC tarn {

struct ChordQuality {
    const KELPChordDefinition* definition; ///< its row of the chord table
    /// Semitones above the root; -1 where the chord has but three notes.
    std::array<int, 4> intervals;

    constexpr bool contains(int interval) const {
        return intervals[0] == interval || intervals[1] == interval || intervals[2] == interval ||
               intervals[3] == interval;
    }
};

/// The row of the chord table with that printed name. A name that the table lacks does not compile, nor does
/// a chord of other than three or four notes.
constexpr ChordQuality chordQualityNamed(std::string_view name) {
    const auto row = std::find_if(gChords.begin(), gChords.end(),
                                  [&](const KELPChordDefinition& chord) { return chord.name == name; });
    const KELPChordIntervals& record = row->intervals;
    if (record[2] == 0 || record[4] != 0)
        throw "A chord that is recognised has three or four notes";
    return {&*row, {record[0], record[1], record[2], record[3] == 0 ? -1 : record[3]}};
}

/// The order is that of the learned parameters (ChordModelParameters.h).
inline constexpr std::array kChordQualities{
    chordQualityNamed(""),     chordQualityNamed("m"),    chordQualityNamed("dim"),
    chordQualityNamed("aug"),  chordQualityNamed("sus2"), chordQualityNamed("sus4"),
    chordQualityNamed("6"),    chordQualityNamed("m6"),   chordQualityNamed("7"),
    chordQualityNamed("maj7"), chordQualityNamed("m7"),   chordQualityNamed("m(maj7)"),
    chordQualityNamed("dim7"), chordQualityNamed("m7b5"), chordQualityNamed("7sus4")};

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
