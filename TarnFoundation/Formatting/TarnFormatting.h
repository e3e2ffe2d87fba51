#pragma once

#include "Platform/Export.h"

#include <chrono>
#include <cstdint>
#include <string>

/// Times, positions and dates as texts for people, in the user's language where words occur.
namespace TARN_PUBLIC tarn {

enum class DurationPrecision { seconds, tenths };

/// "3:07", "1:02:09", with tenths "3:07.4". Like the display of a player, shows what has fully passed:
/// rounded toward zero. Negative durations (a count-in) begin with "-" unless they show zero; one that is not
/// a number or is too long to count gives "-:--".
[[nodiscard]] std::string formattedDuration(double seconds,
                                            DurationPrecision precision = DurationPrecision::seconds);

/// The English ordinal: "1st", "22nd", "113th", "-1st".
[[nodiscard]] std::string formattedOrdinal(std::int64_t number);

/// "Today", "Yesterday", the weekday from two to six days before, else the date: "14 March 2026". Days after
/// `today` give their date.
[[nodiscard]] std::string formattedRelativeDate(std::chrono::local_days day, std::chrono::local_days today);
/// The same for two points in time, whose days are those of the process's time zone.
[[nodiscard]] std::string formattedRelativeDate(std::chrono::system_clock::time_point date,
                                                std::chrono::system_clock::time_point now);

} // namespace tarn
