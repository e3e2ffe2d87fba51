// Beat detection: from what begins and what sounds in a song to the places at which a listener taps along.
// Equal features give equal beats.
#pragma once

#include "AnalysisEngine/BeatFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <cstdint>
#include <vector>

namespace TARN_PUBLIC tarn {

struct DetectedBeats {
    /// Ascending frames of the file, none before its start or after its end: the counted beats and the middle
    /// between each and the next. The first is a counted beat, so counted beats have even indices. Empty
    /// where no two beats are heard.
    std::vector<std::int64_t> tatums;

    /// Counted beats per minute over the song; 0 without beats.
    double overallTempo = 0;
};

/// Finds the beats, following the tempo. `sampleRate` is the file's, in frames per second.
///
/// The counted level, its phase and the bars are found together: each pulse of the song plays a part in the
/// bar (downbeat, other beat, off-beat), whose usual accents, bass and chord changes are known, and the metre
/// whose best sequence of parts explains the pulses best is taken, given how fast people count. Jumps in the
/// sequence are possible but unlikely. This is the bar pointer model of N. Whiteley, A. T. Cemgil and S.
/// Godsill, "Bayesian modelling of temporal structure in musical audio", Proc. ISMIR 2006, on pulses instead
/// of frames.
DetectedBeats detectBeats(const BeatFeatures& features, double sampleRate, const StageMonitor& monitor = {});

} // namespace tarn
