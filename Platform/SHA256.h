#pragma once

#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace TARN_PUBLIC tarn {

/// The SHA-256 digest (FIPS 180-4) of bytes that arrive piece by piece.
class SHA256 {
public:
    using Digest = std::array<std::byte, 32>;

    void update(std::span<const std::byte> bytes);
    /// The digest of all bytes so far; more may follow.
    [[nodiscard]] Digest digest() const;
    /// The digest as 64 lower-case hexadecimal digits.
    [[nodiscard]] std::string hexDigest() const;

    [[nodiscard]] static std::string hexDigestOf(std::span<const std::byte> bytes);
    /// Of a file's bytes. Nothing when it cannot be read to its end, or when `isCancelled`, which is called
    /// every few milliseconds and may be empty, returns true.
    [[nodiscard]] static std::optional<std::string>
    hexDigestOfFile(const std::filesystem::path& file, const std::function<bool()>& isCancelled = {});

private:
    static constexpr std::size_t kBlockSize = 64; ///< bytes

    std::array<std::uint32_t, 8> mState{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                        0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<std::byte, kBlockSize> mBlock{}; ///< begun, not yet full
    std::size_t mBlockLength = 0;
    std::uint64_t mByteCount = 0;
};

} // namespace tarn
