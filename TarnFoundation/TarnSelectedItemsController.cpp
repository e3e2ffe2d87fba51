#include "TarnFoundation/TarnSelectedItemsController.h"

#include <algorithm>

namespace tarn {

namespace {

constexpr const char* kSelectedChordEntryKey = "selectedChordEntry";
constexpr const char* kSelectedRegionEntryKey = "selectedRegionEntry";
constexpr const char* kSelectedMarkerEntryKey = "selectedMarkerEntry";
constexpr const char* kSelectedNoteEntriesKey = "selectedNoteEntries";

template <typename Entry>
EntryChangesetRef<Entry> changesetOf(const Notification& notification) {
    const auto* changeset = notification.value<EntryChangesetRef<Entry>>(TarnNoteEntryStorageChangesetKey);
    return changeset ? *changeset : nullptr;
}

} // namespace

TarnSelectedItemsController::TarnSelectedItemsController(std::shared_ptr<TarnNoteEntryStorage> storage)
    : mNoteEntryStorage(std::move(storage)) {
    precondition(mNoteEntryStorage != nullptr, "A selection needs a storage");
    const auto observe = [this](const char* name,
                                void (TarnSelectedItemsController::*handler)(const Notification&)) {
        mSubscription.add(NotificationCenter::defaultCenter().subscribe(
            name, mNoteEntryStorage, [this, handler](const Notification& n) { (this->*handler)(n); }));
    };
    observe(ChordKind::kDidChangeNotification, &TarnSelectedItemsController::_chordEntriesDidChange);
    observe(MarkerKind::kDidChangeNotification, &TarnSelectedItemsController::_markerEntriesDidChange);
    observe(RegionKind::kDidChangeNotification, &TarnSelectedItemsController::_regionEntriesDidChange);
    observe(NoteKind::kDidChangeNotification, &TarnSelectedItemsController::_noteEntriesDidChange);
}

template <typename Value>
void TarnSelectedItemsController::store(const char* key, Value& selection, Value value) {
    willChangeValueForKey(key);
    selection = std::move(value);
    didChangeValueForKey(key);
}

template <typename Entry>
void TarnSelectedItemsController::select(const char* key, std::shared_ptr<Entry>& selection,
                                         std::shared_ptr<Entry> entry) {
    const auto self = strongSelf();
    if (!selection)
        _clearSelection();
    store(key, selection, std::move(entry));
}

void TarnSelectedItemsController::selectChordEntry(const std::shared_ptr<TarnChordEntry>& entry) {
    select(kSelectedChordEntryKey, mSelectedChordEntry, entry);
}

void TarnSelectedItemsController::selectRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry) {
    select(kSelectedRegionEntryKey, mSelectedRegionEntry, entry);
}

void TarnSelectedItemsController::selectMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry) {
    select(kSelectedMarkerEntryKey, mSelectedMarkerEntry, entry);
}

void TarnSelectedItemsController::selectNoteEntriesFromArray(
    const std::vector<std::shared_ptr<TarnNoteEntry>>& entries) {
    const auto self = strongSelf();
    std::optional<EntrySet<TarnNoteEntry>> selected(std::in_place, entries.begin(), entries.end());
    if (!mSelectedNoteEntries)
        _clearSelection();
    store(kSelectedNoteEntriesKey, mSelectedNoteEntries, std::move(selected));
}

void TarnSelectedItemsController::_clearSelection() {
    const auto self = strongSelf();
    if (mSelectedChordEntry)
        store(kSelectedChordEntryKey, mSelectedChordEntry, {});
    if (mSelectedMarkerEntry)
        store(kSelectedMarkerEntryKey, mSelectedMarkerEntry, {});
    if (mSelectedNoteEntries)
        store(kSelectedNoteEntriesKey, mSelectedNoteEntries, {});
}

template <typename Entry>
void TarnSelectedItemsController::dropIfGone(const Notification& notification, const char* key,
                                             std::shared_ptr<Entry>& selection) {
    if (!selection)
        return;
    const auto changeset = changesetOf<Entry>(notification);
    if (!changeset)
        return;
    const auto& items = changeset->items();
    if (std::none_of(items.begin(), items.end(), [&](const auto& item) { return item->isEqual(*selection); }))
        select(key, selection, {});
}

void TarnSelectedItemsController::_chordEntriesDidChange(const Notification& notification) {
    dropIfGone(notification, kSelectedChordEntryKey, mSelectedChordEntry);
}

void TarnSelectedItemsController::_regionEntriesDidChange(const Notification& notification) {
    dropIfGone(notification, kSelectedRegionEntryKey, mSelectedRegionEntry);
}

void TarnSelectedItemsController::_markerEntriesDidChange(const Notification& notification) {
    dropIfGone(notification, kSelectedMarkerEntryKey, mSelectedMarkerEntry);
}

void TarnSelectedItemsController::_noteEntriesDidChange(const Notification& notification) {
    if (!mSelectedNoteEntries)
        return;
    const auto changeset = changesetOf<TarnNoteEntry>(notification);
    if (!changeset)
        return;
    std::vector<std::shared_ptr<TarnNoteEntry>> remaining;
    for (const auto& item : changeset->items()) {
        if (mSelectedNoteEntries->contains(item))
            remaining.push_back(item);
    }
    if (remaining.empty())
        _clearSelection();
    else
        selectNoteEntriesFromArray(remaining);
}

} // namespace tarn
