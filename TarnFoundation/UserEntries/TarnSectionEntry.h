#pragma once

#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnUserEntry.h"

#include <optional>

namespace TARN_PUBLIC tarn {

class TarnMutableSectionEntry;
class TarnSectionColor;

/// A named, coloured section of the song that begins at its location and ends where the next one begins. To
/// change one, take a mutable copy.
class TarnSectionEntry : public EntryClass<TarnSectionEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnSectionEntry";
    using EntryClass::EntryClass;

    [[nodiscard]] const std::optional<std::string>& name() const { return mName; }
    [[nodiscard]] const std::optional<std::string>& colorString() const { return mColorString; }
    /// The colour that the colour string says; `named` "other" when it says none.
    [[nodiscard]] TarnSectionColor sectionColor() const;

    /// A mutable entry with the same identifier and attributes.
    [[nodiscard]] std::shared_ptr<TarnMutableSectionEntry> mutableCopy();

    void copyAttributesToEntry(TarnUserEntry& target) override;
    [[nodiscard]] std::string description() const override;
    void encodeWithCoder(KeyedArchiver& coder) const override;

protected:
    bool decodeAttributes(KeyedUnarchiver& coder) override;

    std::optional<std::string> mName;
    std::optional<std::string> mColorString;
};

class TarnMutableSectionEntry : public EntryClass<TarnMutableSectionEntry, TarnSectionEntry> {
public:
    static constexpr std::string_view kClassName = "TarnMutableSectionEntry";
    using EntryClass::EntryClass;

    void setName(std::optional<std::string> name) { mName = std::move(name); }
    void setColorString(std::optional<std::string> color) { mColorString = std::move(color); }
    void setSectionColor(const TarnSectionColor& color);
};

/// A bare position in the song's outline.
class TarnBoundsEntry : public EntryClass<TarnBoundsEntry, TarnUserEntry> {
public:
    static constexpr std::string_view kClassName = "TarnBoundsEntry";
    using EntryClass::EntryClass;
};

} // namespace tarn
