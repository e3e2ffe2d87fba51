#pragma once

#include "Platform/CheckedArithmetic.h"
#include "TarnFoundation/UserEntries/TarnRegionEntry.h"

#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// The vocabulary of moving regions: boundaries, snapping grids, what happens on a collision with a
/// neighbour, the errors, and the two boundary setters that everything is made of.
namespace tarn {

enum class RegionBoundary { start, end };

/// What a moved boundary snaps to.
enum class RegionSnapGrid { none, beat, bar };

enum class RegionNeighborCollisionRule {
    doNotMove,      ///< give up
    clipToNeighbor, ///< end where the neighbour begins, begin where it ends
    deleteNeighbor, ///< remove the neighbour
};

/// An error that is told by its case alone.
template <typename CaseType>
class CaseError : public std::exception {
public:
    using Case = CaseType;
    CaseError(Case errorCase, const char* text) : mCase(errorCase), mText(text) {}
    [[nodiscard]] Case errorCase() const { return mCase; }
    [[nodiscard]] const char* what() const noexcept override { return mText; }
    friend bool operator==(const CaseError& a, const CaseError& b) { return a.mCase == b.mCase; }

private:
    Case mCase;
    const char* mText;
};

enum class SnappedAdjustmentErrorCase { missingSnapPoints, zeroLengthRegion, lengthBelowThreshold };
enum class SnappedShiftErrorCase { missingSnapPoint, zeroLengthRegion, shiftOutOfBounds };
enum class RegionClippingErrorCase { zeroLengthRegion };
enum class SnappingErrorCase { missingSnapPoint };
enum class AdjustRegionEntryErrorCase { abortedOnCollision };
enum class ShiftRegionErrorCase { abortedOnCollision };

using SnappedAdjustmentError = CaseError<SnappedAdjustmentErrorCase>;
using SnappedShiftError = CaseError<SnappedShiftErrorCase>;
using RegionClippingError = CaseError<RegionClippingErrorCase>;
/// For a single point that finds nothing to snap to; no operation of the document throws it.
using SnappingError = CaseError<SnappingErrorCase>;
using AdjustRegionEntryError = CaseError<AdjustRegionEntryErrorCase>;
using ShiftRegionError = CaseError<ShiftRegionErrorCase>;

/// A change of a value in place, which may throw.
template <typename T>
struct Adjustment {
    std::function<void(T&)> apply;
    void operator()(T& to) const { apply(to); }
};

/// Something with a location and a length in frames.
template <typename T>
concept Regioned = requires(T& region, const T& constant) {
    { constant.location() } -> std::convertible_to<std::int64_t>;
    { constant.end() } -> std::convertible_to<std::int64_t>;
    region.setLocation(std::int64_t{});
    region.setLength(std::uint64_t{});
};

/// Moves the start. Past the end the two swap roles: the old end becomes the start. The result is always well
/// formed; a length that 64 bits cannot hold aborts.
template <Regioned Region>
void setStart(Region& region, std::int64_t start) {
    const std::int64_t end = region.end();
    if (end >= start) {
        region.setLength(checkedCast<std::uint64_t>(checkedSubtract(end, start)));
        region.setLocation(start);
    } else {
        region.setLocation(end);
        region.setLength(checkedCast<std::uint64_t>(checkedSubtract(start, end)));
    }
}

/// Moves the end. Before the start the two swap roles: `end` becomes the start.
template <Regioned Region>
void setEnd(Region& region, std::int64_t end) {
    const std::int64_t start = region.location();
    if (end >= start) {
        region.setLength(checkedCast<std::uint64_t>(checkedSubtract(end, start)));
    } else {
        region.setLocation(end);
        region.setLength(checkedCast<std::uint64_t>(checkedSubtract(start, end)));
    }
}

/// The regions, in the order of the collection, whose end lies in the range expression. A region whose end 64
/// bits cannot hold aborts; tryEntriesEnding then returns nothing.
template <typename Regions, typename RangeExpression>
[[nodiscard]] std::vector<std::shared_ptr<TarnRegionEntry>> entriesEnding(const Regions& regions,
                                                                          const RangeExpression& in) {
    std::vector<std::shared_ptr<TarnRegionEntry>> result;
    for (const auto& region : regions) {
        if (in.contains(region->end()))
            result.push_back(region);
    }
    return result;
}
template <typename Regions, typename RangeExpression>
[[nodiscard]] std::optional<std::vector<std::shared_ptr<TarnRegionEntry>>>
tryEntriesEnding(const Regions& regions, const RangeExpression& in) {
    for (const auto& region : regions) {
        if (!region->tryEnd())
            return std::nullopt;
    }
    return entriesEnding(regions, in);
}

/// The regions, in the order of the collection, whose location lies in the range expression.
template <typename Regions, typename RangeExpression>
[[nodiscard]] std::vector<std::shared_ptr<TarnRegionEntry>> entriesBeginning(const Regions& regions,
                                                                             const RangeExpression& in) {
    std::vector<std::shared_ptr<TarnRegionEntry>> result;
    for (const auto& region : regions) {
        if (in.contains(region->location()))
            result.push_back(region);
    }
    return result;
}

} // namespace tarn

template <typename Case>
struct std::hash<tarn::CaseError<Case>> {
    std::size_t operator()(const tarn::CaseError<Case>& error) const noexcept {
        return std::hash<Case>()(error.errorCase());
    }
};
