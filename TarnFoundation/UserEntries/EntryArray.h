#pragma once

#include "TarnFoundation/UserEntries/EntryList.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

/// The array work that every storage operation is made of, on one kind's entries. Nothing here locks.
namespace tarn {

/// Event identifiers, for testing entries against a list of others by identity in constant time.
class IdentifierSet {
public:
    template <typename Entries>
    explicit IdentifierSet(const Entries& entries) {
        const std::size_t count = entries.size();
        if (count > 0) {
            std::uint64_t greatest = 0;
            mLeast = std::numeric_limits<std::uint64_t>::max();
            for (const auto& entry : entries) {
                precondition(entry != nullptr, "A list of entries must not hold an absent one");
                mLeast = std::min(mLeast, entry->eventId());
                greatest = std::max(greatest, entry->eventId());
            }
            mSpread = greatest - mLeast;
        }
        // Identifiers are given in turn, so that those of a list mostly lie close together: then a bit for
        // each takes less room than the hash table.
        mIsDense = mSpread / kBitsPerWord <= 4 * count;
        std::size_t words = mIsDense ? mSpread / kBitsPerWord + 1 : 16;
        while (!mIsDense && words < 4 * count)
            words *= 2;
        mWords.resize(words);
        for (const auto& entry : entries)
            insert(entry->eventId() - mLeast);
    }

    /// Whether no identifier occurred twice among the entries.
    [[nodiscard]] bool isOfDistinctEntries() const { return mIsOfDistinctEntries; }

    [[nodiscard]] bool contains(std::uint64_t identifier) const {
        // Most entries that are asked for lie outside the range of a short list: one comparison, since below
        // the least one the difference wraps to a great number.
        const std::uint64_t offset = identifier - mLeast;
        return offset <= mSpread && holds(offset);
    }

private:
    static constexpr std::uint64_t kBitsPerWord = 64;

    [[nodiscard]] bool holds(std::uint64_t offset) const {
        if (mIsDense)
            return (mWords[offset / kBitsPerWord] >> offset % kBitsPerWord & 1) != 0;
        return offset == 0 ? mHoldsLeast : mWords[slot(offset)] == offset;
    }
    void insert(std::uint64_t offset) {
        if (holds(offset))
            mIsOfDistinctEntries = false;
        else if (mIsDense)
            mWords[offset / kBitsPerWord] |= std::uint64_t(1) << offset % kBitsPerWord;
        else if (offset == 0) // an empty place in the hash table
            mHoldsLeast = true;
        else
            mWords[slot(offset)] = offset;
    }

    /// Where the offset is in the hash table, or the empty place where it belongs.
    [[nodiscard]] std::size_t slot(std::uint64_t offset) const {
        // Fibonacci hashing (Knuth, The Art of Computer Programming 3, 6.4); a table of at most a quarter
        // full.
        const std::size_t mask = mWords.size() - 1;
        std::size_t i = (offset * 0x9E3779B97F4A7C15u >> 32) & mask;
        while (mWords[i] != 0 && mWords[i] != offset)
            i = (i + 1) & mask;
        return i;
    }

    std::vector<std::uint64_t> mWords;
    std::uint64_t mLeast = 0;
    std::uint64_t mSpread = 0; ///< the greatest identifier's distance from the least
    bool mHoldsLeast = false;
    bool mIsDense = true; ///< the words are a bit for each identifier; otherwise a hash table
    bool mIsOfDistinctEntries = true;
};

/// Sorts by location, ascending; entries at one location keep their order. The first `orderedCount` entries
/// are known to be in order. O(n + k log n) for k entries behind an ordered beginning, without looking at its
/// entries one by one.
template <typename Entry>
void sortByLocation(std::vector<std::shared_ptr<Entry>>& entries, std::size_t orderedCount = 0) {
    const auto byLocation = [](const auto& a, const auto& b) { return a->location() < b->location(); };
    const auto known = entries.begin() + std::ptrdiff_t(std::max<std::size_t>(orderedCount, 1) - 1);
    if (orderedCount >= entries.size())
        return;
    const auto unsorted = std::is_sorted_until(known, entries.end(), byLocation);
    if (unsorted == entries.end())
        return;
    std::stable_sort(unsorted, entries.end(), byLocation);
    const auto tailCount = entries.end() - unsorted;
    if (tailCount > (unsorted - entries.begin()) / 8) {
        std::inplace_merge(entries.begin(), unsorted, entries.end(), byLocation);
        return;
    }
    // A short tail goes to its places from the back, each in one block move of what it passes.
    std::vector<std::shared_ptr<Entry>> tail(std::make_move_iterator(unsorted),
                                             std::make_move_iterator(entries.end()));
    auto headEnd = unsorted;
    auto gap = entries.end();
    while (!tail.empty()) {
        const auto place = std::upper_bound(entries.begin(), headEnd, tail.back(), byLocation);
        gap = std::move_backward(place, headEnd, gap);
        headEnd = place;
        *--gap = std::move(tail.back());
        tail.pop_back();
    }
}

/// One kind's entries in a storage: kept in stored order, and read sorted by location.
template <typename EntryType>
class EntryArray {
public:
    using Entry = EntryType;
    using Pointer = std::shared_ptr<Entry>;
    using Entries = EntryList<Entry>;

