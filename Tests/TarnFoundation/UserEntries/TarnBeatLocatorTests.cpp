#include "TarnFoundation/UserEntries/TarnBeatLocator.h"
#include "Tests/TarnFoundation/BeatGrid.h"

#include <cmath>

namespace tarn {
namespace {

using namespace test;
using BarBeatIndex::indexPathForBeatInBar;
constexpr auto kAllBits = std::numeric_limits<std::uint64_t>::max();

TarnBeatLocator locatorOf(const Document& storage) {
    TarnBeatLocator locator;
    locator.updateWithNoteEntryStorage(*storage);
    return locator;
}
TarnBeatLocator locatorOf(const Grid& grid) {
    return locatorOf(makeStorage(grid));
}

IndexPath path(std::uint64_t bar, std::uint64_t beat) {
    return indexPathForBeatInBar(beat, bar);
}

TEST(TarnBeatLocatorTests, AnEmptyGridGivesZero) {
    for (const auto& locator : {TarnBeatLocator(), locatorOf(Grid{}), locatorOf({{-5, true}})}) {
        EXPECT_FALSE(locator.hasBeatEntries() || locator.hasBarEntries());
        EXPECT_EQ(locator.firstSample(), 0u);
        EXPECT_EQ(locator.averageSampleSpacing(), 0.0);
        EXPECT_EQ(locator.closestBarBeatSampleToSample(100), 0u);
        EXPECT_EQ(locator.sampleOfBarBeatIndex(path(0, 0)), 0u);
    }
}

TEST(TarnBeatLocatorTests, NamesSamplesByBarAndBeat) {
    const auto locator = locatorOf(evenGrid(9, 25, {0, 4, 8}));
    EXPECT_EQ(locator.averageSampleSpacing(), 66.0) << "200 over 3 bars, in whole samples";
    std::string names;
    for (const std::uint64_t sample : {0, 24, 25, 99, 100, 130, 164, 165, 166, 170, 5000}) {
        const IndexPath name = locator.barBeatIndexOfSample(sample);
        names +=
            std::to_string(BarBeatIndex::bar(name)) + "." + std::to_string(BarBeatIndex::beat(name)) + " ";
    }
    // 165 / 66 = 2.5 rounds to the even 2 and the bar is looked up; 166 / 66 rounds to 3, the shortcut to the
    // last bar.
    EXPECT_EQ(names, "0.0 0.0 0.1 0.3 1.0 1.1 1.2 1.2 2.0 2.0 2.0 ");

    std::optional<TarnBeatLocatorBarEntry> bar;
    EXPECT_EQ(locator.barIndexOfSample(170, &bar), 2u);
    EXPECT_FALSE(bar.has_value()) << "the shortcut writes no bar";
    EXPECT_EQ(locator.barIndexOfSample(130, &bar), 1u);
    EXPECT_EQ(bar.value().index(), 4u);

    EXPECT_EQ(locator.beatIdentifierForSample(130), locator.beatEntries()[5]->eventId());
    EXPECT_EQ(locator.beatIdentifierForSample(125), locator.beatEntries()[5]->eventId());
    EXPECT_EQ(locator.barIdentifierForSample(199), locator.beatEntries()[4]->eventId());
    EXPECT_EQ(path(1, 2), (IndexPath{1, 2}));
    const std::pair<IndexPath, std::uint64_t> samples[] = {
        {path(1, 2), 150},       {path(99, 0), 200},
        {path(0, 7), 175}, // runs on into the next bar
        {path(0, 999), 200},     {path(0, kNotFound), 200},
        {path(1, kAllBits), 75}, // -1 is the beat before the bar
    };
    for (const auto& [of, sample] : samples)
        EXPECT_EQ(locator.sampleOfBarBeatIndex(of), sample) << of.description();
    EXPECT_EQ(locator.closestBarBeatSampleToSample(112), 100u);
    EXPECT_EQ(locator.closestBarBeatSampleToSample(113), 125u);
    EXPECT_EQ(locatorOf(evenGrid(9, 20, {0, 4, 8})).closestBarBeatSampleToSample(90), 100u)
        << "a tie goes to the later";
}

TEST(TarnBeatLocatorTests, SamplesBeforeTheFirstDownbeat) {
    // Downbeats at 1000 and 1400: spacing 700, half of it before the first downbeat is 650.
    const auto grid = evenGrid(8, 100, {0, 4}, 1000);
    const auto locator = locatorOf(grid);
    EXPECT_EQ(locator.firstSample(), 1000u);
    EXPECT_EQ(locator.barBeatIndexOfSample(649), path(0, 0));
    EXPECT_EQ(locator.barBeatIndexOfSample(650), path(0, kAllBits)) << "-0.5 rounds to the even 0";
    EXPECT_EQ(locator.barBeatIndexOfSample(999), path(0, kAllBits));
    EXPECT_EQ(locator.beatIdentifierForSample(999), kNotFound);
    // One before a grid without pickup: the nearest beat there is.
    EXPECT_EQ(locator.closestBarBeatSampleToSample(999), 1000u);
    EXPECT_EQ(locator.sampleOfBarBeatIndex(path(0, kAllBits)), 1700u) << "unsigned: beyond the end";

    auto pickup = grid;
    pickup.insert(pickup.begin(), {{800}, {900}});
    // 810 lies before the beat before the bar; unsigned, it is far after it.
    for (const auto& [sample, closest] : {std::pair(920, 900u), {960, 1000u}, {810, 1000u}})
        EXPECT_EQ(locatorOf(pickup).closestBarBeatSampleToSample(sample), closest);
    EXPECT_EQ(locatorOf(pickup).barBeatIndexOfSample(820), path(0, kAllBits));

    // Without downbeats there are no bars, but beats.
    const auto unmarked = locatorOf(evenGrid(4, 100, {}, 100));
    for (const auto& [sample, closest] :
         {std::pair(0, 100u), {120, 100u}, {150, 200u}, {380, 400u}, {9000, 400u}})
        EXPECT_EQ(unmarked.closestBarBeatSampleToSample(sample), closest);
    EXPECT_EQ(unmarked.sampleOfBarBeatIndex(path(0, 1)), 0u);
}

TEST(TarnBeatLocatorTests, NegativeSamplesAreVeryLargeOnes) {
    const auto locator = locatorOf(evenGrid(8, 100, {0, 4}));
    const auto sample = static_cast<std::uint64_t>(std::int64_t{-1});
    EXPECT_EQ(locator.barBeatIndexOfSample(sample), path(1, 0));
    EXPECT_EQ(locator.beatIdentifierForSample(sample), locator.beatEntries()[7]->eventId());
    EXPECT_EQ(locator.barIndexOfSample(std::uint64_t{1} << 63), 1u);
    // A single bar at 0 has no spacing to estimate with.
    EXPECT_EQ(locatorOf({{0, true}, {100}}).barBeatIndexOfSample(150), path(0, 0));
}

TEST(TarnBeatLocatorTests, TakesTheViewOfTheSignatureWithoutBeatsBeforeTheSong) {
    const auto storage = makeStorage(evenGrid(12, 10, {0, 4, 8}, -40), TimeSignature{2, 4});
    const auto locator = locatorOf(storage);
    EXPECT_EQ(beatsOf(locator.beatEntries()), gridOf("0* 20 40* 60"));
    ASSERT_EQ(locator.barEntries().size(), 2u);
    EXPECT_EQ(locator.barEntries()[1].index(), 2u);
    storage->removeBeatEntriesInArray(storage->beatEntries());
    EXPECT_EQ(locator.beatEntries().size(), 4u) << "a snapshot";

    // An entry that is stored twice: its bars begin at the first of them.
    const auto twice = makeStorage(gridOf("0* 10 20*"));
    twice->addBeatEntry(twice->beatEntries()[2]);
    const auto bars = locatorOf(twice).barEntries();
    ASSERT_EQ(bars.size(), 3u);
    EXPECT_EQ(bars[2].index(), 2u);
}

/// Bars by walking from the estimated one, beats by walking through the bar, as the results are defined.
IndexPath walk(const TarnBeatLocator& locator, std::uint64_t sample) {
    const auto& bars = locator.barEntries();
    const auto& beats = locator.beatEntries();
    if (bars.empty() || locator.averageSampleSpacing() <= 0)
        return path(0, 0);
    const double estimate =
        std::nearbyint((double(sample) - double(locator.firstSample())) / locator.averageSampleSpacing());
    if (estimate < 0)
        return path(0, 0);
    if (estimate >= double(bars.size()))
        return path(bars.size() - 1, 0);
    auto bar = static_cast<std::size_t>(estimate);
    while (bar > 0 && bars[bar].location() > sample)
        --bar;
    while (bar + 1 < bars.size() && bars[bar + 1].location() <= sample)
        ++bar;
    for (std::size_t i = bars[bar].index();; ++i) {
        if (static_cast<std::uint64_t>(beats[i]->location()) > sample)
            return path(bar, i - bars[bar].index() - 1);
        if (i + 1 == beats.size())
            return path(bar, i - bars[bar].index());
    }
}

TEST(TarnBeatLocatorTests, AgreesWithADirectWalkOnRandomGrids) {
    for (std::uint64_t seed = 1; seed <= 3000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const TimeSignature signature{4, static_cast<std::uint8_t>(seed % 2 ? 4 : 8)};
        const auto locator = locatorOf(makeStorage(randomGrid(random), signature));
        const auto& beats = locator.beatEntries();
        std::size_t bar = 0;
        for (std::size_t i = 0; i < beats.size(); ++i) {
            EXPECT_GE(beats[i]->location(), 0);
            if (beats[i]->isDownbeat()) {
                EXPECT_EQ(locator.barEntries().at(bar++).index(), i);
            }
        }
        EXPECT_EQ(locator.barEntries().size(), bar);
        for (int probe = 0; probe < 10; ++probe) {
            const auto sample = std::uniform_int_distribution<std::uint64_t>(0, 1100)(random);
            SCOPED_TRACE("sample " + std::to_string(sample));
            const IndexPath barBeat = locator.barBeatIndexOfSample(sample);
            EXPECT_EQ(barBeat, walk(locator, sample));

            // At the sample any of the beats at one location, before it the last of them.
            const auto isAt = [&](std::uint64_t identifier, bool barsOnly) {
                std::vector<BeatRef> found;
                for (const auto& beat : beats) {
                    if ((beat->isDownbeat() || !barsOnly) && std::uint64_t(beat->location()) <= sample)
                        found.push_back(beat);
                }
                return found.empty()
                           ? identifier == kNotFound
                           : std::any_of(found.begin(), found.end(), [&](const auto& beat) {
                                 return beat->eventId() == identifier &&
                                        (beat == found.back() || (std::uint64_t(beat->location()) == sample));
                             });
            };
            EXPECT_TRUE(isAt(locator.beatIdentifierForSample(sample), false));
            EXPECT_TRUE(isAt(locator.barIdentifierForSample(sample), true));

            const std::uint64_t closest = locator.closestBarBeatSampleToSample(sample);
            const std::uint64_t named = locator.sampleOfBarBeatIndex(barBeat);
            if (locator.hasBarEntries() && named <= sample) {
                EXPECT_LE(closest > sample ? closest - sample : sample - closest, sample - named);
            }
            for (const std::uint64_t beat : {std::uint64_t{0}, std::uint64_t{5}, kNotFound, kAllBits})
                (void)locator.sampleOfBarBeatIndex(path(probe, beat)); // within the grid: the sanitizers look
        }
    }
}

} // namespace
} // namespace tarn
