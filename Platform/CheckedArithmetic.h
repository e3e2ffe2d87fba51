#pragma once

#include "Platform/FatalError.h"

#include <cmath>
#include <concepts>
#include <limits>
#include <utility>

/// Integer arithmetic that stops the process instead of wrapping, and conversions that stop instead of
/// changing the value. Frames, counts and indices that come from outside go through these.
namespace tarn {

template <std::integral T>
[[nodiscard]] T checkedAdd(T a, T b) {
    T result;
    if (__builtin_add_overflow(a, b, &result))
        fatalError("Arithmetic overflow in addition");
    return result;
}

template <std::integral T>
[[nodiscard]] T checkedSubtract(T a, T b) {
    T result;
    if (__builtin_sub_overflow(a, b, &result))
        fatalError("Arithmetic overflow in subtraction");
    return result;
}

template <std::integral T>
[[nodiscard]] T checkedMultiply(T a, T b) {
    T result;
    if (__builtin_mul_overflow(a, b, &result))
        fatalError("Arithmetic overflow in multiplication");
    return result;
}

/// Truncating division; a divisor of 0 and a quotient that does not fit stop the process.
template <std::integral T>
[[nodiscard]] T checkedDivide(T a, T b) {
    if (b == 0)
        fatalError("Division by zero");
    if constexpr (std::signed_integral<T>) {
        if (b == -1)
            return checkedSubtract(T{0}, a);
    }
    return a / b;
}

/// The magnitude of `a - b`; overflow of the difference or of its negation stops the process.
template <std::signed_integral T>
[[nodiscard]] T checkedDistance(T a, T b) {
    const T difference = checkedSubtract(a, b);
    return difference < 0 ? checkedSubtract(T{0}, difference) : difference;
}

/// Integer to integer; a value that the target cannot hold stops the process.
template <std::integral To, std::integral From>
[[nodiscard]] To checkedCast(From value) {
    if (!std::in_range<To>(value))
        fatalError("Integer value out of range of its target type");
    return static_cast<To>(value);
}

/// Whether truncating `value` toward zero gives a number that `To` can hold (false for not-a-number).
template <std::integral To, std::floating_point From>
[[nodiscard]] bool truncationFits(From value) {
    // Both bounds are powers of two (or zero), so they are exact in floating point.
    const From upper = std::ldexp(From{1}, std::numeric_limits<To>::digits);
    const From lower = std::signed_integral<To> ? -upper : From{0};
    const From truncated = std::trunc(value);
    return truncated >= lower && truncated < upper;
}

/// Floating point to integer, truncating toward zero; a value that is not finite or does not fit stops the
/// process.
template <std::integral To, std::floating_point From>
[[nodiscard]] To checkedTruncation(From value) {
    if (!truncationFits<To>(value))
        fatalError("Floating-point value cannot be converted to an integer because it is not finite or out "
                   "of range");
    return static_cast<To>(value);
}

} // namespace tarn
