#include "TarnFoundation/UserEntries/TarnNoteEntryStorageForwards.h"

namespace tarn {

std::shared_ptr<TarnNoteEntry> TarnNoteEntryStorageForwards::newNoteEntry() {
    return newEntry<NoteKind>();
}
std::shared_ptr<TarnNoteEntry>
TarnNoteEntryStorageForwards::copyOfNoteEntry(const std::shared_ptr<TarnNoteEntry>& entry) {
    return copyOfEntry<NoteKind>(entry);
}
EntryList<TarnNoteEntry> TarnNoteEntryStorageForwards::noteEntries() const {
    return entries<NoteKind>();
}
EntryList<TarnNoteEntry> TarnNoteEntryStorageForwards::noteEntriesInRange(std::uint64_t location,
                                                                          std::uint64_t length) const {
    return entriesInRange<NoteKind>(location, length);
}
void TarnNoteEntryStorageForwards::addNoteEntry(const std::shared_ptr<TarnNoteEntry>& entry) {
    add<NoteKind>({entry});
}
void TarnNoteEntryStorageForwards::addNoteEntriesFromArray(const EntryList<TarnNoteEntry>& entries) {
    add<NoteKind>(entries);
}
void TarnNoteEntryStorageForwards::removeNoteEntry(const std::shared_ptr<TarnNoteEntry>& entry) {
    remove<NoteKind>({entry});
}
void TarnNoteEntryStorageForwards::removeNoteEntriesInArray(const EntryList<TarnNoteEntry>& entries) {
    remove<NoteKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceNoteEntry(const std::shared_ptr<TarnNoteEntry>& oldEntry,
                                                    const std::shared_ptr<TarnNoteEntry>& newEntry) {
    replace<NoteKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceNoteEntriesInArrayWithNoteEntriesInArray(
    const EntryList<TarnNoteEntry>& oldEntries, const EntryList<TarnNoteEntry>& newEntries) {
    replace<NoteKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsNoteEntry(const std::shared_ptr<TarnNoteEntry>& entry) const {
    return contains<NoteKind>(entry);
}
void TarnNoteEntryStorageForwards::setNoteEntries(const EntryList<TarnNoteEntry>& entries) {
    assign<NoteKind>(entries);
}

std::shared_ptr<TarnChordEntry> TarnNoteEntryStorageForwards::newChordEntry() {
    return newEntry<ChordKind>();
}
std::shared_ptr<TarnChordEntry>
TarnNoteEntryStorageForwards::copyOfChordEntry(const std::shared_ptr<TarnChordEntry>& entry) {
    return copyOfEntry<ChordKind>(entry);
}
EntryList<TarnChordEntry> TarnNoteEntryStorageForwards::chordEntries() const {
    return entries<ChordKind>();
}
EntryList<TarnChordEntry> TarnNoteEntryStorageForwards::chordEntriesInRange(std::uint64_t location,
                                                                            std::uint64_t length) const {
    return entriesInRange<ChordKind>(location, length);
}
void TarnNoteEntryStorageForwards::addChordEntry(const std::shared_ptr<TarnChordEntry>& entry) {
    add<ChordKind>({entry});
}
void TarnNoteEntryStorageForwards::addChordEntriesFromArray(const EntryList<TarnChordEntry>& entries) {
    add<ChordKind>(entries);
}
void TarnNoteEntryStorageForwards::removeChordEntry(const std::shared_ptr<TarnChordEntry>& entry) {
    remove<ChordKind>({entry});
}
void TarnNoteEntryStorageForwards::removeChordEntriesInArray(const EntryList<TarnChordEntry>& entries) {
    remove<ChordKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceChordEntry(const std::shared_ptr<TarnChordEntry>& oldEntry,
                                                     const std::shared_ptr<TarnChordEntry>& newEntry) {
    replace<ChordKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceChordEntriesInArrayWithChordEntriesInArray(
    const EntryList<TarnChordEntry>& oldEntries, const EntryList<TarnChordEntry>& newEntries) {
    replace<ChordKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsChordEntry(const std::shared_ptr<TarnChordEntry>& entry) const {
    return contains<ChordKind>(entry);
}
void TarnNoteEntryStorageForwards::setChordEntries(const EntryList<TarnChordEntry>& entries) {
    assign<ChordKind>(entries);
}

std::shared_ptr<TarnBeatEntry> TarnNoteEntryStorageForwards::newBeatEntry() {
    return newEntry<BeatKind>();
}
std::shared_ptr<TarnBeatEntry>
TarnNoteEntryStorageForwards::copyOfBeatEntry(const std::shared_ptr<TarnBeatEntry>& entry) {
    return copyOfEntry<BeatKind>(entry);
}
EntryList<TarnBeatEntry> TarnNoteEntryStorageForwards::beatEntries() const {
    return entries<BeatKind>();
}
EntryList<TarnBeatEntry> TarnNoteEntryStorageForwards::beatEntriesInRange(std::uint64_t location,
                                                                          std::uint64_t length) const {
    return entriesInRange<BeatKind>(location, length);
}
void TarnNoteEntryStorageForwards::addBeatEntry(const std::shared_ptr<TarnBeatEntry>& entry) {
    add<BeatKind>({entry});
}
void TarnNoteEntryStorageForwards::addBeatEntriesFromArray(const EntryList<TarnBeatEntry>& entries) {
    add<BeatKind>(entries);
}
void TarnNoteEntryStorageForwards::removeBeatEntry(const std::shared_ptr<TarnBeatEntry>& entry) {
    remove<BeatKind>({entry});
}
void TarnNoteEntryStorageForwards::removeBeatEntriesInArray(const EntryList<TarnBeatEntry>& entries) {
    remove<BeatKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceBeatEntry(const std::shared_ptr<TarnBeatEntry>& oldEntry,
                                                    const std::shared_ptr<TarnBeatEntry>& newEntry) {
    replace<BeatKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceBeatEntriesInArrayWithBeatEntriesInArray(
    const EntryList<TarnBeatEntry>& oldEntries, const EntryList<TarnBeatEntry>& newEntries) {
    replace<BeatKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsBeatEntry(const std::shared_ptr<TarnBeatEntry>& entry) const {
    return contains<BeatKind>(entry);
}
void TarnNoteEntryStorageForwards::setBeatEntries(const EntryList<TarnBeatEntry>& entries) {
    assign<BeatKind>(entries);
}

std::shared_ptr<TarnTempoEntry> TarnNoteEntryStorageForwards::newTempoEntry() {
    return newEntry<TempoKind>();
}
std::shared_ptr<TarnTempoEntry>
TarnNoteEntryStorageForwards::copyOfTempoEntry(const std::shared_ptr<TarnTempoEntry>& entry) {
    return copyOfEntry<TempoKind>(entry);
}
EntryList<TarnTempoEntry> TarnNoteEntryStorageForwards::tempoEntries() const {
    return entries<TempoKind>();
}
EntryList<TarnTempoEntry> TarnNoteEntryStorageForwards::tempoEntriesInRange(std::uint64_t location,
                                                                            std::uint64_t length) const {
    return entriesInRange<TempoKind>(location, length);
}
void TarnNoteEntryStorageForwards::addTempoEntry(const std::shared_ptr<TarnTempoEntry>& entry) {
    add<TempoKind>({entry});
}
void TarnNoteEntryStorageForwards::addTempoEntriesFromArray(const EntryList<TarnTempoEntry>& entries) {
    add<TempoKind>(entries);
}
void TarnNoteEntryStorageForwards::removeTempoEntry(const std::shared_ptr<TarnTempoEntry>& entry) {
    remove<TempoKind>({entry});
}
void TarnNoteEntryStorageForwards::removeTempoEntriesInArray(const EntryList<TarnTempoEntry>& entries) {
    remove<TempoKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceTempoEntry(const std::shared_ptr<TarnTempoEntry>& oldEntry,
                                                     const std::shared_ptr<TarnTempoEntry>& newEntry) {
    replace<TempoKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceTempoEntriesInArrayWithTempoEntriesInArray(
    const EntryList<TarnTempoEntry>& oldEntries, const EntryList<TarnTempoEntry>& newEntries) {
    replace<TempoKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsTempoEntry(const std::shared_ptr<TarnTempoEntry>& entry) const {
    return contains<TempoKind>(entry);
}
void TarnNoteEntryStorageForwards::setTempoEntries(const EntryList<TarnTempoEntry>& entries) {
    assign<TempoKind>(entries);
}

std::shared_ptr<TarnTimeSignatureEntry> TarnNoteEntryStorageForwards::newTimeSignatureEntry() {
    return newEntry<TimeSignatureKind>();
}
std::shared_ptr<TarnTimeSignatureEntry>
TarnNoteEntryStorageForwards::copyOfTimeSignatureEntry(const std::shared_ptr<TarnTimeSignatureEntry>& entry) {
    return copyOfEntry<TimeSignatureKind>(entry);
}
EntryList<TarnTimeSignatureEntry> TarnNoteEntryStorageForwards::timeSignatureEntries() const {
    return entries<TimeSignatureKind>();
}
EntryList<TarnTimeSignatureEntry>
TarnNoteEntryStorageForwards::timeSignatureEntriesInRange(std::uint64_t location,
                                                          std::uint64_t length) const {
    return entriesInRange<TimeSignatureKind>(location, length);
}
void TarnNoteEntryStorageForwards::addTimeSignatureEntry(
    const std::shared_ptr<TarnTimeSignatureEntry>& entry) {
    add<TimeSignatureKind>({entry});
}
void TarnNoteEntryStorageForwards::addTimeSignatureEntriesFromArray(
    const EntryList<TarnTimeSignatureEntry>& entries) {
    add<TimeSignatureKind>(entries);
}
void TarnNoteEntryStorageForwards::removeTimeSignatureEntry(
    const std::shared_ptr<TarnTimeSignatureEntry>& entry) {
    remove<TimeSignatureKind>({entry});
}
void TarnNoteEntryStorageForwards::removeTimeSignatureEntriesInArray(
    const EntryList<TarnTimeSignatureEntry>& entries) {
    remove<TimeSignatureKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceTimeSignatureEntry(
    const std::shared_ptr<TarnTimeSignatureEntry>& oldEntry,
    const std::shared_ptr<TarnTimeSignatureEntry>& newEntry) {
    replace<TimeSignatureKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceTimeSignatureEntriesInArrayWithTimeSignatureEntriesInArray(
    const EntryList<TarnTimeSignatureEntry>& oldEntries,
    const EntryList<TarnTimeSignatureEntry>& newEntries) {
    replace<TimeSignatureKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsTimeSignatureEntry(
    const std::shared_ptr<TarnTimeSignatureEntry>& entry) const {
    return contains<TimeSignatureKind>(entry);
}
void TarnNoteEntryStorageForwards::setTimeSignatureEntries(const EntryList<TarnTimeSignatureEntry>& entries) {
    assign<TimeSignatureKind>(entries);
}

std::shared_ptr<TarnRegionEntry> TarnNoteEntryStorageForwards::newRegionEntry() {
    return newEntry<RegionKind>();
}
std::shared_ptr<TarnRegionEntry>
TarnNoteEntryStorageForwards::copyOfRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry) {
    return copyOfEntry<RegionKind>(entry);
}
EntryList<TarnRegionEntry> TarnNoteEntryStorageForwards::regionEntries() const {
    return entries<RegionKind>();
}
EntryList<TarnRegionEntry> TarnNoteEntryStorageForwards::regionEntriesInRange(std::uint64_t location,
                                                                              std::uint64_t length) const {
    return entriesInRange<RegionKind>(location, length);
}
void TarnNoteEntryStorageForwards::addRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry) {
    add<RegionKind>({entry});
}
void TarnNoteEntryStorageForwards::addRegionEntriesFromArray(const EntryList<TarnRegionEntry>& entries) {
    add<RegionKind>(entries);
}
void TarnNoteEntryStorageForwards::removeRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry) {
    remove<RegionKind>({entry});
}
void TarnNoteEntryStorageForwards::removeRegionEntriesInArray(const EntryList<TarnRegionEntry>& entries) {
    remove<RegionKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceRegionEntry(const std::shared_ptr<TarnRegionEntry>& oldEntry,
                                                      const std::shared_ptr<TarnRegionEntry>& newEntry) {
    replace<RegionKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceRegionEntriesInArrayWithRegionEntriesInArray(
    const EntryList<TarnRegionEntry>& oldEntries, const EntryList<TarnRegionEntry>& newEntries) {
    replace<RegionKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry) const {
    return contains<RegionKind>(entry);
}
void TarnNoteEntryStorageForwards::setRegionEntries(const EntryList<TarnRegionEntry>& entries) {
    assign<RegionKind>(entries);
}

std::shared_ptr<TarnMarkerEntry> TarnNoteEntryStorageForwards::newMarkerEntry() {
    return newEntry<MarkerKind>();
}
std::shared_ptr<TarnMarkerEntry>
TarnNoteEntryStorageForwards::copyOfMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry) {
    return copyOfEntry<MarkerKind>(entry);
}
EntryList<TarnMarkerEntry> TarnNoteEntryStorageForwards::markerEntries() const {
    return entries<MarkerKind>();
}
EntryList<TarnMarkerEntry> TarnNoteEntryStorageForwards::markerEntriesInRange(std::uint64_t location,
                                                                              std::uint64_t length) const {
    return entriesInRange<MarkerKind>(location, length);
}
void TarnNoteEntryStorageForwards::addMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry) {
    add<MarkerKind>({entry});
}
void TarnNoteEntryStorageForwards::addMarkerEntriesFromArray(const EntryList<TarnMarkerEntry>& entries) {
    add<MarkerKind>(entries);
}
void TarnNoteEntryStorageForwards::removeMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry) {
    remove<MarkerKind>({entry});
}
void TarnNoteEntryStorageForwards::removeMarkerEntriesInArray(const EntryList<TarnMarkerEntry>& entries) {
    remove<MarkerKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& oldEntry,
                                                      const std::shared_ptr<TarnMarkerEntry>& newEntry) {
    replace<MarkerKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceMarkerEntriesInArrayWithMarkerEntriesInArray(
    const EntryList<TarnMarkerEntry>& oldEntries, const EntryList<TarnMarkerEntry>& newEntries) {
    replace<MarkerKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry) const {
    return contains<MarkerKind>(entry);
}
void TarnNoteEntryStorageForwards::setMarkerEntries(const EntryList<TarnMarkerEntry>& entries) {
    assign<MarkerKind>(entries);
}

std::shared_ptr<TarnStandardPitchEntry> TarnNoteEntryStorageForwards::newStandardPitchEntry() {
    return newEntry<StandardPitchKind>();
}
std::shared_ptr<TarnStandardPitchEntry>
TarnNoteEntryStorageForwards::copyOfStandardPitchEntry(const std::shared_ptr<TarnStandardPitchEntry>& entry) {
    return copyOfEntry<StandardPitchKind>(entry);
}
EntryList<TarnStandardPitchEntry> TarnNoteEntryStorageForwards::standardPitchEntries() const {
    return entries<StandardPitchKind>();
}
EntryList<TarnStandardPitchEntry>
TarnNoteEntryStorageForwards::standardPitchEntriesInRange(std::uint64_t location,
                                                          std::uint64_t length) const {
    return entriesInRange<StandardPitchKind>(location, length);
}
void TarnNoteEntryStorageForwards::addStandardPitchEntry(
    const std::shared_ptr<TarnStandardPitchEntry>& entry) {
    add<StandardPitchKind>({entry});
}
void TarnNoteEntryStorageForwards::addStandardPitchEntriesFromArray(
    const EntryList<TarnStandardPitchEntry>& entries) {
    add<StandardPitchKind>(entries);
}
void TarnNoteEntryStorageForwards::removeStandardPitchEntry(
    const std::shared_ptr<TarnStandardPitchEntry>& entry) {
    remove<StandardPitchKind>({entry});
}
void TarnNoteEntryStorageForwards::removeStandardPitchEntriesInArray(
    const EntryList<TarnStandardPitchEntry>& entries) {
    remove<StandardPitchKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceStandardPitchEntry(
    const std::shared_ptr<TarnStandardPitchEntry>& oldEntry,
    const std::shared_ptr<TarnStandardPitchEntry>& newEntry) {
    replace<StandardPitchKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceStandardPitchEntriesInArrayWithStandardPitchEntriesInArray(
    const EntryList<TarnStandardPitchEntry>& oldEntries,
    const EntryList<TarnStandardPitchEntry>& newEntries) {
    replace<StandardPitchKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsStandardPitchEntry(
    const std::shared_ptr<TarnStandardPitchEntry>& entry) const {
    return contains<StandardPitchKind>(entry);
}
void TarnNoteEntryStorageForwards::setStandardPitchEntries(const EntryList<TarnStandardPitchEntry>& entries) {
    assign<StandardPitchKind>(entries);
}

std::shared_ptr<TarnKeyEntry> TarnNoteEntryStorageForwards::newKeyEntry() {
    return newEntry<KeyKind>();
}
std::shared_ptr<TarnKeyEntry>
TarnNoteEntryStorageForwards::copyOfKeyEntry(const std::shared_ptr<TarnKeyEntry>& entry) {
    return copyOfEntry<KeyKind>(entry);
}
EntryList<TarnKeyEntry> TarnNoteEntryStorageForwards::keyEntries() const {
    return entries<KeyKind>();
}
EntryList<TarnKeyEntry> TarnNoteEntryStorageForwards::keyEntriesInRange(std::uint64_t location,
                                                                        std::uint64_t length) const {
    return entriesInRange<KeyKind>(location, length);
}
void TarnNoteEntryStorageForwards::addKeyEntry(const std::shared_ptr<TarnKeyEntry>& entry) {
    add<KeyKind>({entry});
}
void TarnNoteEntryStorageForwards::addKeyEntriesFromArray(const EntryList<TarnKeyEntry>& entries) {
    add<KeyKind>(entries);
}
void TarnNoteEntryStorageForwards::removeKeyEntry(const std::shared_ptr<TarnKeyEntry>& entry) {
    remove<KeyKind>({entry});
}
void TarnNoteEntryStorageForwards::removeKeyEntriesInArray(const EntryList<TarnKeyEntry>& entries) {
    remove<KeyKind>(entries);
}
void TarnNoteEntryStorageForwards::replaceKeyEntry(const std::shared_ptr<TarnKeyEntry>& oldEntry,
                                                   const std::shared_ptr<TarnKeyEntry>& newEntry) {
    replace<KeyKind>({oldEntry}, {newEntry});
}
void TarnNoteEntryStorageForwards::replaceKeyEntriesInArrayWithKeyEntriesInArray(
    const EntryList<TarnKeyEntry>& oldEntries, const EntryList<TarnKeyEntry>& newEntries) {
    replace<KeyKind>(oldEntries, newEntries);
}
bool TarnNoteEntryStorageForwards::containsKeyEntry(const std::shared_ptr<TarnKeyEntry>& entry) const {
    return contains<KeyKind>(entry);
}
void TarnNoteEntryStorageForwards::setKeyEntries(const EntryList<TarnKeyEntry>& entries) {
    assign<KeyKind>(entries);
}

} // namespace tarn
