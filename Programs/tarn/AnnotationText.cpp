#include "Programs/tarn/AnnotationText.h"

#include "Programs/tarn/HarteChord.h"
#include "TarnFoundation/BeatSpacing.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace tarn::program {
namespace {

// Writing

/// One line of either format: times, then texts. Line ends within a text become spaces, for .lab files have
/// no quotes.
std::string lineOf(const std::vector<double>& times, const std::vector<std::string>& texts,
                   AnnotationFormat format) {
    std::vector<std::string> fields;
    fields.reserve(times.size() + texts.size());
    for (const double time : times)
        fields.push_back(secondsText(time));
    fields.insert(fields.end(), texts.begin(), texts.end());
    if (format == AnnotationFormat::csv)
        return csvLine(fields);
    std::string line;
    for (std::string& field : fields) {
        std::replace_if(
            field.begin(), field.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
        line += (line.empty() ? "" : "\t") + field;
    }
    return line + "\n";
}

std::string beatsText(const Song& document, AnnotationFormat format) {
    const auto counted = document.notes->beatEntriesFilteredByTimeSignature();
    const auto isDownbeat = [](const auto& beat) { return beat->isDownbeat(); };
    const auto firstDownbeat = std::find_if(counted.begin(), counted.end(), isDownbeat);
    // Pickup beats are counted so that the first downbeat follows the last beat of a bar.
    const auto pickup = firstDownbeat - counted.begin();
    std::ptrdiff_t bar = 0;
    std::ptrdiff_t number = document.notes->timeSignature().numerator - pickup;
    std::string text = format == AnnotationFormat::csv ? csvLine({"time", "bar", "beat"}) : "";
    for (const auto& beat : counted) {
        ++number;
        if (beat->isDownbeat()) {
            ++bar;
            number = 1;
        }
        if (beat->location() < 0)
            continue; // count-in
        const std::string shownNumber =
            std::to_string(bar == 0 ? std::max<std::ptrdiff_t>(number, 2) : number);
        text += lineOf({document.seconds(beat->location())},
                       format == AnnotationFormat::csv ? std::vector{std::to_string(bar), shownNumber}
                                                       : std::vector{shownNumber},
                       format);
    }
    return text;
}

/// The lines of entries that each last until the next one begins; those that last no time are left out.
template <typename Entry, typename Texts>
std::string linesOfConsecutive(const Song& document, const EntryList<Entry>& entries, AnnotationFormat format,
                               Texts textsOf) {
    std::string text;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::int64_t start = std::max<std::int64_t>(entries[i]->location(), 0);
        const std::int64_t end =
            i + 1 < entries.size() ? entries[i + 1]->location() : document.recording.frameCount;
        if (start < end)
            text += lineOf({document.seconds(start), document.seconds(end)}, textsOf(*entries[i]), format);
    }
    return text;
}

std::string chordsText(const Song& document, AnnotationFormat format) {
    const auto chords = document.notes->chordEntries();
    const auto labelOf = [&](const KELPChordRef& chord) {
        return format == AnnotationFormat::lab || !chord ? harteLabel(chord) : chord->string();
    };
    std::string text = format == AnnotationFormat::csv ? csvLine({"start", "end", "label"}) : "";
    if (!chords.empty() && chords.front()->location() > 0)
        text += lineOf({0, document.seconds(chords.front()->location())}, {labelOf(KELPChord::noChord())},
                       format);
    return text + linesOfConsecutive(document, chords, format, [&](const TarnChordEntry& entry) {
               return std::vector{labelOf(entry.chord())};
           });
}

std::string sectionsText(const Song& document, AnnotationFormat format) {
    const bool isCSV = format == AnnotationFormat::csv;
    return (isCSV ? csvLine({"start", "end", "label", "color"}) : "") +
           linesOfConsecutive(document, document.structure->sectionEntries(), format,
                              [&](const TarnSectionEntry& section) {
                                  std::vector<std::string> texts{section.name().value_or("")};
                                  if (isCSV) {
                                      const auto color = section.sectionColor();
                                      texts.push_back(color.name() ? *color.name() : color.rawValue());
                                  }
                                  return texts;
                              });
}

std::string regionsText(const Song& document, AnnotationFormat format) {
    const bool isCSV = format == AnnotationFormat::csv;
    std::string text = isCSV ? csvLine({"start", "end", "label", "kind"}) : "";
    for (const auto& region : document.notes->regionEntries()) {
        std::vector<std::string> texts{region->name().value_or("")};
        if (isCSV)
            texts.emplace_back(regionKind(*region));
        text +=
            lineOf({document.seconds(region->location()), document.seconds(region->end())}, texts, format);
    }
    return text;
}

// Reading

constexpr double kLongestGapInSeconds = 0.05;

/// What a row says, whatever its columns are called.
struct Annotation {
    std::size_t line = 0;
    std::int64_t start = 0;          ///< frame, in the recording
    std::optional<std::int64_t> end; ///< frame
    std::string label;
    std::string color;
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

Columns columnsOf(const TextTable& table, AnnotationKind kind) {
    Columns columns;
    if (table.header.empty()) {
        // As in a .lab file: the time of a beat and its number, or start, end and label, the end optional.
        // A row without a label looks like a start and a label: the fullest row tells.
        const auto& fullest =
            std::max_element(table.rows.begin(), table.rows.end(), [](const auto& a, const auto& b) {
                return a.fields.size() < b.fields.size();
            })->fields;
        const bool hasEnd =
            kind != AnnotationKind::beats && fullest.size() >= 3 && numberWithText(fullest[1]).has_value();
        if (hasEnd)
            columns.end = 1;
        columns.label = hasEnd ? 2 : 1;
        return columns;
    }
    const auto start = columnNamed(table, {"time", "start", "onset"});
    if (!start)
        throw TextTableError(1, "no column is called time, start or onset");
    columns.start = *start;
    columns.end = columnNamed(table, {"end", "offset"});
    if (!columns.end) {
        columns.end = columnNamed(table, {"duration"});
        columns.endIsDuration = true;
    }
    columns.label = kind == AnnotationKind::beats ? columnNamed(table, {"beat", "label"})
                                                  : columnNamed(table, {"label", "name", "chord", "section"});
    if (!columns.label)
        throw TextTableError(1, kind == AnnotationKind::beats ? "no column is called beat or label"
                                                              : "no column is called label or name");
    columns.color = columnNamed(table, {"color", "colour"});
    return columns;
}

std::string fieldAt(const TextRow& row, std::optional<std::size_t> column) {
    return column && *column < row.fields.size() ? row.fields[*column] : "";
}

double secondsAt(const TextRow& row, std::size_t column) {
    const std::string text = fieldAt(row, column);
    const auto seconds = numberWithText(text);
    if (!seconds)
        throw TextTableError(row.line, "'" + text + "' is not a time in seconds");
    return *seconds;
}

/// The frame nearest to the time that the row has in the column; times beyond the recording are refused.
std::int64_t frameAt(const Song& document, const TextRow& row, std::size_t column) {
    const double frame = std::round(secondsAt(row, column) * document.recording.sampleRate);
    if (!(frame >= 0))
        throw TextTableError(row.line, "the time " + fieldAt(row, column) + " lies before the recording");
    if (!(frame <= static_cast<double>(document.recording.frameCount)))
        throw TextTableError(row.line, "the time " + fieldAt(row, column) +
                                           " lies behind the recording, which ends at " +
                                           secondsText(document.seconds(document.recording.frameCount)));
    return static_cast<std::int64_t>(frame);
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

std::vector<Annotation> annotationsIn(const Song& document, AnnotationKind kind, const TextTable& table) {
    if (table.rows.empty())
        throw TextTableError(1, "there is nothing to import");
    const Columns columns = columnsOf(table, kind);
    std::vector<Annotation> annotations;
    for (const TextRow& row : table.rows) {
        Annotation annotation{row.line,
                              frameAt(document, row, columns.start),
                              {},
                              fieldAt(row, columns.label),
                              fieldAt(row, columns.color)};
        if (!annotations.empty() && annotation.start <= annotations.back().start)
            throw TextTableError(row.line, "the time " + fieldAt(row, columns.start) +
                                               " does not lie behind the one before it; sort the file");
        if (columns.end)
            annotation.end = endOf(document, row, columns);
        annotations.push_back(std::move(annotation));
    }
    return annotations;
}

std::string replacement(std::size_t added, std::size_t removed, const std::string& kind) {
    return std::to_string(added) + " " + kind + " replace " + std::to_string(removed);
}

std::string replaceBeats(Song& document, const std::vector<Annotation>& annotations) {
    auto& storage = *document.notes;
    std::vector<std::int64_t> locations;
    std::vector<bool> opensBar;
    for (const Annotation& annotation : annotations) {
        const auto number = numberWithText(annotation.label);
        if (!number || *number < 1 || *number != std::floor(*number))
            throw TextTableError(annotation.line, "'" + annotation.label +
                                                      "' is not the number of a beat in its bar (1, 2, …)");
        locations.push_back(annotation.start);
        opensBar.push_back(*number == 1);
    }
    if (locations.size() < 2)
        throw TextTableError(annotations.front().line, "one beat alone makes no grid");
    if (std::find(opensBar.begin(), opensBar.end(), true) == opensBar.end())
        throw TextTableError(annotations.front().line, "no beat is numbered 1, so no bar begins anywhere");

    const bool countsEighths = storage.timeSignature().denominator == 8;
    auto beats = newBeatEntriesAtLocations(storage, locations);
    for (std::size_t i = 0; i < beats.size(); ++i)
        beats[i]->setDownbeat(opensBar[i]);
    if (!countsEighths) {
        const auto inBetween = newBeatEntriesAtLocations(storage, midpointLocations(locations));
        beats.insert(beats.end(), inBetween.begin(), inBetween.end());
    }
    const std::size_t previous = storage.beatEntriesFilteredByTimeSignature().size();
    storage.replaceBeatEntriesInArrayWithBeatEntriesInArray(storage.beatEntries(), beats);
    storage.setTimeSignatureByDenominator(countsEighths ? 8 : 4);
    const auto tempo = storage.newTempoEntry();
    tempo->setTempo(static_cast<float>(storage.tempoFromBeatEntries(document.recording.sampleRate)));
    storage.replaceTempoEntriesInArrayWithTempoEntriesInArray(storage.tempoEntries(), {tempo});
    const TimeSignature signature = storage.timeSignature();
    return replacement(locations.size(), previous, "beats") + " (metre " +
           std::to_string(signature.numerator) + "/" + std::to_string(signature.denominator) + ")";
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
    for (std::size_t i = 0; i < annotations.size(); ++i) {
        const Annotation& annotation = annotations[i];
        auto chord = chordWithLabelOrName(annotation.label);
        if (!chord)
            throw TextTableError(annotation.line, "'" + annotation.label +
                                                      "' is no chord (write C#:min7, C#m7, or N for none)");
        if (!chord->isNoChord() || !chords.empty()) // nothing sounds before the first chord anyway
            add(annotation.start, std::move(chord));
        const std::int64_t next =
            i + 1 < annotations.size() ? annotations[i + 1].start : document.recording.frameCount;
        if (annotation.end && static_cast<double>(next - *annotation.end) > longestGap && !chords.empty() &&
            !chords.back()->chord()->isNoChord() && *annotation.end > annotation.start)
            add(*annotation.end, KELPChord::noChord());
    }
    const auto previous = storage.chordEntries();
    const std::size_t count = chords.size();
    storage.replaceChordEntriesInArrayWithChordEntriesInArray(previous, std::move(chords));
    return replacement(count, previous.size(), "chords");
}

TarnSectionColor colorOf(const Annotation& annotation) {
    if (!annotation.color.empty())
        return TarnSectionColor::make(annotation.color).value_or(TarnSectionColor::named(annotation.color));
    std::string label = annotation.label;
    std::transform(label.begin(), label.end(), label.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    for (const auto& color :
         {TarnSectionColor::verse(), TarnSectionColor::chorus(), TarnSectionColor::bridge()}) {
        if (label.find(*color.name()) != std::string::npos)
            return color;
    }
    return TarnSectionColor::other();
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

} // namespace

std::string_view regionKind(const TarnRegionEntry& region) {
    if (dynamic_cast<const TarnVerseRegionEntry*>(&region))
        return "verse";
    if (dynamic_cast<const TarnChorusRegionEntry*>(&region))
        return "chorus";
    return dynamic_cast<const TarnBridgeRegionEntry*>(&region) ? "bridge" : "region";
}

std::string annotationText(const Song& document, AnnotationKind kind, AnnotationFormat format) {
    switch (kind) {
    case AnnotationKind::beats:
        return beatsText(document, format);
    case AnnotationKind::chords:
        return chordsText(document, format);
    case AnnotationKind::sections:
        return sectionsText(document, format);
    case AnnotationKind::regions:
        return regionsText(document, format);
    }
    fatalError("This is not a kind of annotation");
}

std::string replaceAnnotations(Song& document, AnnotationKind kind, const TextTable& table) {
    precondition(kind != AnnotationKind::regions, "Regions are not imported");
    const auto annotations = annotationsIn(document, kind, table);
    if (kind == AnnotationKind::beats)
        return replaceBeats(document, annotations);
    return kind == AnnotationKind::chords ? replaceChords(document, annotations)
                                          : replaceSections(document, annotations);
}

} // namespace tarn::program
