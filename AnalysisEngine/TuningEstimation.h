// Tuning estimation: the standard pitch to which a recording was played.
#pragma once

#include "AnalysisEngine/SpectralFeatures.h"
#include "Platform/Export.h"

namespace TARN_PUBLIC tarn {

/// Frequency of A4 in Hz, within half a semitone of concert pitch: the pitch around which the song's steady
/// partials from 110 to 880 Hz gather. Concert pitch where they gather nowhere.
double estimateTuning(const SpectralFeatures& features);

} // namespace tarn
