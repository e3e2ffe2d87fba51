#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"

#include "TarnFoundation/UserEntries/EntryStorageImplementation.h"

namespace tarn {

namespace {

/// What turns one list of stored entries back into an earlier one: the stretch in which they differ, between
/// the common beginning and the common end.
template <typename Entry>
struct StoredDifference {
    std::size_t commonBeginning = 0;
    EntryList<Entry> before;
    EntryList<Entry> after;

    StoredDifference(const EntryList<Entry>& earlier, const EntryList<Entry>& later) {
        const std::size_t shorter = std::min(earlier.size(), later.size());
        while (commonBeginning < shorter &&
               earlier.uncheckedAt(commonBeginning) == later.uncheckedAt(commonBeginning))
            ++commonBeginning;
        std::size_t commonEnd = 0;
        while (commonEnd < shorter - commonBeginning && earlier.uncheckedAt(earlier.size() - 1 - commonEnd) ==
                                                            later.uncheckedAt(later.size() - 1 - commonEnd))
            ++commonEnd;
        before = stretch(earlier, commonEnd);
        after = stretch(later, commonEnd);
    }

    [[nodiscard]] bool empty() const { return before.empty() && after.empty(); }

    /// Whether `entries` holds `after` where it was; then putting `before` in its place restores the earlier
    /// list.
    [[nodiscard]] bool fits(const EntryList<Entry>& entries) const {
        return entries.size() >= commonBeginning + after.size() &&
               std::equal(after.begin(), after.end(), entries.begin() + commonBeginning);
    }

    [[nodiscard]] EntryList<Entry> restored(const EntryList<Entry>& entries) const {
        std::vector<std::shared_ptr<Entry>> result;
        result.reserve(entries.size() - after.size() + before.size());
        const auto gap = entries.begin() + commonBeginning;
        result.insert(result.end(), entries.begin(), gap);
        result.insert(result.end(), before.begin(), before.end());
        result.insert(result.end(), gap + after.size(), entries.end());
        return result;
    }

private:
    EntryList<Entry> stretch(const EntryList<Entry>& entries, std::size_t commonEnd) const {
        return std::vector<std::shared_ptr<Entry>>(entries.begin() + commonBeginning,
                                                   entries.end() - commonEnd);
    }
};

} // namespace

template <typename Kind>
void TarnNoteEntryStorageUndoRecorder::watch(const std::shared_ptr<TarnNoteEntryStorage>& storage,
                                             const std::shared_ptr<UndoManager>& undoManager) {
    using Entry = typename Kind::Entry;
    const std::weak_ptr weakStorage = storage;
    const std::weak_ptr weakManager = undoManager;
    // The lock holds off every change between the snapshot and the observation. It guards `known` as well,
    // and stays taken until a difference is registered, so that steps are in the order of the changes
    // whichever threads made them. (A lock of the recorder's own would be taken before the storage's by some
    // and after it by others: populating posts while it holds the storage's.)
    const LockGuard guard(storage->storageLock());
    auto known = std::make_shared<EntryList<Entry>>(storage->array<Kind>().stored());
    mSubscription.add(NotificationCenter::defaultCenter().subscribe(
        Kind::kDidChangeNotification, storage, [weakStorage, weakManager, known](const Notification&) {
            const auto document = weakStorage.lock();
            const auto manager = weakManager.lock();
            if (!document || !manager)
                return;
            const LockGuard changes(document->storageLock());
            const EntryList<Entry> current = document->array<Kind>().stored();
            const StoredDifference<Entry> difference(*known, current);
            *known = current;
            if (difference.empty() || !manager->isUndoRegistrationEnabled())
                return;
            manager->registerUndo([weakStorage, difference] {
                if (const auto target = weakStorage.lock())
                    target->restoreEntriesOfKind<Kind>(
                        target->array<Kind>(),
                        [&](const EntryList<Entry>& stored) {
                            return difference.fits(stored) ? std::optional(difference.restored(stored))
                                                           : std::nullopt;
                        },
                        difference.after, difference.before);
            });
        }));
}

TarnNoteEntryStorageUndoRecorder::TarnNoteEntryStorageUndoRecorder(
    const std::shared_ptr<TarnNoteEntryStorage>& storage, const std::shared_ptr<UndoManager>& undoManager) {
    TarnNoteEntryStorage::forEachKind([&]<typename Kind>(Kind) { watch<Kind>(storage, undoManager); });
}

} // namespace tarn
