#include "TarnFoundation/UserEntries/TarnBeatLocator.h"

#include "Platform/IntegerTable.h"
#include "Platform/Log.h"
#include "TarnFoundation/SortedSearch.h"
#include "TarnFoundation/UserEntries/IdentifierSet.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <span>

namespace tarn {

namespace {

/// Sorted entries in the locator's order: by location as an unsigned number.
constexpr auto kLocationAtMost = [](const auto& entry, std::uint64_t sample) {
    return entry.location() <= sample;
};

EntryList<TarnBeatEntry> withoutNegativeLocations(const EntryList<TarnBeatEntry>& beats) {
    const auto firstKept = indexOfElementPast(beats, -1);
    if (firstKept == std::size_t{0})
        return beats;
    return firstKept ? std::vector(beats.begin() + *firstKept, beats.end())
                     : std::vector<std::shared_ptr<TarnBeatEntry>>();
}

/// The identifier of an entry at exactly the sample (of several whichever the halving meets first), else of
/// the last one before it. `locationAt` and `identifierAt` take the position of an entry.
template <typename LocationAt, typename IdentifierAt>
std::uint64_t identifierAtOrBefore(std::uint64_t sample, std::size_t count, LocationAt locationAt,
                                   IdentifierAt identifierAt) {
    std::int64_t low = 0;
    std::int64_t high = static_cast<std::int64_t>(count) - 1;
    while (low <= high) {
        const std::int64_t middle = (low + high) / 2;
        const std::uint64_t location = locationAt(static_cast<std::size_t>(middle));
        if (location == sample)
            return identifierAt(static_cast<std::size_t>(middle));
        if (location > sample)
            high = middle - 1;
        else
            low = middle + 1;
    }
    return high < 0 ? kNotFound : identifierAt(static_cast<std::size_t>(high));
}

/// Whether each one is greater than the one before.
bool isAscending(const std::vector<std::uint64_t>& identifiers) {
    return std::adjacent_find(identifiers.begin(), identifiers.end(), std::greater_equal<>()) ==
           identifiers.end();
}

/// Of beats with one identifier the first one's index counts.
void moveToFirstPositions(std::vector<TarnBeatLocatorBarEntry>& bars,
                          const std::vector<std::uint64_t>& identifiers) {
    IntegerTable firstPositions(identifiers.size());
    for (std::size_t i = 0; i < identifiers.size(); ++i)
        firstPositions.insert(identifiers[i], i);
    for (auto& bar : bars) {
        const std::size_t first = firstPositions.insert(bar.eventId(), bar.index()).first;
        bar = TarnBeatLocatorBarEntry::entryWithIndex(first, bar.beatEntry());
    }
}

} // namespace

void TarnBeatLocator::updateWithNoteEntryStorage(const TarnNoteEntryStorage& storage) {
    mBeatEntries = withoutNegativeLocations(storage.beatEntriesFilteredByTimeSignature());
    mBarEntries.clear();
    std::vector<std::uint64_t> identifiers; // apart from the entries, since those lie scattered in memory
    identifiers.reserve(mBeatEntries.size());
    for (const auto& beat : mBeatEntries) {
        if (beat->isDownbeat())
            mBarEntries.push_back(TarnBeatLocatorBarEntry::entryWithIndex(identifiers.size(), beat));
        identifiers.push_back(beat->eventId());
    }
    if (!isAscending(identifiers) && !IdentifierSet(identifiers).isOfDistinctEntries())
        moveToFirstPositions(mBarEntries, identifiers);
    if (mBarEntries.empty()) {
        mAverageSampleSpacing = 0;
        mFirstSample = 0;
        return;
    }
    // As if the grid began at sample 0, and in whole samples: it only seeds the estimate of a bar.
    const auto wholeSamples = mBarEntries.back().location() / mBarEntries.size();
    mAverageSampleSpacing = static_cast<double>(wholeSamples);
    mFirstSample = mBarEntries.front().location();
}

std::uint64_t TarnBeatLocator::barIndexOfSample(std::uint64_t sample,
                                                std::optional<TarnBeatLocatorBarEntry>* withBarEntry) const {
    if (mBarEntries.empty() || mAverageSampleSpacing <= 0)
        return 0;
    // Half to even, the default rounding. Kept in floating point: a far sample's estimate need not fit an
    // integer.
    const double estimate = std::nearbyint((static_cast<double>(sample) - static_cast<double>(mFirstSample)) /
                                           mAverageSampleSpacing);
    if (estimate < 0)
        return 0;
    if (estimate >= static_cast<double>(mBarEntries.size()))
        return mBarEntries.size() - 1;
    // Walking from the estimated bar to the one that holds the sample ends at the last bar at or before the
    // sample, or at the first one.
    const std::size_t past = lowerBound(mBarEntries, sample, kLocationAtMost);
    const std::size_t index = past > 0 ? past - 1 : 0;
    if (withBarEntry)
        *withBarEntry = mBarEntries[index];
    return index;
}

std::size_t TarnBeatLocator::indexOfBeatPast(std::uint64_t sample, std::size_t first) const {
    const std::span beats(mBeatEntries.begin() + first, mBeatEntries.end());
    return first + lowerBound(beats, sample, [](const auto& beat, std::uint64_t value) {
               return static_cast<std::uint64_t>(beat->location()) <= value;
           });
}

IndexPath TarnBeatLocator::barBeatIndexOfSample(std::uint64_t sample) const {
    std::optional<TarnBeatLocatorBarEntry> entry;
    const std::uint64_t bar = barIndexOfSample(sample, &entry);
    if (!entry)
        return BarBeatIndex::indexPathForBeatInBar(0, bar);
    // The bars are those of the document: somebody may move one in place meanwhile.
    if (bar + 1 < mBarEntries.size() && mBarEntries[bar + 1].location() < sample) {
        Log::standard().write(LogLevel::error, "{} : (ERROR) {}", [] {
            return std::vector{logPublic("TarnBeatLocator"), logPublic("Beat index outside of bar bounds")};
        });
        return BarBeatIndex::indexPathForBeatInBar(kNotFound, bar);
    }
    // Unsigned: just before the first downbeat all bits are set.
    return BarBeatIndex::indexPathForBeatInBar(indexOfBeatPast(sample, entry->index()) - entry->index() - 1,
                                               bar);
}

std::uint64_t TarnBeatLocator::beatIdentifierForSample(std::uint64_t sample) const {
    return identifierAtOrBefore(
        sample, mBeatEntries.size(), [&](std::size_t i) { return beatLocation(i); },
        [&](std::size_t i) { return mBeatEntries[i]->eventId(); });
}

std::uint64_t TarnBeatLocator::barIdentifierForSample(std::uint64_t sample) const {
    return identifierAtOrBefore(
        sample, mBarEntries.size(), [&](std::size_t i) { return mBarEntries[i].location(); },
        [&](std::size_t i) { return mBarEntries[i].eventId(); });
}

std::uint64_t TarnBeatLocator::closestBarBeatSampleToSample(std::uint64_t sample) const {
    if (mBeatEntries.empty())
        return 0;
    std::uint64_t i;
    if (mBarEntries.empty()) {
        i = indexOfBeatPast(sample, 0) - 1;
    } else {
        const IndexPath path = barBeatIndexOfSample(sample);
        i = mBarEntries[BarBeatIndex::bar(path)].index() + BarBeatIndex::beat(path);
    }
    // One before the grid (all bits set) when the sample lies just before a first beat that is a downbeat.
    if (i == std::uint64_t{0} - 1)
        return beatLocation(0);
    if (i >= mBeatEntries.size() - 1)
        return beatLocation(mBeatEntries.size() - 1);
    // Unsigned: a sample before beat i is very far past it, so the later beat wins.
    const std::uint64_t distance = sample - beatLocation(i);
    const std::uint64_t distanceToNext = beatLocation(i + 1) - sample;
    return beatLocation(distance < distanceToNext ? i : i + 1);
}

std::uint64_t TarnBeatLocator::sampleOfBarBeatIndex(const IndexPath& path) const {
    if (!hasBeatEntries() || !hasBarEntries())
        return 0;
    const std::uint64_t bar = std::min<std::uint64_t>(BarBeatIndex::bar(path), mBarEntries.size() - 1);
    // Unsigned: a beat of all bits set names the beat before the bar, which in a grid without one is beyond
    // the end.
    const std::uint64_t i = mBarEntries[bar].index() + BarBeatIndex::beat(path);
    return beatLocation(std::min<std::uint64_t>(i, mBeatEntries.size() - 1));
}

} // namespace tarn
