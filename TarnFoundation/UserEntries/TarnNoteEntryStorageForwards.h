#pragma once

#include "TarnFoundation/UserEntries/EntriesOfKind.h"

#include <cstdint>
#include <memory>

namespace tarn {

/// The named operations of a document on the entries of each kind, each a forward to the typed operation
/// (EntriesOfKind.h) and nothing else. `set…Entries` keeps a list that nothing reads.
class TarnNoteEntryStorageForwards : public EntriesOfKinds<TarnNoteEntryStorage, NoteEntryKinds> {
public:
    [[nodiscard]] std::shared_ptr<TarnNoteEntry> newNoteEntry();
    [[nodiscard]] std::shared_ptr<TarnNoteEntry> copyOfNoteEntry(const std::shared_ptr<TarnNoteEntry>& entry);
    [[nodiscard]] EntryList<TarnNoteEntry> noteEntries() const;
    [[nodiscard]] EntryList<TarnNoteEntry> noteEntriesInRange(std::uint64_t location,
                                                              std::uint64_t length) const;
    void addNoteEntry(const std::shared_ptr<TarnNoteEntry>& entry);
    void addNoteEntriesFromArray(const EntryList<TarnNoteEntry>& entries);
    void removeNoteEntry(const std::shared_ptr<TarnNoteEntry>& entry);
    void removeNoteEntriesInArray(const EntryList<TarnNoteEntry>& entries);
    void replaceNoteEntry(const std::shared_ptr<TarnNoteEntry>& oldEntry,
                          const std::shared_ptr<TarnNoteEntry>& newEntry);
    void replaceNoteEntriesInArrayWithNoteEntriesInArray(const EntryList<TarnNoteEntry>& oldEntries,
                                                         const EntryList<TarnNoteEntry>& newEntries);
    [[nodiscard]] bool containsNoteEntry(const std::shared_ptr<TarnNoteEntry>& entry) const;
    void setNoteEntries(const EntryList<TarnNoteEntry>& entries);

    [[nodiscard]] std::shared_ptr<TarnChordEntry> newChordEntry();
    [[nodiscard]] std::shared_ptr<TarnChordEntry>
    copyOfChordEntry(const std::shared_ptr<TarnChordEntry>& entry);
    [[nodiscard]] EntryList<TarnChordEntry> chordEntries() const;
    [[nodiscard]] EntryList<TarnChordEntry> chordEntriesInRange(std::uint64_t location,
                                                                std::uint64_t length) const;
    void addChordEntry(const std::shared_ptr<TarnChordEntry>& entry);
    void addChordEntriesFromArray(const EntryList<TarnChordEntry>& entries);
    void removeChordEntry(const std::shared_ptr<TarnChordEntry>& entry);
    void removeChordEntriesInArray(const EntryList<TarnChordEntry>& entries);
    void replaceChordEntry(const std::shared_ptr<TarnChordEntry>& oldEntry,
                           const std::shared_ptr<TarnChordEntry>& newEntry);
    void replaceChordEntriesInArrayWithChordEntriesInArray(const EntryList<TarnChordEntry>& oldEntries,
                                                           const EntryList<TarnChordEntry>& newEntries);
    [[nodiscard]] bool containsChordEntry(const std::shared_ptr<TarnChordEntry>& entry) const;
    void setChordEntries(const EntryList<TarnChordEntry>& entries);

    [[nodiscard]] std::shared_ptr<TarnBeatEntry> newBeatEntry();
    [[nodiscard]] std::shared_ptr<TarnBeatEntry> copyOfBeatEntry(const std::shared_ptr<TarnBeatEntry>& entry);
    [[nodiscard]] EntryList<TarnBeatEntry> beatEntries() const;
    [[nodiscard]] EntryList<TarnBeatEntry> beatEntriesInRange(std::uint64_t location,
                                                              std::uint64_t length) const;
    void addBeatEntry(const std::shared_ptr<TarnBeatEntry>& entry);
    void addBeatEntriesFromArray(const EntryList<TarnBeatEntry>& entries);
    void removeBeatEntry(const std::shared_ptr<TarnBeatEntry>& entry);
    void removeBeatEntriesInArray(const EntryList<TarnBeatEntry>& entries);
    void replaceBeatEntry(const std::shared_ptr<TarnBeatEntry>& oldEntry,
                          const std::shared_ptr<TarnBeatEntry>& newEntry);
    void replaceBeatEntriesInArrayWithBeatEntriesInArray(const EntryList<TarnBeatEntry>& oldEntries,
                                                         const EntryList<TarnBeatEntry>& newEntries);
    [[nodiscard]] bool containsBeatEntry(const std::shared_ptr<TarnBeatEntry>& entry) const;
    void setBeatEntries(const EntryList<TarnBeatEntry>& entries);

