#include "TarnFoundation/BeatSpacing.h"

#include "Platform/CheckedArithmetic.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

namespace tarn {

namespace {

Checked<std::int64_t> distanceBetween(const TarnBeatEntry& firstEntry, const TarnBeatEntry& secondEntry) {
    precondition(firstEntry.location() <= secondEntry.location(),
                 "(firstEntry.location <= secondEntry.location) && \"[TarnNoteEntryStorage] Entries must be "
                 "ordered\"");
    return trySubtract(secondEntry.location(), firstEntry.location());
}

} // namespace

std::int64_t distanceBetweenEntries(const TarnBeatEntry& firstEntry, const TarnBeatEntry& secondEntry) {
    return distanceBetween(firstEntry, secondEntry).orAbort();
}
std::optional<std::int64_t> tryDistanceBetweenEntries(const TarnBeatEntry& firstEntry,
                                                      const TarnBeatEntry& secondEntry) {
    return distanceBetween(firstEntry, secondEntry).value();
}

std::shared_ptr<TarnBeatEntry> newBeatEntry(TarnNoteEntryStorage& storage, const GridBeat& beat) {
    auto made = storage.newBeatEntry();
    made->setLocation(beat.location);
    made->setDownbeat(beat.isDownbeat);
    return made;
}

std::vector<std::shared_ptr<TarnBeatEntry>> newBeatEntries(TarnNoteEntryStorage& storage,
                                                           std::span<const GridBeat> beats) {
    std::vector<std::shared_ptr<TarnBeatEntry>> made;
    made.reserve(beats.size());
    for (const GridBeat& beat : beats)
        made.push_back(newBeatEntry(storage, beat));
    return made;
}

std::vector<std::shared_ptr<TarnBeatEntry>>
newBeatEntriesAtLocations(TarnNoteEntryStorage& storage, std::span<const std::int64_t> locations) {
    std::vector<GridBeat> beats;
    beats.reserve(locations.size());
    for (const std::int64_t location : locations)
        beats.push_back({location});
    return newBeatEntries(storage, beats);
}

} // namespace tarn
