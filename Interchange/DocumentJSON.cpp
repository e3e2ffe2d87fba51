#include "Interchange/DocumentJSON.h"

#include "Interchange/AnnotationText.h"
#include "KELPMusic/HarteChord.h"
#include "Platform/CheckedArithmetic.h"
#include "Platform/PlainText.h"
#include "Platform/UTF8.h"
#include "Song/CountedBeats.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>

namespace tarn {
namespace {

using nlohmann::ordered_json;

/// The shortest decimal that reads as the same float: 119.97, not 119.97000122070312. JSON numbers are
/// doubles.
double shortestDecimal(float number) {
    char text[32];
    const auto printed = std::to_chars(text, text + sizeof text, number);
    double result = number;
    std::from_chars(text, printed.ptr, result);
    return result;
}

/// "\\u202e", of a character below 0x10000.
std::string escapeSequence(char32_t character) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string sequence = "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        sequence += kDigits[character >> shift & 0xF];
    return sequence;
}

ordered_json textOrNull(const std::optional<std::string>& text) {
    return text ? ordered_json(*text) : ordered_json(nullptr);
}

/// The confidence of a fact, by its key; null where there is none.
template <typename Map>
ordered_json confidenceOf(const Map& confidences, const typename Map::key_type& key) {
    const auto found = confidences.find(key);
    return found == confidences.end() ? ordered_json(nullptr) : ordered_json(found->second);
}

void addEnd(ordered_json& json, const Song& song, std::optional<std::int64_t> end) {
    json["end"] = end ? ordered_json(*end) : ordered_json(nullptr);
    json["endSeconds"] = end ? ordered_json(song.seconds(*end)) : ordered_json(nullptr);
}

std::optional<std::int64_t> endAfter(std::int64_t location, std::uint64_t length) {
    const auto end =
        tryCast<std::int64_t>(length).then([&](std::int64_t frames) { return tryAdd(location, frames); });
    return end.value() ? std::optional(*end.value()) : std::nullopt;
}

/// An array with an element for each entry, in order.
template <typename Entry, typename Describe>
ordered_json arrayJSON(const Song& song, const EntryList<Entry>& entries, const Describe& describe) {
    auto array = ordered_json::array();
    for (const auto& entry : entries) {
        ordered_json element{{"id", entry->eventId()},
                             {"location", entry->location()},
                             {"seconds", song.seconds(entry->location())}};
        describe(*entry, element);
        array.push_back(std::move(element));
    }
    return array;
}

/// Adds where entries of a list end that each last until the next one.
template <typename Entry>
void addEndsUpToNext(ordered_json& array, const Song& song, const EntryList<Entry>& entries) {
    for (std::size_t i = 0; i < entries.size(); ++i)
        addEnd(array[i], song,
               i + 1 < entries.size() ? entries[i + 1]->location() : song.recording.frameCount);
}

/// Adds the bar and the beat, counted from 1, in which entries begin; null outside the bars.
template <typename Entry>
void addPlaces(ordered_json& array, const BeatGrid& grid, const EntryList<Entry>& entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto place = grid.position(entries[i]->location());
        array[i]["bar"] = place ? ordered_json(place->bar) : ordered_json(nullptr);
        array[i]["beat"] = place ? ordered_json(place->beat) : ordered_json(nullptr);
    }
}

void describeChord(const TarnChordEntry& entry, ordered_json& json) {
    const KELPChordRef& chord = entry.chord();
    json["name"] = chord ? ordered_json(chord->string()) : ordered_json(nullptr);
    json["harte"] = harteLabel(chord);
    if (!chord || chord->isNoChord()) {
        json["root"] = nullptr;
        json["intervals"] = ordered_json::array();
        json["bass"] = nullptr;
        return;
    }
    json["root"] = chord->root().value();
    json["intervals"] = {0};
    for (std::size_t i = 1; i < chord->chordIntervals().size() && chord->chordIntervals()[i] != 0; ++i)
        json["intervals"].push_back(chord->chordIntervals()[i]);
    json["bass"] = chord->addedBass().value_or(chord->root()).value();
}

