#pragma once

#include "TarnFoundation/UserEntries/EntriesOfKind.h"

#include <cstdint>
#include <memory>

namespace tarn {

/// The named operations of a song structure on the entries of each kind, each a forward to the typed
/// operation (EntriesOfKind.h) and nothing else.
class TarnSongStructureStorageForwards : public EntriesOfKinds<TarnSongStructureStorage, SongStructureKinds> {
public:
    [[nodiscard]] std::shared_ptr<TarnBoundsEntry> newBoundsEntry();
    [[nodiscard]] std::shared_ptr<TarnBoundsEntry>
    copyOfBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& entry);
    [[nodiscard]] EntryList<TarnBoundsEntry> boundsEntries() const;
    [[nodiscard]] EntryList<TarnBoundsEntry> boundsEntriesInRange(std::uint64_t location,
                                                                  std::uint64_t length) const;
    void addBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& entry);
    void addBoundsEntriesFromArray(const EntryList<TarnBoundsEntry>& entries);
    void removeBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& entry);
    void removeBoundsEntriesInArray(const EntryList<TarnBoundsEntry>& entries);
    void replaceBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& oldEntry,
                            const std::shared_ptr<TarnBoundsEntry>& newEntry);
    void replaceBoundsEntriesInArrayWithBoundsEntriesInArray(const EntryList<TarnBoundsEntry>& oldEntries,
                                                             const EntryList<TarnBoundsEntry>& newEntries);
    [[nodiscard]] bool containsBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& entry) const;

    [[nodiscard]] std::shared_ptr<TarnSectionEntry> newSectionEntry();
    [[nodiscard]] std::shared_ptr<TarnSectionEntry>
    copyOfSectionEntry(const std::shared_ptr<TarnSectionEntry>& entry);
    [[nodiscard]] EntryList<TarnSectionEntry> sectionEntries() const;
    [[nodiscard]] EntryList<TarnSectionEntry> sectionEntriesInRange(std::uint64_t location,
                                                                    std::uint64_t length) const;
    void addSectionEntry(const std::shared_ptr<TarnSectionEntry>& entry);
    void addSectionEntriesFromArray(const EntryList<TarnSectionEntry>& entries);
    void removeSectionEntry(const std::shared_ptr<TarnSectionEntry>& entry);
    void removeSectionEntriesInArray(const EntryList<TarnSectionEntry>& entries);
    void replaceSectionEntry(const std::shared_ptr<TarnSectionEntry>& oldEntry,
                             const std::shared_ptr<TarnSectionEntry>& newEntry);
    void replaceSectionEntriesInArrayWithSectionEntriesInArray(const EntryList<TarnSectionEntry>& oldEntries,
                                                               const EntryList<TarnSectionEntry>& newEntries);
    [[nodiscard]] bool containsSectionEntry(const std::shared_ptr<TarnSectionEntry>& entry) const;
};

} // namespace tarn
