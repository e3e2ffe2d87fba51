// A simpler chord recognition: one chord for each counted beat, each judged on its own.
#pragma once

#include "AnalysisEngine/AudioFeatures.h"
#include "AnalysisEngine/ChordRecognition.h"
#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <cstdint>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// The most likely of the major and minor triads and no chord between each two counted beats; equal
/// neighbours make one chord. `tatums` are ascending frames of the file, two to the counted beat, the first
/// one counted; without them a chord may change every half second. The first chord begins at 0. Basses are
/// those of the roots.
std::vector<RecognizedChord> recognizeChordsBeatwise(const AudioFeatures& features, double tuningFrequency,
                                                     std::span<const std::int64_t> tatums,
                                                     const StageMonitor& monitor = {});

} // namespace tarn