void describeNote(const TarnNoteEntry& entry, ordered_json& json) {
    const KELPPitchRef& pitch = entry.pitch();
    json["length"] = entry.length();
    json["name"] = pitch ? ordered_json(pitch->description()) : ordered_json(nullptr);
    json["pitchClass"] = pitch ? ordered_json(pitch->note().value()) : ordered_json(nullptr);
    json["octave"] = pitch ? ordered_json(pitch->octave()) : ordered_json(nullptr);
    json["channel"] = entry.channel();
    json["fretSelection"] = entry.fretSelection();
}

ordered_json keyJSON(const KELPKeyRef& key) {
    if (!key)
        return nullptr;
    const KELPChord& tonic = *key->tonicChord();
    return {{"name", tonic.string()}, {"root", tonic.root().value()}, {"minor", key->isMinor()}};
}

/// The positions of a bar in eighths at which listeners tap: every third where the time signature is
/// compound, else every second, the last eighth of an odd bar belonging to the pair before it.
bool isTapped(std::size_t position, std::size_t barLength, bool isCompound) {
    return isCompound ? position % 3 == 0 : position % 2 == 0 && (position == 0 || position + 1 < barLength);
}

/// The beats that a listener counts: quarters, or in documents of eighths dotted quarters (6/8, 9/8, 12/8) or
/// pairs of eighths.
std::vector<std::int64_t> tappedBeats(const TarnNoteEntryStorage& notes) {
    const BeatGrid grid = countedBeatGridOf(notes);
    const TimeSignature signature = notes.timeSignature();
    if (signature.denominator != 8)
        return grid.locations();
    const bool isCompound = signature.numerator % 3 == 0 && signature.numerator > 3;
    const auto& lines = grid.barLines();
    std::vector<std::int64_t> tapped;
    for (std::size_t i = 0; i < sizeOf(lines.pickup()); ++i)
        if ((sizeOf(lines.pickup()) - i) % (isCompound ? 3 : 2) == 0)
            tapped.push_back(grid.locations()[i]);
    for (std::size_t bar = 0; bar < lines.barCount(); ++bar) {
        const auto [begin, end] = lines.bar(bar);
        for (std::size_t i = begin; i < end; ++i)
            if (isTapped(i - begin, end - begin, isCompound))
                tapped.push_back(grid.locations()[i]);
    }
    return tapped;
}

// What a kind of entries gives to the JSON, under names that stand there already in their order. A kind
// without such a function does not compile.

void write(StandardPitchKind, const Song& song, ordered_json& json) {
    if (const auto pitches = song.notes->standardPitchEntries(); !pitches.empty())
        json["standardPitch"] = {{"frequency", pitches.front()->frequency()}};
}

void write(KeyKind, const Song& song, ordered_json& json) {
    json["key"] = keyJSON(song.notes->globalKey());
}

void write(TempoKind, const Song& song, ordered_json& json) {
    if (const auto tempi = song.notes->tempoEntries(); !tempi.empty())
        json["tempo"] = shortestDecimal(tempi.front()->tempo());
}

void write(TimeSignatureKind, const Song& song, ordered_json& json) {
    if (song.notes->timeSignatureEntries().empty())
        return;
    const TimeSignature signature = song.notes->timeSignature();
    json["timeSignature"] = {{"numerator", signature.numerator}, {"denominator", signature.denominator}};
}

/// The bars as musicians count them, with the identifiers of their downbeats.
ordered_json barsJSON(const Song& song) {
    std::map<std::int64_t, std::uint64_t> downbeats; // by location
    for (const auto& beat : song.notes->beatEntries())
        if (beat->isDownbeat())
            downbeats.emplace(beat->location(), beat->eventId());
    const BeatGrid grid = countedBeats(song);
    auto array = ordered_json::array();
    for (std::size_t i = 0; i < grid.barLines().barCount(); ++i) {
        const auto beats = grid.barLines().bar(i);
        const std::int64_t location = grid.locations()[beats.lower];
        ordered_json bar{{"number", i + 1}, {"location", location}, {"seconds", song.seconds(location)}};
        addEnd(bar, song, grid.endOf(beats, song.recording.frameCount));
        bar["beats"] = sizeOf(beats);
        bar["confidence"] = confidenceOf(song.facts.bars, downbeats[location]);
        array.push_back(std::move(bar));
    }
    return array;
}

void write(BeatKind, const Song& song, ordered_json& json) {
    const auto describe = [](const TarnBeatEntry& beat, ordered_json& element) {
        element["downbeat"] = beat.isDownbeat();
    };
    json["beats"] = arrayJSON(song, song.notes->beatEntries(), describe);
    json["countedBeats"] = tappedBeats(*song.notes);
    json["bars"] = barsJSON(song);
}

