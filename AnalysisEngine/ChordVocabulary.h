// The chords that the engine tells apart, as roots and sets of intervals, and the codes that label them in
// ranked candidates: root * 20 + quality for root 0 (C) to 11 (B), and 240 for no chord.
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
    /// Semitones above the root, within an octave; -1 where the chord has fewer than five notes.
    std::array<int, 5> intervals;

    constexpr bool contains(int interval) const {
        return std::find(intervals.begin(), intervals.end(), interval) != intervals.end();
    }
};

/// The row of the chord table with that printed name. A name that the table lacks does not compile, nor does
/// a chord of more than five notes.
constexpr ChordQuality chordQualityNamed(std::string_view name) {
    const auto row = std::find_if(gChords.begin(), gChords.end(),
                                  [&](const KELPChordDefinition& chord) { return chord.name == name; });
    const KELPChordIntervals& record = row->intervals;
    if (record[5] != 0)
        throw "A chord that is recognised has at most five notes";
    ChordQuality quality{&*row, {0, -1, -1, -1, -1}};
    for (std::size_t note = 1; note < quality.intervals.size(); ++note) {
        if (record[note] != 0)
            quality.intervals[note] = record[note] % 12;
    }
    return quality;
}

/// The order is that of the learned parameters (ChordModelParameters.h).
inline constexpr std::array kChordQualities{
    chordQualityNamed(""),     chordQualityNamed("m"),    chordQualityNamed("dim"),
    chordQualityNamed("aug"),  chordQualityNamed("sus2"), chordQualityNamed("sus4"),
    chordQualityNamed("6"),    chordQualityNamed("m6"),   chordQualityNamed("7"),
    chordQualityNamed("maj7"), chordQualityNamed("m7"),   chordQualityNamed("m(maj7)"),
    chordQualityNamed("dim7"), chordQualityNamed("m7b5"), chordQualityNamed("7sus4"),
    chordQualityNamed("5"),    chordQualityNamed("add9"), chordQualityNamed("9"),
    chordQualityNamed("maj9"), chordQualityNamed("m9")};

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

/// What a chord tells of the key, beside its root: its third, and what makes it a dominant or a diminished
/// chord.
enum class ChordFamily : std::size_t { major, dominant, minor, diminished, neither };
inline constexpr std::size_t kChordFamilyCount = 5;

constexpr ChordFamily familyOf(const ChordQuality& quality) {
    if (quality.contains(4))
        return quality.contains(10) ? ChordFamily::dominant : ChordFamily::major;
    if (quality.contains(3))
        return quality.contains(6) ? ChordFamily::diminished : ChordFamily::minor;
    return ChordFamily::neither;
}

} // namespace tarn
