#pragma once

#include "Platform/Export.h"
#include "Platform/KeyValueObserving.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Hash and equality of entries by identifier, for sets.
template <typename Entry>
struct EntryHash {
    std::size_t operator()(const std::shared_ptr<Entry>& entry) const {
        return ItemIdentity<std::shared_ptr<Entry>>::hash(entry);
    }
};
template <typename Entry>
struct EntryEqual {
    bool operator()(const std::shared_ptr<Entry>& a, const std::shared_ptr<Entry>& b) const {
        return ItemIdentity<std::shared_ptr<Entry>>::equal(a, b);
    }
};
template <typename Entry>
using EntrySet = std::unordered_set<std::shared_ptr<Entry>, EntryHash<Entry>, EntryEqual<Entry>>;

/// What the user has selected in one document: at most one chord, one region and one marker, and a set of
/// notes. Entries that disappear from the document drop out. Every change of a selection is announced under
/// its key, "selectedChordEntry", "selectedRegionEntry", "selectedMarkerEntry" or "selectedNoteEntries". For
/// the main thread. Observers may drop the last reference to a controller that is held by shared pointers.
///
/// Selecting the first entry of a kind clears the chord, the marker and the notes that were selected, but
/// never the region; moving on within a kind keeps the others.
class TarnSelectedItemsController : public KeyValueObservable,
                                    public std::enable_shared_from_this<TarnSelectedItemsController> {
public:
    explicit TarnSelectedItemsController(std::shared_ptr<TarnNoteEntryStorage> storage);

    [[nodiscard]] const std::shared_ptr<TarnNoteEntryStorage>& noteEntryStorage() const {
        return mNoteEntryStorage;
    }

    // The argument may be none.
    void selectChordEntry(const std::shared_ptr<TarnChordEntry>& entry);
    void selectRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry);
    void selectMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry);
    /// An empty list selects an empty set, which is not the same as none.
    void selectNoteEntriesFromArray(const std::vector<std::shared_ptr<TarnNoteEntry>>& entries);

    [[nodiscard]] const std::shared_ptr<TarnChordEntry>& selectedChordEntry() const {
        return mSelectedChordEntry;
    }
    [[nodiscard]] const std::shared_ptr<TarnRegionEntry>& selectedRegionEntry() const {
        return mSelectedRegionEntry;
    }
    [[nodiscard]] const std::shared_ptr<TarnMarkerEntry>& selectedMarkerEntry() const {
        return mSelectedMarkerEntry;
    }
    /// A copy. Empty until notes are first selected, and after they are cleared.
    [[nodiscard]] std::optional<EntrySet<TarnNoteEntry>> selectedNoteEntries() const {
        return mSelectedNoteEntries;
    }

private:
    /// To be held while observers are called.
    [[nodiscard]] auto strongSelf() { return weak_from_this().lock(); }
    template <typename Value>
    void store(const char* key, Value& selection, Value value);
    /// The entry is taken by value: observers may reassign the caller's reference.
    template <typename Entry>
    void select(const char* key, std::shared_ptr<Entry>& selection, std::shared_ptr<Entry> entry);
    template <typename Entry>
    void dropIfGone(const Notification& notification, const char* key, std::shared_ptr<Entry>& selection);
    void _clearSelection();
    void _chordEntriesDidChange(const Notification& notification);
    void _regionEntriesDidChange(const Notification& notification);
    void _markerEntriesDidChange(const Notification& notification);
    void _noteEntriesDidChange(const Notification& notification);

    std::shared_ptr<TarnNoteEntryStorage> mNoteEntryStorage;
    std::shared_ptr<TarnChordEntry> mSelectedChordEntry;
    std::shared_ptr<TarnRegionEntry> mSelectedRegionEntry;
    std::shared_ptr<TarnMarkerEntry> mSelectedMarkerEntry;
    std::optional<EntrySet<TarnNoteEntry>> mSelectedNoteEntries;
    Subscription mSubscription;
};

} // namespace tarn
