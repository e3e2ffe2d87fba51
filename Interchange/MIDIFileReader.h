#pragma once

#include "Interchange/FormatError.h"
#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Reads the notes, the tempo and the metre map of a Standard MIDI File (Standard MIDI Files 1.0, MIDI
/// Manufacturers Association, 1996), formats 0 and 1. Nothing is trusted: any bytes give a file or an error,
/// in time and memory proportional to their number.
namespace TARN_PUBLIC tarn {

struct MIDIFileNote {
    std::uint64_t start = 0;  ///< ticks
    std::uint64_t end = 0;    ///< ticks, not before the start
    std::uint8_t channel = 0; ///< 0 to 15
    std::uint8_t note = 0;    ///< MIDI note number, 0 to 127
    std::size_t track = 0;    ///< counted from 0
    friend bool operator==(const MIDIFileNote&, const MIDIFileNote&) = default;
};

class MIDIFileError : public FormatError {
public:
    explicit MIDIFileError(const std::string& text) : FormatError(text) {}
};

/// A metre from a tick on.
struct MIDIFileMetre {
    std::uint64_t tick = 0;
    int numerator = 4;
    int denominator = 4;
};

class MIDIFile {
public:
    /// Throws MIDIFileError. Chunks of unknown kind are skipped. Of equal notes that sound at once the first
    /// begun ends first; a note that does not end does so with its track.
    explicit MIDIFile(std::span<const std::byte> bytes);

    /// By start, then note, then channel.
    [[nodiscard]] const std::vector<MIDIFileNote>& notes() const { return mNotes; }
    /// By tick; of several at one tick the last. At the beginning 4/4 unless the file says otherwise.
    [[nodiscard]] const std::vector<MIDIFileMetre>& metres() const { return mMetres; }
    /// Empty for a track without one.
    [[nodiscard]] const std::string& trackName(std::size_t track) const { return mTrackNames[track]; }
    /// The first tick at which a text of MIDIMark stands.
    [[nodiscard]] std::optional<std::uint64_t> mark(std::string_view text) const;
    /// Where bar 1 begins: at its mark, else after a first bar that is shorter than the next one, a pickup,
    /// else at the beginning.
    [[nodiscard]] std::uint64_t firstBar() const;
    /// The end of the longest track.
    [[nodiscard]] std::uint64_t end() const { return mEnd; }
    /// Whether ticks divide quarter notes; else they divide seconds and there is no tempo.
    [[nodiscard]] bool hasQuarterNotes() const { return mTicksPerQuarterNote > 0; }
    /// Quarter notes from the file's beginning; requires hasQuarterNotes.
    [[nodiscard]] double quarterNotes(std::uint64_t tick) const;
    /// How many ticks a note of that value (4: a quarter) lasts; requires hasQuarterNotes.
    [[nodiscard]] double ticksPerNote(int denominator) const;
    /// Seconds from the file's beginning, along the tempo map (120 beats per minute until it says otherwise).
    [[nodiscard]] double seconds(std::uint64_t tick) const;

private:
    /// From this tick on, at which this many seconds have passed.
    struct Tempo {
        std::uint64_t tick = 0;
        double seconds = 0;
        double secondsPerTick = 0;
    };
    struct TempoChange {
        std::uint64_t tick = 0;
        std::uint32_t microsecondsPerQuarterNote = 0;
    };

    void readTrack(std::span<const std::byte> track, std::vector<TempoChange>& tempoChanges);
    void makeTempoMap(std::vector<TempoChange> changes);
    void sortMetres();

    std::vector<MIDIFileNote> mNotes;
    std::vector<std::string> mTrackNames;
    std::map<std::string, std::uint64_t, std::less<>> mMarks;
    std::vector<MIDIFileMetre> mMetres;
    std::uint64_t mEnd = 0;
    std::uint16_t mTicksPerQuarterNote = 0;
    double mTicksPerSecond = 0; ///< where ticks divide seconds
    std::vector<Tempo> mTempoMap;
};

} // namespace tarn
