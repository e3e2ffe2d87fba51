#include "Interchange/AnnotationText.h"

#include "KELPMusic/HarteChord.h"
#include "Platform/PlainText.h"
#include "Song/CountedBeats.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tarn {
namespace {

constexpr auto kAnnotationKindNames =
    std::to_array<std::pair<AnnotationKind, std::string_view>>({{AnnotationKind::beats, "beats"},
                                                                {AnnotationKind::chords, "chords"},
                                                                {AnnotationKind::sections, "sections"},
                                                                {AnnotationKind::regions, "regions"},
                                                                {AnnotationKind::markers, "markers"}});

/// A time in seconds, with as many decimals as tell the song's frames apart.
std::string timeText(const Song& document, std::int64_t frame) {
    constexpr int kFewestDecimals = 6;
    constexpr int kMostDecimals = 12;
    double stepsPerSecond = 1e6;
    int decimals = kFewestDecimals;
    for (; stepsPerSecond < 2 * document.recording.sampleRate && decimals < kMostDecimals; ++decimals)
        stepsPerSecond *= 10;
    return decimalText(document.seconds(frame), decimals);
}

std::string lineOf(const std::vector<std::string>& fields, AnnotationFormat format) {
    return format == AnnotationFormat::csv ? csvLine(fields) : labLine(fields);
}

/// A stretch of the recording in which an entry holds.
template <typename Entry>
struct Stretch {
    std::int64_t start = 0;
    std::int64_t end = 0;
    std::shared_ptr<Entry> entry;
};

/// The stretches of entries that each last until the next one begins; what lies outside the recording is cut
/// off.
template <typename Entry>
std::vector<Stretch<Entry>> stretchesOf(const Song& document, const EntryList<Entry>& entries) {
    const std::int64_t frameCount = document.recording.frameCount;
    std::vector<Stretch<Entry>> stretches;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::int64_t start = std::max<std::int64_t>(entries[i]->location(), 0);
        const std::int64_t end =
            i + 1 < entries.size() ? std::min(entries[i + 1]->location(), frameCount) : frameCount;
        if (start < end)
            stretches.push_back({start, end, entries[i]});
    }
    return stretches;
}

/// The counted beats in the recording; those at one place are one.
BeatGrid listedBeats(const Song& document) {
    std::vector<GridBeat> beats;
    for (const GridBeat& beat : countedBeats(document).beats()) {
        if (beat.location > document.recording.frameCount)
            break;
        if (beats.empty() || beats.back().location < beat.location)
            beats.push_back(beat);
        else
            beats.back().isDownbeat |= beat.isDownbeat;
    }
    return BeatGrid(beats);
}

std::string beatsText(const Song& document, AnnotationFormat format) {
    const BeatGrid grid = listedBeats(document);
    const auto& lines = grid.barLines();
    const auto pickup = static_cast<std::int64_t>(sizeOf(lines.pickup()));
    const auto lengthOfFirstBar = static_cast<std::int64_t>(lines.barCount() > 0 ? sizeOf(lines.bar(0)) : 0);
    // Pickup beats are counted so that the first downbeat follows the last beat of a bar like the first one.
    const auto numberInPickup = [&](std::size_t position) -> std::size_t {
        const auto number = lengthOfFirstBar - pickup + static_cast<std::int64_t>(position) + 1;
        return lengthOfFirstBar == 0 ? 0 : static_cast<std::size_t>(std::max<std::int64_t>(number, 2));
    };
    std::string text = format == AnnotationFormat::csv ? csvLine({"time", "bar", "beat"}) : "";
    for (std::size_t i = 0; i < grid.size(); ++i) {
        const BarBeat place = grid.barBeat(i).value_or(BarBeat{0, numberInPickup(i)});
        std::vector<std::string> fields{timeText(document, grid.locations()[i])};
        if (format == AnnotationFormat::csv)
            fields.push_back(std::to_string(place.bar));
        else if (format == AnnotationFormat::labels)
            fields.push_back(fields.front());
        fields.push_back(std::to_string(place.beat));
        text += lineOf(fields, format);
    }
    return text;
}

