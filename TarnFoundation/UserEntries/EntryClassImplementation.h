#pragma once

#include "TarnFoundation/UserEntries/TarnUserEntry.h"

#include <memory>

/// For the sources of entry classes, which instantiate `template class EntryClass<Self, Base>;`.
namespace tarn {

template <typename Entry>
std::shared_ptr<SecureCoding> TarnUserEntry::makeFromCoder(KeyedUnarchiver& coder) {
    const auto eventId = coder.decodeUnsigned("eventId");
    const auto location = coder.decodeInt("location");
    if (!eventId || !location)
        return nullptr;
    auto entry = std::make_shared<Entry>(*eventId);
    TarnUserEntry& base = *entry;
    base.mLocation = *location;
    if (!base.decodeAttributes(coder))
        return nullptr;
    return entry;
}

template <typename Self, typename Base>
const ClassDescription& EntryClass<Self, Base>::classDescription() {
    static const ClassDescription description{Self::kClassName, &Base::classDescription(),
                                              &TarnUserEntry::makeFromCoder<Self>};
    return description;
}

template <typename Self, typename Base>
const ClassDescription& EntryClass<Self, Base>::dynamicClass() const {
    return classDescription();
}

template <typename Self, typename Base>
std::shared_ptr<TarnUserEntry> EntryClass<Self, Base>::newEntryOfSameClass(std::uint64_t eventId) const {
    return std::make_shared<Self>(eventId);
}

} // namespace tarn
