#include "KELPMusic/HarteChord.h"

#include "KELPMusic/KELPChordTable.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <set>
#include <vector>

namespace tarn {
namespace {

/// The intervals of a record above the root.
std::vector<int> intervalsAbove(const KELPChordIntervals& record) {
    return {record.begin() + 1, std::find(record.begin() + 1, record.end(), 0)};
}

struct Shorthand {
    std::string_view name;
    std::vector<int> intervals; ///< semitones above the root
    bool isWritten;
};

/// Those of the chord table, in its order, which is that of preference, and two for chords that charts do not
/// use.
const std::vector<Shorthand>& shorthands() {
    static const auto all = [] {
        std::vector<Shorthand> result{{"1", {}, false}, {"maj11", {4, 7, 11, 14, 17}, false}};
        for (const KELPChordDefinition& row : gChords) {
            if (!row.harte.name.empty())
                result.push_back({row.harte.name, intervalsAbove(row.intervals), row.harte.isWritten});
        }
        return result;
    }();
    return all;
}

constexpr int kHighestDegree = 13;
constexpr std::array<int, 7> kMajorScale{0, 2, 4, 5, 7, 9, 11};
constexpr std::array<int, 7> kFifthsOfMajorScale{0, 2, 4, -1, 1, 3, 5};

/// The degree of an interval above the root; no degree lies beyond the thirteenth, so higher ones are taken
/// an octave lower.
std::string_view harteDegree(int interval) {
    constexpr std::array<std::string_view, 22> kNames{"b2", "2",   "b3", "3",   "4",  "b5", "5",  "#5",
                                                      "6",  "b7",  "7",  "8",   "b9", "9",  "#9", "10",
                                                      "11", "#11", "12", "b13", "13", "#13"};
    while (interval > static_cast<int>(kNames.size()))
        interval -= 12;
    return kNames[static_cast<std::size_t>(interval) - 1];
}

std::vector<int> withoutAll(const std::vector<int>& intervals, const std::vector<int>& others) {
    std::vector<int> rest;
    for (const int interval : intervals) {
        if (std::find(others.begin(), others.end(), interval) == others.end())
            rest.push_back(interval);
    }
    return rest;
}

/// ":7(*5,b5)": the shorthand that needs the fewest words; an omission counts as two. Without a shorthand the
/// root is listed as the first degree.
std::string qualityLabel(const std::vector<int>& intervals) {
    const Shorthand* best = nullptr;
    std::size_t bestCost = intervals.size();
    for (const Shorthand& shorthand : shorthands()) {
        if (!shorthand.isWritten)
            continue;
        const std::size_t cost = 2 * withoutAll(shorthand.intervals, intervals).size() +
                                 withoutAll(intervals, shorthand.intervals).size();
        if (cost < bestCost || (cost == bestCost && !best)) {
            best = &shorthand;
            bestCost = cost;
        }
    }
    const bool lists = !best;
    std::string label = lists ? ":" : ":" + std::string(best->name);
    std::vector<std::string> degrees;
    if (lists)
        degrees.emplace_back("1");
    else
        for (const int omitted : withoutAll(best->intervals, intervals))
            degrees.push_back("*" + std::string(harteDegree(omitted)));
    for (const int added : lists ? intervals : withoutAll(intervals, best->intervals))
        degrees.emplace_back(harteDegree(added));
    std::string_view separator = "(";
    for (const std::string& degree : degrees) {
        label.append(separator).append(degree);
        separator = ",";
    }
    return degrees.empty() ? label : label + ")";
}

std::string bassLabel(const KELPNote& root, const KELPNote& bass) {
    const KELPNote degree = KELPNote::noteWithFifths(bass.fifths() - root.fifths());
    if (degree == KELPNote())
        return "";
    const int accidental = degree.accidental();
    return "/" + std::string(static_cast<std::size_t>(std::abs(accidental)), accidental < 0 ? 'b' : '#') +
           std::to_string(degree.letter() + 1);
}

struct Degree {
    int number = 1; ///< 1 to 13
    int accidental = 0;

