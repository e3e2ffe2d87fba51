#pragma once

#include "Platform/Range.h"

#include <cstddef>
#include <cstdint>

namespace tarn {

/// A bar of a beat grid.
struct Bar {
    std::size_t number = 0;       ///< counted from 1
    Range<std::size_t> positions; ///< of its beats in the grid; never none
    std::int64_t start = 0;       ///< the frame of its downbeat
    std::int64_t end = 0;         ///< the frame where the next bar starts; not part of the bar
    friend bool operator==(const Bar&, const Bar&) = default;
};

/// A place in a song as musicians name it: bar and beat in the bar, both counted from 1.
struct BarBeat {
    std::size_t bar = 0;
    std::size_t beat = 0;
    friend bool operator==(const BarBeat&, const BarBeat&) = default;
};

} // namespace tarn
