#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

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
    const auto& signatures = mTimeSignatureEntryArray.stored();
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
    // All tests are one-sided and look at positions before any removal; nothing is examined again afterwards.
    std::vector<std::size_t> removed;
    const std::size_t count = beats.size();
    std::size_t downbeat = count; // the last one so far
    for (std::size_t i = 0; i < count; ++i) {
        if (!beats[i]->isDownbeat())
            continue;
        if (downbeat == count) {
            if (i % 2 == 1) {
                mLog.write(LogLevel::debug, "Removing first beat entry at odd position.");
                removed.push_back(0);
            }
        } else if ((i - downbeat) % 2 == 1) {
            removed.push_back(i - 1);
        }
        downbeat = i;
    }
    if (downbeat == count) {
        if (count % 2 == 1) {
            mLog.write(LogLevel::debug, "Removing last beat entry at odd position.");
            beats.pop_back();
        }
        return;
    }
    if ((count - downbeat) % 2 == 1)
        removed.push_back(count - 1);
    if (removed.empty())
        return;
    mLog.write(LogLevel::debug, "Removing {} beat entries at odd positions.",
               [&] { return std::vector{logPublic(removed.size())}; });
    // The positions are ascending and distinct: position 0 is only ever removed once, since a first downbeat
    // at an odd position lies behind it.
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
