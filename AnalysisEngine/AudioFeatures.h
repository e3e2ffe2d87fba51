// All that the analysis of a song starts from, gathered in a single pass over its audio. Computed once, then
// immutable: any number of stages may read it at the same time.
#pragma once

#include "AnalysisEngine/AudioReader.h"
#include "AnalysisEngine/BeatFeatures.h"
#include "AnalysisEngine/SpectralFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "AnalysisEngine/WaveformComputation.h"
#include "KELPMusicInformationRetrieval/LoudnessEnvelope.h"
#include "Platform/Export.h"

#include <cstdint>

namespace TARN_PUBLIC tarn {

struct AudioFeatures {
    double sampleRate = 0;       ///< The file's own, frames per second.
    std::int64_t frameCount = 0; ///< Frames of the file that could be decoded.
    SpectralFeatures spectral;
    BeatFeatures beats;
    LoudnessEnvelope envelope = {};
};

/// What can be read while the pass is on: the spectrum of the features and the points of the waveform.
struct HeardSoFar {
    std::shared_ptr<LogSpectrogram> spectrum = makeLogSpectrogram();
    std::shared_ptr<WaveformPoints> waveform = makeWaveformPoints();
};

/// Reads the rest of the file. What `soFar` holds, still empty, is filled, and can be read by other threads
/// meanwhile; its spectrum becomes that of the features.
AudioFeatures extractAudioFeatures(AudioReader& reader, const StageMonitor& monitor = {},
                                   const HeardSoFar& soFar = {});

} // namespace tarn
