#pragma once

#include "Platform/IndexSet.h"
#include "Platform/IntegerTable.h"
#include "TarnFoundation/UserEntries/EntryList.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tarn {

/// The text of a changeset at that address.
[[nodiscard]] std::string describeChangeset(const void* changeset, const IndexSet& added,
                                            const IndexSet& removed, const IndexSet& changed);

/// The difference between two snapshots of one list: which items are new, gone, or the same item with other
/// contents. Immutable. What makes two items the same is ItemIdentity; contents are only compared by the
/// function given.
///
/// Positions refer to first occurrences; an item that occurs several times is reported once. Costs one pass
/// over both lists; only what lies between their common beginning and end is looked at closely.
template <typename Item>
class KELPChangeset {
public:
    using Items = List<Item>;
    /// Whether the new and the old item, which are the same item, have equal contents.
    using ContentsEqual = std::function<bool(const Item& newItem, const Item& oldItem)>;

    /// Whether an item may occur more than once in one of the lists; a caller that knows that none does saves
    /// a pass.
    enum class Repetition { possible, none };

    /// Without a function no item counts as changed.
    KELPChangeset(Items oldItems, Items newItems, const ContentsEqual& contentsEqual = nullptr,
                  Repetition repetition = Repetition::possible)
        : mOldItems(std::move(oldItems)), mItems(std::move(newItems)) {
        if (!mOldItems.isSameListAs(mItems))
            compareIdentities(repetition);
        if (contentsEqual)
            compareContents(contentsEqual);
    }

    [[nodiscard]] const Items& oldItems() const { return mOldItems; }
    [[nodiscard]] const Items& items() const { return mItems; }
    [[nodiscard]] const IndexSet& added() const { return mAdded; }     ///< positions in `items`
    [[nodiscard]] const IndexSet& removed() const { return mRemoved; } ///< positions in `oldItems`
    [[nodiscard]] const IndexSet& changed() const { return mChanged; } ///< positions in `oldItems`

    [[nodiscard]] Items addedItems() const { return itemsAt(mItems, mAdded); }
    [[nodiscard]] Items removedItems() const { return itemsAt(mOldItems, mRemoved); }
    /// The new list's items at the positions of `changed`, which are positions in the old list: items that
    /// were added or removed before them shift the result. A position beyond the new list aborts.
    [[nodiscard]] Items changedItems() const { return itemsAt(mItems, mChanged); }

    [[nodiscard]] std::string description() const {
        return describeChangeset(this, mAdded, mRemoved, mChanged);
    }

private:
    using Identity = ItemIdentity<Item>;
    struct Hash {
        std::size_t operator()(const Item* item) const { return Identity::hash(*item); }
    };
    struct Equal {
        bool operator()(const Item* a, const Item* b) const { return Identity::equal(*a, *b); }
    };
    /// Items by identity, each with its first position.
    using Positions = std::unordered_map<const Item*, std::size_t, Hash, Equal>;

    static Positions positions(const Items& items, std::size_t first, std::size_t last) {
        Positions result;
        result.reserve(last - first);
        for (std::size_t i = first; i < last; ++i)
            result.emplace(items.begin() + i, i);
        return result;
    }

    static Items itemsAt(const Items& items, const IndexSet& positions) {
        std::vector<Item> result;
        result.reserve(positions.size());
        for (const std::size_t position : positions)
            result.push_back(items[position]);
        return result;
    }

