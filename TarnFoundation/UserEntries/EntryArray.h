#pragma once

#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/EntryList.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace TARN_PUBLIC tarn {

/// One kind's entries in a storage: kept in stored order, and read sorted by location. Nothing here locks.
/// Defined in EntryStorageImplementation.h, which only the sources of storages include.
template <typename EntryType>
class EntryArray {
public:
    using Entry = EntryType;
    using Pointer = std::shared_ptr<Entry>;
    using Entries = EntryList<Entry>;

    /// New contents in the making, with what is known of them so that it need not be found out again.
    struct Draft {
        std::vector<Pointer> entries;
        std::size_t orderedCount = 0; ///< the entries at the beginning known to be in order of location
        bool isDistinct = false;      ///< no entry occurs twice
        std::uint64_t epoch = 0;      ///< when the locations were looked at
    };

    /// The entries as they are stored: in the order in which they were added.
    [[nodiscard]] const Entries& stored() const { return mStored; }
    /// Whether it is known that no entry is stored twice.
    [[nodiscard]] bool isDistinct() const { return mIsDistinct; }

    /// The entries by location, equal locations in stored order. Remembered until the contents change or the
    /// location of a stored entry is changed in place.
    [[nodiscard]] const Entries& sorted() const;

    /// The entries with `start` <= location < `start + length`, compared as unsigned numbers, in stored
    /// order.
    [[nodiscard]] Entries inRange(std::uint64_t start, std::uint64_t length) const;

    [[nodiscard]] bool contains(const Entry& entry) const;

    /// The stored entries without those equal to any of `removed`, followed by `added`.
    [[nodiscard]] Draft replacing(const Entries& removed, const Entries& added) const;

    void store(Draft draft);
    /// Stores contents of which nothing is known.
    void store(const Entries& entries);

private:
    void sort() const;
    [[nodiscard]] bool isOrderedFrom(std::size_t orderedCount) const;

    Entries mStored;
    bool mIsDistinct = true;
    // What is known of the order, at the time of the epoch.
    mutable std::uint64_t mEpoch = 0;
    mutable std::size_t mOrderedCount = 0;
    mutable Entries mSorted;
    mutable bool mSortedIsValid = false;
};

/// (location of the first, location of the last) of the entries in order of location: two ends, not a
/// location and a length. (0, 0) when there are none.
template <typename Entries>
[[nodiscard]] std::pair<std::int64_t, std::int64_t> rangeOfUserEntriesInArray(const Entries& entries) {
    if (entries.empty())
        return {0, 0};
    std::int64_t first = (*entries.begin())->location();
    std::int64_t last = first;
    for (const auto& entry : entries) {
        const std::int64_t location = entry->location();
        first = location < first ? location : first;
        last = location > last ? location : last;
    }
    return {first, last};
}

} // namespace tarn
