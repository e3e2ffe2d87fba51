#pragma once

#include "Platform/FatalError.h"

#include <concepts>
#include <limits>
#include <optional>
#include <utility>

/// Integer arithmetic and conversions that never wrap or change a value. Frames, counts and indices that come
/// from outside go through these. Each exists twice: as `try…`, which gives a Checked result, and as
/// `checked…`, which aborts instead.
namespace tarn {

/// The value of a computation, or why it does not exist.
template <typename T>
class Checked {
public:
    Checked(T value) : mValue(std::move(value)) {}
    /// `reason` is a literal.
    [[nodiscard]] static Checked failure(const char* reason) { return Checked(reason, Failure()); }

    /// The value, or nothing.
    [[nodiscard]] const std::optional<T>& value() const { return mValue; }
    /// Why there is no value.
    [[nodiscard]] const char* reason() const { return mReason; }
    /// The value; without one the process aborts with the reason.
    [[nodiscard]] const T& orAbort() const {
        if (!mValue) [[unlikely]]
            fatalError(mReason);
        return *mValue;
    }
    /// What `next` makes of the value (a Checked result); a failure stays what it is.
    template <typename Next>
    [[nodiscard]] auto then(const Next& next) const -> decltype(next(std::declval<const T&>())) {
        if (!mValue)
            return decltype(next(*mValue))::failure(mReason);
        return next(*mValue);
    }

private:
    struct Failure {};
    Checked(const char* reason, Failure) : mReason(reason) {}

    std::optional<T> mValue;
    const char* mReason = nullptr; ///< without a value
};

template <std::integral T>
[[nodiscard]] Checked<T> tryAdd(T a, T b) {
    T result;
    if (__builtin_add_overflow(a, b, &result))
        return Checked<T>::failure("Arithmetic overflow in addition");
    return result;
}

template <std::integral T>
[[nodiscard]] Checked<T> trySubtract(T a, T b) {
    T result;
    if (__builtin_sub_overflow(a, b, &result))
        return Checked<T>::failure("Arithmetic overflow in subtraction");
    return result;
}

template <std::integral T>
[[nodiscard]] Checked<T> tryMultiply(T a, T b) {
    T result;
    if (__builtin_mul_overflow(a, b, &result))
        return Checked<T>::failure("Arithmetic overflow in multiplication");
    return result;
}

/// Truncating division; fails for a divisor of 0 and for a quotient that does not fit.
template <std::integral T>
[[nodiscard]] Checked<T> tryDivide(T a, T b) {
    if (b == 0)
        return Checked<T>::failure("Division by zero");
    if constexpr (std::signed_integral<T>) {
        if (b == -1)
            return trySubtract(T{0}, a);
    }
    return static_cast<T>(a / b);
}

/// The magnitude of `a - b`; fails when the difference or its negation overflows.
template <std::signed_integral T>
[[nodiscard]] Checked<T> tryDistance(T a, T b) {
    return trySubtract(a, b).then(
        [](T difference) { return difference < 0 ? trySubtract(T{0}, difference) : difference; });
}

/// Integer to integer; fails when the target cannot hold the value.
template <std::integral To, std::integral From>
[[nodiscard]] Checked<To> tryCast(From value) {
    if (!std::in_range<To>(value))
        return Checked<To>::failure("Integer value out of range of its target type");
    return static_cast<To>(value);
}

template <std::integral T>
[[nodiscard]] T checkedAdd(T a, T b) {
    return tryAdd(a, b).orAbort();
}
template <std::integral T>
[[nodiscard]] T checkedSubtract(T a, T b) {
    return trySubtract(a, b).orAbort();
}
template <std::integral T>
[[nodiscard]] T checkedMultiply(T a, T b) {
    return tryMultiply(a, b).orAbort();
}
template <std::integral T>
[[nodiscard]] T checkedDivide(T a, T b) {
    return tryDivide(a, b).orAbort();
}
template <std::signed_integral T>
[[nodiscard]] T checkedDistance(T a, T b) {
    return tryDistance(a, b).orAbort();
}
template <std::integral To, std::integral From>
[[nodiscard]] To checkedCast(From value) {
    return tryCast<To>(value).orAbort();
}

/// Whether truncating `value` toward zero gives a number that `To` can hold (false for not-a-number).
template <std::integral To, std::floating_point From>
[[nodiscard]] bool truncationFits(From value) {
    // Both bounds are powers of two (or zero), so they are exact in floating point. What lies less than 1
    // below the lower one is truncated to it; where the type has no such numbers, the second comparison adds
    // nothing.
    constexpr From upper = From{2} * static_cast<From>(To{1} << (std::numeric_limits<To>::digits - 1));
    constexpr From lower = std::signed_integral<To> ? -upper : From{0};
    return (value >= lower || value > lower - From{1}) && value < upper;
}

/// Floating point to integer, truncating toward zero; fails for a value that is not finite or does not fit.
template <std::integral To, std::floating_point From>
[[nodiscard]] Checked<To> tryTruncation(From value) {
    if (!truncationFits<To>(value))
        return Checked<To>::failure("Floating-point value cannot be converted to an integer because it is "
                                    "not finite or out of range");
    return static_cast<To>(value);
}

template <std::integral To, std::floating_point From>
[[nodiscard]] To checkedTruncation(From value) {
    return tryTruncation<To>(value).orAbort();
}

} // namespace tarn
