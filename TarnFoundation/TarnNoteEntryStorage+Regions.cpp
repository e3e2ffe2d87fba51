#include "TarnFoundation/BeatGridReading.h"
#include "TarnFoundation/Grid/RegionMove.h"
#include "TarnFoundation/SortedSearch.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <algorithm>
#include <limits>

namespace tarn {

using RegionPointer = std::shared_ptr<TarnRegionEntry>;

std::shared_ptr<TarnRegionEntry> TarnNoteEntryStorage::regionEntryForLocation(std::int64_t x) const {
    const auto frame = static_cast<std::uint64_t>(x);
    for (const auto& region : storedEntries<RegionKind>()) {
        const auto location = static_cast<std::uint64_t>(region->location());
        if (location <= frame && frame <= location + region->length())
            return region;
    }
    return nullptr;
}

std::shared_ptr<TarnRegionEntry> TarnNoteEntryStorage::regionEntryContaining(std::int64_t frame) const {
    const auto regions = regionEntries();
    const auto found = std::find_if(regions.begin(), regions.end(),
                                    [&](const auto& region) { return region->containsLocation(frame); });
    return found == regions.end() ? nullptr : *found;
}

std::shared_ptr<TarnRegionEntry>
TarnNoteEntryStorage::regionEntryOccurringAfter(const std::shared_ptr<TarnRegionEntry>& entry) const {
    if (!entry)
        return nullptr;
    const auto regions = regionEntries();
    const auto next = indexOfEntryAfter(regions, *entry);
    return next ? regions[*next] : nullptr;
}

std::shared_ptr<TarnRegionEntry>
TarnNoteEntryStorage::regionEntryOccurringBefore(const std::shared_ptr<TarnRegionEntry>& entry) const {
    if (!entry)
        return nullptr;
    const auto regions = regionEntries();
    const auto previous = indexOfEntryBefore(regions, *entry);
    return previous ? regions[*previous] : nullptr;
}

void TarnNoteEntryStorage::addRegionEntryExpandedToFitBarSurrounding(
    const std::shared_ptr<TarnRegionEntry>& entry, std::int64_t frame, std::int64_t boundedBy) {
    precondition(entry != nullptr, "There must be a region to add");
    const auto beats = beatEntries();
    if (beats.empty())
        return;
    precondition(frame >= 0, "A region must be dropped at a frame that is not negative");
    if (regionEntryForLocation(frame))
        return;
    const auto opening = indexOfDownbeatEntryBefore(beats, frame);
    const auto closing = indexOfDownbeatEntryAfter(beats, frame);
    const std::int64_t barStart = opening ? beats[*opening]->location() : 0;
    const std::int64_t barEnd = closing ? beats[*closing]->location() : boundedBy;

    std::vector<RegionSpan> regions;
    for (const auto& region : regionEntries())
        regions.push_back(region->range());
    const auto free = freeSpaceInBar(barStart, frame, barEnd, regions);
    entry->setRange(RegionSpan::between(free.lower, free.upper));
    addRegionEntry(entry);
}

namespace {

std::vector<std::int64_t> snapPoints(const TarnNoteEntryStorage& storage, RegionSnapGrid grid) {
    if (grid == RegionSnapGrid::none)
        return {};
    const BeatGrid counted = countedBeatGridOf(storage);
    return grid == RegionSnapGrid::beat ? counted.locations() : counted.downbeatLocations();
}

std::optional<RegionSpan> spanOf(const RegionPointer& region) {
    return region ? std::optional(region->range()) : std::nullopt;
}

/// Moves a copy of the region, by what `move` makes of its span and its neighbours', and replaces the region,
/// and the neighbours that go, by the copy in one change. The copy takes up an identifier also when `move`
/// throws.
template <typename Move>
RegionPointer replaceMoved(TarnNoteEntryStorage& storage, const RegionPointer& entry, const Move& move) {
    auto moved = storage.copyOfRegionEntry(entry);
    const auto before = storage.regionEntryOccurringBefore(entry);
    const auto after = storage.regionEntryOccurringAfter(entry);
    const RegionMove result = move(moved->range(), RegionNeighbours{spanOf(before), spanOf(after)});
    moved->setRange(result.region);
    std::vector<RegionPointer> removed{entry};
    if (result.removesBefore)
        removed.push_back(before);
    if (result.removesAfter)
        removed.push_back(after);
    storage.replaceRegionEntriesInArrayWithRegionEntriesInArray(removed, {moved});
    return moved;
}

} // namespace

std::shared_ptr<TarnRegionEntry>
TarnNoteEntryStorage::adjustRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry, RegionBoundary at,
                                        std::int64_t by, RegionSnapGrid on,
                                        RegionNeighborCollisionRule using_, std::int64_t threshold) {
    const auto points = snapPoints(*this, on);
    return replaceMoved(*this, entry, [&](const RegionSpan& region, const RegionNeighbours& neighbours) {
        return RegionMove::ofBoundary(region, at, by, points, threshold, neighbours, using_);
    });
}

std::shared_ptr<TarnRegionEntry>
TarnNoteEntryStorage::shiftRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry, std::int64_t by,
                                       RegionSnapGrid on, RegionNeighborCollisionRule using_) {
    const auto points = snapPoints(*this, on);
    return replaceMoved(*this, entry, [&](const RegionSpan& region, const RegionNeighbours& neighbours) {
        return RegionMove::ofRegion(region, by, points, neighbours, using_);
    });
}

} // namespace tarn