    /// New contents in the making, with what is known of them so that it need not be found out again.
    struct Draft {
        std::vector<Pointer> entries;
        std::size_t orderedCount = 0; ///< so many entries at the beginning are in order of location
        bool isDistinct = false;      ///< no entry occurs twice
        std::uint64_t epoch = 0;      ///< when the locations were looked at
    };

    /// The entries as they are stored: in the order in which they were added.
    [[nodiscard]] const Entries& stored() const { return mStored; }
    /// Whether it is known that no entry is stored twice.
    [[nodiscard]] bool isDistinct() const { return mIsDistinct; }

    /// The entries by location, equal locations in stored order. Remembered until the contents change or the
    /// location of a stored entry is changed in place.
    [[nodiscard]] const Entries& sorted() const {
        const auto epoch = currentEpoch();
        if (mSortedIsValid && mEpoch == epoch)
            return mSorted;
        const std::size_t ordered = mEpoch == epoch ? mOrderedCount : 0;
        mSorted = mStored;
        if (!isOrderedFrom(ordered)) {
            auto entries = mStored.copy();
            sortByLocation(entries, ordered);
            mSorted = std::move(entries);
        }
        mSortedIsValid = true;
        mEpoch = epoch;
        mOrderedCount = mSorted.isSameListAs(mStored) ? mStored.size() : 0;
        return mSorted;
    }

    /// The entries with `start` <= location < `start + length`, compared as unsigned numbers, in stored
    /// order.
    [[nodiscard]] Entries inRange(std::uint64_t start, std::uint64_t length) const {
        std::vector<Pointer> result;
        for (const auto& entry : mStored) {
            const auto location = static_cast<std::uint64_t>(entry->location());
            if (start <= location && location < start + length)
                result.push_back(entry);
        }
        return result;
    }

    [[nodiscard]] bool contains(const Entry& entry) const {
        return std::any_of(mStored.begin(), mStored.end(), [&](const auto& e) { return e->isEqual(entry); });
    }

    /// The stored entries without those equal to any of `removed`, followed by `added`.
    [[nodiscard]] Draft replacing(const Entries& removed, const Entries& added) const {
        Draft draft;
        draft.epoch = currentEpoch();
        draft.entries.reserve(mStored.size() + added.size());
        const IdentifierSet removedIdentifiers(removed);
        const IdentifierSet addedIdentifiers(added);
        draft.isDistinct = mIsDistinct && addedIdentifiers.isOfDistinctEntries();
        const Pointer* kept = mStored.begin(); // where the run of kept entries begins that is not copied yet
        for (const Pointer* entry = kept; entry != mStored.end(); ++entry) {
            const std::uint64_t identifier = (*entry)->eventId();
            if (removedIdentifiers.contains(identifier)) {
                draft.entries.insert(draft.entries.end(), kept, entry);
                kept = entry + 1;
            } else if (addedIdentifiers.contains(identifier)) {
                draft.isDistinct = false;
            }
        }
        draft.entries.insert(draft.entries.end(), kept, mStored.end());
        if (mEpoch == draft.epoch && mOrderedCount == mStored.size())
            draft.orderedCount = draft.entries.size();
        for (const auto& entry : added)
            entry->markAsStored();
        draft.entries.insert(draft.entries.end(), added.begin(), added.end());
        return draft;
    }

    void store(Draft draft) {
        mIsDistinct = draft.isDistinct || draft.entries.empty();
        mOrderedCount = draft.orderedCount;
        mEpoch = draft.epoch;
        mStored = std::move(draft.entries);
        mSortedIsValid = mOrderedCount == mStored.size();
        mSorted = mSortedIsValid ? mStored : Entries();
    }

    /// Stores contents of which nothing is known.
    void store(const Entries& entries) {
        for (const auto& entry : entries)
            entry->markAsStored();
        mIsDistinct = IdentifierSet(entries).isOfDistinctEntries();
        mOrderedCount = 0;
        mStored = entries;
        mSortedIsValid = false;
        mSorted = Entries();
    }

private:
    static std::uint64_t currentEpoch() {
        return TarnUserEntry::storedLocationEpoch().load(std::memory_order_acquire);
    }

    [[nodiscard]] bool isOrderedFrom(std::size_t orderedCount) const {
        if (orderedCount >= mStored.size())
            return true;
        return std::is_sorted(mStored.begin() + std::max<std::size_t>(orderedCount, 1) - 1, mStored.end(),
                              [](const auto& a, const auto& b) { return a->location() < b->location(); });
    }

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
    const auto [first, last] =
        std::minmax_element(entries.begin(), entries.end(),
                            [](const auto& a, const auto& b) { return a->location() < b->location(); });
    return {(*first)->location(), (*last)->location()};
}

} // namespace tarn
