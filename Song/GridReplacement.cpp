#include "Song/GridReplacement.h"

#include "TarnFoundation/Grid/BeatSpacing.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace tarn {
namespace {

/// The beats as the document stores them.
std::vector<GridBeat> storedBeats(const Song& song, std::span<const GridBeat> counted, bool isInEighths) {
    std::vector<GridBeat> stored(counted.begin(), counted.end());
    if (!isInEighths || counted.empty())
        return stored;
    std::vector<std::int64_t> locations;
    for (const GridBeat& beat : counted)
        locations.push_back(beat.location);
    auto midpoints = midpointLocations(locations);
    midpoints.back() = std::min(midpoints.back(), std::max(locations.back(), song.recording.frameCount));
    for (const std::int64_t midpoint : midpoints)
        stored.push_back({midpoint, false});
    std::stable_sort(stored.begin(), stored.end(),
                     [](const GridBeat& a, const GridBeat& b) { return a.location < b.location; });
    return stored;
}

} // namespace

void setTempo(Song& song, double beatsPerMinute) {
    auto& notes = *song.notes;
    const auto tempo = notes.newTempoEntry();
    tempo->setTempo(static_cast<float>(beatsPerMinute));
    notes.replaceTempoEntriesInArrayWithTempoEntriesInArray(notes.tempoEntries(), {tempo});
}

void replaceGrid(Song& song, std::span<const GridBeat> counted, TimeSignature metre) {
    auto& notes = *song.notes;
    // What goes first: no rule prunes the rest then, whichever metre holds.
    std::multimap<std::pair<std::int64_t, bool>, std::shared_ptr<TarnBeatEntry>> former;
    std::vector<std::shared_ptr<TarnBeatEntry>> kept;
    for (const auto& beat : notes.beatEntries()) {
        if (beat->location() < 0)
            kept.push_back(beat);
        else
            former.emplace(std::pair(beat->location(), beat->isDownbeat()), beat);
    }
    for (const GridBeat& beat : storedBeats(song, counted, metre.denominator == 4)) {
        if (const auto same = former.find({beat.location, beat.isDownbeat}); same != former.end()) {
            kept.push_back(same->second);
            former.erase(same);
            continue;
        }
        kept.push_back(notes.newBeatEntry());
        kept.back()->setLocation(beat.location);
        kept.back()->setDownbeat(beat.isDownbeat);
    }
    const auto signatures = notes.timeSignatureEntries();
    const TimeSignature present = notes.timeSignature();
    if (signatures.empty() || present.numerator != metre.numerator ||
        present.denominator != metre.denominator)
        notes.setTimeSignature(metre.numerator, metre.denominator);
    notes.replaceBeatEntriesInArrayWithBeatEntriesInArray(notes.beatEntries(), std::move(kept));
    setTempo(song, notes.tempoFromBeatEntries(song.recording.sampleRate));
}

} // namespace tarn
