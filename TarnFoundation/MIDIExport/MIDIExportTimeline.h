#pragma once

#include "Platform/CheckedArithmetic.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"
#include "TarnFoundation/UserEntries/TimeSignature.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

/// The time base of a MIDI export. Positions are in quarter notes, frames are floating-point sample frames.
/// Every beat entry of the song becomes half a quarter note (an eighth note) in the file, in each mode that
/// follows the beat grid.
namespace tarn {

/// How a file's time relates to the song's; any other number counts as `seconds`.
enum class MIDIExportTiming : std::int64_t {
    seconds = 0,         ///< a quarter note lasts one second
    followSongTempo = 1, ///< the file's tempo follows every beat of the song
    fixedTempo = 2,      ///< one tempo; notes still fall on the song's bars
};

struct TempoEvent {
    double position = 0; ///< quarter notes
    double beatsPerMinute = 0;
    friend bool operator==(const TempoEvent&, const TempoEvent&) = default;
};

struct TimeSignatureEvent {
    double position = 0; ///< quarter notes
    TimeSignature timeSignature;
    friend bool operator==(const TimeSignatureEvent&, const TimeSignatureEvent&) = default;
};

/// The beats of the song, without repeated or disordered ones.
struct PulseGrid {
    std::vector<double> frames;               ///< strictly increasing, at least two
    std::vector<std::size_t> downbeatIndices; ///< into `frames`, increasing

    /// Nothing with fewer than two usable beats. A beat that is skipped takes its downbeat mark with it.
    static std::optional<PulseGrid> make(const EntryList<TarnBeatEntry>& beats);

    /// The first downbeat, at position 0; the first pulse when there is none.
    [[nodiscard]] std::size_t originIndex() const {
        return downbeatIndices.empty() ? 0 : downbeatIndices.front();
    }
    /// The position of a pulse relative to the first downbeat.
    [[nodiscard]] double positionOfPulse(std::size_t index) const;
    /// The position of any frame relative to the first downbeat, extrapolated along the first and the last
    /// interval.
    [[nodiscard]] double positionOfFrame(double frame) const;
};

/// What is put before the first downbeat, so that nothing has a negative position.
struct LeadIn {
    double length = 0;                    ///< quarter notes before the first downbeat
    std::size_t anchorIndex = 0;          ///< the pulse from which the tempo map follows the song
    std::optional<double> anchorFrame;    ///< the frame of that pulse
    double quarterNotes = 0;              ///< from the song's start to the anchor
    std::optional<double> beatsPerMinute; ///< tempo of the stretch before the anchor
};

/// Turns frames into positions.
struct Mapping {
    struct Seconds {
        double sampleRate;
    };
    struct FollowSongTempo {
        PulseGrid grid;
        LeadIn leadIn;
    };
    struct FixedTempo {
        PulseGrid grid;
        LeadIn leadIn;
    };
    std::variant<Seconds, FollowSongTempo, FixedTempo> kind;

    /// The position in quarter notes; may be negative.
    [[nodiscard]] double operator()(double frame) const;
};

/// The tempo map, the time signatures and the mapping of one export.
struct MIDIExportTimeline {
    std::vector<TempoEvent> tempoEvents;
    std::vector<TimeSignatureEvent> timeSignatureEvents;
    Mapping mapping;

    /// `timing` is a MIDIExportTiming; the flags tell which entries are exported, since a fixed tempo makes
    /// room before the first downbeat for the earliest of them. The sample rate must be above 0. Aborts, when
    /// the file's tempo follows the song's, over a tempo that is not finite or whose microseconds per quarter
    /// note 64 bits cannot hold.
    MIDIExportTimeline(std::int64_t timing, bool exportsNotes, bool exportsChords, double sampleRate,
                       const TarnNoteEntryStorage& storage);
    /// The same, but nothing over such a tempo.
    [[nodiscard]] static std::optional<MIDIExportTimeline> tryMake(std::int64_t timing, bool exportsNotes,
                                                                   bool exportsChords, double sampleRate,
                                                                   const TarnNoteEntryStorage& storage);

private:
    MIDIExportTimeline() = default;
    static Checked<MIDIExportTimeline> make(std::int64_t timing, bool exportsNotes, bool exportsChords,
                                            double sampleRate, const TarnNoteEntryStorage& storage);
};

} // namespace tarn
