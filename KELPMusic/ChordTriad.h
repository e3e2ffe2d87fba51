#pragma once

#include "KELPMusic/KELPChord.h"
#include "Platform/Export.h"

namespace TARN_PUBLIC tarn {

/// The chord reduced to root, third (or the second or fourth in its place) and fifth, for whoever plays
/// simple forms: Cmaj7/E as C, Bm7b5 as Bdim, E7sus4 as Esus4. No chord and null stay what they are.
[[nodiscard]] KELPChordRef triadOf(const KELPChordRef& chord);

} // namespace tarn
