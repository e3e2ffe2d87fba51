#include "TarnFoundation/TarnPrerollController.h"

#include "TarnFoundation/BeatGridReading.h"
#include "TarnFoundation/BeatSpacing.h"
#include "TarnFoundation/SortedSearch.h"

#include <cmath>

namespace tarn {

namespace {

/// Mean distance of the first eight beats in whole frames, half to even.
std::int64_t artificialSpacing(const EntryList<TarnBeatEntry>& beats) {
    constexpr std::size_t kBeats = 8;
    precondition(beats.size() >= kBeats,
                 "A count-in before the song needs at least eight beats to take the spacing from");
    const auto distance = checkedSubtract(beats[kBeats - 1]->location(), beats[0]->location());
    return checkedTruncation<std::int64_t>(std::nearbyint(static_cast<double>(distance) / (kBeats - 1)));
}

} // namespace

std::int64_t TarnPrerollController::storedBeatsPerBar() const {
    const auto signatures = noteEntryStorage->timeSignatureEntries();
    if (signatures.empty())
        return 8;
    const std::int64_t numerator = signatures.front()->numerator();
    return signatures.front()->denominator() == 8 ? numerator : 2 * numerator;
}

Checked<std::int64_t> TarnPrerollController::countInLength() const {
    return tryMultiply(storedBeatsPerBar(), countInBars);
}

std::optional<std::int64_t> TarnPrerollController::anchorIndex(std::int64_t frame) const {
    const auto index = indexForSample(noteEntryStorage->beatEntries(), frame);
    return index ? std::optional(static_cast<std::int64_t>(*index)) : std::nullopt;
}

std::int64_t TarnPrerollController::snappedFrameForCountIn(std::int64_t closestTo) const {
    const auto beats = noteEntryStorage->beatEntries();
    const auto index = indexForSample(beats, closestTo);
    return index ? beats[*index]->location() : closestTo;
}

Checked<bool> TarnPrerollController::requiresArtificialBeatEntries(std::int64_t prerollFrame) const {
    const auto anchor = anchorIndex(prerollFrame);
    if (!anchor)
        return true;
    const auto lastOfCountIn =
        countInLength().then([](std::int64_t length) { return trySubtract<std::int64_t>(length, 1); });
    return lastOfCountIn.then([&](std::int64_t last) { return Checked(*anchor < last); });
}

bool TarnPrerollController::requiresArtificialBeatEntriesForPrerollFrame(std::int64_t frame) const {
    return requiresArtificialBeatEntries(frame).orAbort();
}
std::optional<bool>
TarnPrerollController::tryRequiresArtificialBeatEntriesForPrerollFrame(std::int64_t frame) const {
    return requiresArtificialBeatEntries(frame).value();
}

void TarnPrerollController::generateArtificialBeatEntriesForPrerollFrame(std::int64_t frame) {
    const std::int64_t needed = checkedSubtract(countInLength().orAbort(), anchorIndex(frame).value_or(0));
    precondition(needed >= 1, "Artificial beats are only generated where beats are missing");
    const auto beats = noteEntryStorage->beatEntries();
    const std::int64_t spacing = artificialSpacing(beats);
    const std::int64_t first = checkedSubtract(beats.front()->location(), checkedMultiply(needed, spacing));
    std::vector<std::int64_t> locations;
    locations.reserve(static_cast<std::size_t>(needed));
    for (std::int64_t k = 0; k < needed; ++k)
        locations.push_back(first + k * spacing); // between `first` and the first beat
    noteEntryStorage->addBeatEntriesFromArray(newBeatEntriesAtLocations(*noteEntryStorage, locations));

    const auto extended = noteEntryStorage->beatEntries();
    const auto downbeat = indexOfDownbeatEntryAfter(extended, frame);
    if (!downbeat)
        return;
    std::vector<std::shared_ptr<TarnBeatEntry>> unmarked;
    std::vector<std::shared_ptr<TarnBeatEntry>> marked;
    const auto beatsPerBar = static_cast<std::size_t>(storedBeatsPerBar());
    for (std::size_t p = *downbeat; p >= beatsPerBar;) {
        p -= beatsPerBar;
        unmarked.push_back(extended[p]);
        marked.push_back(noteEntryStorage->copyOfBeatEntry(extended[p]));
        marked.back()->setDownbeat(true);
    }
    if (!marked.empty())
        noteEntryStorage->replaceBeatEntriesInArrayWithBeatEntriesInArray(unmarked, marked);
}

void TarnPrerollController::clearArtificialBeatEntries() {
    std::vector<std::shared_ptr<TarnBeatEntry>> artificial;
    for (const auto& beat : noteEntryStorage->beatEntries()) {
        if (beat->location() < 0)
            artificial.push_back(beat);
    }
    noteEntryStorage->removeBeatEntriesInArray(artificial);
}

std::int64_t TarnPrerollController::prerollFrame(std::int64_t for_) const {
    const auto beats = noteEntryStorage->beatEntries();
    const auto current = indexForSample(beats, for_);
    // A few bars back, without a look at the rest of the grid.
    auto downbeat = current ? previousDownbeat(beats, *current) : std::nullopt;
    if (!downbeat)
        return for_;
    for (std::int64_t bars = 1; bars < countInBars; ++bars) {
        const auto previous = previousDownbeat(beats, *downbeat);
        if (!previous)
            break;
        downbeat = previous;
    }
    return beats[*downbeat]->location();
}

} // namespace tarn
