#include "TarnFoundation/UserEntries/TarnStandardPitchEntry.h"

#include "TarnFoundation/UserEntries/EntryClassImplementation.h"
#include "TarnFoundation/UserEntries/EntryDescriptions.h"

namespace tarn {

template class EntryClass<TarnStandardPitchEntry, TarnUserEntry>;

namespace {
constexpr int kNoteValueOfA = 9;
}

TarnStandardPitchEntry::TarnStandardPitchEntry(std::uint64_t eventId)
    : EntryClass(eventId), mPitch(KELPPitch::pitchWithNote(KELPNote::noteWithValue(kNoteValueOfA), 4)) {}

void TarnStandardPitchEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* entry = dynamic_cast<TarnStandardPitchEntry*>(&target)) {
        entry->mPitch = mPitch;
        entry->mFrequency = mFrequency;
    }
}

std::string TarnStandardPitchEntry::description() const {
    return "Standard Pitch " + descriptionPrefix() + ",}, " + describe(mPitch) + "@" +
           describe(mFrequency, 3) + "Hz";
}

void TarnStandardPitchEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeObject("pitch", mPitch);
    coder.encodeDouble("frequency", mFrequency);
}

bool TarnStandardPitchEntry::decodeAttributes(KeyedUnarchiver& coder) {
    mPitch = coder.decodeObject<KELPPitch>("pitch");
    const auto frequency = coder.decodeDouble("frequency");
    if (!mPitch || !frequency)
        return false;
    mFrequency = *frequency;
    return true;
}

} // namespace tarn
