#include "TarnFoundation/BeatSpacing.h"

#include "Platform/CheckedArithmetic.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <algorithm>

namespace tarn {

std::vector<std::int64_t> evenlySpacedLocations(std::int64_t count, std::int64_t from, std::int64_t to) {
    precondition(count >= 1, "A bar must hold at least one beat");
    // Single precision on purpose: existing documents were spaced by it.
    const float exactStep = static_cast<float>(checkedSubtract(to, from)) / static_cast<float>(count);
    const auto step = std::max<std::int64_t>(checkedTruncation<std::int64_t>(exactStep), 1);
    std::vector<std::int64_t> locations;
    locations.reserve(static_cast<std::size_t>(count));
    for (std::int64_t i = 0; i < count; ++i)
        locations.push_back(checkedAdd(from, checkedMultiply(i, step)));
    return locations;
}

std::vector<std::int64_t> midpointLocations(std::span<const std::int64_t> locations) {
    std::vector<std::int64_t> midpoints;
    midpoints.reserve(locations.size());
    if (locations.size() == 1)
        return {checkedAdd<std::int64_t>(locations.front(), 1)};
    std::int64_t halfGap = 0;
    for (std::size_t i = 0; i + 1 < locations.size(); ++i) {
        halfGap = checkedSubtract(locations[i + 1], locations[i]) / 2;
        midpoints.push_back(checkedAdd(locations[i], halfGap));
    }
    if (!locations.empty())
        midpoints.push_back(checkedAdd(locations.back(), halfGap));
    return midpoints;
}

std::int64_t distanceBetweenEntries(const TarnBeatEntry& firstEntry, const TarnBeatEntry& secondEntry) {
    precondition(firstEntry.location() <= secondEntry.location(),
                 "(firstEntry.location <= secondEntry.location) && \"[TarnNoteEntryStorage] Entries must be "
                 "ordered\"");
    return checkedSubtract(secondEntry.location(), firstEntry.location());
}

std::vector<std::shared_ptr<TarnBeatEntry>> newBeatEntriesAtLocations(TarnNoteEntryStorage& storage,
                                                                      std::span<const std::int64_t> locations,
                                                                      bool firstIsDownbeat) {
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    beats.reserve(locations.size());
    for (const std::int64_t location : locations) {
        beats.push_back(storage.newBeatEntry());
        beats.back()->setLocation(location);
    }
    if (firstIsDownbeat && !beats.empty())
        beats.front()->setDownbeat(true);
    return beats;
}

} // namespace tarn
