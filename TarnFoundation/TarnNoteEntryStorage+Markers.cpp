#include "TarnFoundation/NoteEntryStorageError.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <algorithm>

namespace tarn {

std::shared_ptr<TarnMarkerEntry> TarnNoteEntryStorage::insertMarkerEntry(std::int64_t at) {
    const auto markers = markerEntries();
    if (std::any_of(markers.begin(), markers.end(),
                    [at](const auto& marker) { return marker->location() == at; }))
        throw NoteEntryStorageError("An entry already exists in markers at " + std::to_string(at));
    auto marker = newMarkerEntry();
    marker->setLocation(at);
    addMarkerEntry(marker);
    return marker;
}

} // namespace tarn
