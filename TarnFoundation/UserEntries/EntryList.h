#pragma once

#include "Platform/FatalError.h"
#include "TarnFoundation/UserEntries/TarnUserEntry.h"

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace tarn {

/// An immutable list of items that is shared, not copied, when it is passed on: the one form in which lists
/// of entries are read, compared in changesets and carried by notifications. A contiguous random-access
/// range.
template <typename Item>
class List {
public:
    using value_type = Item;
    using const_iterator = const Item*;
    using iterator = const_iterator;

    List() = default;
    List(std::vector<Item> items);
    List(std::initializer_list<Item> items);
    /// Converts every item of another list, for example one of a subclass.
    template <typename Other>
    requires(!std::same_as<Other, Item> &&
             std::convertible_to<const Other&, Item>) explicit List(const List<Other>& other)
        : List(std::vector<Item>(other.begin(), other.end())) {}
    template <typename Other>
    requires(!std::same_as<Other, Item> &&
             std::convertible_to<const Other&, Item>) explicit List(const std::vector<Other>& other)
        : List(std::vector<Item>(other.begin(), other.end())) {}

    [[nodiscard]] const_iterator begin() const { return mItems ? mItems->data() : nullptr; }
    [[nodiscard]] const_iterator end() const { return mItems ? mItems->data() + mItems->size() : nullptr; }
    [[nodiscard]] std::size_t size() const { return mItems ? mItems->size() : 0; }
    [[nodiscard]] bool empty() const { return !mItems; }
    [[nodiscard]] const Item& operator[](std::size_t index) const {
        precondition(index < size(), "List index out of range");
        return (*mItems)[index];
    }
    /// The item at an index that the caller knows to be less than the size; not checked.
    [[nodiscard]] const Item& uncheckedAt(std::size_t index) const { return begin()[index]; }
    [[nodiscard]] const Item& front() const { return (*this)[0]; }
    [[nodiscard]] const Item& back() const { return (*this)[size() - 1]; }

    /// Whether both are the very same list in memory (two empty ones are).
    [[nodiscard]] bool isSameListAs(const List& other) const { return mItems == other.mItems; }
    [[nodiscard]] std::vector<Item> copy() const;

private:
    std::shared_ptr<const std::vector<Item>> mItems;
};

template <typename Item>
List<Item>::List(std::vector<Item> items) {
    if (!items.empty())
        mItems = std::make_shared<const std::vector<Item>>(std::move(items));
}

template <typename Item>
List<Item>::List(std::initializer_list<Item> items) : List(std::vector<Item>(items)) {}

template <typename Item>
std::vector<Item> List<Item>::copy() const {
    return mItems ? *mItems : std::vector<Item>();
}

template <typename Entry>
using EntryList = List<std::shared_ptr<Entry>>;

/// What makes two items the same item. By default their own equality and hash.
template <typename Item>
struct ItemIdentity {
    static bool equal(const Item& a, const Item& b) { return a == b; }
    static std::size_t hash(const Item& item) { return std::hash<Item>()(item); }
};

/// References to entries: the entries' own equality, that is the event identifier. Two empty references are
/// the same.
template <std::derived_from<TarnUserEntry> Entry>
struct ItemIdentity<std::shared_ptr<Entry>> {
    static bool equal(const std::shared_ptr<Entry>& a, const std::shared_ptr<Entry>& b) {
        return a == b || (a && b && a->isEqual(*b));
    }
    static std::size_t hash(const std::shared_ptr<Entry>& entry) { return entry ? entry->hash() : 0; }
};

} // namespace tarn
