#pragma once

#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace tarn {

/// Prepares playback with a count-in: finds where it begins and, where the grid has too few beats before the
/// start, adds artificial beats that the metronome can play. These are ordinary beats at negative locations;
/// they live in the document until they are cleared. Frames are sample frames; the grid has two stored beats
/// for each counted quarter note.
///
/// For playback from a frame: prerollFrame, then requiresArtificialBeatEntriesForPrerollFrame for that
/// preroll frame and, if so, generateArtificialBeatEntriesForPrerollFrame; clearArtificialBeatEntries when
/// playback stops.
class TarnPrerollController {
public:
    TarnPrerollController(std::shared_ptr<TarnNoteEntryStorage> storage, std::int64_t bars)
        : noteEntryStorage(std::move(storage)), countInBars(bars) {}

    std::shared_ptr<TarnNoteEntryStorage> noteEntryStorage;
    std::int64_t countInBars;

    /// The location of the last beat at or before the frame; the frame itself when there is none.
    [[nodiscard]] std::int64_t snappedFrameForCountIn(std::int64_t closestTo) const;
    [[nodiscard]] std::int64_t snappedFrameForCountInClosestTo(std::int64_t frame) const {
        return snappedFrameForCountIn(frame);
    }

    /// Whether the beats up to the last one at or before the frame are fewer than a full count-in. More beats
    /// than 64 bits can count abort; the `try…` form then returns nothing.
    [[nodiscard]] bool requiresArtificialBeatEntriesForPrerollFrame(std::int64_t frame) const;
    [[nodiscard]] std::optional<bool>
    tryRequiresArtificialBeatEntriesForPrerollFrame(std::int64_t frame) const;

    /// Adds the beats that are missing before the first beat, at the spacing of the first eight, and marks
    /// the downbeats of whole bars before the first downbeat after the frame. Aborts when none are missing or
    /// there are fewer than eight beats.
    void generateArtificialBeatEntriesForPrerollFrame(std::int64_t frame);

    /// Removes every beat before the start of the audio.
    void clearArtificialBeatEntries();

    /// The downbeat `countInBars` bars back from the frame, or the first one that there is. A beat exactly at
    /// the frame does not count: from a downbeat the first bar back is the previous one, from inside a bar
    /// its own. The frame itself when no downbeat lies before it.
    [[nodiscard]] std::int64_t prerollFrame(std::int64_t for_) const;
    [[nodiscard]] std::int64_t prerollFrameFor(std::int64_t frame) const { return prerollFrame(frame); }

private:
    [[nodiscard]] std::int64_t storedBeatsPerBar() const;
    [[nodiscard]] Checked<std::int64_t> countInLength() const; ///< in stored beats
    [[nodiscard]] Checked<bool> requiresArtificialBeatEntries(std::int64_t prerollFrame) const;
    [[nodiscard]] std::optional<std::int64_t> anchorIndex(std::int64_t frame) const;
};

} // namespace tarn
