#pragma once

#include "Platform/Export.h"

/// The keys of the user's settings. The library itself reads only the first; the application keeps the others
/// here so that all of them lie in one place. Display settings and the metronome's sound are stored as their
/// raw values.
namespace TARN_PUBLIC tarn {

/// Boolean: analyse a song again although its document and the caches already hold the results.
inline constexpr const char* TarnUserDefaultsKeyForceMIRProcessing = "TarnForceMIRProcessing";
inline constexpr const char* TarnUserDefaultsKeyChordsDisplay = "TarnChordsDisplay";
inline constexpr const char* TarnUserDefaultsKeyChordsSize = "TarnChordsSize";
inline constexpr const char* TarnUserDefaultsKeyNotationDisplay = "TarnNotationDisplay";
inline constexpr const char* TarnUserDefaultsKeyMetronomeInstrument = "TarnMetronomeInstrument";

} // namespace tarn