    [[nodiscard]] std::size_t step() const { return static_cast<std::size_t>(number - 1) % 7; }
    [[nodiscard]] int interval() const { return kMajorScale[step()] + 12 * ((number - 1) / 7) + accidental; }
    [[nodiscard]] int fifths() const { return kFifthsOfMajorScale[step()] + 7 * accidental; }
};

std::optional<Degree> degreeWithName(std::string_view text) {
    constexpr std::size_t kMostAccidentals = 2;
    const std::size_t accidentals = std::min(text.find_first_not_of("b#"), text.size());
    const auto signs = text.substr(0, accidentals);
    if (accidentals > kMostAccidentals || (accidentals == 2 && signs[0] != signs[1]))
        return std::nullopt;
    Degree degree;
    if (!signs.empty())
        degree.accidental = static_cast<int>(accidentals) * (signs[0] == 'b' ? -1 : 1);
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + accidentals, end, degree.number);
    if (parsed.ec != std::errc() || parsed.ptr != end || degree.number < 1 || degree.number > kHighestDegree)
        return std::nullopt;
    return degree;
}

/// Adds and takes away the degrees of a list; false when it is malformed or takes the root away.
bool applyDegrees(std::string_view list, std::set<int>& intervals) {
    while (true) {
        const std::size_t comma = list.find(',');
        std::string_view name = list.substr(0, comma);
        const bool omits = name.starts_with('*');
        if (omits)
            name.remove_prefix(1);
        const auto degree = degreeWithName(name);
        if (!degree || (omits && degree->interval() == 0) || degree->interval() < 0)
            return false;
        const int interval = degree->interval();
        if (omits)
            std::erase_if(intervals, [&](int other) { return (other - interval) % 12 == 0; });
        else if (interval > 0)
            intervals.insert(interval);
        if (comma == std::string_view::npos)
            return true;
        list.remove_prefix(comma + 1);
    }
}

std::optional<std::set<int>> intervalsWithLabel(std::string_view quality) {
    const std::size_t parenthesis = quality.find('(');
    const std::string_view name = quality.substr(0, parenthesis);
    std::set<int> intervals;
    if (!name.empty()) {
        const auto found = std::find_if(shorthands().begin(), shorthands().end(),
                                        [&](const Shorthand& shorthand) { return shorthand.name == name; });
        if (found == shorthands().end())
            return std::nullopt;
        intervals.insert(found->intervals.begin(), found->intervals.end());
    }
    if (parenthesis == std::string_view::npos)
        return name.empty() ? std::nullopt : std::optional(intervals);
    std::string_view list = quality.substr(parenthesis + 1);
    if (!list.ends_with(')'))
        return std::nullopt;
    list.remove_suffix(1);
    if (!applyDegrees(list, intervals))
        return std::nullopt;
    return intervals;
}

template <typename Intervals>
std::bitset<12> tones(const Intervals& intervals) {
    std::bitset<12> result;
    for (const int interval : intervals)
        result.set(static_cast<std::size_t>(interval) % 12);
    return result.set(0);
}

std::optional<KELPChordIntervals> recordOf(const std::set<int>& intervals) {
    const auto row = std::find_if(gChords.begin(), gChords.end(), [&](const KELPChordDefinition& definition) {
        return tones(definition.intervals) == tones(intervals);
    });
    if (row != gChords.end())
        return row->intervals;
    KELPChordIntervals record{};
    if (intervals.size() >= record.size())
        return std::nullopt;
    std::copy(intervals.begin(), intervals.end(), record.begin() + 1);
    return record;
}

std::string writtenHarteLabel(const KELPChordRef& chord) {
    if (!chord || chord->isNoChord())
        return "N";
    std::string label = chord->root().string() + qualityLabel(intervalsAbove(chord->chordIntervals()));
    if (chord->addedBass())
        label += bassLabel(chord->root(), *chord->addedBass());
    return label;
}

/// The label of a chord, or, where it reads as another chord of the same tones, that chord's label: labels
/// name no octaves beyond the thirteenth, and what the chord table lacks may read as one of its rows. So what
/// is written stays the same however often it is read and written again.
template <typename Write, typename Read>
std::string lastingLabel(const KELPChordRef& chord, Write write, Read read) {
    std::string label = write(chord);
    for (auto again = read(label); again; again = read(label)) {
        const std::string next = write(again);
        if (next == label)
            break;
        label = next;
    }
    return label;
}

} // namespace

std::string harteLabel(const KELPChordRef& chord) {
    return lastingLabel(chord, writtenHarteLabel, chordWithHarteLabel);
}

std::string chartLabel(const KELPChordRef& chord) {
    return lastingLabel(
        chord, [](const KELPChordRef& c) { return (c ? c : KELPChord::noChord())->string(); },
        KELPChord::chordWithString);
}

KELPChordRef chordWithHarteLabel(std::string_view label) {
    if (label == "N" || label == "X")
        return KELPChord::noChord();
    if (label.empty() || label[0] < 'A' || label[0] > 'G')
        return nullptr;
    const std::size_t rootEnd = std::min(label.find_first_not_of("b#", 1), label.size());
    const auto root = KELPNote::noteWithString(label.substr(0, rootEnd));
    const std::size_t slash = label.find('/');
    std::string_view quality = label.substr(rootEnd);
    quality = quality.substr(0, quality.find('/'));
    if (quality.empty())
        quality = ":maj"; // a bare root is a major triad
    if (!root || quality[0] != ':')
        return nullptr;
    const auto intervals = intervalsWithLabel(quality.substr(1));
    const auto record = intervals ? recordOf(*intervals) : std::nullopt;
    if (!record)
        return nullptr;
    std::optional<KELPNote> bass;
    if (slash != std::string_view::npos) {
        const auto degree = degreeWithName(label.substr(slash + 1));
        if (!degree)
            return nullptr;
        if (degree->fifths() != 0)
            bass = KELPNote::noteWithFifths(root->fifths() + degree->fifths());
    }
    return KELPChord::chordWithRoot(*root, *record, bass);
}

KELPChordRef chordWithLabelOrName(std::string_view text) {
    const auto chord = chordWithHarteLabel(text);
    return chord ? chord : KELPChord::chordWithString(text);
}

} // namespace tarn
