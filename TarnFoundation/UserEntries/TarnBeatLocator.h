#pragma once

#include "Platform/IndexPath.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tarn {

/// A position in the song by bar and beat, both counted from 0, as an index path of length 2.
namespace BarBeatIndex {

[[nodiscard]] inline IndexPath indexPathForBeatInBar(std::uint64_t beat, std::uint64_t bar) {
    return {bar, beat};
}
[[nodiscard]] inline std::uint64_t bar(const IndexPath& path) {
    return path.indexAtPosition(0);
}
[[nodiscard]] inline std::uint64_t beat(const IndexPath& path) {
    return path.indexAtPosition(1);
}

} // namespace BarBeatIndex

/// A bar of a beat locator: its downbeat, and where that lies in the locator's beats.
class TarnBeatLocatorBarEntry {
public:
    [[nodiscard]] static TarnBeatLocatorBarEntry entryWithIndex(std::uint64_t index,
                                                                std::shared_ptr<TarnBeatEntry> entry) {
        return {index, std::move(entry)};
    }

    [[nodiscard]] std::uint64_t index() const { return mIndex; }
    [[nodiscard]] const std::shared_ptr<TarnBeatEntry>& beatEntry() const { return mBeatEntry; }
    [[nodiscard]] std::uint64_t location() const {
        return static_cast<std::uint64_t>(mBeatEntry->location());
    }
    [[nodiscard]] std::uint64_t eventId() const { return mBeatEntry->eventId(); }

private:
    TarnBeatLocatorBarEntry(std::uint64_t index, std::shared_ptr<TarnBeatEntry> entry)
        : mIndex(index), mBeatEntry(std::move(entry)) {}

    std::uint64_t mIndex;
    std::shared_ptr<TarnBeatEntry> mBeatEntry;
};

/// Names samples by bar and beat, and the reverse, on a snapshot of a document's beat grid: the beats of the
/// time signature's view that do not lie before the song. Samples are unsigned; a negative one counts as very
/// large. Bars are opened by downbeats; beats before the first downbeat have no number.
///
/// The snapshot follows the document only when it is updated, which takes time linear in the number of beats;
/// all calls take O(log n). Without a lock: for the thread that updates it.
class TarnBeatLocator {
public:
    void updateWithNoteEntryStorage(const TarnNoteEntryStorage& storage);

    /// Location of the first downbeat; 0 without bars.
    [[nodiscard]] std::uint64_t firstSample() const { return mFirstSample; }
    /// A rough length of a bar in samples, from which bars are estimated: the last downbeat's location over
    /// the number of bars, in whole samples; 0 without bars.
    [[nodiscard]] double averageSampleSpacing() const { return mAverageSampleSpacing; }
    [[nodiscard]] const EntryList<TarnBeatEntry>& beatEntries() const { return mBeatEntries; }
    [[nodiscard]] const std::vector<TarnBeatLocatorBarEntry>& barEntries() const { return mBarEntries; }
    [[nodiscard]] bool hasBeatEntries() const { return !mBeatEntries.empty(); }
    [[nodiscard]] bool hasBarEntries() const { return !mBarEntries.empty(); }

    /// The bar that holds the sample; 0 before the first one. A sample whose bar is estimated (by
    /// averageSampleSpacing) at the number of bars or beyond is said to lie in the last bar without a look at
    /// where that begins. `withBarEntry` receives the bar only when the result does not come from the
    /// estimate alone.
    [[nodiscard]] std::uint64_t
    barIndexOfSample(std::uint64_t sample,
                     std::optional<TarnBeatLocatorBarEntry>* withBarEntry = nullptr) const;

    /// The bar and the beat at or before the sample. Before the first downbeat: beat 0 of bar 0 when the
    /// estimated bar is negative, else a beat of all bits set (-1). Beat 0 where barIndexOfSample gives no
    /// bar entry. A beat of kNotFound, and a line in the log, when the bar ends before the sample.
    [[nodiscard]] IndexPath barBeatIndexOfSample(std::uint64_t sample) const;

    /// The identifier of the beat, or of the bar's downbeat, at or before the sample; kNotFound when there is
    /// none.
    [[nodiscard]] std::uint64_t beatIdentifierForSample(std::uint64_t sample) const;
    [[nodiscard]] std::uint64_t barIdentifierForSample(std::uint64_t sample) const;

    /// Of the beat that barBeatIndexOfSample names (without bars: the last beat at or before the sample) and
    /// the one after it the location of the nearer; a tie goes to the later one, and so does a sample before
    /// the first of the two. Without such a beat the location of the first beat, without a beat after it that
    /// of the last one. 0 without beats.
    [[nodiscard]] std::uint64_t closestBarBeatSampleToSample(std::uint64_t sample) const;

    /// The location of a beat. A bar after the last one counts as the last; a beat number beyond its bar runs
    /// on into the bars after it, up to the last beat of the grid. 0 without bars.
    [[nodiscard]] std::uint64_t sampleOfBarBeatIndex(const IndexPath& path) const;

private:
    [[nodiscard]] std::uint64_t beatLocation(std::size_t index) const {
        return static_cast<std::uint64_t>(mBeatEntries.uncheckedAt(index)->location());
    }
    /// The first beat from position `first` on whose location is greater than the sample.
    [[nodiscard]] std::size_t indexOfBeatPast(std::uint64_t sample, std::size_t first) const;

    std::uint64_t mFirstSample = 0;
    double mAverageSampleSpacing = 0;
    EntryList<TarnBeatEntry> mBeatEntries;
    std::vector<TarnBeatLocatorBarEntry> mBarEntries;
};

} // namespace tarn
