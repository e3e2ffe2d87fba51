#pragma once

#include "Platform/Export.h"
#include "Platform/FatalError.h"
#include "Platform/IntegerTable.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Event identifiers, for testing entries against a list of others by identity in constant time.
class IdentifierSet {
public:
    /// Of entries or of their identifiers. Aborts when the list holds an absent entry.
    template <typename Items>
    explicit IdentifierSet(const Items& items) {
        const std::size_t count = items.size();
        if (count > 0) {
            std::uint64_t greatest = 0;
            mLeast = std::numeric_limits<std::uint64_t>::max();
            for (const auto& item : items) {
                const std::uint64_t identifier = identifierOf(item);
                mLeast = std::min(mLeast, identifier);
                greatest = std::max(greatest, identifier);
            }
            mSpread = greatest - mLeast;
        }
        // Identifiers are given in turn, so that those of a list mostly lie close together: then a bit for
        // each takes less room than a table.
        mIsDense = mSpread / kBitsPerWord <= 4 * count;
        if (mIsDense)
            fillBits(items);
        else
            fillTable(items);
    }

    /// Whether no identifier occurred twice.
    [[nodiscard]] bool isOfDistinctEntries() const { return mIsOfDistinctEntries; }

    [[nodiscard]] bool contains(std::uint64_t identifier) const {
        // Most entries that are asked for lie outside the range of a short list: one comparison, since below
        // the least one the difference wraps to a great number.
        const std::uint64_t offset = identifier - mLeast;
        return offset <= mSpread && (mIsDense ? hasBit(offset) : mTable.contains(offset));
    }

private:
    static constexpr std::uint64_t kBitsPerWord = 64;

    static std::uint64_t identifierOf(std::uint64_t identifier) { return identifier; }
    template <typename Entry>
    static std::uint64_t identifierOf(const std::shared_ptr<Entry>& entry) {
        precondition(entry != nullptr, "A list of entries must not hold an absent one");
        return entry->eventId();
    }

    [[nodiscard]] bool hasBit(std::uint64_t offset) const {
        return (mBits[offset / kBitsPerWord] >> offset % kBitsPerWord & 1) != 0;
    }
    template <typename Items>
    void fillBits(const Items& items) {
        mBits.resize(mSpread / kBitsPerWord + 1);
        std::uint64_t repeated = 0;
        for (const auto& item : items) {
            const std::uint64_t offset = identifierOf(item) - mLeast;
            const std::uint64_t bit = std::uint64_t(1) << offset % kBitsPerWord;
            std::uint64_t& word = mBits[offset / kBitsPerWord];
            repeated |= word & bit;
            word |= bit;
        }
        mIsOfDistinctEntries = repeated == 0;
    }
    template <typename Items>
    void fillTable(const Items& items) {
        mTable = IntegerTable(items.size());
        for (const auto& item : items)
            mIsOfDistinctEntries &= mTable.insert(identifierOf(item) - mLeast, 0).second;
    }

    std::vector<std::uint64_t> mBits;
    IntegerTable mTable;
    std::uint64_t mLeast = 0;
    std::uint64_t mSpread = 0; ///< the greatest identifier's distance from the least
    bool mIsDense = true;      ///< a bit for each identifier; otherwise the table
    bool mIsOfDistinctEntries = true;
};

} // namespace tarn
