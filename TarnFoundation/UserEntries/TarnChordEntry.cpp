#include "TarnFoundation/UserEntries/TarnChordEntry.h"

#include "TarnFoundation/UserEntries/EntryClassImplementation.h"
#include "TarnFoundation/UserEntries/EntryDescriptions.h"

namespace tarn {

template class EntryClass<TarnChordEntry, TarnUserEntry>;
template class EntryClass<TarnKeyEntry, TarnUserEntry>;

void TarnChordEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* entry = dynamic_cast<TarnChordEntry*>(&target))
        entry->mChord = mChord;
}

std::string TarnChordEntry::description() const {
    return "Chord " + descriptionPrefix() + ",}, " + describe(mChord);
}

void TarnChordEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeObject("chord", mChord);
}

bool TarnChordEntry::decodeAttributes(KeyedUnarchiver& coder) {
    mChord = coder.decodeObject<KELPChord>("chord");
    return mChord != nullptr;
}

void TarnKeyEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* entry = dynamic_cast<TarnKeyEntry*>(&target))
        entry->mTonicChord = mTonicChord;
}

std::string TarnKeyEntry::description() const {
    return "Key " + descriptionPrefix() + ",}, " + describe(mTonicChord);
}

void TarnKeyEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeObject("tonicChord", mTonicChord);
}

bool TarnKeyEntry::decodeAttributes(KeyedUnarchiver& coder) {
    mTonicChord = coder.decodeObject<KELPChord>("tonicChord");
    return mTonicChord != nullptr;
}

} // namespace tarn
