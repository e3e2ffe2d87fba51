#pragma once

#include "TarnFoundation/Grid/BeatGrid.h"
#include "TarnFoundation/UserEntries/TarnBeatEntry.h"

#include <memory>
#include <span>

/// The beat grid of a document as a value: positions are indices of the given beats. One pass over the beats.
namespace tarn {

using BeatEntries = std::span<const std::shared_ptr<TarnBeatEntry>>;

[[nodiscard]] inline BarLines barLinesOf(BeatEntries beats) {
    std::vector<std::size_t> downbeats;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        if (beats[i]->isDownbeat())
            downbeats.push_back(i);
    }
    return {beats.size(), std::move(downbeats)};
}

/// Of beats in the order of their locations.
[[nodiscard]] inline BeatGrid beatGridOf(BeatEntries beats) {
    std::vector<std::int64_t> locations;
    locations.reserve(beats.size());
    for (const auto& beat : beats)
        locations.push_back(beat->location());
    return {std::move(locations), barLinesOf(beats)};
}

} // namespace tarn
