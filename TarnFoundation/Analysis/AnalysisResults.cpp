#include "TarnFoundation/Analysis/AnalysisResults.h"

#include "Platform/CheckedArithmetic.h"
#include "TarnFoundation/BeatSpacing.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace tarn::analysis {

namespace {

constexpr int kPitchClassCount = 12;
constexpr int kMajorTriadID = 1;
constexpr int kMinorTriadID = 2;

// Whether the tonic on a pitch class is spelled with a flat.
constexpr bool kMajorTonicIsFlat[kPitchClassCount] = {false, true,  false, true,  false, false,
                                                      false, false, true,  false, true,  false};
constexpr bool kMinorTonicIsFlat[kPitchClassCount] = {false, false, false, false, false, false,
                                                      false, false, false, false, true,  false};

/// The tonic triad of a key: 0 to 11 the major keys from C, 12 and above the minor keys.
KELPChordRef tonicTriad(int keyIndex) {
    precondition(keyIndex >= 0, "A key index must not be negative");
    const bool isMajor = keyIndex < kPitchClassCount;
    const int pitchClass = keyIndex % kPitchClassCount;
    const auto* intervals = KELPChordIntervalsWithID(isMajor ? kMajorTriadID : kMinorTriadID);
    precondition(intervals != nullptr, "The chord table lacks the triads");
    const bool isFlat = (isMajor ? kMajorTonicIsFlat : kMinorTonicIsFlat)[pitchClass];
    return KELPChord::chordWithRoot(KELPNote::noteWithValue(pitchClass, isFlat), *intervals);
}

} // namespace

std::shared_ptr<TarnStandardPitchEntry> newStandardPitchEntry(TarnNoteEntryStorage& storage,
                                                              double frequency) {
    auto entry = storage.newStandardPitchEntry();
    entry->setFrequency(frequency);
    return entry;
}

std::shared_ptr<TarnKeyEntry> newKeyEntry(TarnNoteEntryStorage& storage, int keyIndex) {
    auto entry = storage.newKeyEntry();
    entry->setTonicChord(tonicTriad(keyIndex));
    return entry;
}

std::shared_ptr<TarnTempoEntry> newTempoEntry(TarnNoteEntryStorage& storage, double tempo) {
    auto entry = storage.newTempoEntry();
    entry->setTempo(static_cast<float>(tempo));
    return entry;
}

std::shared_ptr<TarnTimeSignatureEntry> newTimeSignatureEntry(TarnNoteEntryStorage& storage,
                                                              std::int64_t tatumCount) {
    constexpr std::uint8_t kDenominator = 4;
    // Two tatums make a counted beat; -1, halved toward zero, is within range.
    const std::int64_t numerator = tatumCount / 2;
    precondition(numerator >= 0 && numerator <= std::numeric_limits<std::uint8_t>::max(),
                 "The tatum count of a bar is out of range");
    auto entry = storage.newTimeSignatureEntry();
    entry->setNumerator(static_cast<std::uint8_t>(numerator));
    entry->setDenominator(kDenominator);
    return entry;
}

std::optional<EntryList<TarnBeatEntry>> newBeatEntries(TarnNoteEntryStorage& storage,
                                                       const std::vector<std::int64_t>& locations,
                                                       std::int64_t downbeatLocation,
                                                       std::int64_t tatumCount) {
    auto beats = newBeatEntriesAtLocations(storage, locations);
    const auto downbeat = std::find(locations.begin(), locations.end(), downbeatLocation);
    if (downbeat == locations.end())
        return std::nullopt;
    precondition(tatumCount != 0, "A bar without tatums has no next downbeat");
    BarLines bars(beats.size(), {static_cast<std::size_t>(downbeat - locations.begin())});
    // One bar is `tatumCount` stored beats, not as many as the numerator of its time signature.
    if (tatumCount > 0)
        bars = bars.markedEvery(static_cast<std::size_t>(tatumCount));
    for (const std::size_t position : bars.downbeats())
        beats[position]->setDownbeat(true);
    return EntryList<TarnBeatEntry>(std::move(beats));
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
