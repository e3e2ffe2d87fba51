#include "Pictures/PictureWords.h"

#include "Pictures/PictureText.h"
#include "Platform/PlainText.h"
#include "Song/ChartHarmony.h"
#include "Song/CountedBeats.h"
#include "Song/GridReplacement.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace tarn {

namespace {

std::string fileTitle(const Recording& recording) {
    const auto& name = recording.fileName;
    const auto file = name.substr(name.find_last_of('/') + 1);
    const auto dot = file.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? file : file.substr(0, dot);
}

/// With one digit after the point where that is not zero.
std::string roundedNumber(double value) {
    return pictureNumber(std::round(10 * value) / 10);
}

/// The note that the tempo counts.
std::string tempoNote(TimeSignature metre) {
    return countedBeatsPerTempoBeat(metre) == 3 ? "♩." : "♩";
}

struct NamedPlace {
    std::int64_t frame;
    std::string name;
};

/// The name that holds at a frame: that of the last place at or before it.
const NamedPlace* placeAt(const std::vector<NamedPlace>& places, std::int64_t frame) {
    const auto next = std::upper_bound(places.begin(), places.end(), frame,
                                       [](std::int64_t at, const auto& place) { return at < place.frame; });
    return next == places.begin() ? nullptr : &*std::prev(next);
}

std::vector<NamedPlace> chordPlaces(const Song& song, const PictureOptions& options) {
    std::vector<NamedPlace> places;
    const ChartHarmony harmony(song, options.isAtConcertPitch);
    for (const auto& chord : song.notes->chordEntries()) {
        const auto written = harmony.chord(chord->chord());
        places.push_back(
            {chord->location(), written ? boundedName(typesetChord(written->string())) : std::string()});
    }
    return places;
}

std::vector<NamedPlace> sectionPlaces(const Song& song) {
    std::vector<NamedPlace> places;
    for (const auto& section : song.structure->sectionEntries())
        places.push_back({section->location(), boundedName(section->name().value_or(""))});
    return places;
}

/// The chords from `start` to `end`, each once where several follow each other with one name.
std::string chordsBetween(const std::vector<NamedPlace>& chords, std::int64_t start, std::int64_t end) {
    std::string text;
    const auto* last = placeAt(chords, start);
    if (last)
        text = last->name;
    constexpr std::size_t kMostBytes = 200;
    const NamedPlace* const stop = chords.data() + chords.size();
    for (const auto* chord = last ? last + 1 : chords.data(); chord != stop && chord->frame < end; ++chord) {
        if (chord->name.empty() || (last && last->name == chord->name))
            continue;
        if (text.size() > kMostBytes)
            return text + ", …";
        text += (text.empty() ? "" : ", ") + chord->name;
        last = chord;
    }
    return text;
}

/// The names of the places after `last` up to `here`, which may be null: a section that is too short for a
/// line of its own is named with the next one.
std::string namesUpTo(const std::vector<NamedPlace>& places, const NamedPlace* last, const NamedPlace* here) {
    constexpr std::size_t kMostBytes = 600;
    std::string names;
    for (const auto* place = last ? last + 1 : places.data(); here && place <= here; ++place) {
        if (place->name.empty())
            continue;
        if (names.size() > kMostBytes)
            return names + ", …";
        names += (names.empty() ? "" : ", ") + place->name;
    }
    return names;
}

} // namespace

PictureHeading pictureHeading(const Song& song, const PictureOptions& options) {
    PictureHeading heading;
    const auto& properties = song.properties;
    heading.title = boundedName(properties.title.empty() ? fileTitle(song.recording) : properties.title);
    if (heading.title.empty())
        heading.title = "Untitled";
    heading.artist = boundedName(properties.artist);
    const auto& notes = *song.notes;
    auto& facts = heading.facts;
    const ChartHarmony harmony(song, options.isAtConcertPitch);
    if (const auto& key = harmony.key()) {
        const auto& tonic = *key->tonicChord();
        facts.push_back(typesetChord(tonic.root().string()) + (tonic.isMinor() ? " minor" : " major"));
    }
    if (!options.isAtConcertPitch && properties.capo != 0)
        facts.push_back("Capo " + std::to_string(properties.capo));
    if (!options.isAtConcertPitch && properties.transposition != 0)
        facts.push_back("Transposed by " + std::string(properties.transposition > 0 ? "+" : "−") +
                        std::to_string(std::abs(properties.transposition)));
    if (const auto tempos = notes.tempoEntries(); !tempos.empty())
        facts.push_back(tempoNote(notes.timeSignature()) + " = " + roundedNumber(tempos.front()->tempo()));
    if (!notes.timeSignatureEntries().empty()) {
        const auto signature = notes.timeSignature();
        facts.push_back(std::to_string(signature.numerator) + "/" + std::to_string(signature.denominator));
    }
    if (const auto pitches = notes.standardPitchEntries(); !pitches.empty())
        facts.push_back("A4 = " + roundedNumber(pitches.front()->frequency()) + " Hz");
    facts.push_back(formattedDuration(song.seconds(song.recording.frameCount)));
    return heading;
}

SpokenChart spokenChart(const Song& song, const PictureOptions& options) {
    SpokenChart chart;
    const auto chords = chordPlaces(song, options);
    const auto sections = sectionPlaces(song);
    constexpr std::size_t kMostLines = 2000;
    std::size_t lineCount = 0;
    const NamedPlace* section = nullptr;
    const auto add = [&](std::int64_t frame, std::int64_t middle, std::string place, std::string text) {
        if (++lineCount > kMostLines) {
            ++chart.leftOut;
            return;
        }
        const auto* here = placeAt(sections, middle);
        if (chart.passages.empty() || here != section)
            chart.passages.push_back({namesUpTo(sections, section, here), {}});
        section = here;
        chart.passages.back().lines.push_back({frame, std::move(place), std::move(text)});
    };
    const auto lines = countedBeats(song).downbeatLocations();
    for (std::size_t bar = 0; bar < lines.size(); ++bar) {
        const std::int64_t start = lines[bar];
        const std::int64_t end =
            bar + 1 < lines.size() ? lines[bar + 1] : std::max(start, song.recording.frameCount);
        // What is a little early means the bar line.
        const std::int64_t early = (end - start) / 16;
        if (bar == 0 && !chords.empty() && chords.front().frame < start - early)
            add(0, start - early - 1, "Before bar 1", chordsBetween(chords, 0, start - early));
        add(start, start + (end - start) / 2, "Bar " + std::to_string(bar + 1),
            chordsBetween(chords, start + early, end - early));
    }
    if (lines.empty()) {
        for (const auto& chord : chords)
            add(chord.frame, chord.frame, formattedDuration(song.seconds(chord.frame)), chord.name);
    }
    const auto* const last = sections.empty() ? nullptr : &sections.back();
    if (chart.leftOut == 0 && section != last)
        chart.passages.push_back({namesUpTo(sections, section, last), {}});
    return chart;
}

} // namespace tarn
