#include "TarnFoundation/Grid/RegionMove.h"

#include "TarnFoundation/Grid/SortedValues.h"

#include <algorithm>

namespace tarn {

namespace {

/// Throws unless [start, end) is a region of at least the threshold.
void requireLength(std::int64_t start, std::int64_t end, std::int64_t threshold) {
    if (start >= end)
        throw SnappedAdjustmentError(SnappedAdjustmentErrorCase::zeroLengthRegion,
                                     "The region would have no length");
    if (checkedSubtract(end, start) < threshold)
        throw SnappedAdjustmentError(SnappedAdjustmentErrorCase::lengthBelowThreshold,
                                     "The region would be too short");
}

RegionSpan withBoundary(const RegionSpan& region, RegionBoundary boundary, std::int64_t by, SnapPoints points,
                        std::int64_t threshold) {
    if (points.empty() && by == 0)
        return region;
    const bool isStart = boundary == RegionBoundary::start;
    const std::int64_t former = isStart ? region.location : region.end();
    const std::int64_t target = points.empty() ? checkedAdd(former, by) : *closest(points, former, by);
    if (isStart) {
        requireLength(target, region.end(), threshold);
        return region.withStart(target);
    }
    requireLength(region.location, target, threshold);
    return region.withEnd(target);
}

[[noreturn]] void throwMissingSnapPoint() {
    throw SnappedShiftError(SnappedShiftErrorCase::missingSnapPoint,
                            "There is no snap point in this direction");
}

[[noreturn]] void throwShiftOutOfBounds() {
    throw SnappedShiftError(SnappedShiftErrorCase::shiftOutOfBounds, "The region would leave the grid");
}

RegionSpan shiftedForward(RegionSpan region, SnapPoints points, std::int64_t steps) {
    const auto first = indexOfElementPast(points, region.location);
    if (!first)
        throwMissingSnapPoint();
    // The first point ahead is the first step.
    if (steps - 1 >= static_cast<std::int64_t>(points.size() - *first))
        throwShiftOutOfBounds();
    const std::int64_t delta =
        checkedSubtract(points[*first + static_cast<std::size_t>(steps - 1)], region.location);
    region = region.withEnd(checkedAdd(region.end(), delta)); // first, so that the ends never pass each other
    region = region.withStart(checkedAdd(region.location, delta));
    const std::size_t nearest = *indexOfClosestElement(points, region.end());
    if (nearest == points.size() - 1 && points[nearest] < region.end())
        throwShiftOutOfBounds();
    return region.withEnd(points[nearest]);
}

RegionSpan shiftedBackward(RegionSpan region, SnapPoints points, std::int64_t steps) {
    const auto first = indexOfElementBefore(points, region.location);
    if (!first)
        throwMissingSnapPoint();
    // The first point before it is the first step. Negative throughout, since the least integer has no
    // opposite.
    if (steps + 1 < -static_cast<std::int64_t>(*first))
        throwShiftOutOfBounds();
    const std::int64_t delta = checkedSubtract(
        points[static_cast<std::size_t>(static_cast<std::int64_t>(*first) + (steps + 1))], region.location);
    region = region.withStart(checkedAdd(region.location, delta));
    region = region.withEnd(checkedAdd(region.end(), delta));
    return region.withEnd(points[*indexOfClosestElement(points, region.end())]);
}

RegionSpan shifted(RegionSpan region, std::int64_t by, SnapPoints points) {
    if (points.empty()) {
        // Start first: beyond the length it passes the end, and the two swap.
        region = region.withStart(checkedAdd(region.location, by));
        return region.withEnd(checkedAdd(region.end(), by));
    }
    if (by == 0)
        return region;
    return by > 0 ? shiftedForward(region, points, by) : shiftedBackward(region, points, by);
}

bool overlaps(const RegionSpan& earlier, const RegionSpan& later) {
    return later.location < earlier.end();
}

[[noreturn]] void throwSwallowed() {
    throw RegionClippingError(RegionClippingErrorCase::zeroLengthRegion,
                              "Nothing would be left of the region");
}

/// Each end against its neighbour; past each other the ends swap.
RegionSpan clipped(RegionSpan region, const RegionNeighbours& neighbours) {
    if (const auto& before = neighbours.before) {
        if (region.location < before->location)
            throwSwallowed();
        if (overlaps(*before, region))
            region = region.withStart(before->end());
    }
    if (const auto& after = neighbours.after) {
        if (after->location < region.location)
            throwSwallowed();
        if (overlaps(region, *after))
            region = region.withEnd(after->location);
    }
    if (region.length == 0)
        throwSwallowed();
    return region;
}

/// Settles collisions with the neighbours; throws `Collision` when the rule forbids them.
template <typename Collision>
RegionMove settled(const RegionSpan& region, const RegionNeighbours& neighbours,
                   RegionNeighborCollisionRule rule) {
    if (rule == RegionNeighborCollisionRule::clipToNeighbor)
        return {clipped(region, neighbours)};
    const auto hits = [&](bool overlap) {
        if (overlap && rule == RegionNeighborCollisionRule::doNotMove)
            throw Collision(Collision::Case::abortedOnCollision, "Another region is in the way");
        return overlap;
    };
    const auto& [before, after] = neighbours;
    const bool hitsBefore = hits(before && overlaps(*before, region));
    const bool hitsAfter = hits(after && overlaps(region, *after));
    return {region, hitsBefore, hitsAfter};
}

} // namespace

RegionMove RegionMove::ofBoundary(const RegionSpan& region, RegionBoundary boundary, std::int64_t by,
                                  SnapPoints points, std::int64_t threshold,
                                  const RegionNeighbours& neighbours, RegionNeighborCollisionRule rule) {
    return settled<AdjustRegionEntryError>(withBoundary(region, boundary, by, points, threshold), neighbours,
                                           rule);
}

RegionMove RegionMove::ofRegion(const RegionSpan& region, std::int64_t by, SnapPoints points,
                                const RegionNeighbours& neighbours, RegionNeighborCollisionRule rule) {
    return settled<ShiftRegionError>(shifted(region, by, points), neighbours, rule);
}

Range<std::int64_t> freeSpaceInBar(std::int64_t barStart, std::int64_t frame, std::int64_t barEnd,
                                   std::span<const RegionSpan> regions) {
    std::int64_t start = barStart;
    for (const RegionSpan& region : regions) {
        const std::int64_t regionEnd = region.end();
        if (regionEnd <= frame)
            start = std::max(start, regionEnd);
    }
    precondition(barEnd >= frame, "The bar around a dropped region must not end before the frame");
    std::int64_t end = barEnd;
    for (const RegionSpan& region : regions) {
        if (region.location >= frame)
            end = std::min(end, region.location);
    }
    precondition(start < end, "There is no room for a region in this bar");
    return {start, end};
}

} // namespace tarn
