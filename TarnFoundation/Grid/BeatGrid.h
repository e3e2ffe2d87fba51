#pragma once

#include "Platform/Export.h"
#include "TarnFoundation/Grid/Bar.h"
#include "TarnFoundation/Grid/BarLines.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A beat without identity: a frame, and whether a bar begins there.
struct GridBeat {
    std::int64_t location = 0;
    bool isDownbeat = false;
    friend bool operator==(const GridBeat&, const GridBeat&) = default;
};

/// What an edit changes: the beats at the replaced positions go, the others come.
struct GridEdit {
    Range<std::size_t> replaced;
    std::vector<GridBeat> beats;
};

/// A beat grid as a value: the frames of its beats, and which of them are downbeats (see BarLines). Beats are
/// known by their positions 0, 1, …; several may lie on one frame. Immutable, without identifiers. Frames may
/// be negative. Searches take O(log n), what returns a grid or all bars O(n).
///
/// A document that counts in quarter notes stores its grid in eighths, two positions for each counted beat;
/// every other document one for each. `quarterNotes` is the first kind's view with the counted beats alone.
class BeatGrid {
public:
    BeatGrid() = default;
    /// Aborts unless the locations ascend (equal ones may occur) and are as many as the positions.
    BeatGrid(std::vector<std::int64_t> locations, BarLines barLines);
    explicit BeatGrid(std::span<const GridBeat> beats);

    [[nodiscard]] std::size_t size() const { return mLocations.size(); }
    [[nodiscard]] bool isEmpty() const { return mLocations.empty(); }
    [[nodiscard]] const std::vector<std::int64_t>& locations() const { return mLocations; }
    [[nodiscard]] const BarLines& barLines() const { return mBarLines; }
    [[nodiscard]] std::vector<GridBeat> beats() const;
    [[nodiscard]] std::vector<std::int64_t> downbeatLocations() const;

    /// A bar, counted from 0. The last one ends at `gridEnd`. Aborts when there is no such bar.
    [[nodiscard]] Bar bar(std::size_t index, std::int64_t gridEnd) const;
    [[nodiscard]] std::vector<Bar> bars(std::int64_t gridEnd) const;
    /// The bar of the last beat at or before the frame; nothing when that is pickup, or there is none. After
    /// `gridEnd` it is still the last bar.
    [[nodiscard]] std::optional<Bar> barAt(std::int64_t frame, std::int64_t gridEnd) const;

    /// Where the beat at the position stands; nothing in the pickup.
    [[nodiscard]] std::optional<BarBeat> barBeat(std::size_t position) const;
    /// Where the last beat at or before the frame stands; nothing when that is pickup, or there is none.
    [[nodiscard]] std::optional<BarBeat> position(std::int64_t frame) const;
    /// The first position at or after the frame; the number of positions when there is none.
    [[nodiscard]] std::size_t firstAtOrAfter(std::int64_t frame) const;

    /// The frame up to which a stretch of positions reaches: the next beat, or `gridEnd` at the end.
    [[nodiscard]] std::int64_t endOf(Range<std::size_t> positions, std::int64_t gridEnd) const {
        return positions.upper < size() ? mLocations[positions.upper] : gridEnd;
    }

    /// The beats at the given positions, ascending.
    [[nodiscard]] BeatGrid keeping(std::span<const std::size_t> positions) const;
    /// The beats at or after the frame.
    [[nodiscard]] BeatGrid from(std::int64_t frame) const;
    /// Of a grid in eighths: the counted beats.
    [[nodiscard]] BeatGrid quarterNotes() const { return keeping(mBarLines.quarterNotes()); }

    // Edits

    /// The grid after the edit. New beats come after those that stay on the same frame.
    [[nodiscard]] BeatGrid with(const GridEdit& edit) const;
    /// The same beats with other bar lines.
    [[nodiscard]] BeatGrid with(BarLines barLines) const { return {mLocations, std::move(barLines)}; }
    /// Moves the bar line at the position, the first of its bar, to a frame. The two bars that meet there
    /// keep their numbers of beats, which are spaced evenly. Pickup before it becomes a bar that starts at
    /// frame 0; at the first position nothing lies before. The last bar ends at `gridEnd`. Aborts when `to`
    /// lies after the moved bar's end or before the start of the one before it.
    [[nodiscard]] GridEdit barMoved(std::size_t position, std::int64_t to, std::int64_t gridEnd) const;
    /// Fills the bar that begins at the position with `count` beats, spaced evenly. The last bar ends at
    /// `gridEnd`. Aborts for a count below 1 and for a bar that would end before it starts.
    [[nodiscard]] GridEdit barRefilled(std::size_t position, std::int64_t count, std::int64_t gridEnd) const;

    friend bool operator==(const BeatGrid&, const BeatGrid&) = default;

private:
    std::vector<std::int64_t> mLocations;
    BarLines mBarLines;
};

/// New bars in eighths: from each of the bar lines, which ascend, up to the next, and from the last up to
/// `end`, `beatsPerBar` counted beats, spaced evenly, each followed by a beat halfway to the next. After the
/// last one the half gap is that before it, or half the way to `end` when that is shorter. Aborts without bar
/// lines and for less than one beat in a bar.
[[nodiscard]] std::vector<GridBeat> barsInEighths(std::span<const std::int64_t> barLines, std::int64_t end,
                                                  std::int64_t beatsPerBar);

} // namespace tarn
