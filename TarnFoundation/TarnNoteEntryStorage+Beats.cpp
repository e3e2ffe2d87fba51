#include "TarnFoundation/UserEntries/EntryOrder.h"
#include "TarnFoundation/UserEntries/IdentifierSet.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include "TarnFoundation/BeatGridReading.h"
#include "TarnFoundation/BeatSpacing.h"
#include "TarnFoundation/SortedSearch.h"

#include <algorithm>

namespace tarn {

namespace {

using BeatRef = std::shared_ptr<TarnBeatEntry>;
using Beats = EntryList<TarnBeatEntry>;

std::size_t positionOfBeat(BeatEntries beats, std::uint64_t identifier) {
    const auto position = firstIndexOfEntryWithId(beats, identifier);
    precondition(position.has_value(), "This entry does not exist!");
    return *position;
}

std::vector<BeatRef> beatsAt(BeatEntries beats, Range<std::size_t> positions) {
    const auto part = beats.subspan(positions.lower, sizeOf(positions));
    return {part.begin(), part.end()};
}

/// A bar of the document, and the one before it, as a part of the grid: `beats` and `grid` are that part, and
/// the bar begins at `position` in it. An unknown identifier aborts.
struct BarInGrid {
    BarInGrid(BeatEntries all, std::uint64_t identifier) {
        const std::size_t first = positionOfBeat(all, identifier);
        const auto around = barsAround(all, first);
        beats = all.subspan(around.lower, sizeOf(around));
        grid = beatGridOf(beats);
        position = first - around.lower;
    }
    BeatEntries beats;
    BeatGrid grid;
    std::size_t position = 0;
};

/// The positions of two beats given in grid order, both included in the closed span; nothing otherwise.
std::optional<ClosedRange<std::size_t>> span(const Beats& beats, std::uint64_t first, std::uint64_t last) {
    const auto i = firstIndexOfEntryWithId(beats, first);
    const auto j = firstIndexOfEntryWithId(beats, last);
    if (!i || !j || *i >= *j)
        return std::nullopt;
    return ClosedRange(*i, *j);
}

double tempoOfSpacing(std::optional<double> spacing, double sampleRate) {
    return spacing ? sampleRate * 60.0 / *spacing : 0.0;
}

} // namespace

void TarnNoteEntryStorage::shiftDownbeatsByOffset(std::int64_t offset) {
    const auto beats = beatEntries();
    const BarLines barLines = barLinesOf(beats).shifted(offset);
    auto copies = mutableCopiesOfUserEntriesInArray(beats);
    for (const auto& copy : copies)
        copy->setDownbeat(false);
    for (const std::size_t downbeat : barLines.downbeats())
        copies[downbeat]->setDownbeat(true);

    // Of a grid in eighths, the first bar must begin on an even position and the last have an even number of
    // them. A beat before the first one moves all positions by one; a beat after the last downbeat, or the
    // last beat's place, fills the end. Each beat that is missing takes up an identifier, used or not.
    if (useQuarterNoteSpacing() && copies.size() >= 2 && barLines.barCount() > 0) {
        const auto lastBar = barLines.bar(barLines.barCount() - 1);
        BeatRef front;
        BeatRef tail;
        if (barLines.pickup().upper % 2 == 1) {
            front = newBeatEntry();
            front->setLocation(
                checkedSubtract(copies[0]->location(), distanceBetweenEntries(*copies[0], *copies[1])));
            if (front->location() < 0)
                front = nullptr;
        }
        if (sizeOf(lastBar) % 2 == 1) {
            // From the last downbeat, not from the last beat.
            tail = newBeatEntry();
            tail->setLocation(checkedAdd(copies[lastBar.lower]->location(),
                                         distanceBetweenEntries(**(copies.end() - 2), *copies.back())));
        }
        if (front && tail) {
            front->setDownbeat(copies.back()->isDownbeat());
            copies.back() = front;
        } else if (front || tail) {
            copies.push_back(front ? front : tail);
        }
    }
    replaceBeatEntriesInArrayWithBeatEntriesInArray(beats, copies);
}

Beats TarnNoteEntryStorage::beatEntriesBetween(std::uint64_t entryWithId,
                                               std::uint64_t andEntryWithId) const {
    const auto beats = beatEntries();
    const auto found = span(beats, entryWithId, andEntryWithId);
    return found ? beatsAt(beats, {found->lower + 1, found->upper}) : Beats();
}

Beats TarnNoteEntryStorage::beatEntriesBetweenInclusive(std::uint64_t entryWithId,
                                                        std::uint64_t andEntryWithId) const {
    const auto beats = beatEntries();
    const auto found = span(beats, entryWithId, andEntryWithId);
    return found ? beatsAt(beats, {found->lower, found->upper + 1}) : Beats();
}

Beats TarnNoteEntryStorage::offsetDownbeatEntries(std::int64_t by, std::uint64_t betweenEntryWithId,
                                                  std::uint64_t andEntryWithId) {
    const auto beats = beatEntries();
    const auto found = span(beats, betweenEntryWithId, andEntryWithId);
    if (!found)
        return {};
    const Range<std::size_t> positions(found->lower, found->upper + 1);
    const auto spanned = beatsAt(beats, positions);
    const std::int64_t length = std::ssize(spanned);
    precondition(by >= -length && by <= length,
                 "Downbeats cannot be moved by more than the length of their span");
    const auto moves = barLinesOf(spanned).moves(by);
    std::vector<BeatRef> replaced;
    replaced.reserve(2 * moves.size());
    for (const auto& move : moves)
        replaced.push_back(spanned[move.from]);
    auto copies = mutableCopiesOfUserEntriesInArray<TarnBeatEntry>(replaced);
    for (const auto& copy : copies)
        copy->setDownbeat(false);
    // A target that was a downbeat itself is copied a second time: the grid then holds both copies.
    for (const auto& move : moves) {
        replaced.push_back(spanned[move.to]);
        copies.push_back(copyOfBeatEntry(spanned[move.to]));
        copies.back()->setDownbeat(true);
    }
    replaceBeatEntriesInArrayWithBeatEntriesInArray(replaced, copies);

    auto result = spanned;
    const IdentifierSet replacedIdentifiers(replaced);
    std::erase_if(result, [&](const auto& beat) { return replacedIdentifiers.contains(beat->eventId()); });
    result.insert(result.end(), copies.begin(), copies.end());
    sortByLocation(result);
    return result;
}

Checked<std::optional<double>> TarnNoteEntryStorage::checkedAverageBeatEntrySpacing() const {
    const auto beats = beatEntriesFilteredByTimeSignature();
    if (beats.empty())
        return {std::nullopt};
    double sum = 0;
    for (std::size_t i = 0; i + 1 < beats.size(); ++i) {
        const auto distance = trySubtract(beats[i + 1]->location(), beats[i]->location());
        if (!distance.value())
            return Checked<std::optional<double>>::failure(distance.reason());
        sum += static_cast<double>(*distance.value());
    }
    // A single beat has no spacing: 0 / 0 is not-a-number.
    return {sum / static_cast<double>(beats.size() - 1)};
}

std::optional<double> TarnNoteEntryStorage::averageBeatEntrySpacing() const {
    return checkedAverageBeatEntrySpacing().orAbort();
}
std::optional<double> TarnNoteEntryStorage::tryAverageBeatEntrySpacing() const {
    return checkedAverageBeatEntrySpacing().value().value_or(std::nullopt);
}

double TarnNoteEntryStorage::tempoFromBeatEntries(double sampleRate) const {
    return tempoOfSpacing(averageBeatEntrySpacing(), sampleRate);
}
std::optional<double> TarnNoteEntryStorage::tryTempoFromBeatEntries(double sampleRate) const {
    const auto spacing = checkedAverageBeatEntrySpacing().value();
    return spacing ? std::optional(tempoOfSpacing(*spacing, sampleRate)) : std::nullopt;
}

std::uint64_t TarnNoteEntryStorage::setLocationOfBarEntry(std::uint64_t identifiedBy, std::int64_t to,
                                                          std::int64_t limitedBy) {
    const auto beats = beatEntries();
    const BarInGrid bar(beats, identifiedBy);
    const GridEdit edit = bar.grid.barMoved(bar.position, to, limitedBy);
    // The moved bar's beats receive the earlier identifiers, and are listed after those of the previous bar.
    const auto previousSize = bar.position - edit.replaced.lower;
    const auto moved = newBeatEntries(*this, std::span(edit.beats).subspan(previousSize));
    auto added = newBeatEntries(*this, std::span(edit.beats).first(previousSize));
    added.insert(added.end(), moved.begin(), moved.end());
    replaceBeatEntriesInArrayWithBeatEntriesInArray(beatsAt(bar.beats, edit.replaced), added);
    return moved.front()->eventId();
}

std::int64_t TarnNoteEntryStorage::getNumberOfBeats(std::uint64_t inBarIdentifiedBy) const {
    const auto beats = beatEntries();
    const BarInGrid bar(beats, inBarIdentifiedBy);
    const auto count = static_cast<std::int64_t>(sizeOf(bar.grid.barLines().stretchFrom(bar.position)));
    if (!useQuarterNoteSpacing())
        return count;
    return count < 2 ? 1 : count / 2;
}

std::uint64_t TarnNoteEntryStorage::setNumberOfBeats(std::int64_t count, std::uint64_t inBarIdentifiedBy,
                                                     std::int64_t limitedBy) {
    const auto beats = beatEntries();
    const BarInGrid bar(beats, inBarIdentifiedBy);
    const std::int64_t size = useQuarterNoteSpacing() ? checkedMultiply<std::int64_t>(count, 2) : count;
    const GridEdit edit = bar.grid.barRefilled(bar.position, size, limitedBy);
    const auto added = newBeatEntries(*this, edit.beats);
    replaceBeatEntriesInArrayWithBeatEntriesInArray(beatsAt(bar.beats, edit.replaced), added);
    return added.front()->eventId();
}

// What happens at the two ends of the range. Everything is decided on quarter-note beats, so that what is
// kept before and after the new bars has an even number of positions and no rule prunes it.
//
// Start, with a downbeat at or before the range: that bar's line stays where it is; from there to the first
// new downbeat lies one more bar of `beatsPerBar` beats (none when both coincide).
//
// Start, without one: the beats before the range are pickup. The last of them at or before the range begins a
// stretch that leads up to the first new downbeat; the stretch keeps its number of positions (made even, at
// least 2), evenly spaced and without a downbeat. With no beat there either, the grid opens with the first
// new downbeat.
//
// End, with a downbeat after the range: the last new bar reaches up to it.
//
// End, without one: the last new bar reaches up to the first beat at or after the range's end, which stays
// with all that follow it as the rest of that bar; with no such beat, up to the range's end, and the grid
// ends with it.
//
// Old beats between the two ends are replaced, all others stay. Positions decide, not locations: a beat at
// the very location of an end that is listed before it belongs to the bar before it. The ends are found by
// identity: of an entry that is stored twice the first place counts.
std::vector<std::uint64_t> TarnNoteEntryStorage::replaceBeatEntries(
    Range<std::int64_t> in, const std::vector<std::int64_t>& withDownbeatsAt, std::int64_t beatsPerBar) {
    if (withDownbeatsAt.empty())
        return {};
    for (const std::int64_t downbeat : withDownbeatsAt)
        precondition(in.contains(downbeat), "Downbeats must lie in the range");
    precondition(useQuarterNoteSpacing(), "Not implemented, yet!");
    precondition(std::adjacent_find(withDownbeatsAt.begin(), withDownbeatsAt.end(), std::greater_equal<>()) ==
                     withDownbeatsAt.end(),
                 "Downbeats must ascend");
    precondition(beatsPerBar >= 1, "A bar must hold at least one beat");

    const auto beats = beatEntries();
    const auto quarterNotes = beatEntriesFilteredByTimeSignatureDenominator(4);
    const auto firstAtOrPast = [](const Beats& entries, std::int64_t location) {
        return lowerBound(entries, location,
                          [](const BeatRef& beat, std::int64_t value) { return beat->location() < value; });
    };

    std::size_t firstReplaced = firstAtOrPast(beats, in.lower);
    std::vector<std::int64_t> pickup;
    std::vector<std::int64_t> barLines = withDownbeatsAt;
    if (const auto downbeat = indexOfDownbeatEntryBefore(quarterNotes, in.lower)) {
        const std::int64_t start = quarterNotes[*downbeat]->location();
        firstReplaced = positionOfBeat(beats, quarterNotes[*downbeat]->eventId());
        if (start < barLines.front())
            barLines.insert(barLines.begin(), start);
    } else if (const auto lastPickup = indexForSample(quarterNotes, in.lower)) {
        const std::int64_t start = quarterNotes[*lastPickup]->location();
        firstReplaced = positionOfBeat(beats, quarterNotes[*lastPickup]->eventId());
        if (start < barLines.front()) {
            const auto size = firstAtOrPast(beats, barLines.front()) - firstReplaced;
            const auto evenSize = std::max<std::int64_t>(static_cast<std::int64_t>(size) / 2 * 2, 2);
            pickup = evenlySpacedLocations(evenSize, start, barLines.front());
        }
    }
    std::size_t kept = indexOfDownbeatEntryAfter(quarterNotes, in.upper).value_or(quarterNotes.size());
    if (kept == quarterNotes.size())
        kept = firstAtOrPast(quarterNotes, in.upper);
    const bool keepsEnd = kept < quarterNotes.size();
    const std::int64_t end = keepsEnd ? quarterNotes[kept]->location() : in.upper;

    // The pickup's beats receive the first identifiers, then come all counted beats, then those between them.
    auto added = newBeatEntriesAtLocations(*this, pickup);
    const auto bars = barsInEighths(barLines, end, beatsPerBar);
    std::vector<BeatRef> made(bars.size());
    for (const std::size_t first : {0u, 1u}) {
        for (std::size_t i = first; i < bars.size(); i += 2)
            made[i] = tarn::newBeatEntry(*this, bars[i]);
    }
    added.insert(added.end(), made.begin(), made.end());

    const std::size_t endReplaced =
        keepsEnd ? positionOfBeat(beats, quarterNotes[kept]->eventId()) : beats.size();
    replaceBeatEntriesInArrayWithBeatEntriesInArray(beatsAt(beats, {firstReplaced, endReplaced}), added);

    std::vector<std::uint64_t> identifiers;
    identifiers.reserve(added.size());
    for (const auto& beat : added)
        identifiers.push_back(beat->eventId());
    return identifiers;
}

} // namespace tarn
