#pragma once

#include "Platform/CheckedArithmetic.h"
#include "Platform/Export.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ranges>

/// Where in a sorted list of values something lies. Every result is an index of the range, or nothing. Which
/// comparisons are strict and which way a tie falls is part of each operation. O(log n). Those that compute
/// with values abort on an overflow; the `try…` form of each then returns nothing.
namespace TARN_PUBLIC tarn {

/// A random-access range that is sorted ascending.
template <typename Items>
concept SearchableRange =
    std::ranges::random_access_range<const Items> && std::ranges::sized_range<const Items>;

/// A random-access range of comparable values, sorted ascending.
template <typename Values>
concept ValueRange = SearchableRange<Values> &&
    requires(const std::ranges::range_value_t<const Values>& value) {
    { value < value } -> std::convertible_to<bool>;
    { value == value } -> std::convertible_to<bool>;
};

namespace detail {

template <typename Items>
[[nodiscard]] decltype(auto) itemAt(const Items& items, std::size_t index) {
    return std::ranges::begin(items)[static_cast<std::ranges::range_difference_t<const Items>>(index)];
}

template <typename Items>
[[nodiscard]] std::size_t countOf(const Items& items) {
    return static_cast<std::size_t>(std::ranges::size(items));
}

/// Of so few items most are near already.
inline constexpr std::size_t kLookedAheadCount = 8;

struct NoLookAhead {
    template <typename Item>
    void operator()(const Item&) const {}
};

/// The first index of the range whose item does not satisfy `test`, which holds for a beginning of the range
/// only. `lookAhead` is told both items that the next step may look at while this one goes on.
template <typename Items, typename Test, typename LookAhead = NoLookAhead>
[[nodiscard]] std::size_t partitionPoint(const Items& items, Test&& test, LookAhead lookAhead = {}) {
    std::size_t start = 0;
    std::size_t count = countOf(items);
    while (count > 0) {
        const std::size_t half = count / 2;
        const std::size_t middle = start + half;
        if (count > kLookedAheadCount) {
            lookAhead(itemAt(items, start + half / 2));
            lookAhead(itemAt(items, middle + 1 + (count - half - 1) / 2));
        }
        if (test(itemAt(items, middle))) {
            start = middle + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return start;
}

/// The first item whose key is strictly greater than `value`.
template <typename Items, typename Value, typename Key, typename LookAhead = NoLookAhead>
[[nodiscard]] std::optional<std::size_t> indexPast(const Items& items, const Value& value, Key key,
                                                   LookAhead lookAhead = {}) {
    const std::size_t count = countOf(items);
    if (count == 0)
        return std::nullopt;
    if (value < key(itemAt(items, 0)))
        return 0;
    std::size_t i = partitionPoint(
        items, [&](const auto& item) { return !(value < key(item)); }, lookAhead);
    if (i == count)
        return std::nullopt;
    // Only reached by a type whose equality and order disagree: what equals the value never lies past it.
    if (key(itemAt(items, i)) == value)
        ++i;
    return i == count ? std::nullopt : std::optional(i);
}

/// The last item whose key is strictly less than `value`.
template <typename Items, typename Value, typename Key, typename LookAhead = NoLookAhead>
[[nodiscard]] std::optional<std::size_t> indexBefore(const Items& items, const Value& value, Key key,
                                                     LookAhead lookAhead = {}) {
    const std::size_t count = countOf(items);
    if (count == 0)
        return std::nullopt;
    if (key(itemAt(items, count - 1)) < value)
        return count - 1;
    const std::size_t bound = partitionPoint(
        items, [&](const auto& item) { return key(item) < value; }, lookAhead);
    if (bound == 0)
        return std::nullopt;
    const std::size_t i = bound - 1;
    if (!(key(itemAt(items, i)) == value)) // see indexPast
        return i;
    return i == 0 ? std::nullopt : std::optional(i - 1);
}

/// `a - b` for a >= b; fails for a distance that its integer type cannot hold.
template <typename Value>
[[nodiscard]] auto valueDistance(const Value& a, const Value& b) {
    if constexpr (std::integral<Value>)
        return trySubtract(a, b);
    else
        return Checked(a - b);
}

} // namespace detail

/// The first index whose element does NOT satisfy `predicate(element, value)`; the number of elements if all
/// do.
template <SearchableRange Values, typename Value, typename Predicate>
[[nodiscard]] std::size_t lowerBound(const Values& values, const Value& value, Predicate predicate) {
    return detail::partitionPoint(values, [&](const auto& element) { return predicate(element, value); });
}

/// The first index whose element satisfies `predicate(value, element)`; the number of elements if none does.
template <SearchableRange Values, typename Value, typename Predicate>
[[nodiscard]] std::size_t upperBound(const Values& values, const Value& value, Predicate predicate) {
    return detail::partitionPoint(values, [&](const auto& element) { return !predicate(value, element); });
}

/// The first element strictly greater than `value`.
template <ValueRange Values>
[[nodiscard]] std::optional<std::size_t>
indexOfElementPast(const Values& values, const std::ranges::range_value_t<const Values>& value) {
    return detail::indexPast(values, value, std::identity());
}

/// The last element strictly less than `value`.
template <ValueRange Values>
[[nodiscard]] std::optional<std::size_t>
indexOfElementBefore(const Values& values, const std::ranges::range_value_t<const Values>& value) {
    return detail::indexBefore(values, value, std::identity());
}

namespace detail {

using FoundIndex = Checked<std::optional<std::size_t>>;

template <ValueRange Values>
[[nodiscard]] FoundIndex closestElement(const Values& values,
                                        const std::ranges::range_value_t<const Values>& to) {
    if (countOf(values) == 0)
        return {std::nullopt};
    const auto past = indexOfElementPast(values, to);
    if (!past)
        return {countOf(values) - 1};
    if (*past == 0 || itemAt(values, *past) == to)
        return past;
    return valueDistance(to, itemAt(values, *past - 1)).then([&](const auto& before) {
        return valueDistance(itemAt(values, *past), to).then([&](const auto& after) -> FoundIndex {
            return {before < after ? *past - 1 : *past};
        });
    });
}

/// See `closest`; `index` is that of the closest element.
template <ValueRange Values>
[[nodiscard]] auto stepsFrom(std::optional<std::size_t> index, const Values& values,
                             const std::ranges::range_value_t<const Values>& to, std::int64_t offsetBy)
    -> std::optional<std::ranges::range_value_t<const Values>> {
    if (!index)
        return std::nullopt;
    const auto& nearest = detail::itemAt(values, *index);
    if (offsetBy > 0) {
        const auto steps = static_cast<std::uint64_t>(offsetBy) - (to < nearest ? 1 : 0);
        const std::uint64_t limit = detail::countOf(values) - 1 - *index;
        return detail::itemAt(values, *index + std::min(steps, limit));
    }
    if (offsetBy < 0) {
        // The magnitude as an unsigned number, which also holds that of the smallest offset.
        const auto steps = std::uint64_t{0} - static_cast<std::uint64_t>(offsetBy) - (nearest < to ? 1 : 0);
        return detail::itemAt(values, *index - std::min<std::uint64_t>(steps, *index));
    }
    return nearest;
}

} // namespace detail

/// The element nearest to `to`; of two equally near ones the later. Nothing only without elements.
template <ValueRange Values>
[[nodiscard]] std::optional<std::size_t>
indexOfClosestElement(const Values& values, const std::ranges::range_value_t<const Values>& to) {
    return detail::closestElement(values, to).orAbort();
}
template <ValueRange Values>
[[nodiscard]] std::optional<std::size_t>
tryIndexOfClosestElement(const Values& values, const std::ranges::range_value_t<const Values>& to) {
    return detail::closestElement(values, to).value().value_or(std::nullopt);
}

/// The element `offsetBy` steps from the one nearest to `to`, clamped to the first and the last. A closest
/// element that lies off the value in the direction of the steps already counts as the first of them. Nothing
/// only without elements.
template <ValueRange Values>
[[nodiscard]] auto closest(const Values& values, const std::ranges::range_value_t<const Values>& to,
                           std::int64_t offsetBy) -> std::optional<std::ranges::range_value_t<const Values>> {
    return detail::stepsFrom(indexOfClosestElement(values, to), values, to, offsetBy);
}
template <ValueRange Values>
[[nodiscard]] auto tryClosest(const Values& values, const std::ranges::range_value_t<const Values>& to,
                              std::int64_t offsetBy)
    -> std::optional<std::ranges::range_value_t<const Values>> {
    return detail::stepsFrom(tryIndexOfClosestElement(values, to), values, to, offsetBy);
}

} // namespace tarn
