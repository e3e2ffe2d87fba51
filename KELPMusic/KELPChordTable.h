#pragma once

#include "KELPMusic/KELPChord.h"
#include "Platform/Export.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// What a quality of chord is called in research annotations (after Harte), where it has a name of its own.
struct HarteShorthand {
    std::string_view name; ///< empty where there is none
    /// Whether labels are written with it; otherwise it is only read.
    bool isWritten = true;
};

/// One quality of chord: the suffix that a chart prints after the root, the suffixes that people type, its
/// tones, and its name in annotations. All that is known of a quality is in its row.
struct KELPChordDefinition {
    std::string_view name; ///< UTF-8
    /// In the order in which a search looks at them, the printed one among them; ends at the first absent one
    /// (a view without data; the empty suffix of the major triad is a view of an empty text).
    std::array<std::string_view, 6> alternativeNames;
    KELPChordIntervals intervals;
    HarteShorthand harte = {};

    /// The alternatives without the absent ones after them.
    [[nodiscard]] constexpr std::span<const std::string_view> typedNames() const {
        const auto end = std::find_if(alternativeNames.begin(), alternativeNames.end(),
                                      [](std::string_view text) { return text.data() == nullptr; });
        return {alternativeNames.begin(), end};
    }
};

/// The chord vocabulary in order of growing complexity: triads, sixths and added ninths, sevenths, ninths to
/// thirteenths, altered dominants. No two rows share a name or an interval record; no name begins with an
/// accidental, so that a name after a root reads in one way only.
inline constexpr auto gChords = std::to_array<KELPChordDefinition>({
    // Triads and the power chord
    {"", {"", "maj", "M", "major"}, {0, 4, 7}, {"maj"}},
    {"m", {"m", "min", "-", "minor", "mi"}, {0, 3, 7}, {"min"}},
    {"dim", {"dim", "°", "o", "mb5", "m(b5)"}, {0, 3, 6}, {"dim"}},
    {"aug", {"aug", "+", "(#5)"}, {0, 4, 8}, {"aug"}},
    {"sus2", {"sus2", "(sus2)"}, {0, 2, 7}, {"sus2"}},
    {"sus4", {"sus4", "sus", "(sus4)", "(sus)"}, {0, 5, 7}, {"sus4"}},
    {"5", {"5", "no3", "(no3)"}, {0, 7}, {"5", false}},

    // Sixths and added ninths
    {"6", {"6", "maj6", "M6", "add6", "(add6)"}, {0, 4, 7, 9}, {"maj6"}},
    {"m6", {"m6", "min6", "-6", "minor6", "mi6"}, {0, 3, 7, 9}, {"min6"}},
    {"69", {"69", "maj69", "M69", "6add9", "6(add9)", "6(9)"}, {0, 4, 7, 9, 14}},
    {"m69", {"m69", "min69", "-69", "m6add9", "m6(add9)", "m6(9)"}, {0, 3, 7, 9, 14}},
    {"add9", {"add9", "(add9)", "add2", "(add2)", "majadd9"}, {0, 4, 7, 14}},
    {"m(add9)", {"m(add9)", "madd9", "minadd9", "m(add2)", "madd2", "-add9"}, {0, 3, 7, 14}},

    // Sevenths
    {"7", {"7", "dom7", "dom"}, {0, 4, 7, 10}, {"7"}},
    {"maj7", {"maj7", "M7", "ma7", "Δ7", "Δ", "major7"}, {0, 4, 7, 11}, {"maj7"}},
    {"m7", {"m7", "min7", "-7", "minor7", "mi7"}, {0, 3, 7, 10}, {"min7"}},
    {"m(maj7)", {"m(maj7)", "mmaj7", "mM7", "m(M7)", "minmaj7", "-maj7"}, {0, 3, 7, 11}, {"minmaj7"}},
    {"m7b5", {"m7b5", "m7(b5)", "ø", "ø7", "-7b5", "min7b5"}, {0, 3, 6, 10}, {"hdim7"}},
    {"dim7", {"dim7", "°7", "o7"}, {0, 3, 6, 9}, {"dim7"}},
    {"maj7#5", {"maj7#5", "maj7(#5)", "M7#5", "Δ7#5", "augmaj7", "+maj7"}, {0, 4, 8, 11}},
    {"7sus4", {"7sus4", "7sus", "7(sus4)", "7(sus)"}, {0, 5, 7, 10}},

    // Ninths, elevenths and thirteenths; a major third leaves no room for the eleventh in a thirteenth
    {"9", {"9", "dom9", "7(9)"}, {0, 4, 7, 10, 14}, {"9"}},
    {"maj9", {"maj9", "M9", "ma9", "Δ9", "major9", "maj7(9)"}, {0, 4, 7, 11, 14}, {"maj9"}},
    {"m9", {"m9", "min9", "-9", "minor9", "mi9", "m7(9)"}, {0, 3, 7, 10, 14}, {"min9"}},
    {"9sus4", {"9sus4", "9sus", "9(sus4)", "9(sus)"}, {0, 5, 7, 10, 14}},
    {"11", {"11", "dom11"}, {0, 4, 7, 10, 14, 17}, {"11", false}},
    {"m11", {"m11", "min11", "-11", "minor11", "mi11"}, {0, 3, 7, 10, 14, 17}, {"min11", false}},
    {"maj7#11", {"maj7#11", "maj7(#11)", "M7#11", "Δ7#11"}, {0, 4, 7, 11, 18}},
    {"13", {"13", "dom13", "7(13)"}, {0, 4, 7, 10, 14, 21}, {"13", false}},
    {"maj13", {"maj13", "M13", "ma13", "Δ13", "major13"}, {0, 4, 7, 11, 14, 21}, {"maj13", false}},
    {"m13", {"m13", "min13", "-13", "minor13", "mi13"}, {0, 3, 7, 10, 14, 17, 21}, {"min13", false}},
    {"13sus4", {"13sus4", "13sus", "13(sus4)", "13(sus)"}, {0, 5, 7, 10, 14, 21}},

    // Altered dominants
    {"7b5", {"7b5", "7(b5)", "7-5", "dom7b5"}, {0, 4, 6, 10}},
    {"7#5", {"7#5", "7(#5)", "7+5", "7+", "+7", "aug7"}, {0, 4, 8, 10}, {"aug7", false}},
    {"7b9", {"7b9", "7(b9)", "7-9", "dom7b9"}, {0, 4, 7, 10, 13}},
    {"7#9", {"7#9", "7(#9)", "7+9", "dom7#9"}, {0, 4, 7, 10, 15}},
    {"7#11", {"7#11", "7(#11)", "7+11", "dom7#11"}, {0, 4, 7, 10, 18}},
    {"7b13", {"7b13", "7(b13)", "7-13"}, {0, 4, 7, 10, 20}},
    {"7#5b9", {"7#5b9", "7(#5b9)", "7b9#5", "7(b9#5)", "+7b9", "aug7b9"}, {0, 4, 8, 10, 13}},
    {"9#5", {"9#5", "9(#5)", "9+5", "9+", "+9", "aug9"}, {0, 4, 8, 10, 14}},
    {"9#11", {"9#11", "9(#11)", "9+11"}, {0, 4, 7, 10, 14, 18}},
    {"13b9", {"13b9", "13(b9)", "13-9"}, {0, 4, 7, 10, 13, 21}},
    {"13#11", {"13#11", "13(#11)", "13+11"}, {0, 4, 7, 10, 14, 18, 21}},
    {"7b9sus4", {"7b9sus4", "7b9sus", "7sus4b9", "7sus4(b9)", "7susb9"}, {0, 5, 7, 10, 13}},
    {"7alt", {"7alt", "alt", "7(alt)", "7#5#9", "7#9#5", "7(#5#9)"}, {0, 4, 8, 10, 15}},
});

inline constexpr std::size_t kNumberOfChordDefinitions = gChords.size();

} // namespace tarn
