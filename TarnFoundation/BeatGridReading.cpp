#include "TarnFoundation/BeatGridReading.h"

#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

namespace tarn {

BeatGrid countedBeatGridOf(const TarnNoteEntryStorage& storage) {
    auto stored = beatGridOf(storage.beatEntries());
    return storage.useQuarterNoteSpacing() ? stored.quarterNotes() : stored;
}

} // namespace tarn
