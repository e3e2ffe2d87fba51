#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include "TarnFoundation/BeatSpacing.h"
#include "TarnFoundation/SortedSearch.h"

#include <algorithm>

namespace tarn {

namespace {

using BeatRef = std::shared_ptr<TarnBeatEntry>;
using Beats = EntryList<TarnBeatEntry>;

/// A stored bar: the positions of its beats, and where the bar after it begins or the song ends.
struct Bar {
    Range<std::size_t> positions;
    std::int64_t end = 0;
};

std::size_t positionOfBeat(const Beats& beats, std::uint64_t identifier) {
    const auto position = firstIndexOfEntryWithId(beats, identifier);
    precondition(position.has_value(), "This entry does not exist!");
    return *position;
}

/// From the beat at `position` up to the next downbeat, or to the end of the grid, which is `limit`.
Bar barAt(const Beats& beats, std::size_t position, std::int64_t limit) {
    for (std::size_t i = position + 1; i < beats.size(); ++i) {
        if (beats[i]->isDownbeat())
            return {{position, i}, beats[i]->location()};
    }
    return {{position, beats.size()}, limit};
}

std::vector<BeatRef> beatsAt(const Beats& beats, Range<std::size_t> positions) {
    return {beats.begin() + positions.lower, beats.begin() + positions.upper};
}

std::int64_t sizeOf(Range<std::size_t> positions) {
    return static_cast<std::int64_t>(positions.upper - positions.lower);
}

/// The positions of two beats given in grid order, both included in the closed span; nothing otherwise.
std::optional<ClosedRange<std::size_t>> span(const Beats& beats, std::uint64_t first, std::uint64_t last) {
    const auto i = firstIndexOfEntryWithId(beats, first);
    const auto j = firstIndexOfEntryWithId(beats, last);
    if (!i || !j || *i >= *j)
        return std::nullopt;
    return ClosedRange(*i, *j);
}

void append(std::vector<BeatRef>& beats, const std::vector<BeatRef>& more) {
    beats.insert(beats.end(), more.begin(), more.end());
}

double tempoOfSpacing(std::optional<double> spacing, double sampleRate) {
    return spacing ? sampleRate * 60.0 / *spacing : 0.0;
}

} // namespace

void TarnNoteEntryStorage::shiftDownbeatsByOffset(std::int64_t offset) {
    const auto beats = beatEntries();
    auto copies = mutableCopiesOfUserEntriesInArray(beats);
    const auto count = static_cast<std::int64_t>(copies.size());
    precondition(count == 0 || offset >= -count,
                 "Downbeats cannot be shifted back by more than the number of beats");
    for (const auto& copy : copies)
        copy->setDownbeat(false);
    for (std::int64_t i = 0; i < count; ++i) {
        if (beats[static_cast<std::size_t>(i)]->isDownbeat())
            copies[static_cast<std::size_t>(checkedAdd(count + i, offset) % count)]->setDownbeat(true);
    }

    if (useQuarterNoteSpacing() && copies.size() >= 2) {
        // Downbeats belong on even positions with an even number of positions after the last one. A beat
        // before the first one moves all positions by one; a beat after the last downbeat, or the last beat's
        // place, fills the end.
        const auto isDownbeat = [](const BeatRef& beat) { return beat->isDownbeat(); };
        const auto firstDownbeat = std::find_if(copies.begin(), copies.end(), isDownbeat) - copies.begin();
        BeatRef front;
        BeatRef tail;
        if (firstDownbeat < count && firstDownbeat % 2 == 1) {
            front = newBeatEntry();
            front->setLocation(
                checkedSubtract(copies[0]->location(), distanceBetweenEntries(*copies[0], *copies[1])));
            if (front->location() < 0)
                front = nullptr;
        }
        const auto behindLastDownbeat =
            std::find_if(copies.rbegin(), copies.rend(), isDownbeat).base() - copies.begin();
        const auto lastDownbeat = behindLastDownbeat - 1; // -1 when there is none
        if (lastDownbeat >= 0 && (count - lastDownbeat) % 2 == 1) {
            // From the last downbeat, not from the last beat.
            tail = newBeatEntry();
            tail->setLocation(checkedAdd(copies[static_cast<std::size_t>(lastDownbeat)]->location(),
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
    const std::int64_t length = sizeOf(positions);
    precondition(by >= -length && by <= length,
                 "Downbeats cannot be moved by more than the length of their span");

    std::vector<BeatRef> replaced;
    std::vector<std::int64_t> targets;
    for (std::size_t k = positions.lower; k < positions.upper; ++k) {
        if (!beats[k]->isDownbeat())
            continue;
        replaced.push_back(beats[k]);
        auto target = static_cast<std::int64_t>(k - positions.lower) + by;
        if (target < 0)
            target += length;
        else if (target >= length)
            target -= length;
        targets.push_back(target);
    }
    auto copies = mutableCopiesOfUserEntriesInArray<TarnBeatEntry>(replaced);
    for (const auto& copy : copies)
        copy->setDownbeat(false);
    // A target that was a downbeat itself is copied a second time: the grid then holds both copies.
    for (const std::int64_t target : targets) {
        const auto& beat = beats[positions.lower + static_cast<std::size_t>(target)];
        replaced.push_back(beat);
        copies.push_back(copyOfBeatEntry(beat));
        copies.back()->setDownbeat(true);
    }
    replaceBeatEntriesInArrayWithBeatEntriesInArray(replaced, copies);

    auto result = beatsAt(beats, positions);
    const IdentifierSet replacedIdentifiers(replaced);
    std::erase_if(result, [&](const auto& beat) { return replacedIdentifiers.contains(beat->eventId()); });
    append(result, copies);
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
    const std::size_t position = positionOfBeat(beats, identifiedBy);
    const Bar moved = barAt(beats, position, limitedBy);

    // Without a downbeat before it, what lies before the bar is pickup: it becomes a bar from the song's
    // start.
    Range<std::size_t> previous(0, position);
    std::int64_t start = 0;
    for (std::size_t i = position; i > 0; --i) {
        if (beats[i - 1]->isDownbeat()) {
            previous.lower = i - 1;
            start = beats[i - 1]->location();
            break;
        }
    }
    precondition(to <= moved.end, "A bar line must not move beyond the end of its bar");
    precondition(previous.isEmpty() || start <= to,
                 "A bar line must not move before the start of the previous bar");

    // The moved bar's beats receive the earlier identifiers, and are listed after those of the previous bar.
    const auto newMoved =
        newBeatEntriesAtLocations(*this, evenlySpacedLocations(sizeOf(moved.positions), to, moved.end), true);
    std::vector<BeatRef> newBeats;
    if (!previous.isEmpty())
        newBeats = newBeatEntriesAtLocations(*this, evenlySpacedLocations(sizeOf(previous), start, to), true);
    append(newBeats, newMoved);
    replaceBeatEntriesInArrayWithBeatEntriesInArray(beatsAt(beats, {previous.lower, moved.positions.upper}),
                                                    newBeats);
    return newMoved.front()->eventId();
}

std::int64_t TarnNoteEntryStorage::getNumberOfBeats(std::uint64_t inBarIdentifiedBy) const {
    const auto beats = beatEntries();
    const std::int64_t count = sizeOf(barAt(beats, positionOfBeat(beats, inBarIdentifiedBy), 0).positions);
    if (!useQuarterNoteSpacing())
        return count;
    return count < 2 ? 1 : count / 2;
}

std::uint64_t TarnNoteEntryStorage::setNumberOfBeats(std::int64_t count, std::uint64_t inBarIdentifiedBy,
                                                     std::int64_t limitedBy) {
    const auto beats = beatEntries();
    const std::size_t position = positionOfBeat(beats, inBarIdentifiedBy);
    const std::int64_t start = beats[position]->location();
    const Bar bar = barAt(beats, position, limitedBy);
    const std::int64_t newSize = useQuarterNoteSpacing() ? checkedMultiply<std::int64_t>(count, 2) : count;
    precondition(start <= bar.end, "A bar must not end before it starts");
    const auto newBeats =
        newBeatEntriesAtLocations(*this, evenlySpacedLocations(newSize, start, bar.end), true);
    replaceBeatEntriesInArrayWithBeatEntriesInArray(beatsAt(beats, bar.positions), newBeats);
    return newBeats.front()->eventId();
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
// the very location of an end that is listed before it belongs to the bar before it.
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

    std::vector<std::int64_t> locations;
    for (std::size_t i = 0; i < barLines.size(); ++i) {
        const std::int64_t barEnd = i + 1 < barLines.size() ? barLines[i + 1] : end;
        const auto bar = evenlySpacedLocations(beatsPerBar, barLines[i], barEnd);
        locations.insert(locations.end(), bar.begin(), bar.end());
    }
    auto offBeats = midpointLocations(locations);
    // Behind a longer bar of a single beat the last half gap may reach past the end; the last off-beat stays
    // before it, as long as its beat does.
    if (offBeats.back() >= end && locations.back() < end)
        offBeats.back() = checkedAdd(locations.back(), checkedSubtract(end, locations.back()) / 2);

    auto newBeats = newBeatEntriesAtLocations(*this, pickup);
    const auto newQuarterNotes = newBeatEntriesAtLocations(*this, locations);
    for (std::size_t i = 0; i < newQuarterNotes.size(); i += static_cast<std::size_t>(beatsPerBar))
        newQuarterNotes[i]->setDownbeat(true);
    const auto newOffBeats = newBeatEntriesAtLocations(*this, offBeats);
    for (std::size_t i = 0; i < newQuarterNotes.size(); ++i) {
        newBeats.push_back(newQuarterNotes[i]);
        newBeats.push_back(newOffBeats[i]);
    }

    const std::size_t endReplaced =
        keepsEnd ? positionOfBeat(beats, quarterNotes[kept]->eventId()) : beats.size();
    replaceBeatEntriesInArrayWithBeatEntriesInArray(beatsAt(beats, {firstReplaced, endReplaced}), newBeats);

    std::vector<std::uint64_t> identifiers;
    identifiers.reserve(newBeats.size());
    for (const auto& beat : newBeats)
        identifiers.push_back(beat->eventId());
    return identifiers;
}

} // namespace tarn
