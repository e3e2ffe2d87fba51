#include "Song/GridReplacement.h"

#include "Song/CountedBeats.h"
#include "TarnFoundation/Grid/EvenSpacing.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>
#include <vector>

namespace tarn {
namespace {

constexpr std::int64_t kNone = std::numeric_limits<std::int64_t>::max();

/// The eighth between each two neighbouring counted beats of a song in quarters, by their frames; after the
/// last one kNone stands for the other.
std::map<std::pair<std::int64_t, std::int64_t>, std::int64_t> eighthsOf(const Song& song) {
    std::map<std::pair<std::int64_t, std::int64_t>, std::int64_t> eighths;
    const BeatGrid stored = beatGridOf(song.notes->beatEntries()).from(0);
    const BeatGrid counted = stored.quarterNotes();
    const auto& frames = counted.locations();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const std::size_t next = stored.firstAtOrAfter(frames[i] + 1);
        const std::int64_t end = i + 1 < frames.size() ? frames[i + 1] : kNone;
        if (next < stored.size() && stored.locations()[next] < end)
            eighths.emplace(std::pair(frames[i], end), stored.locations()[next]);
    }
    return eighths;
}

/// The beats as a document of quarters stores them.
std::vector<GridBeat> inEighths(const Song& song, std::span<const GridBeat> counted) {
    std::vector<GridBeat> stored;
    if (counted.empty())
        return stored;
    const bool wasInEighths = song.notes->useQuarterNoteSpacing();
    const auto former = wasInEighths ? eighthsOf(song) : decltype(eighthsOf(song))();
    std::vector<std::int64_t> locations;
    for (const GridBeat& beat : counted)
        locations.push_back(beat.location);
    auto midpoints = midpointLocations(locations);
    midpoints.back() = std::min(midpoints.back(), std::max(locations.back(), song.recording.frameCount));
    for (std::size_t i = 0; i < counted.size(); ++i) {
        stored.push_back(counted[i]);
        const auto kept = former.find({locations[i], i + 1 < counted.size() ? locations[i + 1] : kNone});
        stored.push_back({kept == former.end() ? midpoints[i] : kept->second, false});
    }
    return stored;
}

} // namespace

void replaceGrid(Song& song, std::span<const GridBeat> counted, std::optional<TimeSignature> metre) {
    auto& notes = *song.notes;
    const auto beats = notes.beatEntries();
    std::multimap<std::pair<std::int64_t, bool>, std::shared_ptr<TarnBeatEntry>> former;
    std::vector<std::shared_ptr<TarnBeatEntry>> kept;
    for (const auto& beat : beats) {
        if (beat->location() < 0)
            kept.push_back(beat);
        else
            former.emplace(std::pair(beat->location(), beat->isDownbeat()), beat);
    }
    const bool countsQuarters = metre ? metre->denominator == 4 : notes.useQuarterNoteSpacing();
    const auto stored =
        countsQuarters ? inEighths(song, counted) : std::vector<GridBeat>(counted.begin(), counted.end());
    for (const GridBeat& beat : stored) {
        if (const auto same = former.find({beat.location, beat.isDownbeat}); same != former.end()) {
            kept.push_back(same->second);
            former.erase(same);
            continue;
        }
        kept.push_back(notes.newBeatEntry());
        kept.back()->setLocation(beat.location);
        kept.back()->setDownbeat(beat.isDownbeat);
    }
    if (metre && (notes.timeSignatureEntries().empty() || notes.timeSignature() != *metre))
        notes.setTimeSignature(metre->numerator, metre->denominator);
    notes.replaceBeatEntriesInArrayWithBeatEntriesInArray(notes.beatEntries(), std::move(kept));
}

int countedBeatsPerTempoBeat(TimeSignature metre) {
    if (metre.denominator != 8)
        return 1;
    return metre.numerator % 3 == 0 && metre.numerator > 3 ? 3 : 2;
}

double tempoOfBeats(const Song& song) {
    const auto& notes = *song.notes;
    const TimeSignature metre =
        notes.timeSignatureEntries().empty() ? TimeSignature{4, 4} : notes.timeSignature();
    return notes.tryTempoFromBeatEntries(song.recording.sampleRate).value_or(0) /
           countedBeatsPerTempoBeat(metre);
}

void setTempo(Song& song, double beatsPerMinute) {
    auto& notes = *song.notes;
    const auto tempo = notes.newTempoEntry();
    tempo->setTempo(static_cast<float>(beatsPerMinute));
    notes.replaceTempoEntriesInArrayWithTempoEntriesInArray(notes.tempoEntries(), {tempo});
}

void setTempoFromBeats(Song& song) {
    setTempo(song, tempoOfBeats(song));
}

} // namespace tarn
