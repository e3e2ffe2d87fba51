#include "PracticePage/SongJSON.h"

#include "KELPMusic/ChordTriad.h"
#include "Pictures/PictureText.h"
#include "Pictures/PictureWords.h"
#include "PracticePage/PracticeSettings.h"
#include "PracticePage/SoundFormat.h"
#include "Song/ChartHarmony.h"
#include "Song/CountedBeats.h"
#include "Song/GridReplacement.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tarn {
namespace {

using nlohmann::json;

std::string chordText(const KELPChordRef& chord) {
    return chord ? boundedName(typesetChord(chord->string())) : std::string();
}

json optionalText(const std::optional<std::string>& text) {
    return text ? json(*text) : json(nullptr);
}

json barsJSON(const Song& song) {
    const BeatGrid grid = countedBeats(song);
    const auto& lines = grid.barLines();
    auto bars = json::array();
    const auto add = [&](std::int64_t number, const Range<std::size_t>& positions) {
        auto beats = json::array();
        for (std::size_t i = positions.lower; i < positions.upper; ++i)
            beats.push_back(grid.locations()[i]);
        bars.push_back({{"number", number},
                        {"frame", grid.locations()[positions.lower]},
                        {"end", std::max(grid.endOf(positions, song.recording.frameCount),
                                         grid.locations()[positions.lower])},
                        {"beats", std::move(beats)}});
    };
    if (!lines.pickup().isEmpty())
        add(0, lines.pickup());
    for (std::size_t bar = 0; bar < lines.barCount(); ++bar)
        add(static_cast<std::int64_t>(bar) + 1, lines.bar(bar));
    return bars;
}

/// Where each of several places ends that last until the next one.
template <typename Entry>
std::int64_t endOf(const EntryList<Entry>& entries, std::size_t index, const Song& song) {
    const std::int64_t end =
        index + 1 < entries.size() ? entries[index + 1]->location() : song.recording.frameCount;
    return std::max(end, entries[index]->location());
}

json chordsJSON(const Song& song) {
    const ChartHarmony harmony(song);
    const auto entries = song.notes->chordEntries();
    auto chords = json::array();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto& entry = *entries[i];
        const auto confidence = song.facts.chords.find(entry.eventId());
        const KELPChordRef& sounding = entry.chord();
        chords.push_back({{"id", entry.eventId()},
                          {"frame", entry.location()},
                          {"end", endOf(entries, i, song)},
                          {"name", chordText(harmony.chord(sounding))},
                          {"simpleName", chordText(harmony.chord(triadOf(sounding)))},
                          {"soundingName", chordText(sounding)},
                          {"confidence", confidence == song.facts.chords.end() ? json(nullptr)
                                                                               : json(confidence->second)}});
    }
    return chords;
}

json sectionsJSON(const Song& song) {
    const auto entries = song.structure->sectionEntries();
    auto sections = json::array();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const TarnSectionColor color = entries[i]->sectionColor();
        sections.push_back({{"id", entries[i]->eventId()},
                            {"frame", entries[i]->location()},
                            {"end", endOf(entries, i, song)},
                            {"name", boundedName(entries[i]->name().value_or(""))},
                            {"color", color.name() ? boundedName(*color.name()) : std::string("other")}});
    }
    return sections;
}

json regionsJSON(const Song& song) {
    auto regions = json::array();
    for (const auto& entry : song.notes->regionEntries()) {
        const auto end = entry->tryEnd();
        if (!entry->isValid() || !end)
            continue;
        const auto isOf = [&](std::string_view name) { return entry->dynamicClass().name == name; };
        regions.push_back({{"id", entry->eventId()},
                           {"frame", entry->location()},
                           {"end", *end},
                           {"name", boundedName(entry->name().value_or(""))},
                           {"kind", isOf(TarnVerseRegionEntry::kClassName)    ? "verse"
                                    : isOf(TarnChorusRegionEntry::kClassName) ? "chorus"
                                    : isOf(TarnBridgeRegionEntry::kClassName) ? "bridge"
                                                                              : "region"}});
    }
    return regions;
}

json markersJSON(const Song& song) {
    auto markers = json::array();
    for (const auto& entry : song.notes->markerEntries())
        markers.push_back({{"id", entry->eventId()},
                           {"frame", entry->location()},
                           {"name", boundedName(entry->name().value_or(""))}});
    return markers;
}

json keyJSON(const Song& song) {
    const ChartHarmony harmony(song);
    return harmony.key() ? json(chordText(harmony.key()->tonicChord())) : json(nullptr);
}

json tempoJSON(const Song& song) {
    const auto tempi = song.notes->tempoEntries();
    if (!tempi.empty())
        return tempi.front()->tempo() * countedBeatsPerTempoBeat(song.notes->timeSignature());
    const double tempo = song.notes->tryTempoFromBeatEntries(song.recording.sampleRate).value_or(0);
    return tempo > 0 ? json(tempo) : json(nullptr);
}

const char* nameOf(PracticeSession::State state) {
    switch (state) {
    case PracticeSession::State::ready:
        return "ready";
    case PracticeSession::State::analyzing:
        return "analyzing";
    case PracticeSession::State::failed:
        break;
    }
    return "failed";
}

} // namespace

std::string songJSON(const PracticeSession::View& view, const SongSurroundings& surroundings) {
    const Song& song = *view.song;
    const auto heading = pictureHeading(song, {});
    const auto pitches = song.notes->standardPitchEntries();
    const auto signature = song.notes->timeSignature();
    const auto& fileName = song.recording.fileName;
    const json object{
        {"revision", view.revision},
        {"title", heading.title},
        {"artist", heading.artist},
        {"fileName", boundedName(fileName.substr(fileName.find_last_of('/') + 1))},
        {"sampleRate", song.recording.sampleRate},
        {"soundRate", soundRateFor(song.recording.sampleRate)},
        {"length", song.recording.frameCount},
        {"duration", song.seconds(song.recording.frameCount)},
        {"state", nameOf(view.state)},
        {"failure", view.failure.empty() ? json(nullptr) : json(view.failure)},
        {"progress", view.progress},
        {"stage", view.activity},
        {"key", keyJSON(song)},
        {"tempo", tempoJSON(song)},
        {"timeSignature",
         song.notes->timeSignatureEntries().empty()
             ? json(nullptr)
             : json(std::to_string(signature.numerator) + "/" + std::to_string(signature.denominator))},
        {"standardPitch", pitches.empty() ? json(nullptr) : json(pitches.front()->frequency())},
        {"capo", song.properties.capo},
        {"transposition", song.properties.transposition},
        {"canEdit", surroundings.mayEdit},
        {"canUndo", song.history.newest() != nullptr},
        {"canRedo", song.history.next() != nullptr},
        {"soundReason", optionalText(surroundings.soundReason)},
        {"soundAsk", optionalText(surroundings.soundQuestion)},
        {"documentFolder", optionalText(surroundings.documentFolder)},
        {"bars", barsJSON(song)},
        {"chords", chordsJSON(song)},
        {"sections", sectionsJSON(song)},
        {"regions", regionsJSON(song)},
        {"markers", markersJSON(song)},
        {"practice", json::parse(practiceSettingsOf(song))},
    };
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace tarn
