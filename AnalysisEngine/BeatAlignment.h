// Beat alignment: which of the beats open bars, and how long a bar is, from nothing but the places of the
// beats and of the chord changes. Equal input gives an equal result.
#pragma once

#include "AnalysisEngine/BeatDetection.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <cstdint>
#include <optional>
#include <span>

namespace TARN_PUBLIC tarn {

struct BeatAlignment {
    std::int64_t downbeatLocation = 0; ///< One of the tatums, the first one that opens a bar.
    int tatumCount = 0;                ///< Tatums in a bar.
};

/// Finds the bars that explain the chord changes best, every bar being as long as the others. `tatums`
/// ascend, two to a counted beat; the first is a counted beat, so the downbeat has an even index.
/// `tatumsPerBar`, at least 1, is the length of a bar that is expected: it wins unless the changes speak for
/// bars of two, three or four beats. Changes may come in any order; those that lie outside the tatums don't
/// count. Empty without tatums.
///
/// Chords change most often on the downbeat, less often in the middle of a bar of four, rarely on other beats
/// and hardly ever off the beat. How often they do in this song is not known; the marginal likelihood over
/// these rates (beta-binomial) is what bars are compared by, so that a longer bar needs a difference between
/// its halves.
std::optional<BeatAlignment> alignBeats(std::span<const std::int64_t> tatums, int tatumsPerBar,
                                        std::span<const std::int64_t> chordChanges,
                                        const StageMonitor& monitor = {});

/// The bars that were detected together with the beats: its tatums are theirs. Empty without beats.
std::optional<BeatAlignment> barsOf(const DetectedBeats& beats);

} // namespace tarn
