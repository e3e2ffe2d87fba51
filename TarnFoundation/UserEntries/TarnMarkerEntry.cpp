#include "TarnFoundation/UserEntries/TarnMarkerEntry.h"

#include "TarnFoundation/UserEntries/EntryClassImplementation.h"
#include "TarnFoundation/UserEntries/EntryDescriptions.h"

namespace tarn {

template class EntryClass<TarnMarkerEntry, TarnUserEntry>;

void TarnMarkerEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* marker = dynamic_cast<TarnMarkerEntry*>(&target))
        marker->mName = mName;
}

// The bracket closes right after the class name, as in the texts of regions and sections.
std::string TarnMarkerEntry::description() const {
    return classPrefix() + ">: " + descriptionPrefix() + "}: " + describe(mName);
}

void TarnMarkerEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeString("name", mName);
}

bool TarnMarkerEntry::decodeAttributes(KeyedUnarchiver& coder) {
    mName = coder.decodeString("name");
    return true;
}

} // namespace tarn
