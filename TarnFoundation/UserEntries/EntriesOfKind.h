#pragma once

#include "TarnFoundation/UserEntries/EntryArray.h"
#include "TarnFoundation/UserEntries/EntryKinds.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace tarn {

class KeyedArchiver;
class KeyedUnarchiver;

// Compiled once, with the entries (UserEntryClasses.cpp).
#define TARN_DECLARE_LIST(Stem, ...) extern template class List<std::shared_ptr<Tarn##Stem##Entry>>;
TARN_NOTE_ENTRY_STORAGE_KINDS(TARN_DECLARE_LIST)
TARN_SONG_STRUCTURE_STORAGE_KINDS(TARN_DECLARE_LIST)
#undef TARN_DECLARE_LIST

/// The entries of one kind in a storage, and what every storage does with those of each kind. Defined in
/// EntryStorageImplementation.h, which only the sources of storages include.
template <typename Storage, typename Kind>
class EntriesOfKind {
    using KindEntry = typename Kind::Entry;
    using KindEntryRef = std::shared_ptr<KindEntry>;
    using KindEntries = EntryList<KindEntry>;

public:
    EntriesOfKind(const EntriesOfKind&) = delete;
    EntriesOfKind& operator=(const EntriesOfKind&) = delete;

protected:
    EntriesOfKind() = default;
    ~EntriesOfKind() = default;

private:
    template <typename AnyStorage, typename KindList>
    friend class EntriesOfKinds;

    [[nodiscard]] KindEntryRef newEntry();
    [[nodiscard]] KindEntryRef copyOfEntry(const KindEntryRef& entry);
    [[nodiscard]] KindEntries entries() const;
    [[nodiscard]] KindEntries storedEntries() const;
    [[nodiscard]] KindEntries entriesInRange(std::uint64_t location, std::uint64_t length) const;
    [[nodiscard]] bool contains(const KindEntryRef& entry) const;
    void add(KindEntries entries);
    void remove(KindEntries entries);
    void replace(KindEntries old, KindEntries added);
    void assign(const KindEntries& entries);

    /// Takes over the source's entries as they stand. Neither lock is taken.
    void populateFrom(const EntriesOfKind& source);
    /// Writes the entries as they stand. The lock is not taken.
    void encode(KeyedArchiver& coder) const;
    /// Adds the archive's entries in their order; none when the key is missing.
    void decode(KeyedUnarchiver& coder);

    [[nodiscard]] Storage& storage() { return static_cast<Storage&>(*this); }
    [[nodiscard]] const Storage& storage() const { return static_cast<const Storage&>(*this); }

    EntryArray<KindEntry> mArray;
    KindEntries mAssigned; ///< what `assign` was given; nothing reads it
};

/// The typed operations of a storage on the entries of its kinds: `storage.entries<BeatKind>()`. Each change
/// is one changeset and one notification, which is posted also when nothing changed; the lists are taken by
/// value, since observers may reassign or destroy the caller's.
template <typename Storage, typename KindList>
class EntriesOfKinds;

template <typename Storage, typename... Kinds>
class EntriesOfKinds<Storage, EntryKindList<Kinds...>> : public EntriesOfKind<Storage, Kinds>... {
    template <typename Kind>
    using EntryRefOf = std::shared_ptr<typename Kind::Entry>;
    template <typename Kind>
    using EntriesOf = EntryList<typename Kind::Entry>;

public:
    using KindList = EntryKindList<Kinds...>;

    /// Calls the visitor with a value of each kind, in the order of the list of kinds.
    template <typename Visitor>
    static constexpr void forEachKind(Visitor&& visitor) {
        KindList::forEach(visitor);
    }

    /// A new entry of the kind with the next identifier, at location 0; it is not added to the storage.
    template <typename Kind>
    [[nodiscard]] EntryRefOf<Kind> newEntry() {
        return of<Kind>().newEntry();
    }
    /// A new entry of the entry's own class with the next identifier and the entry's attributes; not added.
    template <typename Kind>
    [[nodiscard]] EntryRefOf<Kind> copyOfEntry(const EntryRefOf<Kind>& entry) {
        return of<Kind>().copyOfEntry(entry);
    }
    /// By location, equal locations in the order in which they were added.
    template <typename Kind>
    [[nodiscard]] EntriesOf<Kind> entries() const {
        return of<Kind>().entries();
    }
    /// In the order in which they were added.
    template <typename Kind>
    [[nodiscard]] EntriesOf<Kind> storedEntries() const {
        return of<Kind>().storedEntries();
    }
    /// Those with `location` <= the entry's location < `location + length`, compared as unsigned numbers, in
    /// the order in which they were added.
    template <typename Kind>
    [[nodiscard]] EntriesOf<Kind> entriesInRange(std::uint64_t location, std::uint64_t length) const {
        return of<Kind>().entriesInRange(location, length);
    }
    template <typename Kind>
    [[nodiscard]] bool contains(const EntryRefOf<Kind>& entry) const {
        return of<Kind>().contains(entry);
    }
    /// Appends all entries, also those that are stored already.
    template <typename Kind>
    void add(EntriesOf<Kind> entries) {
        of<Kind>().add(std::move(entries));
    }
    /// Removes every stored entry that is equal to any given one.
    template <typename Kind>
    void remove(EntriesOf<Kind> entries) {
        of<Kind>().remove(std::move(entries));
    }
    /// Removes what equals an old entry, then appends the new ones.
    template <typename Kind>
    void replace(EntriesOf<Kind> old, EntriesOf<Kind> added) {
        of<Kind>().replace(std::move(old), std::move(added));
    }

protected:
    /// Keeps a list that nothing reads: the stored entries, and so what every reader sees, stay as they are.
    template <typename Kind>
    void assign(const EntriesOf<Kind>& entries) {
        of<Kind>().assign(entries);
    }
    template <typename Kind>
    [[nodiscard]] EntryArray<typename Kind::Entry>& array() {
        return of<Kind>().mArray;
    }
    template <typename Kind>
    [[nodiscard]] const EntryArray<typename Kind::Entry>& array() const {
        return of<Kind>().mArray;
    }

    /// Takes over the source's entries as they stand, kind by kind. Neither lock is taken.
    void populateEntries(const EntriesOfKinds& source) {
        forEachKind([&]<typename Kind>(Kind) { of<Kind>().populateFrom(source.template of<Kind>()); });
    }
    /// Writes the entries as they stand. The lock is not taken.
    void encodeEntries(KeyedArchiver& coder) const {
        KindList::forEachBy(&KindPlaces::archived, [&]<typename Kind>(Kind) { of<Kind>().encode(coder); });
    }
    /// Adds the archive's entries.
    void decodeEntries(KeyedUnarchiver& coder) {
        KindList::forEachBy(&KindPlaces::unarchived, [&]<typename Kind>(Kind) { of<Kind>().decode(coder); });
    }

private:
    template <typename Kind>
    [[nodiscard]] EntriesOfKind<Storage, Kind>& of() {
        return *this;
    }
    template <typename Kind>
    [[nodiscard]] const EntriesOfKind<Storage, Kind>& of() const {
        return *this;
    }
};

} // namespace tarn
