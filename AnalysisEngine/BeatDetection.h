// Beat detection: from what begins and what sounds in a song to the places at which a listener taps along,
// and the bars that these are counted in. Equal features give equal beats.
#pragma once

#include "AnalysisEngine/BeatFeatures.h"
#include "AnalysisEngine/DetectedMetre.h"
#include "AnalysisEngine/StageMonitor.h"

#include <cstdint>
#include <vector>

namespace tarn {

struct DetectedBeats {
    /// Ascending frames of the file, none before its start or after its end: two to a counted beat, itself
    /// and the middle between it and the next, or in compound metres the last third. The first is a counted
    /// beat, so counted beats have even indices, and from a bar to the next there are always 2 *
    /// metre.beatsPerBar. Empty where no two beats are heard.
    std::vector<std::int64_t> tatums;

    /// Counted beats per minute; 0 without beats. Where the tempo is constant, it fits all beats with the
    /// least squares of their distances; else it is the median over the song.
    double overallTempo = 0;

    DetectedMetre metre;
};

/// Finds the beats, following the tempo. `sampleRate` is the file's, in frames per second.
///
/// The counted level, its phase and the bars are found together: among all ways to count the song
/// (beatCountings), each in bars of each kind, the one that people would choose by what is learned from songs
/// with known bars (BarModel.h). Empty where nothing recurs in time, as in noise or speech.
DetectedBeats detectBeats(const BeatFeatures& features, double sampleRate, const StageMonitor& monitor = {});

} // namespace tarn
