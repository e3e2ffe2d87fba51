#include "TarnFoundation/Analysis/AnalysisInputs.h"

#include "KELPMusic/ConcertPitch.h"

namespace tarn::analysis {

double tuningFrequency(const TarnNoteEntryStorage& storage) {
    const auto entries = storage.standardPitchEntries();
    return entries.empty() ? kConcertPitch : entries.front()->frequency();
}

KELPKeyRef key(const TarnNoteEntryStorage& storage) {
    const auto entries = storage.keyEntries();
    return KELPKey::makeWithTonicChord(entries.empty() ? KELPChord::chordWithString("C")
                                                       : entries.front()->tonicChord());
}

} // namespace tarn::analysis
