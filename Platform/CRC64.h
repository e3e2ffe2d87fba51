#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace TARN_PUBLIC tarn {

/// The cyclic redundancy check CRC-64/XZ (the ECMA-182 polynomial, reflected) of bytes that arrive piece by
/// piece. It detects every change within 64 consecutive bits, and all but one in 2^64 of the others. Not a
/// defence against forgery.
class CRC64 {
public:
    void update(std::span<const std::byte> bytes);
    /// Of all bytes so far; more may follow.
    [[nodiscard]] std::uint64_t value() const { return ~mState; }

private:
    std::uint64_t mState = ~std::uint64_t{0};
};

} // namespace tarn
