// Even pulses that the notes of a song may lie on, at several speeds: among them are the beats that a
// listener counts, their halves and thirds, and pairs of beats. Which is which isn't known here; each is a
// clock that follows the tempo.
#pragma once

#include "AnalysisEngine/BeatFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <vector>

namespace TARN_PUBLIC tarn {

/// Overall strength of what begins in each flux frame, relative to its surroundings. Its mean is about 1
/// where there is music, 0 where there is none.
std::vector<float> onsetStrength(const BeatFeatures& features, const StageMonitor& monitor);

/// Times of the pulses of each level in flux frames, ascending, from the first onset until the last note has
/// died away; the fastest level first. Empty where nothing begins.
///
/// A level's period comes from the autocorrelation of the onset strength in its range of periods, made smooth
/// by dynamic programming over the song; the pulses are placed by dynamic programming as in D. P. W. Ellis,
/// "Beat tracking by dynamic programming", Journal of New Music Research 36(1), 2007, with a period that
/// changes with time.
std::vector<std::vector<double>> trackPulses(const BeatFeatures& features, const std::vector<float>& strength,
                                             const StageMonitor& monitor);

} // namespace tarn
