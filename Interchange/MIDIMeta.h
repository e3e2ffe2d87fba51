#pragma once

#include "Platform/Export.h"

#include <cstdint>

namespace TARN_PUBLIC tarn {

/// The types of meta events, by the names that Standard MIDI Files 1.0 gives them.
namespace MIDIMeta {
inline constexpr std::uint8_t kText = 0x01;
inline constexpr std::uint8_t kTrackName = 0x03;
inline constexpr std::uint8_t kMarker = 0x06;
inline constexpr std::uint8_t kCuePoint = 0x07;
inline constexpr std::uint8_t kEndOfTrack = 0x2F;
inline constexpr std::uint8_t kTempo = 0x51;
inline constexpr std::uint8_t kTimeSignature = 0x58;
inline constexpr std::uint8_t kKeySignature = 0x59;
} // namespace MIDIMeta

} // namespace tarn
