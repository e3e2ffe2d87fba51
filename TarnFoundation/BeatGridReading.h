#pragma once

#include "TarnFoundation/Grid/BeatGrid.h"
#include "TarnFoundation/UserEntries/TarnBeatEntry.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <span>

/// The beat grid of a document, or a part of it, as a value: positions are indices of the given beats.
namespace tarn {

class TarnNoteEntryStorage;

using BeatEntries = std::span<const std::shared_ptr<TarnBeatEntry>>;

/// The first downbeat at or after a position; the number of beats when there is none. O(distance).
[[nodiscard]] inline std::size_t nextDownbeat(BeatEntries beats, std::size_t position) {
    while (position < beats.size() && !beats[position]->isDownbeat())
        ++position;
    return position;
}

/// The last downbeat before a position; nothing when there is none. O(distance).
[[nodiscard]] inline std::optional<std::size_t> previousDownbeat(BeatEntries beats, std::size_t position) {
    while (position > 0) {
        if (beats[--position]->isDownbeat())
            return position;
    }
    return std::nullopt;
}

/// O(n).
[[nodiscard]] inline BarLines barLinesOf(BeatEntries beats) {
    std::vector<std::size_t> downbeats;
    for (auto i = nextDownbeat(beats, 0); i < beats.size(); i = nextDownbeat(beats, i + 1))
        downbeats.push_back(i);
    return {beats.size(), std::move(downbeats)};
}

/// Of beats in the order of their locations. O(n), in one pass.
[[nodiscard]] inline BeatGrid beatGridOf(BeatEntries beats) {
    std::vector<std::int64_t> locations;
    std::vector<std::size_t> downbeats;
    locations.reserve(beats.size());
    for (const auto& beat : beats) {
        if (beat->isDownbeat())
            downbeats.push_back(locations.size());
        locations.push_back(beat->location());
    }
    return {std::move(locations), BarLines(beats.size(), std::move(downbeats))};
}

/// The beats that a musician counts: of beatEntriesFilteredByTimeSignature. O(n).
[[nodiscard]] BeatGrid countedBeatGridOf(const TarnNoteEntryStorage& storage);

/// The positions that tell where the bar that begins at a position lies, and the one before it: from the last
/// downbeat before the position, or the first beat, through the next downbeat, or the last beat. O(the two
/// bars): a part of a long grid is read without the rest.
[[nodiscard]] inline Range<std::size_t> barsAround(BeatEntries beats, std::size_t position) {
    return {previousDownbeat(beats, position).value_or(0),
            std::min(nextDownbeat(beats, position + 1) + 1, beats.size())};
}

} // namespace tarn
