#pragma once

#include "Platform/Export.h"
#include "TarnFoundation/Grid/BeatGrid.h"
#include "TarnFoundation/Grid/EvenSpacing.h"

#include <memory>

namespace TARN_PUBLIC tarn {

class TarnBeatEntry;
class TarnNoteEntryStorage;

/// The distance in frames from one beat to a later one. Beats out of order abort, in both forms; a distance
/// that 64 bits cannot hold aborts, and the `try…` form then returns nothing.
[[nodiscard]] std::int64_t distanceBetweenEntries(const TarnBeatEntry& firstEntry,
                                                  const TarnBeatEntry& secondEntry);
[[nodiscard]] std::optional<std::int64_t> tryDistanceBetweenEntries(const TarnBeatEntry& firstEntry,
                                                                    const TarnBeatEntry& secondEntry);

/// A new beat of the storage, not yet added to it.
[[nodiscard]] std::shared_ptr<TarnBeatEntry> newBeatEntry(TarnNoteEntryStorage& storage,
                                                          const GridBeat& beat);
[[nodiscard]] std::vector<std::shared_ptr<TarnBeatEntry>> newBeatEntries(TarnNoteEntryStorage& storage,
                                                                         std::span<const GridBeat> beats);
/// The same without downbeats.
[[nodiscard]] std::vector<std::shared_ptr<TarnBeatEntry>>
newBeatEntriesAtLocations(TarnNoteEntryStorage& storage, std::span<const std::int64_t> locations);

} // namespace tarn
