// Key detection: the major or minor key of a whole song.
#pragma once

#include "AnalysisEngine/SpectralFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <optional>

namespace TARN_PUBLIC tarn {

struct DetectedKey {
    int key;            ///< 0 to 11 for the major keys on C to B, 12 to 23 for the minor ones.
    double probability; ///< 0 to 1
};

/// Empty for material without chords. A softmax regression over the keys of what chords the song has: how
/// long it dwells on each, with which it begins and ends, and how it comes to the tonic and the dominant. Its
/// weights are learned (KeyModelParameters.h) and the same for all tonics.
std::optional<DetectedKey> detectKey(const SpectralFeatures& features, double tuningFrequency,
                                     const StageMonitor& monitor = {});

} // namespace tarn
