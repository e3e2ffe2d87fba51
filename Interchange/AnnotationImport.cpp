#include "Interchange/AnnotationText.h"

#include "Interchange/ChordReplacement.h"
#include "KELPMusic/HarteChord.h"
#include "Platform/PlainText.h"
#include "Song/GridReplacement.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <initializer_list>
#include <map>

namespace tarn {
namespace {

constexpr double kLongestGapInSeconds = 0.05;
/// By how much copies of a recording differ in length, encoders' padding included.
constexpr double kToleranceInSeconds = 0.1;

/// What a row says, whatever its columns are called.
struct Annotation {
    std::size_t line = 0;
    std::int64_t start = 0;          ///< frame, in the recording
    std::optional<std::int64_t> end; ///< frame
    std::string label;
    std::string color; ///< of sections; of regions their kind
};

/// Where a table keeps what is asked for.
struct Columns {
    std::size_t start = 0;
    std::optional<std::size_t> end;
    bool endIsDuration = false;
    std::optional<std::size_t> label;
    std::optional<std::size_t> color;
};

std::optional<std::size_t> columnNamed(const TextTable& table, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        const auto found = std::find(table.header.begin(), table.header.end(), name);
        if (found != table.header.end())
            return static_cast<std::size_t>(found - table.header.begin());
    }
    return std::nullopt;
}

/// Whether the second of two columns says where a row ends, rather than what it is: labels may be numbers
/// too, but no row ends before it starts.
bool secondColumnIsEnd(const TextTable& table) {
    return std::all_of(table.rows.begin(), table.rows.end(), [](const TextRow& row) {
        const auto start = numberWithText(row.fields[0]);
        const auto second = row.fields.size() > 1 ? numberWithText(row.fields[1]) : std::nullopt;
        return start && second && *second >= *start;
    });
}

/// Whether rows of two fields are points without labels as annotation editors write them: the time twice,
/// with its decimals.
bool areLabelsOfPoints(const TextTable& table) {
    return std::all_of(table.rows.begin(), table.rows.end(), [](const TextRow& row) {
        return row.fields.size() == 2 && row.fields[0] == row.fields[1] &&
               row.fields[0].find('.') != std::string::npos;
    });
}

/// Of a table without names: times, then in lists of beats their numbers (after the bars' numbers, where
/// there are three columns), else ends, which may be missing, and labels.
Columns columnsByOrder(const TextTable& table, AnnotationKind kind) {
    // A row without a label looks like a start and a label: the fullest row tells.
    const auto& fullest =
        *std::max_element(table.rows.begin(), table.rows.end(), [](const TextRow& a, const TextRow& b) {
            return a.fields.size() < b.fields.size();
        });
    const std::size_t count = fullest.fields.size();
    Columns columns;
    if (kind == AnnotationKind::beats) {
        if (count > 1 && !(count == 2 && areLabelsOfPoints(table)))
            columns.label = std::min<std::size_t>(count - 1, 2);
        return columns;
    }
    if (kind == AnnotationKind::markers && count == 1)
        return columns;
    if (count == 1)
        throw TextTableError(fullest.line,
                             "there are times without labels; --what beats reads lists of beats");
    const bool hasEnd = count >= 3 ? numberWithText(fullest.fields[1]).has_value() : secondColumnIsEnd(table);
    if (hasEnd)
        columns.end = 1;
    for (const TextRow& row : table.rows) {
        if (!hasEnd && row.fields.size() > 1 && beginsWithMisspeltNumber(row.fields[1]))
            throw TextTableError(row.line, timeFault(row.fields[1]));
    }
    if (kind == AnnotationKind::regions && !hasEnd)
        throw TextTableError(fullest.line, "regions need a start and an end");
    columns.label = hasEnd ? 2 : 1;
    return columns;
}

Columns columnsOf(const TextTable& table, AnnotationKind kind) {
    if (table.header.empty())
        return columnsByOrder(table, kind);
    Columns columns;
    const auto start = columnNamed(table, {"time", "start", "onset"});
    if (!start)
        throw TextTableError(1, "no column is called time, start or onset");
    columns.start = *start;
    columns.end = columnNamed(table, {"end", "offset"});
    if (!columns.end) {
        columns.end = columnNamed(table, {"duration"});
        columns.endIsDuration = true;
    }
    const bool areBeats = kind == AnnotationKind::beats;
    columns.label = areBeats ? columnNamed(table, {"beat", "label"})
                             : columnNamed(table, {"label", "name", "chord", "section"});
    const bool areTimesAlone = (areBeats || kind == AnnotationKind::markers) && table.header.size() == 1;
    if (!columns.label && !areTimesAlone)
        throw TextTableError(1, areBeats ? "no column is called beat or label"
                                         : "no column is called label or name");
    if (kind == AnnotationKind::regions && !columns.end)
        throw TextTableError(1, "no column is called end, offset or duration");
    columns.color = kind == AnnotationKind::regions ? columnNamed(table, {"kind"})
                                                    : columnNamed(table, {"color", "colour"});
    return columns;
}

std::string fieldAt(const TextRow& row, std::optional<std::size_t> column) {
    return column && *column < row.fields.size() ? row.fields[*column] : "";
}

double secondsAt(const TextRow& row, std::size_t column) {
    const std::string text = fieldAt(row, column);
    const auto seconds = numberWithText(text);
    if (!seconds)
        throw TextTableError(row.line, timeFault(text));
    return *seconds;
}

/// The frame nearest to the time that the row has in the column; a little outside the recording it is the
/// recording's start or end. Times further outside are refused.
std::int64_t frameAt(const Song& document, const TextRow& row, std::size_t column, bool& isMoved) {
    const double rate = document.recording.sampleRate;
    const double tolerance = kToleranceInSeconds * rate;
    const auto last = static_cast<double>(document.recording.frameCount);
    const double frame = std::round(secondsAt(row, column) * rate);
    const auto time = [&] { return "the time " + shortened(fieldAt(row, column)); };
    if (!(frame >= -tolerance))
        throw TextTableError(row.line, time() + " lies before the recording");
    if (!(frame <= last + tolerance))
        throw TextTableError(row.line, time() + " lies after the recording, which ends at " +
                                           decimalText(document.seconds(document.recording.frameCount), 6));
    const double inside = std::clamp(frame, 0.0, last);
    isMoved = inside != frame;
    return static_cast<std::int64_t>(inside);
}

/// Where the row's annotation ends. Files made from another copy of the recording may end a little later.
std::int64_t endOf(const Song& document, const TextRow& row, const Columns& columns) {
    const double start = secondsAt(row, columns.start);
    const double given = secondsAt(row, *columns.end);
    const double end = columns.endIsDuration ? start + given : given;
    if (!(end >= start))
        throw TextTableError(row.line, "it ends before it starts");
    const double frame = std::round(end * document.recording.sampleRate);
    return static_cast<std::int64_t>(std::min(frame, static_cast<double>(document.recording.frameCount)));
}

struct ReadAnnotations {
    std::vector<Annotation> rows;
    std::size_t moved = 0; ///< from just outside the recording to its start or end, or left out there
};

ReadAnnotations annotationsIn(const Song& document, AnnotationKind kind, const Columns& columns,
                              const TextTable& table) {
    const bool mayCoincide = kind == AnnotationKind::regions || kind == AnnotationKind::markers;
    ReadAnnotations read;
    auto& annotations = read.rows;
    for (const TextRow& row : table.rows) {
        bool isMoved = false;
        Annotation annotation{row.line,
                              frameAt(document, row, columns.start, isMoved),
                              {},
                              fieldAt(row, columns.label),
                              fieldAt(row, columns.color)};
        read.moved += isMoved;
        if (columns.end)
            annotation.end = endOf(document, row, columns);
        const bool isEmpty = annotation.end && *annotation.end <= annotation.start;
        if (isMoved && kind == AnnotationKind::regions && isEmpty)
            continue; // nothing of it is left
        if (!annotations.empty() && (mayCoincide ? annotation.start < annotations.back().start
                                                 : annotation.start <= annotations.back().start)) {
            if (isMoved)
                continue;
            throw TextTableError(row.line, "the time " + shortened(fieldAt(row, columns.start)) +
                                               " does not come after the one before it; sort the file");
        }
        annotations.push_back(std::move(annotation));
    }
    return read;
}

std::string replacement(std::size_t added, std::size_t removed, const std::string& kind) {
    return std::to_string(added) + " " + kind + " replace " + std::to_string(removed);
}

/// Which beats of a list open a bar.
struct CountedBars {
    std::vector<bool> opensBar;     ///< one for each beat
    std::optional<int> beatsPerBar; ///< where the list's numbers do not say
    std::string assumption;         ///< what was assumed, for people; empty where nothing was
};

/// The beats to a bar by the document's metre; 4 where it has none.
int beatsPerBarOf(const Song& document) {
    return std::clamp<int>(document.notes->timeSignature().numerator, 1, BeatCounting::kMostBeatsPerBar);
}

CountedBars numberedBarLines(const Song& document, const std::vector<Annotation>& annotations,
                             const BeatCounting& counting) {
    CountedBars lines;
    bool areUnknown = true;
    for (const Annotation& annotation : annotations) {
        const auto number = numberWithText(annotation.label);
        if (!number || *number < 0 || *number != std::floor(*number))
            throw TextTableError(annotation.line, inQuotes(annotation.label) +
                                                      " is not the number of a beat in its bar (1, 2, …)");
        lines.opensBar.push_back(*number == 1);
        areUnknown = areUnknown && *number == 0;
    }
    if (!areUnknown && std::find(lines.opensBar.begin(), lines.opensBar.end(), true) == lines.opensBar.end())
        throw TextTableError(annotations.front().line, "no beat is numbered 1, so no bar begins anywhere");
    if (counting.beatsPerBar || counting.firstDownbeat)
        throw BeatCountingError("the list numbers its beats itself; leave --beats-per-bar and "
                                "--first-downbeat out");
    if (areUnknown)
        lines.beatsPerBar = beatsPerBarOf(document);
    return lines;
}

/// The beat of the first bar, counted from 0, from which bars of that many beats begin as near as possible
/// to the document's downbeats; empty where it has none within the list.
std::optional<std::size_t> phaseOfDownbeats(const Song& document, const std::vector<Annotation>& annotations,
                                            std::size_t beatsPerBar) {
    std::vector<std::size_t> votes(std::min(beatsPerBar, annotations.size()));
    bool hasDownbeats = false;
    for (const auto& beat : document.notes->beatEntries()) {
        if (!beat->isDownbeat() || beat->location() < annotations.front().start ||
            beat->location() > annotations.back().start)
            continue;
        hasDownbeats = true;
        const auto past = std::lower_bound(
            annotations.begin(), annotations.end(), beat->location(),
            [](const Annotation& annotation, std::int64_t frame) { return annotation.start < frame; });
        auto nearest = past;
        if (nearest != annotations.begin() &&
            beat->location() - (nearest - 1)->start < nearest->start - beat->location())
            --nearest;
        ++votes[static_cast<std::size_t>(nearest - annotations.begin()) % votes.size()];
    }
    if (!hasDownbeats)
        return std::nullopt;
    return static_cast<std::size_t>(std::max_element(votes.begin(), votes.end()) - votes.begin());
}

CountedBars countedBarLines(const Song& document, const std::vector<Annotation>& annotations,
                            const BeatCounting& counting) {
    CountedBars lines;
    const auto assume = [&](const std::string& what) {
        lines.assumption += (lines.assumption.empty() ? "" : " and ") + what;
    };
    const bool hasMetre = !document.notes->timeSignatureEntries().empty();
    const int beatsPerBar = counting.beatsPerBar.value_or(beatsPerBarOf(document));
    if (!counting.beatsPerBar)
        assume(std::to_string(beatsPerBar) + " beats to a bar" + (hasMetre ? " (the document's metre)" : ""));
    const auto size = static_cast<std::size_t>(beatsPerBar);
    std::size_t first = 0;
    if (counting.firstDownbeat) {
        first = static_cast<std::size_t>(*counting.firstDownbeat) - 1;
        if (first >= annotations.size())
            throw BeatCountingError("--first-downbeat " + std::to_string(first + 1) + ": the list has only " +
                                    std::to_string(annotations.size()) + " beats");
    } else {
        const auto phase = phaseOfDownbeats(document, annotations, size);
        first = phase.value_or(0);
        assume("bar 1 at beat " + std::to_string(first + 1) + " of the list" +
               (phase ? " (the document's downbeats)" : ""));
    }
    for (std::size_t i = 0; i < annotations.size(); ++i)
        lines.opensBar.push_back(i >= first && (i - first) % size == 0);
    lines.beatsPerBar = beatsPerBar;
    return lines;
}

/// The beats of most bars that end in the list; of equally frequent numbers `preferred`, else the smallest.
/// Empty where no bar of a plausible length ends there.
std::optional<int> usualLengthOfWholeBars(const std::vector<bool>& opensBar, int preferred) {
    std::map<int, int> counts; // of bars, by their beats
    std::optional<std::size_t> start;
    for (std::size_t i = 0; i < opensBar.size(); ++i) {
        if (!opensBar[i])
            continue;
        if (start && i - *start > 1 && i - *start <= BeatCounting::kMostBeatsPerBar)
            ++counts[static_cast<int>(i - *start)];
        start = i;
    }
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    if (most == counts.end())
        return std::nullopt;
    const auto wanted = counts.find(preferred);
    return wanted != counts.end() && wanted->second == most->second ? preferred : most->first;
}

std::string replaceBeats(Song& document, const std::vector<Annotation>& annotations,
                         const CountedBars& lines) {
    auto& storage = *document.notes;
    if (annotations.size() < 2)
        throw TextTableError(annotations.front().line, "a single beat does not make a grid");
    std::vector<GridBeat> beats;
    beats.reserve(annotations.size());
    for (std::size_t i = 0; i < annotations.size(); ++i)
        beats.push_back({annotations[i].start, lines.opensBar[i]});
    const TimeSignature former = storage.timeSignature();
    const std::uint8_t denominator = std::has_single_bit(former.denominator) ? former.denominator : 4;
    const std::size_t previous = storage.beatEntriesFilteredByTimeSignature().size();
    const int numerator = lines.beatsPerBar.value_or(
        usualLengthOfWholeBars(lines.opensBar, former.numerator).value_or(former.numerator));
    // The metre comes first: where there are several, another one may rule how beats are stored.
    storage.setTimeSignature(static_cast<std::uint8_t>(numerator), denominator);
    std::vector<std::shared_ptr<TarnBeatEntry>> countIn; // which would shift how the new beats are counted
    for (const auto& beat : storage.beatEntries()) {
        if (beat->location() < 0)
            countIn.push_back(beat);
    }
    storage.removeBeatEntriesInArray(countIn);
    replaceGrid(document, beats, std::nullopt);
    setTempoFromBeats(document);
    const TimeSignature signature = storage.timeSignature();
    return replacement(beats.size(), previous, "beats") + " (metre " + std::to_string(signature.numerator) +
           "/" + std::to_string(signature.denominator) + ")" +
           (lines.assumption.empty() ? "" : "; assumed: " + lines.assumption);
}

std::string replaceChords(Song& document, const std::vector<Annotation>& annotations) {
    auto& storage = *document.notes;
    std::vector<std::shared_ptr<TarnChordEntry>> chords;
    const auto add = [&](std::int64_t location, KELPChordRef chord) {
        chords.push_back(storage.newChordEntry());
        chords.back()->setLocation(location);
        chords.back()->setChord(std::move(chord));
    };
    const double longestGap = kLongestGapInSeconds * document.recording.sampleRate;
    std::vector<KELPChordRef> read;
    std::size_t unnamed = 0;
    bool sounds = false;
    for (const Annotation& annotation : annotations) {
        read.push_back(chordWithLabelOrName(annotation.label));
        if (!read.back())
            throw TextTableError(annotation.line,
                                 inQuotes(annotation.label) +
                                     " is not a valid chord (write C#:min7, C#m7, or N for none)");
        unnamed += annotation.label == "X";
        sounds = sounds || !read.back()->isNoChord();
    }
    for (std::size_t i = 0; i < annotations.size(); ++i) {
        const Annotation& annotation = annotations[i];
        const bool isSilent = read[i]->isNoChord();
        // Nothing sounds before the first chord anyway.
        if (!isSilent || !chords.empty() || !sounds)
            add(annotation.start, read[i]);
        const std::int64_t next =
            i + 1 < annotations.size() ? annotations[i + 1].start : document.recording.frameCount;
        if (annotation.end && static_cast<double>(next - *annotation.end) > longestGap && !isSilent &&
            *annotation.end > annotation.start)
            add(*annotation.end, KELPChord::noChord());
    }
    return replaceChordsOf(document, std::move(chords)) +
           (unnamed > 0 ? "; " + std::to_string(unnamed) + " labelled X became N.C." : "");
}

TarnSectionColor colorOf(const Annotation& annotation) {
    if (!annotation.color.empty())
        return TarnSectionColor::make(annotation.color).value_or(TarnSectionColor::named(annotation.color));
    return sectionColorOfName(annotation.label);
}

std::string replaceSections(Song& document, const std::vector<Annotation>& annotations) {
    auto& structure = *document.structure;
    std::vector<std::shared_ptr<TarnSectionEntry>> sections;
    for (const Annotation& annotation : annotations) {
        const auto section = structure.newSectionEntry()->mutableCopy();
        section->setLocation(annotation.start);
        section->setName(annotation.label);
        section->setSectionColor(colorOf(annotation));
        sections.push_back(section);
    }
    const auto previous = structure.sectionEntries();
    structure.replaceSectionEntriesInArrayWithSectionEntriesInArray(previous, std::move(sections));
    return replacement(annotations.size(), previous.size(), "sections");
}

std::shared_ptr<TarnRegionEntry> newRegion(TarnNoteEntryStorage& storage, const Annotation& annotation) {
    const std::string text = lowerCased(annotation.color.empty() ? annotation.label : annotation.color);
    const auto says = [&](const char* word) { return text.find(word) != std::string::npos; };
    if (says("verse"))
        return storage.newVerseRegionEntry();
    if (says("chorus"))
        return storage.newChorusRegionEntry();
    if (says("bridge"))
        return storage.newBridgeRegionEntry();
    return storage.newRegionEntry();
}

std::string replaceRegions(Song& document, const std::vector<Annotation>& annotations) {
    auto& storage = *document.notes;
    std::vector<std::shared_ptr<TarnRegionEntry>> regions;
    for (const Annotation& annotation : annotations) {
        if (!annotation.end || *annotation.end <= annotation.start)
            throw TextTableError(annotation.line, "a region cannot end where it starts");
        regions.push_back(newRegion(storage, annotation));
        regions.back()->setLocation(annotation.start);
        regions.back()->setLength(static_cast<std::uint64_t>(*annotation.end - annotation.start));
        regions.back()->setName(annotation.label);
    }
    const auto previous = storage.regionEntries();
    const std::size_t count = regions.size();
    storage.replaceRegionEntriesInArrayWithRegionEntriesInArray(previous, std::move(regions));
    return replacement(count, previous.size(), "regions");
}

std::string replaceMarkers(Song& document, const std::vector<Annotation>& annotations) {
    auto& storage = *document.notes;
    std::vector<std::shared_ptr<TarnMarkerEntry>> markers;
    for (const Annotation& annotation : annotations) {
        markers.push_back(storage.newMarkerEntry());
        markers.back()->setLocation(annotation.start);
        markers.back()->setName(annotation.label);
    }
    const auto previous = storage.markerEntries();
    const std::size_t count = markers.size();
    storage.replaceMarkerEntriesInArrayWithMarkerEntriesInArray(previous, std::move(markers));
    return replacement(count, previous.size(), "markers");
}

std::string removeBeats(Song& document) {
    auto& storage = *document.notes;
    const std::size_t count = storage.beatEntries().size();
    storage.removeBeatEntriesInArray(storage.beatEntries());
    return replacement(0, count, "beats");
}

std::string replaceKind(Song& document, AnnotationKind kind, const std::vector<Annotation>& annotations,
                        const Columns& columns, const BeatCounting& counting) {
    switch (kind) {
    case AnnotationKind::beats:
        if (annotations.empty())
            return removeBeats(document);
        return replaceBeats(document, annotations,
                            columns.label ? numberedBarLines(document, annotations, counting)
                                          : countedBarLines(document, annotations, counting));
    case AnnotationKind::chords:
        return replaceChords(document, annotations);
    case AnnotationKind::sections:
        return replaceSections(document, annotations);
    case AnnotationKind::regions:
        return replaceRegions(document, annotations);
    case AnnotationKind::markers:
        return replaceMarkers(document, annotations);
    }
    fatalError("This is not a kind of annotation");
}

} // namespace

