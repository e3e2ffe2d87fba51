#pragma once

#include "TarnFoundation/UserEntries/TarnSectionEntry.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorageForwards.h"
#include "TarnFoundation/UserEntries/TarnUserEntryStorage.h"

#include <optional>
#include <string>

namespace tarn {

/// The structural outline of a song: named and coloured sections, and bare bounds. The user information of
/// its notifications has the keys of TarnUserEntryStorage.
class TarnSongStructureStorage : public TarnUserEntryStorage, public TarnSongStructureStorageForwards {
public:
    // The operations of each kind: EntriesOfKind.h, and under their names TarnSongStructureStorageForwards.h.

    /// A mutable copy of the section under a fresh identifier; not added.
    [[nodiscard]] std::shared_ptr<TarnMutableSectionEntry>
    mutableCopyOfSectionEntry(const std::shared_ptr<TarnSectionEntry>& section);

    /// Adds a section with the localized name "Section" and the colour "other"; returns its identifier.
    std::uint64_t createNewSection(std::int64_t at);
    // Each edit replaces the section by a changed copy and returns the copy's identifier: a section's
    // identifier changes with every edit. Nothing, and no change, when no section has the identifier. `color`
    // is a bare colour name.
    std::optional<std::uint64_t> renameSection(std::uint64_t id, const std::string& to);
    std::optional<std::uint64_t> setColorForSection(std::uint64_t id, const std::string& to);
    std::optional<std::uint64_t> updateSection(std::uint64_t id, const std::string& withName,
                                               const std::string& color);

    /// Replaces all contents by those of `source` as they stand; posts both notifications while holding the
    /// lock. The source's lock is not taken.
    void populateWithSongStructureStorageEntries(const TarnSongStructureStorage& source);

    void encodeWithCoder(KeyedArchiver& coder) const override;
    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }

private:
    template <typename Storage, typename Kind>
    friend class EntriesOfKind;

    template <typename Change>
    std::optional<std::uint64_t> editSection(std::uint64_t id, const Change& change);
    static std::shared_ptr<SecureCoding> makeFromCoder(KeyedUnarchiver& coder);
};

} // namespace tarn
