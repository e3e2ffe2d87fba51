#pragma once

#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

namespace tarn {

/// Makes the changes of a document undoable: watches a storage and registers, for every change of a kind, the
/// change back with an undo manager. Undoing restores the entries themselves, with their identifiers and in
/// their stored order; redoing works the same way. One undo group of the manager is one undo step.
///
/// The recorder works while it is alive; steps registered before stay valid as long as the storage does. For
/// the document's thread. Changes of the instrument are not recorded.
class TarnNoteEntryStorageUndoRecorder {
public:
    TarnNoteEntryStorageUndoRecorder(const std::shared_ptr<TarnNoteEntryStorage>& storage,
                                     const std::shared_ptr<UndoManager>& undoManager);
    ~TarnNoteEntryStorageUndoRecorder();
    TarnNoteEntryStorageUndoRecorder(const TarnNoteEntryStorageUndoRecorder&) = delete;
    TarnNoteEntryStorageUndoRecorder& operator=(const TarnNoteEntryStorageUndoRecorder&) = delete;

private:
    template <typename Kind>
    void watch(const std::shared_ptr<TarnNoteEntryStorage>& storage,
               const std::shared_ptr<UndoManager>& undoManager,
               EntryArray<typename Kind::Entry> TarnNoteEntryStorage::*array);

    std::vector<NotificationCenter::Token> mTokens;
};

} // namespace tarn
