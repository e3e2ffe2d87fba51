#pragma once

#include "Platform/Export.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// The rules by which edits of a beat grid place beats, in sample frames. A location that 64 bits cannot hold
/// aborts; the `try…` form of each then returns nothing instead.
namespace TARN_PUBLIC tarn {

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

} // namespace tarn
