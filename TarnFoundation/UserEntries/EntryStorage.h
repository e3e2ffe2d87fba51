#pragma once

#include "Platform/Export.h"
#include "Platform/FatalError.h"
#include "Platform/KeyValueObserving.h"
#include "Platform/NotificationCenter.h"
#include "TarnFoundation/UserEntries/EntryArray.h"
#include "TarnFoundation/UserEntries/KELPChangeset.h"

#include <memory>
#include <optional>
#include <utility>

namespace TARN_PUBLIC tarn {

class RecursiveLock;

/// The user-information keys of one storage class's notifications.
struct StorageUserInfoKeys {
    const char* changeset;
    const char* addedEntries;
    const char* removedEntries;
};

/// What the storages have in common: the identifier counter, the core operations on arrays of entries, and
/// the sequence of notices around every change. `Storage` is the storage class itself, which offers:
///   static const StorageUserInfoKeys& userInfoKeys();
///   void enforceConsistencyOfUserEntriesInArray(EntryArray<Entry>::Draft&) for each of its kinds: called
///       under the lock on the new contents of an array before they are stored
///   void invalidateDisplayOfEntries(removed, added): called without the lock after the contents were stored.
/// The operations are defined in EntryStorageImplementation.h, which only the sources of storages include;
/// that of the class itself instantiates `template class EntryStorage<Storage>;`.
///
/// One recursive lock guards the counter and the arrays; every core operation takes it for exactly its array
/// work. Notices and notifications go out on the caller's thread without the lock, so observers may call
/// back, and drop the last other reference to the storage. The snapshots around a change are taken
/// separately: while several threads change a storage, a changeset may hold another one's change as well.
/// Storages are made by std::make_shared, because their notifications carry them.
template <typename Storage>
class EntryStorage : public KeyValueObservable, public std::enable_shared_from_this<Storage> {
public:
    /// A new entry with the next identifier, at location 0; it is not added to the storage.
    template <typename Entry>
    [[nodiscard]] std::shared_ptr<Entry> newUserEntryOfClass() {
        return std::make_shared<Entry>(takeEventId());
    }

    /// A new entry of the entry's own class with the next identifier and the entry's attributes.
    template <typename Entry>
    [[nodiscard]] std::shared_ptr<Entry> copyOfUserEntry(const std::shared_ptr<Entry>& entry) {
        precondition(entry != nullptr, "Cannot copy an absent entry");
        auto copy = std::static_pointer_cast<Entry>(entry->newEntryOfSameClass(takeEventId()));
        entry->copyAttributesToEntry(*copy);
        return copy;
    }

    /// The identifier that the next new entry receives.
    [[nodiscard]] std::uint64_t nextEventId() const;

protected:
    template <typename AnyStorage, typename Kind>
    friend class EntriesOfKind;

    EntryStorage();
    ~EntryStorage();

    // Core operations. `array` is always one of the storage's own.

    /// Entries with location in [start, start + length), all unsigned, in stored order.
    template <typename Entry>
    [[nodiscard]] EntryList<Entry> userEntriesInArray(const EntryArray<Entry>& array, std::uint64_t start,
                                                      std::uint64_t length) const;

    /// Appends all entries, also those that are stored already.
    template <typename Entry>
    void addUserEntriesFromArray(const EntryList<Entry>& entries, EntryArray<Entry>& array);

    /// Removes every stored entry that is equal to any given one.
    template <typename Entry>
    void removeUserEntries(const EntryList<Entry>& entries, EntryArray<Entry>& array);

    /// Removes what equals an old entry, then appends the new ones. Two empty lists: nothing happens at all.
    template <typename Entry>
    void replaceUserEntries(const EntryList<Entry>& oldEntries, EntryArray<Entry>& array,
                            const EntryList<Entry>& newEntries);

    template <typename Entry>
    [[nodiscard]] bool userEntriesContainsEntry(const EntryArray<Entry>& array,
                                                const std::shared_ptr<Entry>& entry) const;

    /// By location, equal locations in stored order.
    template <typename Entry>
    [[nodiscard]] EntryList<Entry> sortedUserEntriesFromArray(const EntryArray<Entry>& array) const;

    /// In the order in which they were added.
    template <typename Entry>
    [[nodiscard]] EntryList<Entry> storedUserEntriesFromArray(const EntryArray<Entry>& array) const;

    // The operations of a kind, each one change: one changeset, one notification, posted also when nothing
    // changed. `Kind` describes the kind (EntryKinds.h). The lists are taken by value: observers may reassign
    // or destroy the caller's.

    template <typename Kind, typename Entry>
    void addEntriesOfKind(EntryList<Entry> added, EntryArray<Entry>& array);
    template <typename Kind, typename Entry>
    void removeEntriesOfKind(EntryList<Entry> removed, EntryArray<Entry>& array);
    template <typename Kind, typename Entry>
    void replaceEntriesOfKind(EntryList<Entry> removed, EntryArray<Entry>& array, EntryList<Entry> added);

    /// Takes over `entries` as they stand, in their order, without consistency rules, display or key-value
    /// notices. The changeset and the notification's lists are in stored order. For calls that hold the lock.
    template <typename Kind, typename Entry>
    void populateEntriesOfKind(EntryArray<Entry>& array, const EntryList<Entry>& entries);

    /// Takes a change of the kind back without the consistency rules: `restored` returns the contents to
    /// store for the present ones, or nothing when they no longer fit; then `removed` is replaced by `added`
    /// as by any edit.
    template <typename Kind, typename Entry, typename Restored>
    void restoreEntriesOfKind(EntryArray<Entry>& array, const Restored& restored,
                              const EntryList<Entry>& removed, const EntryList<Entry>& added);

    [[nodiscard]] std::shared_ptr<Storage> sharedSelf() {
        auto self = this->weak_from_this().lock();
        precondition(self != nullptr, "A storage must be made by std::make_shared");
        return self;
    }
    void post(const char* notification, UserInfo userInfo) {
        NotificationCenter::defaultCenter().post(notification, sharedSelf(), std::move(userInfo));
    }

    RecursiveLock& storageLock() const { return *mStorageLock; }
    void setNextEventId(std::uint64_t identifier);
    /// Continues with the source's identifiers. The source's lock is not taken.
    void takeOverNextEventId(const EntryStorage& source) { setNextEventId(source.mNextEventID); }

private:
    static const StorageUserInfoKeys& keys() { return Storage::userInfoKeys(); }
    Storage& self() { return static_cast<Storage&>(*this); }

    std::uint64_t takeEventId();

    /// Performs `work` on the array between the key-value notices and returns the difference of the sorted
    /// entries.
    template <typename Kind, typename Entry, typename Work>
    EntryChangesetRef<Entry> change(EntryArray<Entry>& array, Work&& work);

    /// Stores what `restored` returns; false when it returns nothing. Identifiers that come back are not
    /// given to new entries, also when the counter was taken over from another storage meanwhile.
    template <typename Entry, typename Restored>
    bool storeRestored(EntryArray<Entry>& array, const Restored& restored, const EntryList<Entry>& added);

    /// The sorted entries, and whether none of them is stored twice.
    template <typename Entry>
    std::pair<EntryList<Entry>, bool> snapshot(const EntryArray<Entry>& array) const;

    template <typename Entry>
    void store(EntryArray<Entry>& array, const EntryList<Entry>& removed, const EntryList<Entry>& added);

    const std::unique_ptr<RecursiveLock> mStorageLock;
    std::uint64_t mNextEventID = 0;
};

} // namespace tarn
