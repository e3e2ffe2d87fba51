#include "TarnFoundation/UserEntries/TarnUserEntry.h"

#include "TarnFoundation/UserEntries/EntryClassImplementation.h"

namespace tarn {

std::shared_ptr<TarnUserEntry> TarnUserEntry::newEntryOfSameClass(std::uint64_t eventId) const {
    return std::make_shared<TarnUserEntry>(eventId);
}

const ClassDescription& TarnUserEntry::classDescription() {
    static const ClassDescription description{"TarnUserEntry", nullptr, &makeFromCoder<TarnUserEntry>};
    return description;
}

std::atomic<std::uint64_t>& TarnUserEntry::storedLocationEpoch() {
    static std::atomic<std::uint64_t> epoch{0};
    return epoch;
}

void TarnUserEntry::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeUnsigned("eventId", mEventId);
    coder.encodeInt("location", mLocation);
}

std::string TarnUserEntry::descriptionPrefix() const {
    return "EventID: " + std::to_string(static_cast<std::int64_t>(mEventId)) + ", {" +
           std::to_string(mLocation);
}

std::string TarnUserEntry::classPrefix() const {
    return "<" + std::string(className()) + ": ";
}

std::string TarnUserEntry::description() const {
    return descriptionPrefix() + ",}";
}

} // namespace tarn
