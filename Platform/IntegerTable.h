#pragma once

#include "Platform/Export.h"
#include "Platform/FatalError.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Positions under 64-bit numbers: a hash table with open addressing that grows and of which nothing is
/// removed. Made for identifiers that are counted up and addresses of objects made one after another:
/// neighbours keep their order, so that they are read as they lie in memory; numbers that lie far apart are
/// scattered.
class IntegerTable {
public:
    /// With room for `expectedCount` numbers before it grows.
    explicit IntegerTable(std::size_t expectedCount = 0) {
        while (expectedCount * 2 > std::size_t{1} << mBits)
            ++mBits;
        mSlots.resize(std::size_t{1} << mBits);
        mEntries.reserve(expectedCount);
    }

    /// The position under the number, and true, where it is there; otherwise keeps `position` and returns it
    /// and false. Aborts at 2^32 - 1 numbers.
    std::pair<std::size_t, bool> insert(std::uint64_t number, std::size_t position) {
        std::size_t index = indexOf(number);
        if (mSlots[index] != 0)
            return {mEntries[mSlots[index] - 1].position, true};
        if ((mEntries.size() + 1) * 2 > mSlots.size()) {
            grow();
            index = indexOf(number);
        }
        mEntries.push_back({number, position});
        mSlots[index] = static_cast<Slot>(mEntries.size());
        return {position, false};
    }

    [[nodiscard]] bool contains(std::uint64_t number) const { return mSlots[indexOf(number)] != 0; }

private:
    struct Entry {
        std::uint64_t number = 0;
        std::size_t position = 0;
    };
    /// The index of an entry, plus 1; 0 where the slot is free. Small, since at least half of all are free.
    using Slot = std::uint32_t;
    static constexpr unsigned kBlockBits = 10;

    /// Where the number is, or the free slot where it belongs. At most half of all slots are taken.
    [[nodiscard]] std::size_t indexOf(std::uint64_t number) const {
        // Blocks of neighbours are spread evenly by multiplicative hashing (Knuth, The Art of Computer
        // Programming 3, 6.4; 2^64 by the golden ratio). Whole runs would crowd: where one lies across
        // another, each number would be passed by all of the other's.
        const std::size_t mask = mSlots.size() - 1;
        const std::uint64_t block = (number >> kBlockBits) * 0x9E3779B97F4A7C15u >> (64 - mBits);
        std::size_t index = (block + (number & ((1u << kBlockBits) - 1))) & mask;
        while (mSlots[index] != 0 && mEntries[mSlots[index] - 1].number != number)
            index = (index + 1) & mask;
        return index;
    }
    void grow() {
        precondition(mSlots.size() <= std::numeric_limits<Slot>::max(), "A table holds too many numbers");
        mSlots.assign(mSlots.size() * 2, 0);
        ++mBits;
        for (std::size_t i = 0; i < mEntries.size(); ++i)
            mSlots[indexOf(mEntries[i].number)] = static_cast<Slot>(i + 1);
    }

    unsigned mBits = 4; ///< there are 2^mBits slots
    std::vector<Slot> mSlots;
    std::vector<Entry> mEntries; ///< in the order in which they were inserted
};

} // namespace tarn
