#pragma once

#include "Platform/Export.h"
#include "Platform/Range.h"
#include "TarnFoundation/Grid/RegionSpan.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <span>

/// Moving regions, as a computation with their spans: what a boundary snaps to, what is too short, and what
/// happens to neighbours. All frames are sample frames; a sum or a distance that 64 bits cannot hold aborts.
namespace TARN_PUBLIC tarn {

enum class RegionBoundary { start, end };

/// What a moved boundary snaps to.
enum class RegionSnapGrid { none, beat, bar };

enum class RegionNeighborCollisionRule {
    doNotMove,      ///< the move fails
    clipToNeighbor, ///< end where the neighbour begins, begin where it ends
    deleteNeighbor, ///< remove the neighbour
};

/// An error that is fully described by its case.
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
enum class AdjustRegionEntryErrorCase { abortedOnCollision };
enum class ShiftRegionErrorCase { abortedOnCollision };

using SnappedAdjustmentError = CaseError<SnappedAdjustmentErrorCase>;
using SnappedShiftError = CaseError<SnappedShiftErrorCase>;
using RegionClippingError = CaseError<RegionClippingErrorCase>;
using AdjustRegionEntryError = CaseError<AdjustRegionEntryErrorCase>;
using ShiftRegionError = CaseError<ShiftRegionErrorCase>;

/// The frames, ascending, that boundaries snap to; none where they move freely.
using SnapPoints = std::span<const std::int64_t>;

/// The regions right before and after one by location, wherever they end.
struct RegionNeighbours {
    std::optional<RegionSpan> before;
    std::optional<RegionSpan> after;
};

/// The outcome of moving a region: its new span, and which neighbours are removed. Regions that touch do not
/// collide.
struct RegionMove {
    RegionSpan region;
    bool removesBefore = false;
    bool removesAfter = false;

    /// Moves one boundary by `by` snap points, or by `by` frames when there are none. A step past either end
    /// of the points stays on the last one there. `threshold` is the least length; without snap points, a
    /// move by 0 frames is not checked. Throws SnappedAdjustmentError, RegionClippingError or, when the rule
    /// is `doNotMove`, AdjustRegionEntryError.
    [[nodiscard]] static RegionMove ofBoundary(const RegionSpan& region, RegionBoundary boundary,
                                               std::int64_t by, SnapPoints points, std::int64_t threshold,
                                               const RegionNeighbours& neighbours,
                                               RegionNeighborCollisionRule rule);

    /// Moves a whole region likewise. On points the start goes to one and the end then falls on the one
    /// nearest to it: the length may change, even to zero. By frames, a distance forward beyond the length
    /// makes the region longer: it begins at its old end. Throws SnappedShiftError, RegionClippingError or,
    /// when the rule is `doNotMove`, ShiftRegionError.
    [[nodiscard]] static RegionMove ofRegion(const RegionSpan& region, std::int64_t by, SnapPoints points,
                                             const RegionNeighbours& neighbours,
                                             RegionNeighborCollisionRule rule);
};

/// What regions leave free around a frame of a bar: from the last end up to the frame, or the bar's start, up
/// to the first start from the frame on, or the bar's end. Aborts when the bar ends before the frame, and
/// when nothing is free.
[[nodiscard]] Range<std::int64_t> freeSpaceInBar(std::int64_t barStart, std::int64_t frame,
                                                 std::int64_t barEnd, std::span<const RegionSpan> regions);

} // namespace tarn

template <typename Case>
struct std::hash<tarn::CaseError<Case>> {
    std::size_t operator()(const tarn::CaseError<Case>& error) const noexcept {
        return std::hash<Case>()(error.errorCase());
    }
};
