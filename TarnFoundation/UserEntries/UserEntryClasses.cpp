#include "TarnFoundation/UserEntries/TarnBeatEntry.h"
#include "TarnFoundation/UserEntries/TarnChordEntry.h"
#include "TarnFoundation/UserEntries/TarnMarkerEntry.h"
#include "TarnFoundation/UserEntries/TarnNoteEntry.h"
#include "TarnFoundation/UserEntries/TarnRegionEntry.h"
#include "TarnFoundation/UserEntries/TarnSectionEntry.h"
#include "TarnFoundation/UserEntries/TarnStandardPitchEntry.h"

namespace tarn {

void registerUserEntryClasses() {
    static const bool registered = [] {
        for (const auto* description :
             {&TarnUserEntry::classDescription(), &TarnNoteEntry::classDescription(),
              &TarnChordEntry::classDescription(), &TarnKeyEntry::classDescription(),
              &TarnBeatEntry::classDescription(), &TarnTimeSignatureEntry::classDescription(),
              &TarnTempoEntry::classDescription(), &TarnStandardPitchEntry::classDescription(),
              &TarnMarkerEntry::classDescription(), &TarnRegionEntry::classDescription(),
              &TarnVerseRegionEntry::classDescription(), &TarnChorusRegionEntry::classDescription(),
              &TarnBridgeRegionEntry::classDescription(), &TarnMarkerRegionEntry::classDescription(),
              &TarnSectionEntry::classDescription(), &TarnMutableSectionEntry::classDescription(),
              &TarnBoundsEntry::classDescription()})
            registerClass(*description);
        return true;
    }();
    (void)registered;
}

} // namespace tarn
