#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include "Platform/Log.h"
#include "Platform/UndoManager.h"
#include "TarnFoundation/BeatGridReading.h"
#include "TarnFoundation/BeatSpacing.h"

#include <map>

namespace tarn {

TimeSignature TarnNoteEntryStorage::timeSignature() const {
    const auto signatures = timeSignatureEntries();
    if (signatures.empty())
        return {4, 4};
    return {signatures.front()->numerator(), signatures.front()->denominator()};
}

void TarnNoteEntryStorage::setTimeSignature(std::uint8_t numerator, std::uint8_t denominator) {
    const auto signature = newTimeSignatureEntry();
    signature->setLocation(0);
    signature->setNumerator(numerator);
    signature->setDenominator(denominator);
    replaceTimeSignatureEntriesInArrayWithTimeSignatureEntriesInArray(timeSignatureEntries(), {signature});
}

bool TarnNoteEntryStorage::useQuarterNoteSpacing() const {
    // Without an entry the signature reads 4/4, yet the grid is not in quarter-note spacing.
    const auto signatures = timeSignatureEntries();
    return !signatures.empty() && signatures.front()->denominator() == 4;
}

void TarnNoteEntryStorage::setTimeSignatureByDenominator(std::int64_t denominator) {
    if (denominator != 8 && denominator != 4)
        return;
    constexpr std::size_t kSmallestNumerator = 2;
    constexpr std::size_t kLargestNumerator = 20;

    const BarLines stored = barLinesOf(beatEntries());
    const BarLines barLines = denominator == 4 ? stored.keeping(stored.quarterNotes()) : stored;
    std::map<std::size_t, std::size_t> countsByBarLength;
    // Pickup beats count like a bar that has a downbeat before them; a downbeat alone does not count.
    if (const std::size_t pickup = sizeOf(barLines.pickup()); pickup > 0)
        ++countsByBarLength[pickup + 1];
    for (std::size_t i = 0; i < barLines.barCount(); ++i) {
        if (const std::size_t length = sizeOf(barLines.bar(i)); length > 1)
            ++countsByBarLength[length];
    }

    auto numerator = static_cast<std::size_t>(denominator);
    std::size_t greatestCount = 0;
    for (const auto& [length, count] : countsByBarLength) {
        // The map ascends, so of equally frequent lengths the smallest stays.
        if (length >= kSmallestNumerator && length <= kLargestNumerator && count > greatestCount) {
            numerator = length;
            greatestCount = count;
        }
    }
    setTimeSignature(static_cast<std::uint8_t>(numerator), static_cast<std::uint8_t>(denominator));
}

EntryList<TarnBeatEntry>
TarnNoteEntryStorage::beatEntriesFilteredByTimeSignatureDenominator(std::int64_t denominator) const {
    auto beats = beatEntries();
    if (denominator != 4)
        return beats;
    std::vector<std::shared_ptr<TarnBeatEntry>> view;
    view.reserve(beats.size() / 2 + 1);
    takeQuarterNotes(
        beats.size(), [&](std::size_t position) { return nextDownbeat(beats, position); },
        [&](std::size_t position) { view.push_back(beats.uncheckedAt(position)); });
    return view;
}

EntryList<TarnBeatEntry> TarnNoteEntryStorage::beatEntriesFilteredByTimeSignature() const {
    return beatEntriesFilteredByTimeSignatureDenominator(useQuarterNoteSpacing() ? 4 : 8);
}

void TarnNoteEntryStorage::applyTimeSignatureToBeatEntries(const TarnTimeSignatureEntry& signature) {
    const auto beats = beatEntries();
    if (const auto marked = _beatEntriesWithTimeSignature(signature, beats))
        replaceBeatEntriesInArrayWithBeatEntriesInArray(beats, *marked);
}

std::optional<EntryList<TarnBeatEntry>>
TarnNoteEntryStorage::_beatEntriesWithTimeSignature(const TarnTimeSignatureEntry& signature,
                                                    const EntryList<TarnBeatEntry>& beats) {
    if (signature.numerator() == 0 || signature.denominator() == 0)
        return beats;
    const BarLines barLines = barLinesOf(beats);
    if (barLines.barCount() == 0) {
        mLog.write(LogLevel::debug, "No downbeat to apply the time signature from.");
        return std::nullopt;
    }
    auto copies = mutableCopiesOfUserEntriesInArray(beats);
    for (const auto& copy : copies)
        copy->setDownbeat(false);
    const std::size_t step = signature.numerator() * std::size_t{signature.denominator() == 4 ? 2u : 1u};
    const BarLines marked = barLines.markedEvery(step);
    for (const std::size_t downbeat : marked.downbeats())
        copies[downbeat]->setDownbeat(true);
    return copies;
}

bool TarnNoteEntryStorage::needsTimeSignatureMigration() const {
    return !useLegacyBeatFiltering() && timeSignature().denominator != 4;
}

bool TarnNoteEntryStorage::performTimeSignatureMigration() {
    const TimeSignature signature = timeSignature();
    if (signature.denominator == 4)
        return false;
    std::vector<std::int64_t> locations;
    for (const auto& beat : beatEntries())
        locations.push_back(beat->location());
    const auto inBetween = newBeatEntriesAtLocations(*this, midpointLocations(locations));

    const auto alive = sharedSelf(); // an observer of the first change may let go of the document
    const UndoGroup group(undoManager, false);
    // The beats first: while the old signature stands, no rule prunes them.
    addBeatEntriesFromArray(inBetween);
    setTimeSignature(signature.numerator, 4);
    return true;
}

} // namespace tarn
