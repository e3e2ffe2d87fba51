#include "TarnFoundation/Analysis/AnalysisInputs.h"

namespace tarn::analysis {

double tuningFrequency(const TarnNoteEntryStorage& storage) {
    constexpr double kDefaultFrequency = 440.0;
    const auto entries = storage.standardPitchEntries();
    return entries.empty() ? kDefaultFrequency : entries.front()->frequency();
}

KELPKeyRef key(const TarnNoteEntryStorage& storage) {
    const auto entries = storage.keyEntries();
    return KELPKey::makeWithTonicChord(entries.empty() ? KELPChord::chordWithString("C")
                                                       : entries.front()->tonicChord());
}

EntryList<TarnChordEntry> newChordEntries(TarnNoteEntryStorage& storage,
                                          const ChordDetectionResultArray& results) {
    std::vector<std::shared_ptr<TarnChordEntry>> entries;
    entries.reserve(results.size());
    for (const auto& result : results) {
        entries.push_back(storage.newChordEntry());
        entries.back()->setChord(result->chord());
        entries.back()->setLocation(result->location());
    }
    return entries;
}

} // namespace tarn::analysis
