// Key detection: the major or minor key of a whole song.
#pragma once

#include "AnalysisEngine/SpectralFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <optional>

namespace TARN_PUBLIC tarn {

/// 0 to 11 for the major keys on C to B, 12 to 23 for the minor ones; empty for material without a key. The
/// chords of the song, recognised without a key, are compared with how long songs in each key dwell on each
/// of their chords.
std::optional<int> detectKey(const SpectralFeatures& features, double tuningFrequency,
                             const StageMonitor& monitor = {});

} // namespace tarn
