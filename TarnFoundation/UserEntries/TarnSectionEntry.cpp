#include "TarnFoundation/UserEntries/TarnSectionEntry.h"

#include "TarnFoundation/UserEntries/EntryClassImplementation.h"
#include "TarnFoundation/UserEntries/EntryDescriptions.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"

namespace tarn {

template class EntryClass<TarnSectionEntry, TarnUserEntry>;
template class EntryClass<TarnMutableSectionEntry, TarnSectionEntry>;
template class EntryClass<TarnBoundsEntry, TarnUserEntry>;

TarnSectionColor TarnSectionEntry::sectionColor() const {
    if (mColorString) {
        if (const auto color = TarnSectionColor::make(*mColorString))
            return *color;
    }
    return TarnSectionColor::other();
}

std::shared_ptr<TarnMutableSectionEntry> TarnSectionEntry::mutableCopy() {
    auto copy = std::make_shared<TarnMutableSectionEntry>(eventId());
    copyAttributesToEntry(*copy);
    return copy;
}

void TarnSectionEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* section = dynamic_cast<TarnSectionEntry*>(&target)) {
        section->mName = mName;
        section->mColorString = mColorString;
    }
}

// The bracket closes right after the class name, as in the texts of markers and regions.
std::string TarnSectionEntry::description() const {
    return classPrefix() + ">: " + descriptionPrefix() + "}: " + describe(mName) + ", " +
           describe(mColorString);
}

void TarnSectionEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeString("name", mName);
    coder.encodeString("colorString", mColorString);
}

bool TarnSectionEntry::decodeAttributes(KeyedUnarchiver& coder) {
    mName = coder.decodeString("name");
    mColorString = coder.decodeString("colorString");
    return true;
}

void TarnMutableSectionEntry::setSectionColor(const TarnSectionColor& color) {
    mColorString = color.rawValue();
}

} // namespace tarn
