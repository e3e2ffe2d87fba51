#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include "Platform/UndoManager.h"

namespace tarn {

KELPKeyRef TarnNoteEntryStorage::globalKey() const {
    const auto keys = keyEntries();
    if (keys.empty() || !keys.front()->tonicChord())
        return nullptr;
    return KELPKey::makeWithTonicChord(keys.front()->tonicChord());
}

void TarnNoteEntryStorage::overrideGlobalKey(const KELPKeyRef& with) {
    precondition(with != nullptr, "The key to override with must not be absent");
    // Observers of the first change may let go of the document.
    const auto alive = sharedSelf();
    const auto oldKeys = keyEntries();
    const auto newKey = newKeyEntry();
    newKey->setTonicChord(with->tonicChord());
    const auto oldChords = chordEntries();
    std::vector<std::shared_ptr<TarnChordEntry>> newChords;
    newChords.reserve(oldChords.size());
    for (const auto& chord : oldChords) {
        newChords.push_back(copyOfChordEntry(chord));
        if (chord->chord())
            newChords.back()->setChord(with->scaleNormalizedChord(chord->chord()));
    }
    const UndoGroup group(undoManager);
    replaceKeyEntriesInArrayWithKeyEntriesInArray(oldKeys, {newKey});
    replaceChordEntriesInArrayWithChordEntriesInArray(oldChords, std::move(newChords));
}

} // namespace tarn
