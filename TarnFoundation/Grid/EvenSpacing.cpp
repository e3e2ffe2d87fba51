#include "TarnFoundation/Grid/EvenSpacing.h"

#include "Platform/CheckedArithmetic.h"

#include <algorithm>

namespace tarn {

namespace {

using Locations = std::vector<std::int64_t>;

/// `count` locations, each computed from its index; fails with the first that fails.
template <typename LocationAt>
Checked<Locations> checkedLocations(std::size_t count, const LocationAt& locationAt) {
    Locations locations;
    locations.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const Checked<std::int64_t> location = locationAt(i);
        if (!location.value())
            return Checked<Locations>::failure(location.reason());
        locations.push_back(*location.value());
    }
    return locations;
}

Checked<Locations> evenlySpaced(std::int64_t count, std::int64_t from, std::int64_t to) {
    precondition(count >= 1, "A bar must hold at least one beat");
    const auto wholeStep = [count](std::int64_t length) {
        // Single precision on purpose: existing documents were spaced by it.
        return tryTruncation<std::int64_t>(static_cast<float>(length) / static_cast<float>(count));
    };
    return trySubtract(to, from).then(wholeStep).then([&](std::int64_t whole) {
        const auto step = std::max<std::int64_t>(whole, 1);
        return checkedLocations(static_cast<std::size_t>(count), [&](std::size_t i) {
            return tryMultiply(static_cast<std::int64_t>(i), step).then([from](std::int64_t distance) {
                return tryAdd(from, distance);
            });
        });
    });
}

Checked<Locations> midpoints(std::span<const std::int64_t> locations) {
    return checkedLocations(locations.size(), [&](std::size_t i) {
        if (locations.size() == 1)
            return tryAdd<std::int64_t>(locations.front(), 1);
        // The last one lies as far on as the one before it.
        const std::size_t gap = std::min(i, locations.size() - 2);
        return trySubtract(locations[gap + 1], locations[gap]).then([&](std::int64_t length) {
            return tryAdd(locations[i], length / 2);
        });
    });
}

} // namespace

Locations evenlySpacedLocations(std::int64_t count, std::int64_t from, std::int64_t to) {
    return evenlySpaced(count, from, to).orAbort();
}
std::optional<Locations> tryEvenlySpacedLocations(std::int64_t count, std::int64_t from, std::int64_t to) {
    return evenlySpaced(count, from, to).value();
}

Locations midpointLocations(std::span<const std::int64_t> locations) {
    return midpoints(locations).orAbort();
}
std::optional<Locations> tryMidpointLocations(std::span<const std::int64_t> locations) {
    return midpoints(locations).value();
}

} // namespace tarn