TarnSectionColor sectionColorOfName(std::string_view name) {
    const std::string text = lowerCased(name);
    for (const auto& color :
         {TarnSectionColor::verse(), TarnSectionColor::chorus(), TarnSectionColor::bridge()}) {
        if (text.find(*color.name()) != std::string::npos)
            return color;
    }
    return TarnSectionColor::other();
}

TextTable parseLabels(std::string_view text) {
    TextTable table = parseLab(text);
    std::erase_if(table.rows, [](const TextRow& row) { return row.fields.front().starts_with('\\'); });
    return table;
}

std::string replaceAnnotations(Song& document, AnnotationKind kind, const TextTable& table,
                               const BeatCounting& counting) {
    // An export of nothing has a header or a comment; what is wholly empty is more likely a mistake.
    if (table.rows.empty() && table.header.empty() && !table.hasComment)
        throw TextTableError(1, "there is nothing to import");
    if (table.header.empty()) {
        for (const TextRow& row : table.rows)
            (void)secondsAt(row, 0); // what is wrong there makes all columns look like others
    }
    const bool isWithoutColumns = table.rows.empty() && table.header.empty();
    const Columns columns = isWithoutColumns ? Columns() : columnsOf(table, kind);
    const auto [annotations, moved] = annotationsIn(document, kind, columns, table);
    std::string report = replaceKind(document, kind, annotations, columns, counting);
    if (moved > 0)
        report += "; " + std::to_string(moved) + " just outside the recording were moved to its start or end";
    return report;
}

} // namespace tarn
