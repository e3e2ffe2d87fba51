#include "TarnFoundation/Formatting/TarnFormatting.h"

#include "Platform/Bundle.h"
#include "Platform/CheckedArithmetic.h"
#include "Platform/FatalError.h"
#include "Platform/LocalTime.h"

#include <array>
#include <cmath>
#include <ctime>

namespace tarn {

namespace {

/// Seconds come from divisions by a sample rate, so a duration of exactly 7.4 s may arrive as a little less.
/// A thousandth of a millisecond is far below a sample and far above that error.
constexpr double kDurationTolerance = 1e-6;

constexpr std::array kWeekdays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                  "Thursday", "Friday", "Saturday"};
constexpr std::array kMonths = {"January", "February", "March",     "April",   "May",      "June",
                                "July",    "August",   "September", "October", "November", "December"};

std::string twoDigits(std::int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

std::string localized(const char* key) {
    return Bundle::framework().localizedString(key);
}

std::string formattedDate(std::chrono::local_days day) {
    const std::chrono::year_month_day date(day);
    const std::pair<const char*, std::string> fields[] = {
        {"{day}", std::to_string(static_cast<unsigned>(date.day()))},
        {"{month}", localized(kMonths[static_cast<unsigned>(date.month()) - 1])},
        {"{year}", std::to_string(static_cast<int>(date.year()))},
    };
    std::string text = localized("{day} {month} {year}");
    for (const auto& [field, value] : fields) {
        if (const auto position = text.find(field); position != std::string::npos)
            text.replace(position, std::char_traits<char>::length(field), value);
    }
    return text;
}

std::chrono::local_days localDay(std::chrono::system_clock::time_point point) {
    const auto local = localTime(std::chrono::system_clock::to_time_t(point));
    precondition(local.has_value(), "The date has no year that can be counted");
    using namespace std::chrono;
    return local_days(year(local->tm_year + 1900) / (local->tm_mon + 1) / local->tm_mday);
}

} // namespace

std::string formattedDuration(double seconds, DurationPrecision precision) {
    const int steps = precision == DurationPrecision::tenths ? 10 : 1; // per second
    const double magnitude = (std::abs(seconds) + kDurationTolerance) * steps;
    if (!truncationFits<std::int64_t>(magnitude))
        return "-:--";
    const auto count = static_cast<std::int64_t>(magnitude);
    const auto whole = count / steps;
    const auto hours = whole / 3600;
    const auto minutes = whole / 60 % 60;
    std::string text = seconds < 0 && count > 0 ? "-" : "";
    text += hours > 0 ? std::to_string(hours) + ":" + twoDigits(minutes) : std::to_string(minutes);
    text += ":" + twoDigits(whole % 60);
    if (precision == DurationPrecision::tenths)
        text += "." + std::to_string(count % steps);
    return text;
}

std::string formattedOrdinal(std::int64_t number) {
    const auto lastTwo = std::abs(number % 100);
    const auto last = lastTwo % 10;
    const bool isTeen = lastTwo / 10 == 1; // eleventh, twelfth, thirteenth
    const char* suffix = isTeen ? "th" : last == 1 ? "st" : last == 2 ? "nd" : last == 3 ? "rd" : "th";
    return std::to_string(number) + suffix;
}

std::string formattedRelativeDate(std::chrono::local_days day, std::chrono::local_days today) {
    const auto daysAgo = (today - day).count();
    if (daysAgo == 0)
        return localized("Today");
    if (daysAgo == 1)
        return localized("Yesterday");
    if (daysAgo > 1 && daysAgo < 7)
        return localized(kWeekdays[std::chrono::weekday(day).c_encoding()]);
    return formattedDate(day);
}

std::string formattedRelativeDate(std::chrono::system_clock::time_point date,
                                  std::chrono::system_clock::time_point now) {
    return formattedRelativeDate(localDay(date), localDay(now));
}

} // namespace tarn
