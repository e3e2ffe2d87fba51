#pragma once

#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"
#include "Platform/Log.h"
#include "Platform/RecursiveLock.h"
#include "TarnFoundation/UserEntries/EntriesOfKind.h"
#include "TarnFoundation/UserEntries/EntryOrder.h"
#include "TarnFoundation/UserEntries/EntryStorage.h"
#include "TarnFoundation/UserEntries/IdentifierSet.h"

#include <algorithm>
#include <utility>
#include <vector>

/// The operations of storages, for the sources of storage classes. Such a source instantiates
/// `template class EntriesOfKind<Storage, Kind>;` for each of its kinds.
namespace TARN_PUBLIC tarn {

// EntryArray

inline std::uint64_t currentLocationEpoch() {
    return TarnUserEntry::storedLocationEpoch().load(std::memory_order_acquire);
}

template <typename EntryType>
auto EntryArray<EntryType>::sorted() const -> const Entries& {
    if (!mSortedIsValid || mEpoch != currentLocationEpoch())
        sort();
    return mSorted;
}

template <typename EntryType>
void EntryArray<EntryType>::sort() const {
    const auto epoch = currentLocationEpoch();
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
}

template <typename EntryType>
auto EntryArray<EntryType>::inRange(std::uint64_t start, std::uint64_t length) const -> Entries {
    std::vector<Pointer> result;
    for (const auto& entry : mStored) {
        const auto location = static_cast<std::uint64_t>(entry->location());
        if (start <= location && location < start + length)
            result.push_back(entry);
    }
    return result;
}

template <typename EntryType>
bool EntryArray<EntryType>::contains(const Entry& entry) const {
    return std::any_of(mStored.begin(), mStored.end(), [&](const auto& e) { return e->isEqual(entry); });
}

template <typename EntryType>
auto EntryArray<EntryType>::replacing(const Entries& removed, const Entries& added) const -> Draft {
    Draft draft;
    draft.epoch = currentLocationEpoch();
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

template <typename EntryType>
void EntryArray<EntryType>::store(Draft draft) {
    mIsDistinct = draft.isDistinct || draft.entries.empty();
    mOrderedCount = draft.orderedCount;
    mEpoch = draft.epoch;
    mStored = std::move(draft.entries);
    mSortedIsValid = mOrderedCount == mStored.size();
    mSorted = mSortedIsValid ? mStored : Entries();
}

template <typename EntryType>
void EntryArray<EntryType>::store(const Entries& entries) {
    for (const auto& entry : entries)
        entry->markAsStored();
    mIsDistinct = IdentifierSet(entries).isOfDistinctEntries();
    mOrderedCount = 0;
    mStored = entries;
    mSortedIsValid = false;
    mSorted = Entries();
}

template <typename EntryType>
bool EntryArray<EntryType>::isOrderedFrom(std::size_t orderedCount) const {
    if (orderedCount >= mStored.size())
        return true;
    return std::is_sorted(mStored.begin() + std::max<std::size_t>(orderedCount, 1) - 1, mStored.end(),
                          [](const auto& a, const auto& b) { return a->location() < b->location(); });
}

// EntryStorage

template <typename Storage>
EntryStorage<Storage>::EntryStorage() : mStorageLock(std::make_unique<RecursiveLock>()) {}

template <typename Storage>
EntryStorage<Storage>::~EntryStorage() = default;

template <typename Storage>
std::uint64_t EntryStorage<Storage>::nextEventId() const {
    const LockGuard guard(storageLock());
    return mNextEventID;
}

template <typename Storage>
std::uint64_t EntryStorage<Storage>::takeEventId() {
    const LockGuard guard(storageLock());
    return mNextEventID++;
}

template <typename Storage>
void EntryStorage<Storage>::setNextEventId(std::uint64_t identifier) {
    const LockGuard guard(storageLock());
    mNextEventID = identifier;
}

template <typename Storage>
template <typename Entry>
EntryList<Entry> EntryStorage<Storage>::userEntriesInArray(const EntryArray<Entry>& array,
                                                           std::uint64_t start, std::uint64_t length) const {
    const LockGuard guard(storageLock());
    return array.inRange(start, length);
}

template <typename Storage>
template <typename Entry>
void EntryStorage<Storage>::addUserEntriesFromArray(const EntryList<Entry>& entries,
                                                    EntryArray<Entry>& array) {
    store(array, {}, entries);
}

template <typename Storage>
template <typename Entry>
void EntryStorage<Storage>::removeUserEntries(const EntryList<Entry>& entries, EntryArray<Entry>& array) {
    store(array, entries, {});
}

template <typename Storage>
template <typename Entry>
void EntryStorage<Storage>::replaceUserEntries(const EntryList<Entry>& oldEntries, EntryArray<Entry>& array,
                                               const EntryList<Entry>& newEntries) {
    if (!oldEntries.empty() || !newEntries.empty())
        store(array, oldEntries, newEntries);
}

template <typename Storage>
template <typename Entry>
bool EntryStorage<Storage>::userEntriesContainsEntry(const EntryArray<Entry>& array,
                                                     const std::shared_ptr<Entry>& entry) const {
    const LockGuard guard(storageLock());
    return entry && array.contains(*entry);
}

template <typename Storage>
template <typename Entry>
EntryList<Entry> EntryStorage<Storage>::sortedUserEntriesFromArray(const EntryArray<Entry>& array) const {
    const LockGuard guard(storageLock());
    return array.sorted();
}

template <typename Storage>
template <typename Entry>
EntryList<Entry> EntryStorage<Storage>::storedUserEntriesFromArray(const EntryArray<Entry>& array) const {
    const LockGuard guard(storageLock());
    return array.stored();
}

template <typename Storage>
template <typename Kind, typename Entry>
void EntryStorage<Storage>::addEntriesOfKind(EntryList<Entry> added, EntryArray<Entry>& array) {
    const auto alive = sharedSelf();
    const auto changeset = change<Kind>(array, [&] { addUserEntriesFromArray(added, array); });
    post(Kind::kDidChangeNotification, {{keys().changeset, changeset}, {keys().addedEntries, added}});
}

template <typename Storage>
template <typename Kind, typename Entry>
void EntryStorage<Storage>::removeEntriesOfKind(EntryList<Entry> removed, EntryArray<Entry>& array) {
    const auto alive = sharedSelf();
    const auto changeset = change<Kind>(array, [&] { removeUserEntries(removed, array); });
    post(Kind::kDidChangeNotification, {{keys().changeset, changeset}, {keys().removedEntries, removed}});
}

template <typename Storage>
template <typename Kind, typename Entry>
void EntryStorage<Storage>::replaceEntriesOfKind(EntryList<Entry> removed, EntryArray<Entry>& array,
                                                 EntryList<Entry> added) {
    const auto alive = sharedSelf();
    const auto changeset = change<Kind>(array, [&] { replaceUserEntries(removed, array, added); });
    post(Kind::kDidChangeNotification,
         {{keys().changeset, changeset}, {keys().removedEntries, removed}, {keys().addedEntries, added}});
}

template <typename Storage>
template <typename Kind, typename Entry>
void EntryStorage<Storage>::populateEntriesOfKind(EntryArray<Entry>& array, const EntryList<Entry>& entries) {
    const EntryList<Entry> previous = array.stored();
    array.store(entries);
    post(Kind::kDidChangeNotification,
         {{keys().changeset,
           EntryChangesetRef<Entry>(std::make_shared<EntryChangeset<Entry>>(previous, entries))},
          {keys().removedEntries, previous},
          {keys().addedEntries, entries}});
}

template <typename Storage>
template <typename Kind, typename Entry, typename Restored>
void EntryStorage<Storage>::restoreEntriesOfKind(EntryArray<Entry>& array, const Restored& restored,
                                                 const EntryList<Entry>& removed,
                                                 const EntryList<Entry>& added) {
    const auto alive = sharedSelf();
    const auto changeset = change<Kind>(array, [&] {
        if (storeRestored(array, restored, added))
            self().invalidateDisplayOfEntries(removed, added);
        else
            replaceUserEntries(removed, array, added);
    });
    post(Kind::kDidChangeNotification,
         {{keys().changeset, changeset}, {keys().removedEntries, removed}, {keys().addedEntries, added}});
}

template <typename Storage>
template <typename Kind, typename Entry, typename Work>
EntryChangesetRef<Entry> EntryStorage<Storage>::change(EntryArray<Entry>& array, Work&& work) {
    using Changeset = EntryChangeset<Entry>;
    willChangeValueForKey(Kind::kObservableKey);
    auto [before, wasDistinct] = snapshot(array);
    work();
    auto [after, isDistinct] = snapshot(array);
    const auto repetition =
        wasDistinct && isDistinct ? Changeset::Repetition::none : Changeset::Repetition::possible;
    auto changeset =
        std::make_shared<const Changeset>(std::move(before), std::move(after), nullptr, repetition);
    didChangeValueForKey(Kind::kObservableKey);
    return changeset;
}

template <typename Storage>
template <typename Entry, typename Restored>
bool EntryStorage<Storage>::storeRestored(EntryArray<Entry>& array, const Restored& restored,
                                          const EntryList<Entry>& added) {
    const LockGuard guard(storageLock());
    for (const auto& entry : added) {
        const std::uint64_t following = entry->eventId() + 1; // 0 after the greatest identifier
        mNextEventID = std::max(mNextEventID, following);
    }
    const auto contents = restored(array.stored());
    if (contents)
        array.store(*contents);
    return contents.has_value();
}

template <typename Storage>
template <typename Entry>
std::pair<EntryList<Entry>, bool> EntryStorage<Storage>::snapshot(const EntryArray<Entry>& array) const {
    const LockGuard guard(storageLock());
    return {array.sorted(), array.isDistinct()};
}

template <typename Storage>
template <typename Entry>
void EntryStorage<Storage>::store(EntryArray<Entry>& array, const EntryList<Entry>& removed,
                                  const EntryList<Entry>& added) {
    {
        const LockGuard guard(storageLock());
        auto draft = array.replacing(removed, added);
        self().enforceConsistencyOfUserEntriesInArray(draft);
        array.store(std::move(draft));
    }
    self().invalidateDisplayOfEntries(removed, added);
}

// EntriesOfKind

template <typename Storage, typename Kind>
auto EntriesOfKind<Storage, Kind>::newEntry() -> KindEntryRef {
    return storage().template newUserEntryOfClass<KindEntry>();
}

template <typename Storage, typename Kind>
auto EntriesOfKind<Storage, Kind>::copyOfEntry(const KindEntryRef& entry) -> KindEntryRef {
    return storage().copyOfUserEntry(entry);
}

template <typename Storage, typename Kind>
auto EntriesOfKind<Storage, Kind>::entries() const -> KindEntries {
    return storage().sortedUserEntriesFromArray(mArray);
}

template <typename Storage, typename Kind>
auto EntriesOfKind<Storage, Kind>::storedEntries() const -> KindEntries {
    return storage().storedUserEntriesFromArray(mArray);
}

template <typename Storage, typename Kind>
auto EntriesOfKind<Storage, Kind>::entriesInRange(std::uint64_t location, std::uint64_t length) const
    -> KindEntries {
    return storage().userEntriesInArray(mArray, location, length);
}

template <typename Storage, typename Kind>
bool EntriesOfKind<Storage, Kind>::contains(const KindEntryRef& entry) const {
    return storage().userEntriesContainsEntry(mArray, entry);
}

template <typename Storage, typename Kind>
void EntriesOfKind<Storage, Kind>::add(KindEntries entries) {
    storage().template addEntriesOfKind<Kind>(std::move(entries), mArray);
}

template <typename Storage, typename Kind>
void EntriesOfKind<Storage, Kind>::remove(KindEntries entries) {
    storage().template removeEntriesOfKind<Kind>(std::move(entries), mArray);
}

template <typename Storage, typename Kind>
void EntriesOfKind<Storage, Kind>::replace(KindEntries old, KindEntries added) {
    storage().template replaceEntriesOfKind<Kind>(std::move(old), mArray, std::move(added));
}

template <typename Storage, typename Kind>
void EntriesOfKind<Storage, Kind>::assign(const KindEntries& entries) {
    const LockGuard guard(storage().storageLock());
    mAssigned = entries;
}

template <typename Storage, typename Kind>
void EntriesOfKind<Storage, Kind>::populateFrom(const EntriesOfKind& source) {
    storage().template populateEntriesOfKind<Kind>(mArray, source.mArray.stored());
}

template <typename Storage, typename Kind>
void EntriesOfKind<Storage, Kind>::encode(KeyedArchiver& coder) const {
    coder.encodeObjects(Kind::kArchiveKey, mArray.stored());
}

/// An entry without a value that it must have is left out, for example a chord entry without a chord, which
/// may be stored and archived; the log says how many were left out, and why the first.
template <typename Storage, typename Kind>
void EntriesOfKind<Storage, Kind>::decode(KeyedUnarchiver& coder) {
    std::size_t count = 0;
    Error first;
    auto entries = coder.decodeObjects<KindEntry>(Kind::kArchiveKey, [&](const Error& reason) {
        if (count++ == 0)
            first = reason;
    });
    if (count > 0) {
        Log::standard().write(LogLevel::standard, "Entries left out of a document: {}. {}", [&] {
            return std::vector{logPublic(count), logPublic(first.localizedDescription())};
        });
    }
    if (entries)
        add(std::move(*entries));
}

} // namespace tarn
