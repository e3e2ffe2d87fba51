#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"

#include "Platform/Bundle.h"
#include "TarnFoundation/UserEntries/EntryStorageImplementation.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"

#include <algorithm>

namespace tarn {

#define TARN_INSTANTIATE_KIND(Stem, ...) template class EntriesOfKind<TarnSongStructureStorage, Stem##Kind>;
TARN_SONG_STRUCTURE_STORAGE_KINDS(TARN_INSTANTIATE_KIND)
#undef TARN_INSTANTIATE_KIND

std::shared_ptr<TarnMutableSectionEntry>
TarnSongStructureStorage::mutableCopyOfSectionEntry(const std::shared_ptr<TarnSectionEntry>& section) {
    return copyOfSectionEntry(section)->mutableCopy();
}

std::uint64_t TarnSongStructureStorage::createNewSection(std::int64_t at) {
    const auto section = newSectionEntry()->mutableCopy();
    section->setSectionColor(TarnSectionColor::other());
    section->setName(Bundle::framework().localizedString("Section", "Section"));
    section->setLocation(at);
    addSectionEntry(section);
    return section->eventId();
}

template <typename Change>
std::optional<std::uint64_t> TarnSongStructureStorage::editSection(std::uint64_t id, const Change& change) {
    const auto sections = sectionEntries();
    const auto found =
        std::find_if(sections.begin(), sections.end(), [id](const auto& s) { return s->eventId() == id; });
    if (found == sections.end())
        return std::nullopt;
    const auto edited = mutableCopyOfSectionEntry(*found);
    change(*edited);
    replaceSectionEntry(*found, edited);
    return edited->eventId();
}

std::optional<std::uint64_t> TarnSongStructureStorage::renameSection(std::uint64_t id,
                                                                     const std::string& to) {
    return editSection(id, [&](TarnMutableSectionEntry& section) { section.setName(to); });
}

std::optional<std::uint64_t> TarnSongStructureStorage::setColorForSection(std::uint64_t id,
                                                                          const std::string& to) {
    return editSection(id, [&](auto& section) { section.setSectionColor(TarnSectionColor::named(to)); });
}

std::optional<std::uint64_t> TarnSongStructureStorage::updateSection(std::uint64_t id,
                                                                     const std::string& withName,
                                                                     const std::string& color) {
    return editSection(id, [&](auto& section) {
        section.setName(withName);
        section.setSectionColor(TarnSectionColor::named(color));
    });
}

void TarnSongStructureStorage::populateWithSongStructureStorageEntries(
    const TarnSongStructureStorage& source) {
    const auto alive = sharedSelf();
    const LockGuard guard(storageLock());
    takeOverNextEventId(source);
    populateEntries(source);
}

const ClassDescription& TarnSongStructureStorage::classDescription() {
    static const ClassDescription description{"TarnSongStructureStorage",
                                              &TarnUserEntryStorage::classDescription(), &makeFromCoder};
    return description;
}

void TarnSongStructureStorage::encodeWithCoder(KeyedArchiver& coder) const {
    TarnUserEntryStorage::encodeWithCoder(coder);
    const LockGuard guard(storageLock());
    encodeEntries(coder);
}

std::shared_ptr<SecureCoding> TarnSongStructureStorage::makeFromCoder(KeyedUnarchiver& coder) {
    registerUserEntryClasses();
    auto storage = std::make_shared<TarnSongStructureStorage>();
    if (!storage->decodeCounter(coder))
        return nullptr;
    storage->decodeEntries(coder);
    return storage;
}

} // namespace tarn
