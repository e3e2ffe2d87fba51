// The fast, even pulse under a song, on which its notes lie: eighth notes most often, sometimes sixteenths,
// triplets or quarter notes. It says nothing yet of which pulses are beats, but it is a clock that follows
// the tempo.
#pragma once

#include "AnalysisEngine/BeatFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <vector>

namespace TARN_PUBLIC tarn {

/// Overall strength of what begins in each flux frame, relative to its surroundings. Its mean is about 1
/// where there is music, 0 where there is none.
std::vector<float> onsetStrength(const BeatFeatures& features, const StageMonitor& monitor);

/// Times of the pulses in flux frames, ascending, from the first onset to the last. Empty where nothing
/// begins.
///
/// The period comes from the autocorrelation of the onset strength, made smooth by dynamic programming over
/// the song; the pulses are placed by dynamic programming as in D. P. W. Ellis, "Beat tracking by dynamic
/// programming", Journal of New Music Research 36(1), 2007, with a period that changes with time.
std::vector<double> trackPulses(const BeatFeatures& features, const std::vector<float>& strength,
                                const StageMonitor& monitor);

} // namespace tarn
