#pragma once

#include "Interchange/MIDIMeta.h"
#include "Platform/Export.h"

#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <vector>

/// Writes Standard MIDI Files (Standard MIDI Files 1.0, MIDI Manufacturers Association, 1996) of format 1.
namespace TARN_PUBLIC tarn {

/// The events of one track, in any order. At one tick texts and other facts come first, then ends of notes,
/// then beginnings.
class MIDITrack {
public:
    void addText(std::int64_t tick, std::uint8_t type, std::string_view text);
    void addMeta(std::int64_t tick, std::uint8_t type, const std::vector<std::uint8_t>& data);
    void addProgram(std::int64_t tick, std::uint8_t channel, std::uint8_t program);
    /// `start` lies before `end`.
    void addNote(std::int64_t start, std::int64_t end, std::uint8_t channel, std::uint8_t note,
                 std::uint8_t velocity);
    /// The track ends there, or with its last event if that comes later.
    void endAt(std::int64_t tick);

    /// The bytes of the chunk.
    [[nodiscard]] std::vector<std::uint8_t> chunk() const;

private:
    struct Event {
        std::int64_t tick = 0;
        int rank = 0;
        std::vector<std::uint8_t> bytes;
    };
    std::vector<Event> mEvents;
    std::int64_t mEnd = 0;
};

void writeMIDIFile(std::ostream& out, const std::vector<MIDITrack>& tracks,
                   std::uint16_t ticksPerQuarterNote);

} // namespace tarn
