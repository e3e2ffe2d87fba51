#pragma once

#include "Platform/Export.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace TARN_PUBLIC tarn {

/// The platform's "not found" value: the largest signed 64-bit number.
inline constexpr std::uint64_t kNotFound = 0x7FFF'FFFF'FFFF'FFFF;

/// A path of indexes through nested lists; ordered level by level, a prefix before its continuations.
class IndexPath {
public:
    IndexPath() = default;
    IndexPath(std::initializer_list<std::uint64_t> indexes) : mIndexes(indexes) {}

    [[nodiscard]] std::size_t length() const { return mIndexes.size(); }
    /// The index at `position`; kNotFound for a position outside the path.
    [[nodiscard]] std::uint64_t indexAtPosition(std::size_t position) const {
        return position < mIndexes.size() ? mIndexes[position] : kNotFound;
    }
    /// For example "{1, 3}".
    [[nodiscard]] std::string description() const;
    friend bool operator==(const IndexPath&, const IndexPath&) = default;
    friend auto operator<=>(const IndexPath&, const IndexPath&) = default;

private:
    std::vector<std::uint64_t> mIndexes;
};

} // namespace tarn
