#pragma once

#include "Platform/CheckedArithmetic.h"

#include <concepts>
#include <utility>

/// Ranges of positions and the expressions that name them. A range whose upper end lies below its lower end
/// cannot be made: the constructors abort.
namespace tarn {

inline constexpr const char* kReversedRange =
    "Range requires its lower bound not to lie above its upper bound";

/// From `lower` (included) up to `upper` (excluded).
template <typename T>
struct Range {
    T lower{};
    T upper{};

    Range() = default;
    Range(T lowerBound, T upperBound) : lower(std::move(lowerBound)), upper(std::move(upperBound)) {
        precondition(!(upper < lower), kReversedRange);
    }
    [[nodiscard]] bool contains(const T& value) const { return !(value < lower) && value < upper; }
    [[nodiscard]] bool isEmpty() const { return !(lower < upper); }
    friend bool operator==(const Range&, const Range&) = default;
};

/// The range from `lower` up to `upper`; fails when `upper` lies below `lower`.
template <typename T>
[[nodiscard]] Checked<Range<T>> tryRange(T lower, T upper) {
    return upper < lower ? Checked<Range<T>>::failure(kReversedRange) : Range<T>(lower, upper);
}

/// From `lower` to `upper`, both included.
template <typename T>
struct ClosedRange {
    T lower{};
    T upper{};

    ClosedRange() = default;
    ClosedRange(T lowerBound, T upperBound) : lower(std::move(lowerBound)), upper(std::move(upperBound)) {
        precondition(!(upper < lower),
                     "ClosedRange requires its lower bound not to lie above its upper bound");
    }
    [[nodiscard]] bool contains(const T& value) const { return !(value < lower) && !(upper < value); }
    friend bool operator==(const ClosedRange&, const ClosedRange&) = default;
};

/// Everything from `lower` on, `lower` included.
template <typename T>
struct PartialRangeFrom {
    T lower{};
    [[nodiscard]] bool contains(const T& value) const { return !(value < lower); }
};

/// Everything up to `upper`, `upper` included.
template <typename T>
struct PartialRangeThrough {
    T upper{};
    [[nodiscard]] bool contains(const T& value) const { return !(upper < value); }
};

/// Everything below `upper`, `upper` excluded.
template <typename T>
struct PartialRangeUpTo {
    T upper{};
    [[nodiscard]] bool contains(const T& value) const { return value < upper; }
};

template <typename T>
Range(T, T) -> Range<T>;
template <typename T>
ClosedRange(T, T) -> ClosedRange<T>;
template <typename T>
PartialRangeFrom(T) -> PartialRangeFrom<T>;
template <typename T>
PartialRangeThrough(T) -> PartialRangeThrough<T>;
template <typename T>
PartialRangeUpTo(T) -> PartialRangeUpTo<T>;

} // namespace tarn
