#include "Song/DistinctIdentifiers.h"

#include <cstdint>
#include <unordered_set>

namespace tarn {
namespace {

/// The identifiers of a storage's entries as they are met.
class Identifiers {
public:
    explicit Identifiers(std::uint64_t next) : mNext(next) {}

    template <typename Entries>
    void add(const Entries& entries) {
        for (const auto& entry : entries)
            mAreDistinct &= entry->eventId() < mNext && mSeen.insert(entry->eventId()).second;
    }
    [[nodiscard]] bool areDistinct() const { return mAreDistinct; }

private:
    std::uint64_t mNext;
    std::unordered_set<std::uint64_t> mSeen;
    bool mAreDistinct = true;
};

template <typename Storage, typename Entry>
std::vector<std::shared_ptr<Entry>> copiesFor(Storage& storage, const EntryList<Entry>& entries) {
    std::vector<std::shared_ptr<Entry>> copies;
    copies.reserve(entries.size());
    for (const auto& entry : entries) {
        if constexpr (std::is_same_v<Entry, TarnTimeSignatureEntry>) {
            // An ordinary copy would not take the numbers over.
            copies.push_back(storage.newTimeSignatureEntry());
            copies.back()->setLocation(entry->location());
            copies.back()->setNumerator(entry->numerator());
            copies.back()->setDenominator(entry->denominator());
        } else {
            copies.push_back(storage.copyOfUserEntry(entry));
        }
    }
    return copies;
}

/// Returns whether anything changed.
bool renew(TarnNoteEntryStorage& notes) {
    Identifiers identifiers(notes.nextEventId());
    notes.forEachKind([&]<typename Kind>(Kind) { identifiers.add(notes.entries<Kind>()); });
    if (identifiers.areDistinct())
        return false;
    // Beats come before time signatures: no rule prunes them.
    const auto renewed = std::make_shared<TarnNoteEntryStorage>();
    renewed->setInstrumentDescription(notes.instrumentDescription());
    notes.forEachKind(
        [&]<typename Kind>(Kind) { renewed->add<Kind>(copiesFor(*renewed, notes.entries<Kind>())); });
    notes.populateWithNoteEntryStorageEntries(*renewed);
    return true;
}

void renew(TarnSongStructureStorage& structure) {
    Identifiers identifiers(structure.nextEventId());
    structure.forEachKind([&]<typename Kind>(Kind) { identifiers.add(structure.entries<Kind>()); });
    if (identifiers.areDistinct())
        return;
    const auto renewed = std::make_shared<TarnSongStructureStorage>();
    structure.forEachKind(
        [&]<typename Kind>(Kind) { renewed->add<Kind>(copiesFor(*renewed, structure.entries<Kind>())); });
    structure.populateWithSongStructureStorageEntries(*renewed);
}

} // namespace

void giveDistinctIdentifiers(Song& document) {
    if (renew(*document.notes)) { // whose identifiers the facts do not know
        document.facts.chords.clear();
        document.facts.bars.clear();
    }
    renew(*document.structure);
}

} // namespace tarn
