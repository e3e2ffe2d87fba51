#pragma once

#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnUserEntry.h"

#include <optional>

namespace TARN_PUBLIC tarn {

/// A named point of the song.
class TarnMarkerEntry : public EntryClass<TarnMarkerEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnMarkerEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] const std::optional<std::string>& name() const { return mName; }
    void setName(std::optional<std::string> name) { mName = std::move(name); }

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

private:
    std::optional<std::string> mName;
};

} // namespace tarn
