#pragma once

#include "Platform/Export.h"
#include "Platform/Subscription.h"
#include "Platform/UndoManager.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

namespace TARN_PUBLIC tarn {

/// Makes the changes of a document undoable: watches a storage and registers, for every change of a kind, the
/// change back with an undo manager. Undoing restores the entries themselves, with their identifiers and in
/// their stored order; redoing works the same way. One undo group of the manager is one undo step.
///
/// The recorder works while it is alive; steps registered before stay valid as long as the storage does.
/// Changes of the instrument are not recorded.
///
/// Any thread may change the document. Every change is in one step, or in none when registration is disabled,
/// and the steps are in the order of the changes; what several threads change at the same moment may become
/// one step, or none when one of them has disabled registration. Undo and redo are for one thread at a time.
/// While others change the document meanwhile, they take back the entries of their step and leave the other
/// changes in place. Recorders are made and destroyed on one thread.
class TarnNoteEntryStorageUndoRecorder {
public:
    TarnNoteEntryStorageUndoRecorder(const std::shared_ptr<TarnNoteEntryStorage>& storage,
                                     const std::shared_ptr<UndoManager>& undoManager);
    TarnNoteEntryStorageUndoRecorder(const TarnNoteEntryStorageUndoRecorder&) = delete;
    TarnNoteEntryStorageUndoRecorder& operator=(const TarnNoteEntryStorageUndoRecorder&) = delete;

private:
    template <typename Kind>
    void watch(const std::shared_ptr<TarnNoteEntryStorage>& storage,
               const std::shared_ptr<UndoManager>& undoManager);

    Subscription mSubscription;
};

} // namespace tarn
