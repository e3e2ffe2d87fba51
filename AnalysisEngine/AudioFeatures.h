// All that the analysis of a song starts from, gathered in a single pass over its audio. Computed once, then
// immutable: any number of stages may read it at the same time.
#pragma once

#include "AnalysisEngine/AudioReader.h"
#include "AnalysisEngine/BeatFeatures.h"
#include "AnalysisEngine/SpectralFeatures.h"
#include "AnalysisEngine/StageMonitor.h"

#include <cstdint>

namespace tarn {

struct AudioFeatures {
    double sampleRate = 0;       ///< The file's own, frames per second.
    std::int64_t frameCount = 0; ///< Frames of the file that could be decoded.
    SpectralFeatures spectral;
    BeatFeatures beats;
};

/// Reads the rest of the file. `spectrum`, still without frames, becomes that of the features and can be read
/// by other threads meanwhile.
AudioFeatures extractAudioFeatures(AudioReader& reader, const StageMonitor& monitor = {},
                                   std::shared_ptr<LogSpectrogram> spectrum = makeLogSpectrogram());

} // namespace tarn
