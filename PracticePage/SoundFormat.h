#pragma once

#include "Platform/Export.h"

namespace TARN_PUBLIC tarn {

inline constexpr int kLeastSoundRate = 8000;
inline constexpr int kGreatestSoundRate = 48000;

/// The frames per second at which pages hear a recording: its own, or another one where that is unusual.
[[nodiscard]] inline int soundRateFor(double sampleRate) {
    const bool isUsual = sampleRate >= kLeastSoundRate && sampleRate <= kGreatestSoundRate &&
                         sampleRate == static_cast<int>(sampleRate);
    return isUsual ? static_cast<int>(sampleRate) : kGreatestSoundRate;
}

} // namespace tarn
