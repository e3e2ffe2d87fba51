#include "TarnFoundation/UserEntries/TarnSongStructureStorageForwards.h"

namespace tarn {

std::shared_ptr<TarnBoundsEntry> TarnSongStructureStorageForwards::newBoundsEntry() {
    return newEntry<BoundsKind>();
}
std::shared_ptr<TarnBoundsEntry>
TarnSongStructureStorageForwards::copyOfBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& entry) {
    return copyOfEntry<BoundsKind>(entry);
}
EntryList<TarnBoundsEntry> TarnSongStructureStorageForwards::boundsEntries() const {
    return entries<BoundsKind>();
}
EntryList<TarnBoundsEntry>
TarnSongStructureStorageForwards::boundsEntriesInRange(std::uint64_t location, std::uint64_t length) const {
    return entriesInRange<BoundsKind>(location, length);
}
void TarnSongStructureStorageForwards::addBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& entry) {
    add<BoundsKind>({entry});
}
void TarnSongStructureStorageForwards::addBoundsEntriesFromArray(const EntryList<TarnBoundsEntry>& entries) {
    add<BoundsKind>(entries);
}
void TarnSongStructureStorageForwards::removeBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& entry) {
    remove<BoundsKind>({entry});
}
void TarnSongStructureStorageForwards::removeBoundsEntriesInArray(const EntryList<TarnBoundsEntry>& entries) {
    remove<BoundsKind>(entries);
}
void TarnSongStructureStorageForwards::replaceBoundsEntry(const std::shared_ptr<TarnBoundsEntry>& oldEntry,
                                                          const std::shared_ptr<TarnBoundsEntry>& newEntry) {
    replace<BoundsKind>({oldEntry}, {newEntry});
}
void TarnSongStructureStorageForwards::replaceBoundsEntriesInArrayWithBoundsEntriesInArray(
    const EntryList<TarnBoundsEntry>& oldEntries, const EntryList<TarnBoundsEntry>& newEntries) {
    replace<BoundsKind>(oldEntries, newEntries);
}
bool TarnSongStructureStorageForwards::containsBoundsEntry(
    const std::shared_ptr<TarnBoundsEntry>& entry) const {
    return contains<BoundsKind>(entry);
}

std::shared_ptr<TarnSectionEntry> TarnSongStructureStorageForwards::newSectionEntry() {
    return newEntry<SectionKind>();
}
std::shared_ptr<TarnSectionEntry>
TarnSongStructureStorageForwards::copyOfSectionEntry(const std::shared_ptr<TarnSectionEntry>& entry) {
    return copyOfEntry<SectionKind>(entry);
}
EntryList<TarnSectionEntry> TarnSongStructureStorageForwards::sectionEntries() const {
    return entries<SectionKind>();
}
EntryList<TarnSectionEntry>
TarnSongStructureStorageForwards::sectionEntriesInRange(std::uint64_t location, std::uint64_t length) const {
    return entriesInRange<SectionKind>(location, length);
}
void TarnSongStructureStorageForwards::addSectionEntry(const std::shared_ptr<TarnSectionEntry>& entry) {
    add<SectionKind>({entry});
}
void TarnSongStructureStorageForwards::addSectionEntriesFromArray(
    const EntryList<TarnSectionEntry>& entries) {
    add<SectionKind>(entries);
}
void TarnSongStructureStorageForwards::removeSectionEntry(const std::shared_ptr<TarnSectionEntry>& entry) {
    remove<SectionKind>({entry});
}
void TarnSongStructureStorageForwards::removeSectionEntriesInArray(
    const EntryList<TarnSectionEntry>& entries) {
    remove<SectionKind>(entries);
}
void TarnSongStructureStorageForwards::replaceSectionEntry(
    const std::shared_ptr<TarnSectionEntry>& oldEntry, const std::shared_ptr<TarnSectionEntry>& newEntry) {
    replace<SectionKind>({oldEntry}, {newEntry});
}
void TarnSongStructureStorageForwards::replaceSectionEntriesInArrayWithSectionEntriesInArray(
    const EntryList<TarnSectionEntry>& oldEntries, const EntryList<TarnSectionEntry>& newEntries) {
    replace<SectionKind>(oldEntries, newEntries);
}
bool TarnSongStructureStorageForwards::containsSectionEntry(
    const std::shared_ptr<TarnSectionEntry>& entry) const {
    return contains<SectionKind>(entry);
}

} // namespace tarn
