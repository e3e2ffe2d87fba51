#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include "Platform/Bundle.h"
#include "Platform/Log.h"
#include "Platform/ProcessInfo.h"
#include "TarnFoundation/UserEntries/EntryStorageImplementation.h"

namespace tarn {

template class EntryStorage<TarnNoteEntryStorage>;
#define TARN_INSTANTIATE_KIND(Stem, ...) template class EntriesOfKind<TarnNoteEntryStorage, Stem##Kind>;
TARN_NOTE_ENTRY_STORAGE_KINDS(TARN_INSTANTIATE_KIND)
#undef TARN_INSTANTIATE_KIND

namespace {

/// Where storages that are made from now on write their debug messages.
const Log& logOfStorages() {
    static const Log log(kFrameworkBundleIdentifier, "TarnNoteEntryStorage");
    return ProcessInfo::hasEnvironmentVariable("TARN_NOTE_ENTRY_STORAGE_DEBUG") ? log : Log::disabled();
}

} // namespace

TarnNoteEntryStorage::TarnNoteEntryStorage()
    : mLog(logOfStorages()),
      mInstrumentDescription(KELPStringedInstrumentDescription::stringedInstrumentDescription()) {}

const StorageUserInfoKeys& TarnNoteEntryStorage::userInfoKeys() {
    static constexpr StorageUserInfoKeys keys{TarnNoteEntryStorageChangesetKey,
                                              TarnNoteEntryStorageAddedEntriesKey,
                                              TarnNoteEntryStorageRemovedEntriesKey};
    return keys;
}

template <typename Entry>
void TarnNoteEntryStorage::invalidateDisplayOfEntries(const EntryList<Entry>& removed,
                                                      const EntryList<Entry>& added) {
    const auto attached = display.lock();
    if (!attached)
        return;
    if (removed.empty() || added.empty()) {
        attached->noteStorageInvalidateDisplayInRange(
            *this, rangeOfUserEntriesInArray(removed.empty() ? added : removed));
        return;
    }
    const auto [oldFirst, oldLast] = rangeOfUserEntriesInArray(removed);
    const auto [newFirst, newLast] = rangeOfUserEntriesInArray(added);
    attached->noteStorageInvalidateDisplayInRange(*this,
                                                  {std::min(oldFirst, newFirst), std::max(oldLast, newLast)});
}

std::shared_ptr<TarnMarkerRegionEntry> TarnNoteEntryStorage::newMarkerRegionEntry() {
    return newUserEntryOfClass<TarnMarkerRegionEntry>();
}

std::shared_ptr<TarnVerseRegionEntry> TarnNoteEntryStorage::newVerseRegionEntry() {
    return newUserEntryOfClass<TarnVerseRegionEntry>();
}

std::shared_ptr<TarnChorusRegionEntry> TarnNoteEntryStorage::newChorusRegionEntry() {
    return newUserEntryOfClass<TarnChorusRegionEntry>();
}

std::shared_ptr<TarnBridgeRegionEntry> TarnNoteEntryStorage::newBridgeRegionEntry() {
    return newUserEntryOfClass<TarnBridgeRegionEntry>();
}

KELPInstrumentRef TarnNoteEntryStorage::instrumentDescription() const {
    const LockGuard guard(storageLock());
    return mInstrumentDescription; // immutable, so the reference serves as the copy
}

void TarnNoteEntryStorage::setInstrumentDescription(KELPInstrumentRef description) {
    precondition(description != nullptr, "A document must have an instrument description");
    const auto alive = sharedSelf();
    KELPInstrumentRef previous;
    {
        const LockGuard guard(storageLock());
        if (mInstrumentDescription->isEqualToDescription(*description))
            return;
        previous = std::exchange(mInstrumentDescription, description);
    }
    if (const auto attached = delegate.lock())
        attached->noteStorageDidChangeInstrumentDescription(*this, previous, description);
    if (const auto attached = display.lock())
        attached->noteStorageDidChangeInstrumentDescription(*this);
    post(TarnNoteEntryStorageDidChangeInstrumentDescriptionNotification,
         {{TarnNoteEntryStorageChangedEntriesKey, description},
          {TarnNoteEntryStorageAddedEntriesKey, std::move(description)},
          {TarnNoteEntryStorageRemovedEntriesKey, previous}});
}

Signal<Notification> TarnNoteEntryStorage::changeSignalForNotification(const std::string& name) {
    return notificationSignal(NotificationCenter::defaultCenter(), name, sharedSelf());
}

Signal<Notification> TarnNoteEntryStorage::didChangeNoteEntriesSignal() {
    return changeSignalForNotification(NoteKind::kDidChangeNotification);
}
Signal<Notification> TarnNoteEntryStorage::didChangeBeatEntriesSignal() {
    return changeSignalForNotification(BeatKind::kDidChangeNotification);
}
Signal<Notification> TarnNoteEntryStorage::didChangeTempoEntriesSignal() {
    return changeSignalForNotification(TempoKind::kDidChangeNotification);
}
Signal<Notification> TarnNoteEntryStorage::didChangeTimeSignatureEntriesSignal() {
    return changeSignalForNotification(TimeSignatureKind::kDidChangeNotification);
}
Signal<Notification> TarnNoteEntryStorage::didChangeRegionEntriesSignal() {
    return changeSignalForNotification(RegionKind::kDidChangeNotification);
}
Signal<Notification> TarnNoteEntryStorage::didChangeKeyEntriesSignal() {
    return changeSignalForNotification(KeyKind::kDidChangeNotification);
}

std::shared_ptr<TarnNoteEntryStorage>
TarnNoteEntryStorage::newCheckpointFromStorage(const TarnNoteEntryStorage& source) {
    auto checkpoint = std::make_shared<TarnNoteEntryStorage>();
    checkpoint->setInstrumentDescription(source.instrumentDescription());
    // Beats come before the time signature: while they are added no quarter-note spacing is in force, so odd
    // ones stay.
    KindList::forEachBy(&KindPlaces::checkpointed,
                        [&]<typename Kind>(Kind) { checkpoint->add<Kind>(source.entries<Kind>()); });
    checkpoint->setNextEventId(source.nextEventId());
    return checkpoint;
}

void TarnNoteEntryStorage::populateWithNoteEntryStorageEntries(const TarnNoteEntryStorage& source) {
    const auto alive = sharedSelf();
    const LockGuard guard(storageLock());
    takeOverNextEventId(source);
    populateEntries(source);
    mInstrumentDescription = source.mInstrumentDescription;
    post(TarnNoteEntryStorageDidChangeInstrumentDescriptionNotification,
         {{TarnNoteEntryStorageChangedEntriesKey, mInstrumentDescription}});
}

const ClassDescription& TarnNoteEntryStorage::classDescription() {
    static const ClassDescription description{"TarnNoteEntryStorage", nullptr, &makeFromCoder};
    return description;
}

void TarnNoteEntryStorage::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeUnsigned("nextEventId", nextEventId());
    const LockGuard guard(storageLock());
    coder.encodeObject("instrumentDescription", mInstrumentDescription);
    encodeEntries(coder);
}

std::shared_ptr<SecureCoding> TarnNoteEntryStorage::makeFromCoder(KeyedUnarchiver& coder) {
    registerUserEntryClasses();
    const auto identifier = coder.decodeUnsigned("nextEventId");
    if (!identifier)
        return nullptr;
    auto storage = std::make_shared<TarnNoteEntryStorage>();
    storage->setNextEventId(*identifier);
    // The bytes of an array are the same whether or not its element classes were declared when it was
    // written, so one decode serves both.
    storage->decodeEntries(coder);
    if (auto description = coder.decodeObject<KELPStringedInstrumentDescription>("instrumentDescription"))
        storage->setInstrumentDescription(description);
    return storage;
}

} // namespace tarn