    [[nodiscard]] std::shared_ptr<TarnTempoEntry> newTempoEntry();
    [[nodiscard]] std::shared_ptr<TarnTempoEntry>
    copyOfTempoEntry(const std::shared_ptr<TarnTempoEntry>& entry);
    [[nodiscard]] EntryList<TarnTempoEntry> tempoEntries() const;
    [[nodiscard]] EntryList<TarnTempoEntry> tempoEntriesInRange(std::uint64_t location,
                                                                std::uint64_t length) const;
    void addTempoEntry(const std::shared_ptr<TarnTempoEntry>& entry);
    void addTempoEntriesFromArray(const EntryList<TarnTempoEntry>& entries);
    void removeTempoEntry(const std::shared_ptr<TarnTempoEntry>& entry);
    void removeTempoEntriesInArray(const EntryList<TarnTempoEntry>& entries);
    void replaceTempoEntry(const std::shared_ptr<TarnTempoEntry>& oldEntry,
                           const std::shared_ptr<TarnTempoEntry>& newEntry);
    void replaceTempoEntriesInArrayWithTempoEntriesInArray(const EntryList<TarnTempoEntry>& oldEntries,
                                                           const EntryList<TarnTempoEntry>& newEntries);
    [[nodiscard]] bool containsTempoEntry(const std::shared_ptr<TarnTempoEntry>& entry) const;
    void setTempoEntries(const EntryList<TarnTempoEntry>& entries);

    [[nodiscard]] std::shared_ptr<TarnTimeSignatureEntry> newTimeSignatureEntry();
    [[nodiscard]] std::shared_ptr<TarnTimeSignatureEntry>
    copyOfTimeSignatureEntry(const std::shared_ptr<TarnTimeSignatureEntry>& entry);
    [[nodiscard]] EntryList<TarnTimeSignatureEntry> timeSignatureEntries() const;
    [[nodiscard]] EntryList<TarnTimeSignatureEntry> timeSignatureEntriesInRange(std::uint64_t location,
                                                                                std::uint64_t length) const;
    void addTimeSignatureEntry(const std::shared_ptr<TarnTimeSignatureEntry>& entry);
    void addTimeSignatureEntriesFromArray(const EntryList<TarnTimeSignatureEntry>& entries);
    void removeTimeSignatureEntry(const std::shared_ptr<TarnTimeSignatureEntry>& entry);
    void removeTimeSignatureEntriesInArray(const EntryList<TarnTimeSignatureEntry>& entries);
    void replaceTimeSignatureEntry(const std::shared_ptr<TarnTimeSignatureEntry>& oldEntry,
                                   const std::shared_ptr<TarnTimeSignatureEntry>& newEntry);
    void replaceTimeSignatureEntriesInArrayWithTimeSignatureEntriesInArray(
        const EntryList<TarnTimeSignatureEntry>& oldEntries,
        const EntryList<TarnTimeSignatureEntry>& newEntries);
    [[nodiscard]] bool containsTimeSignatureEntry(const std::shared_ptr<TarnTimeSignatureEntry>& entry) const;
    void setTimeSignatureEntries(const EntryList<TarnTimeSignatureEntry>& entries);

