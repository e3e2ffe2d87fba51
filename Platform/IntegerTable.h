#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tarn {

/// Positions under 64-bit numbers: a hash table with open addressing that grows and of which nothing is
/// removed. Made for identifiers that are counted up and addresses of objects made one after another:
/// neighbours keep their order, so that a run of them is read as it lies in memory; numbers that lie far
/// apart are scattered.
class IntegerTable {
public:
    /// With room for so many numbers before it grows.
    explicit IntegerTable(std::size_t expectedCount = 0) {
        while (expectedCount * 2 > std::size_t{1} << mBits)
            ++mBits;
        mSlots.resize(std::size_t{1} << mBits);
    }

    /// The position under the number, and true, where it is there; otherwise keeps `position`, which must be
    /// less than the greatest one, and returns it and false.
    std::pair<std::size_t, bool> insert(std::uint64_t number, std::size_t position) {
        if ((mCount + 1) * 2 > mSlots.size())
            grow();
        Slot& slot = mSlots[indexOf(number)];
        if (slot.positionPlusOne != 0)
            return {slot.positionPlusOne - 1, true};
        slot = {number, position + 1};
        ++mCount;
        return {position, false};
    }

    [[nodiscard]] bool contains(std::uint64_t number) const {
        return mSlots[indexOf(number)].positionPlusOne != 0;
    }

private:
    struct Slot {
        std::uint64_t number = 0;
        std::size_t positionPlusOne = 0; ///< 0 where the slot is free
    };

    /// Where the number is, or the free slot where it belongs. At most half of all slots are taken.
    [[nodiscard]] std::size_t indexOf(std::uint64_t number) const {
        // A run of as many numbers as there are slots takes each slot once. Runs are set off against each
        // other by multiplicative hashing (Knuth, The Art of Computer Programming 3, 6.4; 2^64 by the golden
        // ratio).
        const std::size_t mask = mSlots.size() - 1;
        std::size_t index = (number + ((number >> mBits) * 0x9E3779B97F4A7C15u >> 32)) & mask;
        while (mSlots[index].positionPlusOne != 0 && mSlots[index].number != number)
            index = (index + 1) & mask;
        return index;
    }
    void grow() {
        const auto smaller = std::exchange(mSlots, std::vector<Slot>(mSlots.size() * 2));
        ++mBits;
        for (const auto& slot : smaller) {
            if (slot.positionPlusOne != 0)
                mSlots[indexOf(slot.number)] = slot;
        }
    }

    unsigned mBits = 4; ///< there are 2^mBits slots
    std::vector<Slot> mSlots;
    std::size_t mCount = 0;
};

} // namespace tarn
