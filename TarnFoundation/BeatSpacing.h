#pragma once

#include "TarnFoundation/Grid/BeatSpacing.h"

#include <memory>

namespace tarn {

class TarnBeatEntry;
class TarnNoteEntryStorage;

/// The distance in frames from one beat to a later one. Beats out of order abort, in both forms; a distance
/// that 64 bits cannot hold aborts, and the `try…` form then returns nothing.
[[nodiscard]] std::int64_t distanceBetweenEntries(const TarnBeatEntry& firstEntry,
                                                  const TarnBeatEntry& secondEntry);
[[nodiscard]] std::optional<std::int64_t> tryDistanceBetweenEntries(const TarnBeatEntry& firstEntry,
                                                                    const TarnBeatEntry& secondEntry);

/// New beats of the storage, not yet added to it, at these locations.
[[nodiscard]] std::vector<std::shared_ptr<TarnBeatEntry>>
newBeatEntriesAtLocations(TarnNoteEntryStorage& storage, std::span<const std::int64_t> locations);

} // namespace tarn
