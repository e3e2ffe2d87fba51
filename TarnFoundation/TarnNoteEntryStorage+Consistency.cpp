#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include "Platform/Log.h"
#include "Platform/RecursiveLock.h"
#include "TarnFoundation/BeatGridReading.h"
#include "TarnFoundation/UserEntries/EntryOrder.h"

#include <algorithm>

namespace tarn {

void TarnNoteEntryStorage::eliminateBogusEntries() {
    const auto alive = sharedSelf(); // an observer of the first change may let go of the document
    eliminateBogusRegionEntries();
    eliminateBogusBeatEntries();
}

void TarnNoteEntryStorage::eliminateBogusRegionEntries() {
    std::vector<std::shared_ptr<TarnRegionEntry>> bogus;
    for (const auto& region : regionEntries()) {
        if (!region->isValid())
            bogus.push_back(region);
    }
    if (!bogus.empty())
        removeRegionEntriesInArray(std::move(bogus));
}

void TarnNoteEntryStorage::eliminateBogusBeatEntries() {
    std::vector<std::shared_ptr<TarnBeatEntry>> bogus;
    for (const auto& beat : beatEntries()) {
        if (beat->location() < 0)
            bogus.push_back(beat);
    }
    if (!bogus.empty())
        removeBeatEntriesInArray(std::move(bogus));
}

bool TarnNoteEntryStorage::containsBaselineContent() const {
    return !timeSignatureEntries().empty() && !tempoEntries().empty();
}

bool TarnNoteEntryStorage::_useQuarterNoteSpacing() const {
    const LockGuard guard(storageLock());
    const auto& signatures = array<TimeSignatureKind>().stored();
    return !signatures.empty() && signatures.front()->denominator() == 4;
}

void TarnNoteEntryStorage::enforceConsistencyOfBeatEntriesInArray(BeatDraft& beats) {
    if (beats.entries.empty())
        return;
    sortByLocation(beats.entries, beats.orderedCount);
    mLog.write(LogLevel::debug, "Enforcing consistency of beat entries.");
    if (_useQuarterNoteSpacing())
        enforceQuarterNoteSpacingOfBeatEntriesInArray(beats.entries);
    beats.orderedCount = beats.entries.size();
}

void TarnNoteEntryStorage::enforceQuarterNoteSpacingOfBeatEntriesInArray(
    std::vector<std::shared_ptr<TarnBeatEntry>>& beats) const {
    std::vector<std::size_t> removed;
    takeUnpaired(
        beats.size(), [&](std::size_t position) { return nextDownbeat(beats, position); },
        [&](std::size_t position) { removed.push_back(position); });
    if (removed.empty())
        return;
    const std::size_t firstDownbeat = nextDownbeat(beats, 0);
    if (firstDownbeat == beats.size()) {
        mLog.write(LogLevel::debug, "Removing last beat entry at odd position.");
    } else {
        if (firstDownbeat % 2 == 1)
            mLog.write(LogLevel::debug, "Removing first beat entry at odd position.");
        mLog.write(LogLevel::debug, "Removing {} beat entries at odd positions.",
                   [&] { return std::vector{logPublic(removed.size())}; });
    }
    std::size_t next = 0;
    std::size_t position = 0;
    std::erase_if(beats, [&](const auto&) {
        const bool remove = next < removed.size() && removed[next] == position;
        next += remove;
        ++position;
        return remove;
    });
}

} // namespace tarn
