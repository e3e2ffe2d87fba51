#pragma once

#include "KELPMusic/KELPChordDetectionResult.h"
#include "Platform/Export.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

/// How what an analysis found becomes new entries of a document. None is inserted here. Any thread may ask.
namespace TARN_PUBLIC tarn {
namespace analysis {

[[nodiscard]] std::shared_ptr<TarnStandardPitchEntry> newStandardPitchEntry(TarnNoteEntryStorage& storage,
                                                                            double frequency);

/// 0 to 11 are the major keys from C; the others are minor keys, from C as well. A negative index aborts.
[[nodiscard]] std::shared_ptr<TarnKeyEntry> newKeyEntry(TarnNoteEntryStorage& storage, int keyIndex);

/// In counted beats per minute.
[[nodiscard]] std::shared_ptr<TarnTempoEntry> newTempoEntry(TarnNoteEntryStorage& storage, double tempo);

/// In quarters, two tatums to each; fewer than -1 or more than 511 abort.
[[nodiscard]] std::shared_ptr<TarnTimeSignatureEntry> newTimeSignatureEntry(TarnNoteEntryStorage& storage,
                                                                            std::int64_t tatumCount);

/// One for each location, in frames and in their order. Downbeats are the first one at `downbeatLocation` and
/// every `tatumCount`-th after it, none for a negative count; a count of 0 aborts. Nothing when no location
/// is the downbeat's.
[[nodiscard]] std::optional<EntryList<TarnBeatEntry>>
newBeatEntries(TarnNoteEntryStorage& storage, const std::vector<std::int64_t>& locations,
               std::int64_t downbeatLocation, std::int64_t tatumCount);

/// One for each result and in their order.
[[nodiscard]] EntryList<TarnChordEntry> newChordEntries(TarnNoteEntryStorage& storage,
                                                        const ChordDetectionResultArray& results);

} // namespace analysis
} // namespace tarn