    void compareIdentities(Repetition repetition) {
        const std::size_t shorter = mOldItems.size() < mItems.size() ? mOldItems.size() : mItems.size();
        std::size_t prefix = 0;
        while (prefix < shorter && Identity::equal(mOldItems.uncheckedAt(prefix), mItems.uncheckedAt(prefix)))
            ++prefix;
        std::size_t suffix = 0;
        while (suffix < shorter - prefix &&
               Identity::equal(mOldItems.uncheckedAt(mOldItems.size() - 1 - suffix),
                               mItems.uncheckedAt(mItems.size() - 1 - suffix)))
            ++suffix;

        if (repetition == Repetition::none) {
            if (auto removed = leftOut(mOldItems, mItems, prefix, suffix)) {
                mRemoved = std::move(*removed);
                return;
            }
            if (auto added = leftOut(mItems, mOldItems, prefix, suffix)) {
                mAdded = std::move(*added);
                return;
            }
        }
        // An item between the common parts may occur in them as well; then it is in both lists.
        auto onlyOld = positions(mOldItems, prefix, mOldItems.size() - suffix);
        auto onlyNew = positions(mItems, prefix, mItems.size() - suffix);
        dropCommon(onlyOld, onlyNew);
        if (repetition == Repetition::possible && (!onlyOld.empty() || !onlyNew.empty())) {
            IntegerTable hashes(onlyOld.size() + onlyNew.size()); // rules out nearly every item
            for (const auto* map : {&onlyOld, &onlyNew}) {
                for (const auto& [item, position] : *map)
                    hashes.insert(Identity::hash(*item), position);
            }
            const auto dropIfCommon = [&](const Item& item) {
                if (hashes.contains(Identity::hash(item))) {
                    onlyOld.erase(&item);
                    onlyNew.erase(&item);
                }
            };
            for (std::size_t i = 0; i < prefix; ++i)
                dropIfCommon(mItems.uncheckedAt(i));
            for (std::size_t i = mItems.size() - suffix; i < mItems.size(); ++i)
                dropIfCommon(mItems.uncheckedAt(i));
        }
        mRemoved = indexSet(onlyOld);
        mAdded = indexSet(onlyNew);
    }

    /// Where all that distinguishes two lists without repetitions is that `rest` leaves some items of `all`
    /// out: the positions of those.
    static std::optional<IndexSet> leftOut(const Items& all, const Items& rest, std::size_t prefix,
                                           std::size_t suffix) {
        if (all.size() < rest.size())
            return std::nullopt;
        const std::size_t count = all.size() - rest.size();
        std::vector<std::size_t> positions;
        positions.reserve(count);
        const Item* next = rest.begin() + prefix;
        for (std::size_t i = prefix; i < all.size() - suffix; ++i) {
            if (i - positions.size() < rest.size() - suffix && Identity::equal(all.uncheckedAt(i), *next))
                ++next;
            else if (positions.size() < count)
                positions.push_back(i);
            else
                return std::nullopt;
        }
        return IndexSet(std::move(positions));
    }

    static void dropCommon(Positions& a, Positions& b) {
        for (auto entry = a.begin(); entry != a.end();) {
            if (const auto found = b.find(entry->first); found != b.end()) {
                b.erase(found);
                entry = a.erase(entry);
            } else {
                ++entry;
            }
        }
    }

    static IndexSet indexSet(const Positions& items) {
        std::vector<std::size_t> indexes;
        indexes.reserve(items.size());
        for (const auto& [item, position] : items)
            indexes.push_back(position);
        return IndexSet(std::move(indexes));
    }

    void compareContents(const ContentsEqual& contentsEqual) {
        const auto old = positions(mOldItems, 0, mOldItems.size());
        const auto current = positions(mItems, 0, mItems.size());
        std::vector<std::size_t> changed;
        for (const auto& [item, position] : old) {
            const auto found = current.find(item);
            if (found != current.end() && !contentsEqual(*found->first, *item))
                changed.push_back(position);
        }
        mChanged = IndexSet(std::move(changed));
    }

    Items mOldItems;
    Items mItems;
    IndexSet mAdded;
    IndexSet mRemoved;
    IndexSet mChanged;
};

template <typename Entry>
using EntryChangeset = KELPChangeset<std::shared_ptr<Entry>>;
/// What the user information of a storage's notification holds under its changeset key.
template <typename Entry>
using EntryChangesetRef = std::shared_ptr<const EntryChangeset<Entry>>;

} // namespace tarn
