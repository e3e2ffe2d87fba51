#pragma once

#include "KELPMusic/KELPChord.h"
#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace TARN_PUBLIC tarn {

/// One quality of chord: the suffix that a chart prints after the root, and the suffixes that people type.
struct KELPChordDefinition {
    std::string_view name; ///< UTF-8
    /// In the order in which a search looks at them, the printed one among them; ends at the first absent one
    /// (a view without data; the empty suffix of the major triad is a view of an empty text).
    std::array<std::string_view, 6> alternativeNames;
    KELPChordIntervals intervals;

    /// The alternatives without the absent ones behind them.
    [[nodiscard]] std::span<const std::string_view> typedNames() const;
};

inline constexpr std::size_t kNumberOfChordDefinitions = 45;

/// The chord vocabulary in order of growing complexity: triads, sixths and added ninths, sevenths, ninths to
/// thirteenths, altered dominants. No two rows share a name or an interval record; no name begins with an
/// accidental, so that a name after a root reads in one way only.
extern const std::array<KELPChordDefinition, kNumberOfChordDefinitions> gChords;

} // namespace tarn
