#include "Interchange/DocumentJSON.h"

#include "Interchange/AnnotationText.h"
#include "Platform/PlainText.h"
#include "Platform/UTF8.h"
#include "TarnFoundation/BeatGridReading.h"

#include <algorithm>
#include <charconv>
#include <iostream>
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

ordered_json entryJSON(const TarnUserEntry& entry) {
    return {{"id", entry.eventId()}, {"location", entry.location()}};
}

/// An array with an element for each entry, in order.
template <typename Entry, typename Describe>
ordered_json arrayJSON(const EntryList<Entry>& entries, const Describe& describe) {
    auto array = ordered_json::array();
    for (const auto& entry : entries) {
        auto element = entryJSON(*entry);
        describe(*entry, element);
        array.push_back(std::move(element));
    }
    return array;
}

void describeChord(const TarnChordEntry& entry, ordered_json& json) {
    const KELPChordRef& chord = entry.chord();
    json["name"] = chord ? ordered_json(chord->string()) : ordered_json(nullptr);
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

void write(StandardPitchKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    if (const auto pitches = notes.standardPitchEntries(); !pitches.empty())
        json["standardPitch"] = {{"frequency", pitches.front()->frequency()}};
}

void write(KeyKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    json["key"] = keyJSON(notes.globalKey());
}

void write(TempoKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    if (const auto tempi = notes.tempoEntries(); !tempi.empty())
        json["tempo"] = shortestDecimal(tempi.front()->tempo());
}

void write(TimeSignatureKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    if (notes.timeSignatureEntries().empty())
        return;
    const TimeSignature signature = notes.timeSignature();
    json["timeSignature"] = {{"numerator", signature.numerator}, {"denominator", signature.denominator}};
}

void write(BeatKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    json["beats"] = arrayJSON(notes.beatEntries(), [](const TarnBeatEntry& beat, ordered_json& element) {
        element["downbeat"] = beat.isDownbeat();
    });
    json["countedBeats"] = tappedBeats(notes);
}

void write(ChordKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    json["chords"] = arrayJSON(notes.chordEntries(), describeChord);
}

void write(NoteKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    json["notes"] = arrayJSON(notes.noteEntries(), describeNote);
}

void write(RegionKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    json["regions"] =
        arrayJSON(notes.regionEntries(), [](const TarnRegionEntry& region, ordered_json& element) {
            element["length"] = region.length();
            element["kind"] = regionKind(region);
            element["name"] = textOrNull(region.name());
        });
}

void write(MarkerKind, const TarnNoteEntryStorage& notes, ordered_json& json) {
    json["markers"] =
        arrayJSON(notes.markerEntries(), [](const TarnMarkerEntry& marker, ordered_json& element) {
            element["name"] = textOrNull(marker.name());
        });
}

} // namespace

ordered_json documentJSON(const Song& document) {
    ordered_json json{{"sampleRate", document.recording.sampleRate},
                      {"frameCount", document.recording.frameCount}};
    for (const char* name : {"standardPitch", "key", "tempo", "timeSignature", "beats", "countedBeats",
                             "chords", "notes", "regions", "sections", "markers"})
        json[name] = nullptr;
    // A rate of whole frames, as nearly all are, prints as a whole number.
    if (const auto rate = static_cast<std::int64_t>(std::min(document.recording.sampleRate, 1e15));
        static_cast<double>(rate) == document.recording.sampleRate)
        json["sampleRate"] = rate;
    TarnNoteEntryStorage::forEachKind([&](auto kind) { write(kind, *document.notes, json); });
    json["sections"] = arrayJSON(document.structure->sectionEntries(),
                                 [](const TarnSectionEntry& section, ordered_json& element) {
                                     element["name"] = textOrNull(section.name());
                                     element["color"] = textOrNull(section.colorString());
                                 });
    return json;
}

void printJSON(const Song& document) {
    constexpr int compact = -1;
    const std::string json =
        documentJSON(document).dump(compact, ' ', false, ordered_json::error_handler_t::replace);
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
    std::cout << text << "\n";
}

} // namespace tarn
