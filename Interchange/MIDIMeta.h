#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <string_view>

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

/// Texts (kText) by which MIDI files of songs say what a Standard MIDI File has no event for. Readers pass
/// over texts that they do not know.
namespace MIDIMark {
inline constexpr std::string_view kPrefix = "tarn: ";
inline constexpr std::string_view kFirstBeat = "tarn: first beat"; ///< beats before it are not the song's
inline constexpr std::string_view kFirstBar = "tarn: first bar";   ///< without it there are no bars
inline constexpr std::string_view kLastBeat = "tarn: last beat";
inline constexpr std::string_view kOneTempo = "tarn: one tempo"; ///< which follows no beats
inline constexpr std::string_view kSeconds = "tarn: quarter notes are seconds";
} // namespace MIDIMark

/// The track, and its channel, in which exports put what the song's chords sound like.
inline constexpr const char* kTrackOfChords = "Chords";
inline constexpr std::uint8_t kChordsChannel = 1;

} // namespace tarn
