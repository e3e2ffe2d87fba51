#include "Platform/Bundle.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"
#include "TarnFoundation/Formatting/TarnURLFactory.h"

#include <gmock/gmock.h>

#include <limits>

namespace tarn {
namespace {

TEST(TarnFormattingTests, DurationsShowWhatHasPassed) {
    const auto expectDuration = [](double seconds, const char* text, const char* withTenths) {
        EXPECT_EQ(formattedDuration(seconds), text) << seconds;
        EXPECT_EQ(formattedDuration(seconds, DurationPrecision::tenths), withTenths) << seconds;
    };
    expectDuration(0, "0:00", "0:00.0");
    expectDuration(59.99, "0:59", "0:59.9");
    expectDuration(187, "3:07", "3:07.0");
    expectDuration(187.4, "3:07", "3:07.4");
    expectDuration(330750 / 44100., "0:07", "0:07.5");
    expectDuration(0.1 + 0.2 - 1e-16, "0:00", "0:00.3"); // a rounding error does not cost a tenth
    expectDuration(3599.95, "59:59", "59:59.9");
    expectDuration(3600, "1:00:00", "1:00:00.0");
    expectDuration(3729, "1:02:09", "1:02:09.0");
    expectDuration(360000, "100:00:00", "100:00:00.0");
    expectDuration(-5.25, "-0:05", "-0:05.2");
    expectDuration(-0.04, "0:00", "0:00.0");
    expectDuration(-0.5, "0:00", "-0:00.5");
    expectDuration(std::numeric_limits<double>::quiet_NaN(), "-:--", "-:--");
    expectDuration(-std::numeric_limits<double>::infinity(), "-:--", "-:--");
    expectDuration(1e300, "-:--", "-:--");
}

TEST(TarnFormattingTests, OrdinalsEndByTheirLastTwoDigits) {
    for (const char* text : {"0th",   "1st",   "2nd",   "3rd",   "4th",
                             "10th",  "11th",  "12th",  "13th",  "14th",
                             "21st",  "22nd",  "101st", "111th", "112th",
                             "113th", "123rd", "-1st",  "-11th", "-9223372036854775808th"})
        EXPECT_EQ(formattedOrdinal(std::strtoll(text, nullptr, 10)), text);
}

TEST(TarnFormattingTests, DatesAreNamedByTheirDistanceInCalendarDays) {
    using namespace std::chrono;
    Bundle::framework().setPreferredLanguages({});
    const local_days today(year(2026) / 3 / 3); // a Tuesday
    const std::pair<int, const char*> cases[] = {
        {0, "Today"},         {1, "Yesterday"},          {2, "Sunday"},
        {6, "Wednesday"},     {7, "24 February 2026"},   {63, "30 December 2025"},
        {-1, "4 March 2026"}, {735, "27 February 2024"},
    };
    for (const auto& [daysAgo, text] : cases)
        EXPECT_EQ(formattedRelativeDate(today - days(daysAgo), today), text) << daysAgo;

    // A minute before midnight is yesterday, a minute after it is today.
    std::tm midnight{};
    midnight.tm_year = 126;
    midnight.tm_mon = 2;
    midnight.tm_mday = 3;
    midnight.tm_isdst = -1;
    const auto start = system_clock::from_time_t(std::mktime(&midnight));
    EXPECT_EQ(formattedRelativeDate(start - minutes(1), start + hours(1)), "Yesterday");
    EXPECT_EQ(formattedRelativeDate(start + minutes(1), start + hours(1)), "Today");
}

TEST(TarnURLFactoryTests, EncodesWhatIsNotUnreserved) {
    const TarnURLFactory urls("https://example.org/tarn/");
    EXPECT_EQ(urls.helpURL("beats"), "https://example.org/tarn/help/beats");
    EXPECT_EQ(urls.helpURL("a/b c?&#%~", "caf\u00E9"),
              "https://example.org/tarn/help/a%2Fb%20c%3F%26%23%25~#caf%C3%A9");
    EXPECT_EQ(TarnURLFactory("https://example.org").updateFeedURL("1.2+3 b=4"),
              "https://example.org/updates.xml?version=1.2%2B3%20b%3D4");
    for (const char* base : {"", "example.org", "://example.org", "https://", "https:///help",
                             "https://example.org/?a", "h://e#f"})
        EXPECT_DEATH(TarnURLFactory{base}, "must have a scheme and a host") << base;
}

} // namespace
} // namespace tarn
