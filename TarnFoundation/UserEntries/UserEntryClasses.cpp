#include "TarnFoundation/UserEntries/EntriesOfKind.h"
#include "TarnFoundation/UserEntries/TarnBeatEntry.h"
#include "TarnFoundation/UserEntries/TarnChordEntry.h"
#include "TarnFoundation/UserEntries/TarnMarkerEntry.h"
#include "TarnFoundation/UserEntries/TarnNoteEntry.h"
#include "TarnFoundation/UserEntries/TarnRegionEntry.h"
#include "TarnFoundation/UserEntries/TarnSectionEntry.h"
#include "TarnFoundation/UserEntries/TarnStandardPitchEntry.h"

namespace tarn {

#define TARN_INSTANTIATE_LIST(Stem, ...) template class List<std::shared_ptr<Tarn##Stem##Entry>>;
TARN_NOTE_ENTRY_STORAGE_KINDS(TARN_INSTANTIATE_LIST)
TARN_SONG_STRUCTURE_STORAGE_KINDS(TARN_INSTANTIATE_LIST)
#undef TARN_INSTANTIATE_LIST

void registerUserEntryClasses() {
    static const bool registered = [] {
        const auto registerKind = []<typename Kind>(Kind) { registerClass(Kind::Entry::classDescription()); };
        NoteEntryKinds::forEach(registerKind);
        SongStructureKinds::forEach(registerKind);
        // The base of all, and the subclasses of the kinds' entries.
        for (const auto* description :
             {&TarnUserEntry::classDescription(), &TarnVerseRegionEntry::classDescription(),
              &TarnChorusRegionEntry::classDescription(), &TarnBridgeRegionEntry::classDescription(),
              &TarnMarkerRegionEntry::classDescription(), &TarnMutableSectionEntry::classDescription()})
            registerClass(*description);
        return true;
    }();
    (void)registered;
}

} // namespace tarn
