// Beat detection: from what begins and what sounds in a song to the places at which a listener taps along,
// and the bars that these are counted in. Equal features give equal beats.
#pragma once

#include "AnalysisEngine/BeatFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "KELPMusicInformationRetrieval/DetectedMetre.h"
#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace TARN_PUBLIC tarn {

struct DetectedBeats {
    /// Ascending frames of the file, none before its start or after its end: two to a counted beat, itself
    /// and the eighth before the next. The first is a counted beat, so counted beats have even indices. From
    /// a bar to the next there are always `tatumsPerBar`: in bars of the song that have more or fewer beats
    /// than the others, these are replaced by evenly spaced ones. Empty where no two beats are heard.
    std::vector<std::int64_t> tatums;

    /// Index of the first tatum that opens a bar, less than `tatumsPerBar`.
    std::size_t firstDownbeat = 0;
    int tatumsPerBar = 0;

    /// The beats and bars as they are heard.
    DetectedMetre metre;
};

/// Finds the beats, following the tempo. `sampleRate` is the file's, in frames per second.
///
/// The counted level, its phase and the bars are found together: among all ways to count the song
/// (beatCountings), each in bars of each kind, the one that people would choose by what is learned from songs
/// with known bars (BarModel.h). Empty where nothing recurs in time, as in noise or speech.
DetectedBeats detectBeats(const BeatFeatures& features, double sampleRate, const StageMonitor& monitor = {});

} // namespace tarn
