#include "Song/SongPositions.h"

#include "Platform/PlainText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>
#include <vector>

namespace tarn {
namespace {

constexpr double kExactFrames = 9007199254740992.0; ///< 2^53: doubles tell all frames below apart
constexpr double kMostUnits = 1e6;

/// A whole number without sign and, unless it is 0, without leading zeros.
std::optional<std::int64_t> wholeNumber(std::string_view text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (text.empty() || text[0] == '-' || (text[0] == '0' && text.size() > 1) || parsed.ec != std::errc() ||
        parsed.ptr != end)
        return std::nullopt;
    return number;
}

/// "1/4", "0.25" or ".25", with a sign where wanted.
std::optional<double> amountWithText(std::string_view text) {
    if (text.starts_with('+'))
        text.remove_prefix(1);
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos)
        return numberWithText(text);
    const auto numerator = numberWithText(text.substr(0, slash));
    const auto denominator = wholeNumber(text.substr(slash + 1));
    if (!numerator || !denominator || *denominator == 0)
        return std::nullopt;
    return *numerator / static_cast<double>(*denominator);
}

std::optional<Position::BarBeat> barBeatWithText(std::string_view bar, std::string_view beat) {
    Position::BarBeat place;
    const std::size_t plus = beat.find('+');
    const auto barNumber = wholeNumber(bar);
    const auto beatNumber = wholeNumber(beat.substr(0, plus));
    if (!barNumber || !beatNumber)
        return std::nullopt;
    place.bar = *barNumber;
    place.beat = *beatNumber;
    if (plus != std::string_view::npos) {
        const auto text = beat.substr(plus + 1);
        const auto fraction = text.empty() ? 0.5 : amountWithText(text);
        if (!fraction || !(*fraction >= 0) || !(*fraction < 1))
            return std::nullopt;
        place.fraction = *fraction;
    }
    return place;
}

/// "24", "05.2": below 60 where minutes stand before it.
std::optional<double> secondsWithText(std::string_view text, bool followsMinutes) {
    const auto number = numberWithText(text);
    const bool isTime = number && *number >= 0 && text[0] != '-' && (!followsMinutes || *number < 60);
    return isTime ? number : std::nullopt;
}

/// Digits, leading zeros included.
std::optional<double> digitsWithText(std::string_view text) {
    const bool areDigits = text.find_first_not_of("0123456789") == std::string_view::npos;
    return areDigits ? numberWithText(text) : std::nullopt;
}

bool areTwoDigits(std::string_view text) {
    return text.size() == 2 && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// "65.2", "1:05.2" or "1:02:03".
std::optional<Position::Time> timeWithText(std::string_view text) {
    const std::size_t lastColon = text.rfind(':');
    if (lastColon == std::string_view::npos) {
        const auto seconds = secondsWithText(text, false);
        return seconds ? std::optional(Position::Time{*seconds}) : std::nullopt;
    }
    const auto seconds = secondsWithText(text.substr(lastColon + 1), true);
    const std::string_view beforeSeconds = text.substr(0, lastColon);
    const std::size_t colon = beforeSeconds.find(':');
    const bool hasHours = colon != std::string_view::npos;
    const std::string_view minuteText = hasHours ? beforeSeconds.substr(colon + 1) : beforeSeconds;
    const auto minutes = digitsWithText(minuteText);
    const auto hours = hasHours ? digitsWithText(beforeSeconds.substr(0, colon)) : 0.0;
    if (!seconds || !minutes || !hours)
        return std::nullopt;
    const std::string_view wholeSeconds = text.substr(lastColon + 1).substr(0, 2);
    if (hasHours && (!areTwoDigits(minuteText) || *minutes >= 60 || !areTwoDigits(wholeSeconds)))
        return std::nullopt;
    return Position::Time{(*hours * 60 + *minutes) * 60 + *seconds};
}

/// Whether two numbers with a colon between them are minutes and seconds (see Position).
bool looksLikeMinutes(std::string_view minutes, std::string_view seconds) {
    return areTwoDigits(seconds) && (minutes.starts_with('0') || seconds.starts_with('0'));
}

/// Where a value lies among ascending points, counted from the first and in parts between them, continued
/// along the first and the last interval; and back. At least two points, which differ.
class Scale {
public:
    explicit Scale(std::vector<double> points) : mPoints(std::move(points)) {}

    [[nodiscard]] double indexOf(double value) const {
        const auto past = std::upper_bound(mPoints.begin(), mPoints.end(), value) - mPoints.begin();
        const std::size_t i = interval(static_cast<double>(past) - 1);
        return static_cast<double>(i) + (value - mPoints[i]) / (mPoints[i + 1] - mPoints[i]);
    }
    [[nodiscard]] double valueAt(double index) const {
        const std::size_t i = interval(index);
        return mPoints[i] + (index - static_cast<double>(i)) * (mPoints[i + 1] - mPoints[i]);
    }

private:
    [[nodiscard]] std::size_t interval(double index) const {
        return static_cast<std::size_t>(
            std::clamp(std::floor(index), 0.0, static_cast<double>(mPoints.size() - 2)));
    }

    std::vector<double> mPoints;
};

} // namespace

std::optional<Position> Position::make(std::string_view text) {
    Position position{Boundary::start, std::string(text)};
    const auto take = [&](const auto& found) {
        if (found)
            position.place = *found;
        return found ? std::optional(position) : std::nullopt;
    };
    if (text == "start" || text == "end")
        return take(std::optional(text == "start" ? Boundary::start : Boundary::end));
    if (text.starts_with('@')) {
        const auto frame = wholeNumber(text.substr(1));
        return take(frame ? std::optional(Frame{*frame}) : std::nullopt);
    }
    if (text.ends_with('s'))
        return take(timeWithText(text.substr(0, text.size() - 1)));
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    const auto before = text.substr(0, colon);
    const auto after = text.substr(colon + 1);
    const bool hasPoint =
        text.find('.') != std::string_view::npos && text.find('+') == std::string_view::npos;
    if (hasPoint || after.find(':') != std::string_view::npos || looksLikeMinutes(before, after))
        return take(timeWithText(text));
    auto barBeat = barBeatWithText(before, after);
    const auto time = areTwoDigits(after) ? timeWithText(text) : std::nullopt;
    if (barBeat && time)
        barBeat->seconds = time->seconds;
    return take(barBeat);
}

std::optional<Distance> Distance::make(std::string_view amount, std::string_view unit) {
    struct UnitName {
        std::string_view name;
        DistanceUnit unit;
        double factor;
    };
    static constexpr std::array<UnitName, 12> kUnits{{{"beat", DistanceUnit::beats, 1},
                                                      {"beats", DistanceUnit::beats, 1},
                                                      {"bar", DistanceUnit::bars, 1},
                                                      {"bars", DistanceUnit::bars, 1},
                                                      {"s", DistanceUnit::seconds, 1},
                                                      {"sec", DistanceUnit::seconds, 1},
                                                      {"second", DistanceUnit::seconds, 1},
                                                      {"seconds", DistanceUnit::seconds, 1},
                                                      {"ms", DistanceUnit::seconds, 0.001},
                                                      {"frame", DistanceUnit::frames, 1},
                                                      {"frames", DistanceUnit::frames, 1},
                                                      {"samples", DistanceUnit::frames, 1}}};
    const auto number = amountWithText(amount);
    const auto found =
        std::find_if(kUnits.begin(), kUnits.end(), [&](const auto& u) { return u.name == unit; });
    if (!number || found == kUnits.end())
        return std::nullopt;
    const Distance distance{*number * found->factor, found->unit};
    if (!(std::abs(distance.amount) <= (distance.unit == DistanceUnit::frames ? kExactFrames : kMostUnits)))
        return std::nullopt;
    return distance;
}

bool Distance::isWhole() const {
    return std::floor(amount) == amount;
}

SongPositions::SongPositions(const Song& document) : mDocument(document), mGrid(countedBeats(document)) {}

std::int64_t SongPositions::frame(const Position& position) const {
    const auto frameOfTime = [&](double seconds) {
        const double frame = std::round(seconds * mDocument.recording.sampleRate);
        return frame <= kExactFrames ? static_cast<std::int64_t>(frame)
                                     : static_cast<std::int64_t>(kExactFrames);
    };
    const std::int64_t count = mDocument.recording.frameCount;
    std::int64_t frame = 0;
    if (const auto* place = std::get_if<Position::BarBeat>(&position.place)) {
        const bool isTime = place->seconds && !hasBeat(*place) && frameOfTime(*place->seconds) <= count;
        frame = isTime ? frameOfTime(*place->seconds) : barBeatFrame(*place);
    } else if (const auto* time = std::get_if<Position::Time>(&position.place))
        frame = frameOfTime(time->seconds);
    else if (const auto* exact = std::get_if<Position::Frame>(&position.place))
        frame = exact->frame;
    else if (std::get<Position::Boundary>(position.place) == Position::Boundary::end)
        frame = count;
    if (frame < 0 || frame > count)
        throw EditRefused(position.text + " lies outside the recording, which ends at " + timeText(count) +
                          " (@" + std::to_string(count) + ")");
    return frame;
}

Range<std::size_t> SongPositions::beatsOfBar(std::int64_t number) const {
    if (barCount() == 0)
        throw EditRefused("the song has no bars yet");
    if (number == 0)
        throw EditRefused("bars are counted from 1; name what lies before bar 1 by time (0:05) or frame");
    if (number < 0 || std::cmp_greater(number, barCount()))
        throw EditRefused("there is no bar " + std::to_string(number) + "; the song has " +
                          std::to_string(barCount()));
    return mGrid.barLines().bar(static_cast<std::size_t>(number - 1));
}

std::int64_t SongPositions::startOfBar(std::int64_t number) const {
    return mGrid.locations()[beatsOfBar(number).lower];
}

bool SongPositions::hasBeat(const Position::BarBeat& place) const {
    return place.bar >= 1 && std::cmp_less_equal(place.bar, barCount()) && place.beat >= 1 &&
           std::cmp_less_equal(place.beat, sizeOf(beatsOfBar(place.bar)));
}

std::int64_t SongPositions::barBeatFrame(const Position::BarBeat& place) const {
    const auto bar = beatsOfBar(place.bar);
    const std::size_t count = sizeOf(bar);
    if (place.beat < 1 || std::cmp_greater(place.beat, count))
        throw EditRefused("bar " + std::to_string(place.bar) + " has " + std::to_string(count) +
                          (count == 1 ? " beat" : " beats") + ", no beat " + std::to_string(place.beat));
    const std::int64_t beat = mGrid.locations()[bar.lower + static_cast<std::size_t>(place.beat - 1)];
    return place.fraction == 0 ? beat : frameAfter(beat, {place.fraction, DistanceUnit::beats});
}

std::int64_t SongPositions::frameAfter(std::int64_t frame, const Distance& distance) const {
    const auto start = static_cast<double>(frame);
    double end = start;
    if (distance.unit == DistanceUnit::frames || distance.unit == DistanceUnit::seconds) {
        const bool inFrames = distance.unit == DistanceUnit::frames;
        end += std::round(distance.amount * (inFrames ? 1 : mDocument.recording.sampleRate));
    } else {
        // Beats at one location count once, so that no interval is empty.
        std::vector<double> points;
        const bool inBeats = distance.unit == DistanceUnit::beats;
        for (const std::int64_t location : inBeats ? mGrid.locations() : mGrid.downbeatLocations()) {
            if (points.empty() || points.back() < static_cast<double>(location))
                points.push_back(static_cast<double>(location));
        }
        if (points.size() < 2)
            throw EditRefused(inBeats ? "the song has no beats to count yet"
                                      : "the song has no bars to count yet");
        const Scale scale(std::move(points));
        end = std::round(scale.valueAt(scale.indexOf(start) + distance.amount));
    }
    if (!(std::abs(end) <= kExactFrames))
        throw EditRefused("this leads far beyond the recording");
    return static_cast<std::int64_t>(end);
}

std::string SongPositions::name(std::int64_t frame) const {
    const std::size_t beat = mGrid.firstAtOrAfter(frame);
    if (beat == mGrid.size() || mGrid.locations()[beat] != frame)
        return timeText(frame);
    const auto place = mGrid.barBeat(beat);
    return place ? std::to_string(place->bar) + ":" + std::to_string(place->beat) : timeText(frame);
}

std::string SongPositions::timeText(std::int64_t frame) const {
    constexpr std::int64_t kMillisecondsPerMinute = 60'000;
    const double milliseconds = std::round(mDocument.seconds(frame) * 1000);
    if (frame < 0 || !(milliseconds <= kExactFrames))
        return "@" + std::to_string(frame);
    const auto whole = static_cast<std::int64_t>(milliseconds);
    const std::string seconds = std::to_string(100'000 + whole % kMillisecondsPerMinute); // padded by the 1
    return std::to_string(whole / kMillisecondsPerMinute) + ":" + seconds.substr(1, 2) + "." +
           seconds.substr(3);
}

} // namespace tarn
