#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tarn {

class TarnBeatEntry;
class TarnNoteEntryStorage;

/// The rules by which edits of the beat grid place beats, in sample frames. A location or a distance that 64
/// bits cannot hold aborts; the `try…` form of each then returns nothing instead.

/// `count` locations `from`, `from + step`, …: the step is the quotient of (to - from) and count in single
/// precision, truncated, and at least 1. What the truncation leaves lies between the last location and `to`;
/// when there is not a frame for each, they run past `to`. A count below 1 aborts.
[[nodiscard]] std::vector<std::int64_t> evenlySpacedLocations(std::int64_t count, std::int64_t from,
                                                              std::int64_t to);
[[nodiscard]] std::optional<std::vector<std::int64_t>>
tryEvenlySpacedLocations(std::int64_t count, std::int64_t from, std::int64_t to);

/// The locations halfway between each two of `locations` (half the gap truncates toward zero), and one after
/// the last of them by the last half gap; 1 after a single one. As many as there are `locations`.
[[nodiscard]] std::vector<std::int64_t> midpointLocations(std::span<const std::int64_t> locations);
[[nodiscard]] std::optional<std::vector<std::int64_t>>
tryMidpointLocations(std::span<const std::int64_t> locations);

/// The distance in frames from one beat to a later one. Beats out of order abort, in both forms.
[[nodiscard]] std::int64_t distanceBetweenEntries(const TarnBeatEntry& firstEntry,
                                                  const TarnBeatEntry& secondEntry);
[[nodiscard]] std::optional<std::int64_t> tryDistanceBetweenEntries(const TarnBeatEntry& firstEntry,
                                                                    const TarnBeatEntry& secondEntry);

/// New beats of the storage, not yet added to it, at these locations; the first of them is a downbeat when
/// asked for.
[[nodiscard]] std::vector<std::shared_ptr<TarnBeatEntry>>
newBeatEntriesAtLocations(TarnNoteEntryStorage& storage, std::span<const std::int64_t> locations,
                          bool firstIsDownbeat = false);

} // namespace tarn
