#pragma once

#include <cstdint>

namespace tarn {

/// A time signature as a value, for example 3/4.
struct TimeSignature {
    std::uint8_t numerator = 4;
    std::uint8_t denominator = 4;
    friend bool operator==(const TimeSignature&, const TimeSignature&) = default;
};

} // namespace tarn
