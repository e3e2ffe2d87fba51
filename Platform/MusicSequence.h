#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

/// A sequence of MIDI events on a tempo track and any number of further tracks, written as a Standard MIDI
/// File (format 1, 480 ticks per quarter note; Standard MIDI Files 1.0, MIDI Manufacturers Association,
/// 1996). Time stamps and durations are in quarter notes; positions and ends go to the nearest tick. At one
/// tick, earlier notes end first, then come the other events, then notes begin, each kind in the order in
/// which it was added. Every operation returns a status: 0 is success, everything else a refusal that leaves
/// the sequence as it was.
namespace TARN_PUBLIC tarn {

class MusicSequenceObject;
class MusicTrackObject;
using MusicSequence = MusicSequenceObject*; ///< owned by whoever made it, until DisposeMusicSequence
using MusicTrack = MusicTrackObject*;       ///< owned by its sequence

using MusicStatus = int;
inline constexpr MusicStatus kMusicSuccess = 0;
inline constexpr MusicStatus kMusicInvalidArgument = -50; ///< null, negative, non-finite, out of range
inline constexpr MusicStatus kMusicFileError = -43;       ///< the file could not be written
inline constexpr MusicStatus kMusicTooLarge = -49; ///< a position or track that the file format cannot hold

struct MIDIMetaEvent {
    std::uint8_t metaEventType = 0; ///< below 128, not 0x2F: each track ends by itself
    std::span<const std::uint8_t> data;
};

struct MIDIChannelMessage {
    std::uint8_t status = 0; ///< 0x80 to 0xEF, the channel in the low four bits
    std::uint8_t data1 = 0;  ///< below 128
    std::uint8_t data2 = 0;  ///< below 128; not written for program change and channel pressure
};

struct MIDINoteMessage {
    std::uint8_t channel = 0;         ///< below 16
    std::uint8_t note = 0;            ///< below 128
    std::uint8_t velocity = 0;        ///< below 128
    std::uint8_t releaseVelocity = 0; ///< below 128
    float duration = 0; ///< quarter notes, finite, not negative; a positive one lasts at least one tick
};

enum class MusicSequenceFileType { midi };
inline constexpr unsigned kMusicSequenceFileFlagsEraseFile = 1;

MusicStatus NewMusicSequence(MusicSequence* sequence);
MusicStatus DisposeMusicSequence(MusicSequence sequence);
MusicStatus MusicSequenceGetTempoTrack(MusicSequence sequence, MusicTrack* track);
MusicStatus MusicSequenceNewTrack(MusicSequence sequence, MusicTrack* track);
/// Only on the tempo track; the tempo must give 1 to 0xFFFFFF microseconds per quarter note (rounded).
MusicStatus MusicTrackNewExtendedTempoEvent(MusicTrack track, double timeStamp, double beatsPerMinute);
MusicStatus MusicTrackNewMetaEvent(MusicTrack track, double timeStamp, const MIDIMetaEvent* event);
MusicStatus MusicTrackNewMIDIChannelEvent(MusicTrack track, double timeStamp,
                                          const MIDIChannelMessage* message);
MusicStatus MusicTrackNewMIDINoteEvent(MusicTrack track, double timeStamp, const MIDINoteMessage* message);
/// Writes the file crash-safely: a failed write leaves an earlier file as it was. Without the erase flag an
/// existing file is refused. `resolution` is in ticks per quarter note, 1 to 32767 (0 = 480).
MusicStatus MusicSequenceFileCreate(MusicSequence sequence, const std::filesystem::path& file,
                                    MusicSequenceFileType type, unsigned flags, std::int16_t resolution);

/// Where a test can make any of the operations above fail: called with the operation's name before it does
/// its work; a status other than 0 is returned instead. Empty in production.
using MusicSequenceFault = MusicStatus (*)(const char* operation);
void setMusicSequenceFault(MusicSequenceFault fault);

/// How many sequences exist that have not been disposed of.
std::size_t liveMusicSequenceCount();

} // namespace tarn
