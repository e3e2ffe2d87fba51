#pragma once

#include "KELPMusicInformationRetrieval/ChordDetectionOperation.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <cstdint>
#include <vector>

/// What the analysis is told about a document, and how chords that it found become entries. Any thread may
/// ask.
namespace tarn::analysis {

/// Hz of A4: the frequency of the first standard pitch; 440 without one.
[[nodiscard]] double tuningFrequency(const TarnNoteEntryStorage& storage);
/// The key of the first key entry; C major without one.
[[nodiscard]] KELPKeyRef key(const TarnNoteEntryStorage& storage);

/// In frames, in the entries' order.
template <typename Entry>
[[nodiscard]] std::vector<std::int64_t> locations(const EntryList<Entry>& entries) {
    std::vector<std::int64_t> result;
    result.reserve(entries.size());
    for (const auto& entry : entries)
        result.push_back(entry->location());
    return result;
}

/// New chord entries of the storage, not inserted, one for each result and in their order.
[[nodiscard]] EntryList<TarnChordEntry> newChordEntries(TarnNoteEntryStorage& storage,
                                                        const ChordDetectionResultArray& results);

} // namespace tarn::analysis
