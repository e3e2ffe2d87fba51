#include "TarnFoundation/UserEntries/TarnRegionEntry.h"

#include "Platform/Bundle.h"
#include "Platform/CheckedArithmetic.h"
#include "TarnFoundation/UserEntries/EntryClassImplementation.h"

namespace tarn {

template class EntryClass<TarnRegionEntry, TarnUserEntry>;
template class EntryClass<TarnVerseRegionEntry, TarnRegionEntry>;
template class EntryClass<TarnChorusRegionEntry, TarnRegionEntry>;
template class EntryClass<TarnBridgeRegionEntry, TarnRegionEntry>;
template class EntryClass<TarnMarkerRegionEntry, TarnRegionEntry>;

TarnVerseRegionEntry::TarnVerseRegionEntry(std::uint64_t eventId)
    : EntryClass(eventId, Bundle::framework().localizedString("Verse")) {}
TarnChorusRegionEntry::TarnChorusRegionEntry(std::uint64_t eventId)
    : EntryClass(eventId, Bundle::framework().localizedString("Chorus")) {}
TarnBridgeRegionEntry::TarnBridgeRegionEntry(std::uint64_t eventId)
    : EntryClass(eventId, Bundle::framework().localizedString("Bridge")) {}
TarnMarkerRegionEntry::TarnMarkerRegionEntry(std::uint64_t eventId)
    : EntryClass(eventId, Bundle::framework().localizedString("Region")) {}

std::int64_t TarnRegionEntry::end() const {
    return range().end();
}
std::optional<std::int64_t> TarnRegionEntry::tryEnd() const {
    return range().checkedEnd().value();
}

bool TarnRegionEntry::isValid() const {
    if (mLength == 0 || static_cast<std::int64_t>(mLength) < 0)
        return false;
    return TarnUserEntry::isValid();
}

bool TarnRegionEntry::containsLocation(std::int64_t x) const {
    if (location() > x)
        return false;
    // Unsigned on purpose: the end of a region that begins before 0 wraps like every unsigned sum.
    return static_cast<std::uint64_t>(x) < static_cast<std::uint64_t>(location()) + mLength;
}

void TarnRegionEntry::copyAttributesToEntry(TarnUserEntry& target) {
    TarnUserEntry::copyAttributesToEntry(target);
    if (auto* region = dynamic_cast<TarnRegionEntry*>(&target)) {
        region->mLength = mLength;
        region->mName = mName;
    }
}

// The bracket closes right after the class name, as in the texts of markers and sections.
std::string TarnRegionEntry::description() const {
    return classPrefix() + ">: " + descriptionPrefix() + "," +
           std::to_string(static_cast<std::int64_t>(mLength)) + "}";
}

void TarnRegionEntry::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntry::encodeWithCoder(coder);
    coder.encodeUnsigned("length", mLength);
    coder.encodeString("name", mName);
}

bool TarnRegionEntry::decodeAttributes(KeyedUnarchiver& coder) {
    if (const auto length = coder.decodeUnsigned("length"))
        mLength = *length;
    mName = coder.decodeString("name"); // replaces a kind's default name also with nothing
    return true;
}

} // namespace tarn
