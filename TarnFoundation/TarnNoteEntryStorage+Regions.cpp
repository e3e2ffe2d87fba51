#include "TarnFoundation/RegionEditing.h"
#include "TarnFoundation/SortedSearch.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <algorithm>
#include <limits>

namespace tarn {

using RegionPointer = std::shared_ptr<TarnRegionEntry>;

std::shared_ptr<TarnRegionEntry> TarnNoteEntryStorage::regionEntryForLocation(std::int64_t x) const {
    const auto frame = static_cast<std::uint64_t>(x);
    for (const auto& region : storedUserEntriesFromArray(mRegionEntryArray)) {
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

    const auto regions = regionEntries();
    std::int64_t start = barStart;
    const auto endingBefore = entriesEnding(regions, ClosedRange(barStart, frame));
    if (!endingBefore.empty()) {
        const auto byEnd = [](const RegionPointer& a, const RegionPointer& b) { return a->end() < b->end(); };
        start = (*std::max_element(endingBefore.begin(), endingBefore.end(), byEnd))->end();
    }
    precondition(barEnd >= frame, "The bar around a dropped region must not end before the frame");
    std::int64_t end = barEnd;
    const auto beginningAfter = entriesBeginning(regions, ClosedRange(frame, barEnd));
    if (!beginningAfter.empty()) {
        const auto byLocation = [](const RegionPointer& a, const RegionPointer& b) {
            return a->location() < b->location();
        };
        end = (*std::min_element(beginningAfter.begin(), beginningAfter.end(), byLocation))->location();
    }
    precondition(start < end, "There is no room for a region in this bar");
    entry->setLocation(start);
    entry->setLength(checkedCast<std::uint64_t>(checkedSubtract(end, start)));
    addRegionEntry(entry);
}

namespace {

using SnapPoints = std::vector<std::int64_t>;
using RegionAdjustment = Adjustment<TarnRegionEntry>;

SnapPoints snapPoints(const TarnNoteEntryStorage& storage, RegionSnapGrid grid) {
    SnapPoints points;
    if (grid == RegionSnapGrid::none)
        return points;
    for (const auto& beat : storage.beatEntriesFilteredByTimeSignature()) {
        if (grid == RegionSnapGrid::beat || beat->isDownbeat())
            points.push_back(beat->location());
    }
    return points;
}

/// Throws unless [start, end) is a region of at least the threshold.
void requireLength(std::int64_t start, std::int64_t end, std::int64_t threshold) {
    if (start >= end)
        throw SnappedAdjustmentError(SnappedAdjustmentErrorCase::zeroLengthRegion,
                                     "The region would have no length");
    if (checkedSubtract(end, start) < threshold)
        throw SnappedAdjustmentError(SnappedAdjustmentErrorCase::lengthBelowThreshold,
                                     "The region would be too short");
}

void moveBoundary(TarnRegionEntry& region, RegionBoundary boundary, std::int64_t target,
                  std::int64_t threshold) {
    if (boundary == RegionBoundary::start) {
        requireLength(target, region.end(), threshold);
        setStart(region, target);
    } else {
        requireLength(region.location(), target, threshold);
        setEnd(region, target);
    }
}

std::int64_t boundaryLocation(const TarnRegionEntry& region, RegionBoundary boundary) {
    return boundary == RegionBoundary::start ? region.location() : region.end();
}

/// Moves one boundary by steps over the snap points; a step past either end stays on the last point there.
RegionAdjustment snappedAdjustment(SnapPoints points, RegionBoundary boundary, std::int64_t steps,
                                   std::int64_t threshold) {
    return {[points = std::move(points), boundary, steps, threshold](TarnRegionEntry& region) {
        const auto target = closest(points, boundaryLocation(region, boundary), steps);
        if (!target)
            throw SnappedAdjustmentError(SnappedAdjustmentErrorCase::missingSnapPoints,
                                         "There is nothing to snap to");
        moveBoundary(region, boundary, *target, threshold);
    }};
}

RegionAdjustment adjustmentByFrames(RegionBoundary boundary, std::int64_t distance, std::int64_t threshold) {
    return {[boundary, distance, threshold](TarnRegionEntry& region) {
        if (distance != 0)
            moveBoundary(region, boundary, checkedAdd(boundaryLocation(region, boundary), distance),
                         threshold);
    }};
}

/// Start first, then end. A forward distance beyond the length makes the start setter swap the ends, so that
/// the region comes out longer, beginning at the old end: the order of the two calls is the rule.
RegionAdjustment shiftByFrames(std::int64_t distance) {
    return {[distance](TarnRegionEntry& region) {
        setStart(region, checkedAdd(region.location(), distance));
        setEnd(region, checkedAdd(region.end(), distance));
    }};
}

[[noreturn]] void throwMissingSnapPoint() {
    throw SnappedShiftError(SnappedShiftErrorCase::missingSnapPoint,
                            "There is no snap point in this direction");
}

[[noreturn]] void throwShiftOutOfBounds() {
    throw SnappedShiftError(SnappedShiftErrorCase::shiftOutOfBounds, "The region would leave the grid");
}

void shiftForward(TarnRegionEntry& region, const SnapPoints& points, std::int64_t steps) {
    const auto first = indexOfElementPast(points, region.location());
    if (!first)
        throwMissingSnapPoint();
    // The first point ahead is the first step.
    if (steps - 1 >= static_cast<std::int64_t>(points.size() - *first))
        throwShiftOutOfBounds();
    const std::int64_t delta =
        checkedSubtract(points[*first + static_cast<std::size_t>(steps - 1)], region.location());
    setEnd(region, checkedAdd(region.end(), delta)); // the end first, so that the ends never pass each other
    setStart(region, checkedAdd(region.location(), delta));
    const auto nearest = indexOfClosestElement(points, region.end());
    if (*nearest == points.size() - 1 && points[*nearest] < region.end())
        throwShiftOutOfBounds();
    setEnd(region, points[*nearest]);
}

void shiftBackward(TarnRegionEntry& region, const SnapPoints& points, std::int64_t steps) {
    const auto first = indexOfElementBefore(points, region.location());
    if (!first)
        throwMissingSnapPoint();
    // The first point behind is the first step. Negative throughout, since the least integer has no opposite.
    if (steps + 1 < -static_cast<std::int64_t>(*first))
        throwShiftOutOfBounds();
    const std::int64_t delta = checkedSubtract(
        points[static_cast<std::size_t>(static_cast<std::int64_t>(*first) + (steps + 1))], region.location());
    setStart(region, checkedAdd(region.location(), delta));
    setEnd(region, checkedAdd(region.end(), delta));
    setEnd(region, points[*indexOfClosestElement(points, region.end())]);
}

/// Puts the start on a snap point and lets the end fall on its nearest one; the length may change, even to
/// zero.
RegionAdjustment snappedShift(SnapPoints points, std::int64_t steps) {
    return {[points = std::move(points), steps](TarnRegionEntry& region) {
        if (steps > 0)
            shiftForward(region, points, steps);
        else if (steps < 0)
            shiftBackward(region, points, steps);
    }};
}

bool overlaps(const TarnRegionEntry& earlier, const TarnRegionEntry& later) {
    return later.location() < earlier.end(); // touching is no collision
}

[[noreturn]] void throwSwallowed() {
    throw RegionClippingError(RegionClippingErrorCase::zeroLengthRegion,
                              "Nothing would be left of the region");
}

/// Each end against its neighbour by the boundary setters, with their swap.
void clip(TarnRegionEntry& region, const RegionPointer& before, const RegionPointer& after) {
    if (before) {
        if (region.location() < before->location())
            throwSwallowed();
        if (overlaps(*before, region))
            setStart(region, before->end());
    }
    if (after) {
        if (after->location() < region.location())
            throwSwallowed();
        if (overlaps(region, *after))
            setEnd(region, after->location());
    }
    if (region.length() == 0)
        throwSwallowed();
}

/// Moves a copy of the region, settles collisions with the immediate neighbours, and replaces the region, and
/// the neighbours that the rule deletes, by the copy in one change. `Collision` is thrown when the rule gives
/// up.
template <typename Collision>
RegionPointer replaceMoved(TarnNoteEntryStorage& storage, const RegionPointer& entry,
                           const RegionAdjustment& movement, RegionNeighborCollisionRule rule) {
    auto moved = storage.copyOfRegionEntry(entry);
    movement(*moved);
    std::vector<RegionPointer> removed{entry};
    const auto before = storage.regionEntryOccurringBefore(entry);
    const auto after = storage.regionEntryOccurringAfter(entry);
    switch (rule) {
    case RegionNeighborCollisionRule::doNotMove:
        if ((before && overlaps(*before, *moved)) || (after && overlaps(*moved, *after)))
            throw Collision(Collision::Case::abortedOnCollision, "Another region is in the way");
        break;
    case RegionNeighborCollisionRule::deleteNeighbor:
        if (before && overlaps(*before, *moved))
            removed.push_back(before);
        if (after && overlaps(*moved, *after))
            removed.push_back(after);
        break;
    case RegionNeighborCollisionRule::clipToNeighbor:
        clip(*moved, before, after);
        break;
    }
    storage.replaceRegionEntriesInArrayWithRegionEntriesInArray(removed, {moved});
    return moved;
}

} // namespace

std::shared_ptr<TarnRegionEntry>
TarnNoteEntryStorage::adjustRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry, RegionBoundary at,
                                        std::int64_t by, RegionSnapGrid on,
                                        RegionNeighborCollisionRule using_, std::int64_t threshold) {
    auto points = snapPoints(*this, on);
    const auto movement = points.empty() ? adjustmentByFrames(at, by, threshold)
                                         : snappedAdjustment(std::move(points), at, by, threshold);
    return replaceMoved<AdjustRegionEntryError>(*this, entry, movement, using_);
}

std::shared_ptr<TarnRegionEntry>
TarnNoteEntryStorage::shiftRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry, std::int64_t by,
                                       RegionSnapGrid on, RegionNeighborCollisionRule using_) {
    auto points = snapPoints(*this, on);
    const auto movement = points.empty() ? shiftByFrames(by) : snappedShift(std::move(points), by);
    return replaceMoved<ShiftRegionError>(*this, entry, movement, using_);
}

} // namespace tarn
