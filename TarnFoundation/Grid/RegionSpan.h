#pragma once

#include <cstdint>

namespace tarn {

template <typename T>
class Checked;

/// Where a region begins and how long it is, in frames: from its location (included) to its end (excluded).
struct RegionSpan {
    std::int64_t location = 0;
    std::uint64_t length = 0;

    /// Between two frames, whichever is earlier. A distance that 64 bits cannot hold aborts.
    [[nodiscard]] static RegionSpan between(std::int64_t a, std::int64_t b);

    /// location + length. Fails for an end that 64 bits cannot hold, and for a length that is negative as a
    /// signed number.
    [[nodiscard]] Checked<std::int64_t> checkedEnd() const;
    /// The same, but a failure aborts.
    [[nodiscard]] std::int64_t end() const;

    /// With another start, or another end. When one passes the other they swap roles: the result is always
    /// well formed.
    [[nodiscard]] RegionSpan withStart(std::int64_t start) const { return between(start, end()); }
    [[nodiscard]] RegionSpan withEnd(std::int64_t end) const { return between(location, end); }

    friend bool operator==(const RegionSpan&, const RegionSpan&) = default;
};

} // namespace tarn
