#pragma once

#include "Platform/Export.h"
#include "Platform/Range.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Where bars begin among the positions 0, 1, … of a beat grid, whatever the times of the beats. A downbeat
/// opens a bar, which reaches up to the next downbeat, or to the end of the grid. What lies before the first
/// downbeat is the pickup; without a downbeat, everything. Immutable: edits return new bar lines. A position
/// that the grid does not have aborts.
///
/// Of a grid that is stored in eighths, the quarter notes are the beats that a musician counts: in each bar
/// the downbeat and every second position after it, in the pickup those an even number of positions before
/// the first downbeat, and without a downbeat the even positions.
class BarLines {
public:
    BarLines() = default;
    /// Aborts unless the downbeats ascend and lie below the number of positions.
    BarLines(std::size_t positionCount, std::vector<std::size_t> downbeats);

    [[nodiscard]] std::size_t positionCount() const { return mPositionCount; }
    /// The positions of the downbeats, ascending.
    [[nodiscard]] const std::vector<std::size_t>& downbeats() const { return mDownbeats; }
    [[nodiscard]] bool isDownbeat(std::size_t position) const; ///< O(log n)

    /// The positions before the first bar.
    [[nodiscard]] Range<std::size_t> pickup() const {
        return {0, mDownbeats.empty() ? mPositionCount : mDownbeats.front()};
    }
    [[nodiscard]] std::size_t barCount() const { return mDownbeats.size(); }
    /// The positions of a bar, counted from 0; never none. Aborts when there is no such bar.
    [[nodiscard]] Range<std::size_t> bar(std::size_t index) const;
    /// The bar that holds the position, counted from 0; nothing in the pickup. O(log n).
    [[nodiscard]] std::optional<std::size_t> barHolding(std::size_t position) const;

    /// From the position, which need not be a downbeat, up to the next downbeat or the end. O(log n).
    [[nodiscard]] Range<std::size_t> stretchFrom(std::size_t position) const;
    /// From the last downbeat before the position, or from the first position, up to the position. O(log n).
    [[nodiscard]] Range<std::size_t> stretchBefore(std::size_t position) const;

    /// The bar lines that remain when only these positions, ascending, are kept.
    [[nodiscard]] BarLines keeping(std::span<const std::size_t> positions) const;

    // Edits

    struct Move {
        std::size_t from = 0;
        std::size_t to = 0;
        friend bool operator==(const Move&, const Move&) = default;
    };
    /// Where the downbeats go when each moves by `offset` positions around the grid, as often as it takes; in
    /// the order of the downbeats. An offset below minus the number of positions aborts.
    [[nodiscard]] std::vector<Move> moves(std::int64_t offset) const;
    /// The bar lines after these moves.
    [[nodiscard]] BarLines shifted(std::int64_t offset) const;
    /// A downbeat on every `step`-th position from the first downbeat on and nowhere else; `step` is at least
    /// 1. Without a downbeat there is none afterwards either.
    [[nodiscard]] BarLines markedEvery(std::size_t step) const;

    // Of a grid that is stored in eighths

    /// The positions of the quarter notes, ascending. The last one is left out when its bar, the last, has an
    /// odd number of positions: no eighth follows it.
    [[nodiscard]] std::vector<std::size_t> quarterNotes() const;

    friend bool operator==(const BarLines&, const BarLines&) = default;

private:
    std::size_t mPositionCount = 0;
    std::vector<std::size_t> mDownbeats;
};

[[nodiscard]] inline std::size_t sizeOf(Range<std::size_t> positions) {
    return positions.upper - positions.lower;
}

/// Calls `take` with the positions that BarLines::quarterNotes gives, in order, in one pass over a grid of
/// `count` positions: `nextDownbeat` gives the first downbeat at or after a position, `count` when there is
/// none, and is asked for each bar once.
template <typename NextDownbeat, typename Take>
void takeQuarterNotes(std::size_t count, NextDownbeat nextDownbeat, Take take) {
    const auto takeEverySecond = [&](std::size_t first, std::size_t end) {
        for (std::size_t position = first; position < end; position += 2)
            take(position);
    };
    std::size_t downbeat = nextDownbeat(0);
    takeEverySecond(downbeat < count ? downbeat % 2 : 0, downbeat);
    while (downbeat < count) {
        const std::size_t next = nextDownbeat(downbeat + 1);
        const bool isOddLastBar = next == count && (next - downbeat) % 2 == 1;
        takeEverySecond(downbeat, next - isOddLastBar);
        downbeat = next;
    }
}

/// Pruning of a grid that is stored in eighths: calls `take`, likewise, with the positions that have to go so
/// that the pickup and every bar have an even number of them: the first of an odd pickup, the last of each
/// odd bar (the downbeat itself when the bar has no other), and the last of an odd grid without downbeats.
template <typename NextDownbeat, typename Take>
void takeUnpaired(std::size_t count, NextDownbeat nextDownbeat, Take take) {
    std::size_t downbeat = nextDownbeat(0);
    if (downbeat % 2 == 1)
        take(downbeat < count ? 0 : count - 1);
    while (downbeat < count) {
        const std::size_t next = nextDownbeat(downbeat + 1);
        if ((next - downbeat) % 2 == 1)
            take(next - 1);
        downbeat = next;
    }
}

} // namespace tarn
