#include "TarnFoundation/UserEntries/TarnUserEntryStorage.h"

#include "TarnFoundation/UserEntries/EntryStorageImplementation.h"

namespace tarn {

template class EntryStorage<TarnUserEntryStorage>;

const StorageUserInfoKeys& TarnUserEntryStorage::userInfoKeys() {
    static constexpr StorageUserInfoKeys keys{TarnUserEntryStorageChangesetKey,
                                              TarnUserEntryStorageAddedEntriesKey,
                                              TarnUserEntryStorageRemovedEntriesKey};
    return keys;
}

const ClassDescription& TarnUserEntryStorage::classDescription() {
    static const ClassDescription description{"TarnUserEntryStorage", nullptr,
                                              [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
                                                  auto storage = std::make_shared<TarnUserEntryStorage>();
                                                  return storage->decodeCounter(coder) ? storage : nullptr;
                                              }};
    return description;
}

void TarnUserEntryStorage::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeUnsigned("nextEventId", nextEventId());
}

bool TarnUserEntryStorage::decodeCounter(KeyedUnarchiver& coder) {
    const auto identifier = coder.decodeUnsigned("nextEventId");
    if (identifier)
        setNextEventId(*identifier);
    return identifier.has_value();
}

} // namespace tarn
