#pragma once

#include "Platform/Export.h"

#include <ctime>
#include <optional>

namespace TARN_PUBLIC tarn {

/// The calendar's date and the time of day where the user is. Nothing when the year cannot be counted.
/// Thread-safe.
[[nodiscard]] std::optional<std::tm> localTime(std::time_t time);

} // namespace tarn
