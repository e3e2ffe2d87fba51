#include "Programs/tarn/SongPositions.h"

#include "Programs/tarn/TextTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>
#include <vector>

namespace tarn::program {
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

std::optional<Position::Time> timeWithText(std::string_view minutes, std::string_view seconds) {
    const auto wholeMinutes = minutes.empty() ? std::optional<std::int64_t>(0) : wholeNumber(minutes);
    const auto number = numberWithText(seconds);
    if (!wholeMinutes || !number || *number < 0 || (!minutes.empty() && *number >= 60))
        return std::nullopt;
    return Position::Time{static_cast<double>(*wholeMinutes) * 60 + *number};
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
    const std::size_t colon = text.find(':');
    const bool isTime = text.ends_with('s') || (text.find('.') != std::string_view::npos &&
                                                text.find('+') == std::string_view::npos);
    if (text == "start" || text == "end") {
        position.place = text == "start" ? Boundary::start : Boundary::end;
    } else if (text.starts_with('@')) {
        const auto frame = wholeNumber(text.substr(1));
        if (!frame)
            return std::nullopt;
        position.place = Frame{*frame};
    } else if (isTime) {
        if (text.ends_with('s'))
            text.remove_suffix(1);
        else if (colon == std::string_view::npos)
            return std::nullopt;
        const auto time = colon == std::string_view::npos
                              ? timeWithText("", text)
                              : timeWithText(text.substr(0, colon), text.substr(colon + 1));
        if (!time || colon == 0)
            return std::nullopt;
        position.place = *time;
    } else {
        const auto place = colon == std::string_view::npos
                               ? std::nullopt
                               : barBeatWithText(text.substr(0, colon), text.substr(colon + 1));
        if (!place)
            return std::nullopt;
        position.place = *place;
    }
    return position;
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

SongPositions::SongPositions(const Song& document) : mDocument(document) {
    mLocator.updateWithNoteEntryStorage(*document.notes);
}

std::int64_t SongPositions::frame(const Position& position) const {
    const auto frameOfTime = [&](double seconds) {
        const double frame = std::round(seconds * mDocument.recording.sampleRate);
        return frame <= kExactFrames ? static_cast<std::int64_t>(frame)
                                     : static_cast<std::int64_t>(kExactFrames);
    };
    const std::int64_t count = mDocument.recording.frameCount;
    std::int64_t frame = 0;
    if (const auto* place = std::get_if<Position::BarBeat>(&position.place))
        frame = barBeatFrame(*place);
    else if (const auto* time = std::get_if<Position::Time>(&position.place))
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

const TarnBeatLocatorBarEntry& SongPositions::bar(std::int64_t number) const {
    const auto& bars = mLocator.barEntries();
    if (bars.empty())
        throw EditRefused("the song has no bars yet");
    if (number == 0)
        throw EditRefused("bars are counted from 1; name what lies before bar 1 by time or frame");
    if (number < 0 || std::cmp_greater(number, bars.size()))
        throw EditRefused("there is no bar " + std::to_string(number) + "; the song has " +
                          std::to_string(bars.size()));
    return bars[static_cast<std::size_t>(number - 1)];
}

std::size_t SongPositions::endOfBar(std::size_t bar) const {
    const auto& bars = mLocator.barEntries();
    return bar + 1 < bars.size() ? bars[bar + 1].index() : mLocator.beatEntries().size();
}

std::int64_t SongPositions::barBeatFrame(const Position::BarBeat& place) const {
    const std::size_t first = bar(place.bar).index();
    const std::size_t count = endOfBar(static_cast<std::size_t>(place.bar - 1)) - first;
    if (place.beat < 1 || std::cmp_greater(place.beat, count))
        throw EditRefused("bar " + std::to_string(place.bar) + " has " + std::to_string(count) +
                          (count == 1 ? " beat" : " beats") + ", no beat " + std::to_string(place.beat));
    const auto& beats = mLocator.beatEntries();
    const std::size_t i = first + static_cast<std::size_t>(place.beat - 1);
    if (place.fraction == 0)
        return beats[i]->location();
    return frameAfter(beats[i]->location(), {place.fraction, DistanceUnit::beats});
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
        for (const auto& beat : mLocator.beatEntries()) {
            const auto location = static_cast<double>(beat->location());
            if ((distance.unit == DistanceUnit::beats || beat->isDownbeat()) &&
                (points.empty() || points.back() < location))
                points.push_back(location);
        }
        if (points.size() < 2)
            throw EditRefused(distance.unit == DistanceUnit::beats ? "the song has no beats to count yet"
                                                                   : "the song has no bars to count yet");
        const Scale scale(std::move(points));
        end = std::round(scale.valueAt(scale.indexOf(start) + distance.amount));
    }
    if (!(std::abs(end) <= kExactFrames))
        throw EditRefused("this leads far beyond the recording");
    return static_cast<std::int64_t>(end);
}

std::string SongPositions::name(std::int64_t frame) const {
    const auto& beats = mLocator.beatEntries();
    const auto& bars = mLocator.barEntries();
    const auto beat =
        std::lower_bound(beats.begin(), beats.end(), frame,
                         [](const auto& entry, std::int64_t at) { return entry->location() < at; });
    const auto index = static_cast<std::size_t>(beat - beats.begin());
    const auto nextBar = std::upper_bound(bars.begin(), bars.end(), index,
                                          [](std::size_t i, const auto& entry) { return i < entry.index(); });
    if (beat == beats.end() || (*beat)->location() != frame || nextBar == bars.begin())
        return timeText(frame);
    const auto& holding = *(nextBar - 1);
    return std::to_string(nextBar - bars.begin()) + ":" + std::to_string(index - holding.index() + 1);
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

} // namespace tarn::program
