#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include "Platform/Bundle.h"
#include "Platform/ProcessInfo.h"

namespace tarn {

TarnNoteEntryStorage::TarnNoteEntryStorage()
    : mLog(ProcessInfo::hasEnvironmentVariable("TARN_NOTE_ENTRY_STORAGE_DEBUG")
               ? Log(kFrameworkBundleIdentifier, "TarnNoteEntryStorage")
               : Log::disabled()),
      mInstrumentDescription(KELPStringedInstrumentDescription::stringedInstrumentDescription()) {}

const StorageUserInfoKeys& TarnNoteEntryStorage::userInfoKeys() {
    static constexpr StorageUserInfoKeys keys{TarnNoteEntryStorageChangesetKey,
                                              TarnNoteEntryStorageAddedEntriesKey,
                                              TarnNoteEntryStorageRemovedEntriesKey};
    return keys;
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
    // Beats before the time signature: while they are added no quarter-note spacing is in force, so odd ones
    // stay.
    checkpoint->addKeyEntriesFromArray(source.keyEntries());
    checkpoint->addChordEntriesFromArray(source.chordEntries());
    checkpoint->addBeatEntriesFromArray(source.beatEntries());
    checkpoint->addStandardPitchEntriesFromArray(source.standardPitchEntries());
    checkpoint->addTempoEntriesFromArray(source.tempoEntries());
    checkpoint->addTimeSignatureEntriesFromArray(source.timeSignatureEntries());
    checkpoint->setNextEventId(source.nextEventId());
    return checkpoint;
}

void TarnNoteEntryStorage::populateWithNoteEntryStorageEntries(const TarnNoteEntryStorage& source) {
    const auto alive = sharedSelf();
    const LockGuard guard(storageLock());
    takeOverNextEventId(source);
#define TARN_POPULATE(Stem, stem)                                                                            \
    populateEntriesOfKind<Stem##Kind>(m##Stem##EntryArray, source.m##Stem##EntryArray.stored());
    TARN_NOTE_ENTRY_STORAGE_KINDS(TARN_POPULATE)
#undef TARN_POPULATE
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
    coder.encodeObjects(NoteKind::kArchiveKey, mNoteEntryArray.stored());
    coder.encodeObjects(ChordKind::kArchiveKey, mChordEntryArray.stored());
    coder.encodeObjects(BeatKind::kArchiveKey, mBeatEntryArray.stored());
    coder.encodeObjects(TimeSignatureKind::kArchiveKey, mTimeSignatureEntryArray.stored());
    coder.encodeObjects(TempoKind::kArchiveKey, mTempoEntryArray.stored());
    coder.encodeObjects(RegionKind::kArchiveKey, mRegionEntryArray.stored());
    coder.encodeObjects(MarkerKind::kArchiveKey, mMarkerEntryArray.stored());
    coder.encodeObjects(StandardPitchKind::kArchiveKey, mStandardPitchEntryArray.stored());
    coder.encodeObjects(KeyKind::kArchiveKey, mKeyEntryArray.stored());
}

std::shared_ptr<SecureCoding> TarnNoteEntryStorage::makeFromCoder(KeyedUnarchiver& coder) {
    registerUserEntryClasses();
    const auto identifier = coder.decodeUnsigned("nextEventId");
    if (!identifier)
        return nullptr;
    auto storage = std::make_shared<TarnNoteEntryStorage>();
    storage->setNextEventId(*identifier);
    // The bytes of an array are the same whether or not its element classes were declared when it was
    // written, so one decode serves both. The order matters: beats come before the time signature whose
    // spacing rule would prune them.
    const auto decode =
        [&]<typename Kind>(Kind, void (TarnNoteEntryStorage::*add)(const EntryList<typename Kind::Entry>&)) {
            if (auto entries = decodeEntriesOfKind<Kind>(coder))
                ((*storage).*add)(std::move(*entries));
        };
    decode(NoteKind(), &TarnNoteEntryStorage::addNoteEntriesFromArray);
    decode(ChordKind(), &TarnNoteEntryStorage::addChordEntriesFromArray);
    decode(BeatKind(), &TarnNoteEntryStorage::addBeatEntriesFromArray);
    decode(TimeSignatureKind(), &TarnNoteEntryStorage::addTimeSignatureEntriesFromArray);
    decode(TempoKind(), &TarnNoteEntryStorage::addTempoEntriesFromArray);
    decode(RegionKind(), &TarnNoteEntryStorage::addRegionEntriesFromArray);
    decode(MarkerKind(), &TarnNoteEntryStorage::addMarkerEntriesFromArray);
    decode(KeyKind(), &TarnNoteEntryStorage::addKeyEntriesFromArray);
    decode(StandardPitchKind(), &TarnNoteEntryStorage::addStandardPitchEntriesFromArray);
    if (auto description = coder.decodeObject<KELPStringedInstrumentDescription>("instrumentDescription"))
        storage->setInstrumentDescription(description);
    return storage;
}

} // namespace tarn
