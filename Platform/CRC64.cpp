#include "Platform/CRC64.h"

#include <array>
#include <bit>
#include <cstring>

namespace tarn {
namespace {

constexpr std::uint64_t kPolynomial = 0xC96C5795D7870F42; // reflected
constexpr std::size_t kSlices = 8;
using Tables = std::array<std::array<std::uint64_t, 256>, kSlices>;

/// Table 0 holds what a byte does to the state; table n what it does after n more zero bytes, so that eight
/// bytes are taken at once.
constexpr Tables makeTables() {
    Tables tables{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        std::uint64_t state = byte;
        for (int bit = 0; bit < 8; ++bit)
            state = (state & 1) != 0 ? state >> 1 ^ kPolynomial : state >> 1;
        tables[0][byte] = state;
    }
    for (std::size_t slice = 1; slice < kSlices; ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint64_t before = tables[slice - 1][byte];
            tables[slice][byte] = before >> 8 ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr Tables kTables = makeTables();

} // namespace

void CRC64::update(std::span<const std::byte> bytes) {
    std::uint64_t state = mState;
    if constexpr (std::endian::native == std::endian::little) {
        while (bytes.size() >= kSlices) {
            std::uint64_t word;
            std::memcpy(&word, bytes.data(), sizeof word);
            word ^= state;
            state = 0;
            for (std::size_t i = 0; i < kSlices; ++i)
                state ^= kTables[kSlices - 1 - i][word >> (8 * i) & 0xFF];
            bytes = bytes.subspan(kSlices);
        }
    }
    for (const std::byte byte : bytes)
        state = state >> 8 ^ kTables[0][(state ^ std::to_integer<std::uint64_t>(byte)) & 0xFF];
    mState = state;
}

} // namespace tarn