void write(ChordKind, const Song& song, ordered_json& json) {
    const auto chords = song.notes->chordEntries();
    auto& array = json["chords"] = arrayJSON(song, chords, describeChord);
    addEndsUpToNext(array, song, chords);
    addPlaces(array, countedBeats(song), chords);
    for (auto& element : array)
        element["confidence"] = confidenceOf(song.facts.chords, element["id"].get<std::uint64_t>());
}

void write(NoteKind, const Song& song, ordered_json& json) {
    const auto describe = [&](const TarnNoteEntry& note, ordered_json& element) {
        describeNote(note, element);
        addEnd(element, song, endAfter(note.location(), note.length()));
    };
    json["notes"] = arrayJSON(song, song.notes->noteEntries(), describe);
}

void write(RegionKind, const Song& song, ordered_json& json) {
    const auto describe = [&](const TarnRegionEntry& region, ordered_json& element) {
        element["length"] = region.length();
        element["kind"] = regionKind(region);
        element["name"] = textOrNull(region.name());
        addEnd(element, song, region.tryEnd());
    };
    json["regions"] = arrayJSON(song, song.notes->regionEntries(), describe);
}

void write(MarkerKind, const Song& song, ordered_json& json) {
    const auto describe = [](const TarnMarkerEntry& marker, ordered_json& element) {
        element["name"] = textOrNull(marker.name());
    };
    json["markers"] = arrayJSON(song, song.notes->markerEntries(), describe);
}

void writeSections(const Song& song, ordered_json& json) {
    const auto describe = [](const TarnSectionEntry& section, ordered_json& element) {
        element["name"] = textOrNull(section.name());
        element["color"] = textOrNull(section.colorString());
    };
    const auto sections = song.structure->sectionEntries();
    auto& array = json["sections"] = arrayJSON(song, sections, describe);
    addEndsUpToNext(array, song, sections);
    addPlaces(array, countedBeats(song), sections);
}

/// What is said of the song as a whole, after what stands at the object's beginning.
void writeSong(const Song& song, ordered_json& json) {
    json["fileName"] = song.recording.fileName;
    json["duration"] = song.seconds(song.recording.frameCount);
    json["title"] = song.properties.title;
    json["artist"] = song.properties.artist;
    json["capo"] = song.properties.capo;
    json["transposition"] = song.properties.transposition;
    json["version"] = TARN_VERSION;
    json["engineVersion"] =
        song.facts.engineVersion.empty() ? ordered_json(nullptr) : ordered_json(song.facts.engineVersion);
    json["confidence"] = ordered_json::object();
    for (const auto& [kind, confidence] : song.facts.overall)
        json["confidence"][kind] = confidence;
}

ordered_json objectOf(const Song& document) {
    ordered_json json{{"sampleRate", document.recording.sampleRate},
                      {"frameCount", document.recording.frameCount}};
    for (const char* name : {"standardPitch", "key", "tempo", "timeSignature", "beats", "countedBeats",
                             "chords", "notes", "regions", "sections", "markers", "bars"})
        json[name] = nullptr;
    // A rate of whole frames, as nearly all are, prints as a whole number.
    if (const auto rate = static_cast<std::int64_t>(std::min(document.recording.sampleRate, 1e15));
        static_cast<double>(rate) == document.recording.sampleRate)
        json["sampleRate"] = rate;
    TarnNoteEntryStorage::forEachKind([&](auto kind) { write(kind, document, json); });
    writeSections(document, json);
    writeSong(document, json);
    return json;
}

} // namespace

std::string documentJSON(const Song& document) {
    constexpr int compact = -1;
    const std::string json =
        objectOf(document).dump(compact, ' ', false, ordered_json::error_handler_t::replace);
    // The serializer escapes what JSON requires. The controls that are left stand in names; escaped, they
    // mean the same and do nothing to a terminal.
    std::string text;
    for (std::size_t i = 0; i < json.size();) {
        const char32_t character = nextUTF8(json, i);
        if (isControl(character))
            text += escapeSequence(character);
        else
            appendUTF8(text, character);
    }
    return text + "\n";
}

void printJSON(const Song& document) {
    std::cout << documentJSON(document);
}

} // namespace tarn