std::string chordsText(const Song& document, AnnotationFormat format) {
    const auto label = format == AnnotationFormat::lab ? harteLabel : chartLabel;
    const auto isSilent = [](const auto& stretch) {
        const auto& chord = stretch.entry->chord();
        return !chord || chord->isNoChord();
    };
    std::string text = format == AnnotationFormat::csv ? csvLine({"start", "end", "label"}) : "";
    const auto addLine = [&](std::int64_t start, std::int64_t end, const KELPChordRef& chord) {
        text += lineOf({timeText(document, start), timeText(document, end), label(chord)}, format);
    };
    const auto stretches = stretchesOf(document, document.notes->chordEntries());
    if (stretches.empty())
        return text;
    // Whatever stands before the first chord that sounds is one line.
    const auto first = std::find_if_not(stretches.begin(), stretches.end(), isSilent);
    const std::int64_t silence = first == stretches.end() ? stretches.back().end : first->start;
    if (silence > 0)
        addLine(0, silence, KELPChord::noChord());
    for (auto stretch = first; stretch != stretches.end(); ++stretch)
        addLine(stretch->start, stretch->end, stretch->entry->chord());
    return text;
}

/// The bare name of a named colour. A name that would be read as another colour is written with its tag.
std::string colorText(const TarnSectionColor& color) {
    const std::string* const name = color.name();
    if (name && name->empty())
        return *TarnSectionColor::other().name();
    return name && !TarnSectionColor::make(*name) ? *name : color.rawValue();
}

std::string sectionsText(const Song& document, AnnotationFormat format) {
    const bool isCSV = format == AnnotationFormat::csv;
    std::string text = isCSV ? csvLine({"start", "end", "label", "color"}) : "";
    for (const auto& [start, end, section] : stretchesOf(document, document.structure->sectionEntries())) {
        std::vector<std::string> fields{timeText(document, start), timeText(document, end),
                                        section->name().value_or("")};
        if (isCSV)
            fields.push_back(colorText(section->sectionColor()));
        text += lineOf(fields, format);
    }
    return text;
}

std::string regionsText(const Song& document, AnnotationFormat format) {
    const bool isCSV = format == AnnotationFormat::csv;
    const std::int64_t frameCount = document.recording.frameCount;
    std::string text = isCSV ? csvLine({"start", "end", "label", "kind"}) : "";
    for (const auto& region : document.notes->regionEntries()) {
        const std::int64_t start = std::max<std::int64_t>(region->location(), 0);
        const std::int64_t end = std::min(region->tryEnd().value_or(frameCount), frameCount);
        if (!region->isValid() || start >= end)
            continue;
        std::vector<std::string> fields{timeText(document, start), timeText(document, end),
                                        region->name().value_or("")};
        if (isCSV)
            fields.emplace_back(regionKind(*region));
        text += lineOf(fields, format);
    }
    return text;
}

std::string markersText(const Song& document, AnnotationFormat format) {
    const bool isCSV = format == AnnotationFormat::csv;
    std::string text = isCSV ? csvLine({"time", "label"}) : "";
    for (const auto& marker : document.notes->markerEntries()) {
        if (marker->location() < 0 || marker->location() > document.recording.frameCount)
            continue;
        std::vector<std::string> fields{timeText(document, marker->location())};
        if (!isCSV)
            fields.push_back(fields.front());
        fields.push_back(marker->name().value_or(""));
        text += lineOf(fields, format);
    }
    return text;
}

} // namespace

std::string_view regionKind(const TarnRegionEntry& region) {
    if (dynamic_cast<const TarnVerseRegionEntry*>(&region))
        return "verse";
    if (dynamic_cast<const TarnChorusRegionEntry*>(&region))
        return "chorus";
    return dynamic_cast<const TarnBridgeRegionEntry*>(&region) ? "bridge" : "region";
}

namespace {

std::string rowsOf(const Song& document, AnnotationKind kind, AnnotationFormat format) {
    switch (kind) {
    case AnnotationKind::beats:
        return beatsText(document, format);
    case AnnotationKind::chords:
        return chordsText(document, format);
    case AnnotationKind::sections:
        return sectionsText(document, format);
    case AnnotationKind::regions:
        return regionsText(document, format);
    case AnnotationKind::markers:
        return markersText(document, format);
    }
    fatalError("This is not a kind of annotation");
}

} // namespace

std::string_view nameOf(AnnotationKind kind) {
    return std::find_if(kAnnotationKindNames.begin(), kAnnotationKindNames.end(),
                        [&](const auto& row) { return row.first == kind; })
        ->second;
}

AnnotationKind annotationKindNamed(std::string_view name) {
    const auto row = std::find_if(kAnnotationKindNames.begin(), kAnnotationKindNames.end(),
                                  [&](const auto& candidate) { return candidate.second == name; });
    precondition(row != kAnnotationKindNames.end(), "No kind of annotation has this name");
    return row->first;
}

std::string annotationText(const Song& document, AnnotationKind kind, AnnotationFormat format) {
    const std::string rows = rowsOf(document, kind, format);
    return rows.empty() ? "# none\n" : rows; // which distinguishes an empty list from a file that was lost
}

} // namespace tarn