    [[nodiscard]] std::shared_ptr<TarnRegionEntry> newRegionEntry();
    [[nodiscard]] std::shared_ptr<TarnRegionEntry>
    copyOfRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry);
    [[nodiscard]] EntryList<TarnRegionEntry> regionEntries() const;
    [[nodiscard]] EntryList<TarnRegionEntry> regionEntriesInRange(std::uint64_t location,
                                                                  std::uint64_t length) const;
    void addRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry);
    void addRegionEntriesFromArray(const EntryList<TarnRegionEntry>& entries);
    void removeRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry);
    void removeRegionEntriesInArray(const EntryList<TarnRegionEntry>& entries);
    void replaceRegionEntry(const std::shared_ptr<TarnRegionEntry>& oldEntry,
                            const std::shared_ptr<TarnRegionEntry>& newEntry);
    void replaceRegionEntriesInArrayWithRegionEntriesInArray(const EntryList<TarnRegionEntry>& oldEntries,
                                                             const EntryList<TarnRegionEntry>& newEntries);
    [[nodiscard]] bool containsRegionEntry(const std::shared_ptr<TarnRegionEntry>& entry) const;
    void setRegionEntries(const EntryList<TarnRegionEntry>& entries);

    [[nodiscard]] std::shared_ptr<TarnMarkerEntry> newMarkerEntry();
    [[nodiscard]] std::shared_ptr<TarnMarkerEntry>
    copyOfMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry);
    [[nodiscard]] EntryList<TarnMarkerEntry> markerEntries() const;
    [[nodiscard]] EntryList<TarnMarkerEntry> markerEntriesInRange(std::uint64_t location,
                                                                  std::uint64_t length) const;
    void addMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry);
    void addMarkerEntriesFromArray(const EntryList<TarnMarkerEntry>& entries);
    void removeMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry);
    void removeMarkerEntriesInArray(const EntryList<TarnMarkerEntry>& entries);
    void replaceMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& oldEntry,
                            const std::shared_ptr<TarnMarkerEntry>& newEntry);
    void replaceMarkerEntriesInArrayWithMarkerEntriesInArray(const EntryList<TarnMarkerEntry>& oldEntries,
                                                             const EntryList<TarnMarkerEntry>& newEntries);
    [[nodiscard]] bool containsMarkerEntry(const std::shared_ptr<TarnMarkerEntry>& entry) const;
    void setMarkerEntries(const EntryList<TarnMarkerEntry>& entries);

    [[nodiscard]] std::shared_ptr<TarnStandardPitchEntry> newStandardPitchEntry();
    [[nodiscard]] std::shared_ptr<TarnStandardPitchEntry>
    copyOfStandardPitchEntry(const std::shared_ptr<TarnStandardPitchEntry>& entry);
    [[nodiscard]] EntryList<TarnStandardPitchEntry> standardPitchEntries() const;
    [[nodiscard]] EntryList<TarnStandardPitchEntry> standardPitchEntriesInRange(std::uint64_t location,
                                                                                std::uint64_t length) const;
    void addStandardPitchEntry(const std::shared_ptr<TarnStandardPitchEntry>& entry);
    void addStandardPitchEntriesFromArray(const EntryList<TarnStandardPitchEntry>& entries);
    void removeStandardPitchEntry(const std::shared_ptr<TarnStandardPitchEntry>& entry);
    void removeStandardPitchEntriesInArray(const EntryList<TarnStandardPitchEntry>& entries);
    void replaceStandardPitchEntry(const std::shared_ptr<TarnStandardPitchEntry>& oldEntry,
                                   const std::shared_ptr<TarnStandardPitchEntry>& newEntry);
    void replaceStandardPitchEntriesInArrayWithStandardPitchEntriesInArray(
        const EntryList<TarnStandardPitchEntry>& oldEntries,
        const EntryList<TarnStandardPitchEntry>& newEntries);
    [[nodiscard]] bool containsStandardPitchEntry(const std::shared_ptr<TarnStandardPitchEntry>& entry) const;
    void setStandardPitchEntries(const EntryList<TarnStandardPitchEntry>& entries);

    [[nodiscard]] std::shared_ptr<TarnKeyEntry> newKeyEntry();
    [[nodiscard]] std::shared_ptr<TarnKeyEntry> copyOfKeyEntry(const std::shared_ptr<TarnKeyEntry>& entry);
    [[nodiscard]] EntryList<TarnKeyEntry> keyEntries() const;
    [[nodiscard]] EntryList<TarnKeyEntry> keyEntriesInRange(std::uint64_t location,
                                                            std::uint64_t length) const;
    void addKeyEntry(const std::shared_ptr<TarnKeyEntry>& entry);
    void addKeyEntriesFromArray(const EntryList<TarnKeyEntry>& entries);
    void removeKeyEntry(const std::shared_ptr<TarnKeyEntry>& entry);
    void removeKeyEntriesInArray(const EntryList<TarnKeyEntry>& entries);
    void replaceKeyEntry(const std::shared_ptr<TarnKeyEntry>& oldEntry,
                         const std::shared_ptr<TarnKeyEntry>& newEntry);
    void replaceKeyEntriesInArrayWithKeyEntriesInArray(const EntryList<TarnKeyEntry>& oldEntries,
                                                       const EntryList<TarnKeyEntry>& newEntries);
    [[nodiscard]] bool containsKeyEntry(const std::shared_ptr<TarnKeyEntry>& entry) const;
    void setKeyEntries(const EntryList<TarnKeyEntry>& entries);
};

} // namespace tarn
