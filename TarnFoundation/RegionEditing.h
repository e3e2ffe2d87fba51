#pragma once

#include "TarnFoundation/Grid/RegionMove.h"
#include "TarnFoundation/UserEntries/TarnRegionEntry.h"

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// The vocabulary of moving regions: boundaries, snapping grids, what happens on a collision with a
/// neighbour, the errors, and the two boundary setters that everything is made of.
namespace tarn {

/// For a single point that finds nothing to snap to; no operation of the document throws it.
enum class SnappingErrorCase { missingSnapPoint };
using SnappingError = CaseError<SnappingErrorCase>;

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
    const auto span = RegionSpan::between(start, region.end());
    region.setLength(span.length);
    region.setLocation(span.location);
}

/// Moves the end. Before the start the two swap roles: `end` becomes the start.
template <Regioned Region>
void setEnd(Region& region, std::int64_t end) {
    const auto span = RegionSpan::between(region.location(), end);
    region.setLength(span.length);
    region.setLocation(span.location);
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
