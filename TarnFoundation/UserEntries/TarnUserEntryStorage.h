#pragma once

#include "Platform/KeyedArchive.h"
#include "TarnFoundation/UserEntries/EntryStorage.h"

namespace tarn {

inline constexpr const char* TarnUserEntryStorageChangesetKey = "TarnUserEntryStorageChangesetKey";
inline constexpr const char* TarnUserEntryStorageAddedEntriesKey = "TarnUserEntryStorageAddedEntriesKey";
inline constexpr const char* TarnUserEntryStorageRemovedEntriesKey = "TarnUserEntryStorageRemovedEntriesKey";
/// For storages with entries that change in place; the operations here never post it.
inline constexpr const char* TarnUserEntryStorageChangedEntriesKey = "TarnUserEntryStorageChangedEntriesKey";

/// The base of storages that keep entries without further rules. A subclass owns one array for each of its
/// kinds.
class TarnUserEntryStorage : public EntryStorage<TarnUserEntryStorage>, public SecureCoding {
public:
    /// The user-information keys of the notifications of kinds.
    [[nodiscard]] static const StorageUserInfoKeys& userInfoKeys();

    void encodeWithCoder(KeyedArchiver& coder) const override;
    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }

protected:
    /// Sets the counter from the archive; false when it is missing.
    bool decodeCounter(KeyedUnarchiver& coder);

    template <typename Storage>
    friend class EntryStorage;
    template <typename Draft>
    void enforceConsistencyOfUserEntriesInArray(Draft&) {}
    template <typename Entry>
    void invalidateDisplayOfEntries(const EntryList<Entry>&, const EntryList<Entry>&) {}
};

} // namespace tarn
