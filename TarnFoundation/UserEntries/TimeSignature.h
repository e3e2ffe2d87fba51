#pragma once

#include "Platform/Export.h"

#include <cstdint>

namespace TARN_PUBLIC tarn {

/// A time signature as a value, for example 3/4.
struct TimeSignature {
    std::uint8_t numerator = 4;
    std::uint8_t denominator = 4;
    friend bool operator==(const TimeSignature&, const TimeSignature&) = default;
};

} // namespace tarn
