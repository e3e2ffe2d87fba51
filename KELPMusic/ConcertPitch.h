#pragma once

#include "Platform/Export.h"

namespace TARN_PUBLIC tarn {

/// Hz of A4 where nothing else is known (ISO 16).
inline constexpr double kConcertPitch = 440;

/// The frequency in Hz of a MIDI note number, which may have a fraction, where A4 sounds at `concertPitch`.
[[nodiscard]] double frequencyOfMIDINote(double note, double concertPitch = kConcertPitch);

} // namespace tarn
