#include "TarnFoundation/BeatSpacing.h"
#include "Tests/TarnFoundation/BeatGrid.h"

#include <cmath>

namespace tarn {
namespace {

using namespace test;
constexpr TimeSignature kFourFour{4, 4};
constexpr TimeSignature kFourEight{4, 8};

std::uint64_t idAt(const Document& storage, std::size_t position) {
    return storage->beatEntries()[position]->eventId();
}

Positions downbeatsOf(const Document& storage) {
    Positions positions;
    const auto beats = storage->beatEntries();
    for (std::size_t i = 0; i < beats.size(); ++i) {
        if (beats[i]->isDownbeat())
            positions.push_back(i);
    }
    return positions;
}

TEST(BeatSpacingTests, EvenSpacingTruncatesASinglePrecisionQuotient) {
    EXPECT_EQ(evenlySpacedLocations(4, 0, 1000), (Locations{0, 250, 500, 750}));
    EXPECT_EQ(evenlySpacedLocations(4, 0, 3), (Locations{0, 1, 2, 3})) << "a step of at least 1";
    EXPECT_EQ(evenlySpacedLocations(3, -10, 10), (Locations{-10, -4, 2}));
    EXPECT_EQ(evenlySpacedLocations(2, 5, 0), (Locations{5, 6}));
    // 2^25 + 3 is not a single-precision number: it counts as 2^25 + 4.
    EXPECT_EQ(evenlySpacedLocations(2, 0, 33554435), (Locations{0, 16777218}));
    EXPECT_DEATH((void)evenlySpacedLocations(0, 0, 100), "at least one beat");
    EXPECT_DEATH((void)evenlySpacedLocations(2, -1, kGreatest), "overflow");
}

TEST(BeatSpacingTests, DistanceAssertsTheOrderOfItsBeats) {
    TarnBeatEntry first(1), second(2);
    second.setLocation(30);
    EXPECT_EQ(distanceBetweenEntries(first, second), 30);
    EXPECT_DEATH(
        (void)distanceBetweenEntries(second, first),
        "\\(firstEntry.location <= secondEntry.location\\) && \"\\[TarnNoteEntryStorage\\] Entries must be "
        "ordered\"");
}

TEST(BeatGridEditingTests, ShiftingMovesEveryDownbeatAroundTheGrid) {
    for (const auto& [offset, expected] : std::vector<std::pair<std::int64_t, Positions>>{
             {0, {0, 3}}, {1, {1, 4}}, {3, {0, 3}}, {4, {1, 4}}, {-1, {2, 5}}, {-6, {0, 3}}, {60, {0, 3}}}) {
        const auto storage = makeStorage(evenGrid(6, 10, {0, 3}), kFourEight);
        const auto firstNew = storage->nextEventId();
        expectOneUndoableChange(storage, [&, by = offset] { storage->shiftDownbeatsByOffset(by); });
        EXPECT_EQ(beatsOf(storage->beatEntries()), evenGrid(6, 10, expected)) << offset;
        const auto all = identifiers(storage->beatEntries());
        EXPECT_GE(*std::min_element(all.begin(), all.end()), firstNew) << "all beats are copies";
    }
    const auto empty = makeStorage({});
    expectOneUndoableChange(empty, [&] { empty->shiftDownbeatsByOffset(5); });
    EXPECT_DEATH(makeStorage(evenGrid(6, 10, {0}))->shiftDownbeatsByOffset(-7), "cannot be shifted back");
}

TEST(BeatGridEditingTests, ShiftingKeepsQuarterNoteParity) {
    // Eight beats with downbeats at positions 0 and 4.
    const auto expectShifted = [](std::int64_t first, std::int64_t offset, const Grid& after) {
        const auto storage = makeStorage(evenGrid(8, 10, {0, 4}, first), kFourFour);
        expectOneUndoableChange(storage, [&] { storage->shiftDownbeatsByOffset(offset); });
        EXPECT_EQ(beatsOf(storage->beatEntries()), after) << first << " by " << offset;
    };
    expectShifted(100, 2, evenGrid(8, 10, {2, 6}, 100)); // an even offset needs nothing
    expectShifted(100, 1, evenGrid(8, 10, {2, 6}, 90));  // a beat in front takes the place of the last one
    expectShifted(100, 3, evenGrid(8, 10, {0, 4}, 90));  // and its downbeat
    expectShifted(10, 1, evenGrid(8, 10, {2, 6}, 0));    // exactly at the song's start
    // No place in front: the tail lies one step after the last downbeat (at 50), on the beat at 60. Then the
    // odd first downbeat costs the first beat.
    expectShifted(0, 1, gridOf("10* 20 30 40 50* 60 60 70"));
}

TEST(BeatGridEditingTests, BeatsBetweenAreGivenInGridOrder) {
    const auto storage = makeStorage(evenGrid(6, 10, {0}), kFourFour);
    const auto id = [&](std::size_t i) { return idAt(storage, i); };
    EXPECT_EQ(locations(storage->beatEntriesBetween(id(1), id(4))), (Locations{20, 30}));
    EXPECT_EQ(locations(storage->beatEntriesBetweenInclusive(id(1), id(3))), (Locations{10, 20, 30}));
    EXPECT_TRUE(storage->beatEntriesBetween(id(1), id(2)).empty());
    EXPECT_TRUE(storage->beatEntriesBetween(id(4), id(1)).empty());
    EXPECT_TRUE(storage->beatEntriesBetweenInclusive(id(2), id(2)).empty());
    EXPECT_TRUE(storage->beatEntriesBetweenInclusive(id(2), 12345).empty());
}

TEST(BeatGridEditingTests, OffsettingWrapsDownbeatsWithinTheSpan) {
    // The span of positions 1 to 4 of six.
    const auto expectSpan = [](const Positions& downbeats, std::int64_t by, const char* span) {
        const auto storage = makeStorage(evenGrid(6, 10, downbeats), kFourEight);
        Grid result;
        expectOneUndoableChange(storage, [&] {
            result = beatsOf(storage->offsetDownbeatEntries(by, idAt(storage, 1), idAt(storage, 4)));
        });
        EXPECT_EQ(result, gridOf(span));
        const auto whole = beatsOf(storage->beatEntries());
        EXPECT_EQ(Grid(whole.begin() + 1, whole.end() - 1), gridOf(span));
    };
    expectSpan({0, 4}, 1, "10* 20 30 40");
    expectSpan({1}, -1, "10 20 30 40*");
    expectSpan({2}, 4, "10 20 20* 30 40"); // onto itself
    // The target at 30 is a downbeat itself: it comes out cleared and set.
    expectSpan({2, 3}, 1, "10 20 30 30* 40*");
    expectSpan({0, 5}, 1, "10 20 30 40");
    const auto storage = makeStorage(evenGrid(6, 10, {0}), kFourEight);
    const auto beats = storage->beatEntries();
    EXPECT_TRUE(storage->offsetDownbeatEntries(1, idAt(storage, 4), idAt(storage, 1)).empty());
    EXPECT_TRUE(storage->beatEntries().isSameListAs(beats));
    EXPECT_DEATH((void)storage->offsetDownbeatEntries(6, idAt(storage, 0), idAt(storage, 4)),
                 "length of their span");
}

TEST(BeatGridEditingTests, SpacingAndTempo) {
    EXPECT_EQ(makeStorage({})->averageBeatEntrySpacing(), std::nullopt);
    EXPECT_EQ(makeStorage({})->tempoFromBeatEntries(44100), 0.0);
    EXPECT_TRUE(std::isnan(makeStorage({{5, true}})->averageBeatEntrySpacing().value()));
    EXPECT_EQ(makeStorage({{0, true}, {10}, {40}})->averageBeatEntrySpacing(), 20.0);
    EXPECT_EQ(makeStorage(evenGrid(5, 22050, {0}))->tempoFromBeatEntries(44100), 120.0);
    const auto quarters = makeStorage(evenGrid(8, 11025, {0}), kFourFour);
    EXPECT_EQ(quarters->tempoFromBeatEntriesWithSampleRate(44100), 120.0) << "counted beats, not stored ones";
    EXPECT_DEATH((void)makeStorage({{kLeast}, {1}})->averageBeatEntrySpacing(), "overflow");
}

TEST(BeatGridEditingTests, MovingABarLineSpacesTheTwoBarsThatMeetThere) {
    const auto expectMoved = [](const Grid& before, std::size_t position, std::int64_t to,
                                const char* after) {
        const auto storage = makeStorage(before, kFourEight);
        std::uint64_t downbeat = 0;
        const auto nextIdentifier = storage->nextEventId();
        expectOneUndoableChange(
            storage, [&] { downbeat = storage->setLocationOfBarEntry(idAt(storage, position), to, 2000); });
        EXPECT_EQ(beatsOf(storage->beatEntries()), gridOf(after));
        EXPECT_EQ(downbeat, nextIdentifier) << "the moved bar's beats are made first";
    };
    const auto bars = evenGrid(8, 250, {0, 4});
    // The last bar ends at the limit, the first has none before it.
    expectMoved(bars, 4, 1200, "0* 300 600 900 1200* 1400 1600 1800");
    expectMoved(bars, 0, 100, "100* 325 550 775 1000* 1250 1500 1750");
    // Pickup becomes a bar from the song's start.
    expectMoved(evenGrid(6, 100, {2}, 50), 2, 300, "0* 150 300* 725 1150 1575");
    expectMoved(bars, 4, 0, "0* 0* 1 2 3 500 1000 1500"); // onto the previous bar line: steps of 1

    const auto storage = makeStorage(bars, kFourEight);
    EXPECT_DEATH((void)storage->setLocationOfBarEntry(999, 10, 2000), "This entry does not exist!");
    EXPECT_DEATH((void)storage->setLocationOfBarEntry(idAt(storage, 4), 2001, 2000),
                 "beyond the end of its bar");
    EXPECT_DEATH((void)storage->setLocationOfBarEntry(idAt(storage, 4), -1, 2000),
                 "before the start of the previous");
}

TEST(BeatGridEditingTests, NumberOfBeatsInABar) {
    const auto quarters = makeStorage(evenGrid(16, 10, {0, 7, 8}), kFourFour);
    EXPECT_EQ(quarters->getNumberOfBeats(idAt(quarters, 0)), 3);
    EXPECT_EQ(quarters->getNumberOfBeats(idAt(quarters, 7)), 1);
    EXPECT_EQ(quarters->getNumberOfBeats(idAt(quarters, 8)), 4);
    EXPECT_EQ(makeStorage(evenGrid(7, 10, {0}), kFourEight)->getNumberOfBeats(0), 7);
    EXPECT_DEATH((void)quarters->getNumberOfBeats(999), "This entry does not exist!");

    const auto storage = makeStorage(evenGrid(16, 100, {0, 8}), kFourFour);
    std::uint64_t downbeat = 0;
    const auto first = idAt(storage, 0);
    expectOneUndoableChange(storage, [&] { downbeat = storage->setNumberOfBeats(3, first, 0); });
    EXPECT_EQ(downbeat, idAt(storage, 0));
    EXPECT_EQ(downbeatsOf(storage), (Positions{0, 6}));
    EXPECT_EQ(storage->beatEntries()[5]->location(), 5 * 133);
    const auto last = idAt(storage, 6);
    expectOneUndoableChange(storage, [&] { downbeat = storage->setNumberOfBeats(1, last, 1700); });
    EXPECT_EQ(storage->beatEntries().size(), 8u);
    EXPECT_EQ(storage->beatEntries()[7]->location(), 1250);

    EXPECT_DEATH((void)storage->setNumberOfBeats(0, downbeat, 1700), "at least one beat");
    EXPECT_DEATH((void)storage->setNumberOfBeats(1, downbeat, 799), "must not end before it starts");
    EXPECT_DEATH((void)storage->setNumberOfBeats(kGreatest, downbeat, 1700), "overflow");
    EXPECT_DEATH((void)storage->setNumberOfBeats(1, 999, 1700), "This entry does not exist!");
}

TEST(BeatGridEditingTests, RebuildingARangeJoinsTheOldGridAtBothEnds) {
    const auto expectRebuilt = [](const Grid& before, Range<std::int64_t> range, const Locations& downbeats,
                                  const char* after, std::int64_t beatsPerBar = 2) {
        const auto storage = makeStorage(before, kFourFour);
        const auto firstNew = storage->nextEventId();
        Identifiers made;
        expectOneUndoableChange(storage,
                                [&] { made = storage->replaceBeatEntries(range, downbeats, beatsPerBar); });
        EXPECT_EQ(beatsOf(storage->beatEntries()), gridOf(after));
        auto newBeats = identifiers(storage->beatEntries());
        std::erase_if(newBeats, [&](auto identifier) { return identifier < firstNew; });
        EXPECT_EQ(made, newBeats);
    };
    // Downbeats on both sides, and one where the range starts.
    const auto bars = evenGrid(16, 100, {0, 4, 8, 12});
    expectRebuilt(bars, {500, 1000}, {600, 900},
                  "0* 100 200 300 400* 450 500 550 600* 675 750 825 900* 975 1050 1125 1200* 1300 1400 1500");
    expectRebuilt(bars, {400, 700}, {400},
                  "0* 100 200 300 400* 500 600 700 800* 900 1000 1100 1200* 1300 1400 1500");
    // Off-beats on the bar lines at both ends belong to the bars before them.
    expectRebuilt(gridOf("0* 100 200 400 400* 500 600 800 800* 900 1000 1100"), {400, 700}, {400},
                  "0* 100 200 400 400* 500 600 700 800* 900 1000 1100");
    // None after it: the rest of the last bar stays; without a beat either, the range's end closes it.
    expectRebuilt(evenGrid(12, 100, {0, 4}), {400, 790}, {400},
                  "0* 100 200 300 400* 500 600 700 800 900 1000 1100");
    expectRebuilt(evenGrid(8, 100, {0, 4}), {400, 1200}, {600},
                  "0* 100 200 300 400* 450 500 550 600* 750 900 1050");
    // None before: pickup leads up to the first bar; without a beat before, the grid opens with it.
    expectRebuilt(evenGrid(8, 100, {4}), {250, 790}, {380}, "0 100 200 290 380* 482 585 687");
    expectRebuilt(evenGrid(8, 100, {0, 4}, 100), {0, 450}, {150}, "150* 237 325 412 500* 600 700 800");
    expectRebuilt({}, {0, 1000}, {100, 500}, "100* 200 300 400 500* 625 750 875");
    expectRebuilt({}, {0, 700}, {100, 500}, "100* 300 500* 600", 1); // the last off-beat stays before the end

    const auto storage = makeStorage(bars, kFourFour);
    const auto beats = storage->beatEntries();
    EXPECT_TRUE(storage->replaceBeatEntries({0, 100}, {}, 2).empty());
    EXPECT_TRUE(storage->beatEntries().isSameListAs(beats));
    EXPECT_DEATH((void)storage->replaceBeatEntries({0, 100}, {100}, 2), "must lie in the range");
    EXPECT_DEATH((void)storage->replaceBeatEntries({0, 100}, {50, 50}, 2), "must ascend");
    EXPECT_DEATH((void)storage->replaceBeatEntries({0, 100}, {50}, 0), "at least one beat");
    EXPECT_DEATH((void)makeStorage(bars, kFourEight)->replaceBeatEntries({0, 100}, {50}, 2),
                 "Not implemented, yet!");
}

/// A grid in quarter-note spacing as the storage keeps it: even stretches throughout.
Document randomQuarterNoteStorage(std::mt19937_64& random, std::int64_t spacing) {
    Grid beats;
    std::int64_t location = drawn(random, 0, 300);
    const auto append = [&](std::int64_t count, bool bar) {
        for (std::int64_t i = 0; i < count; ++i) {
            beats.push_back({location, bar && i == 0});
            location += drawn(random, spacing, 2 * spacing);
        }
    };
    append(2 * drawn(random, 0, 2), false);
    for (std::int64_t remaining = drawn(random, 0, 6); remaining > 0; --remaining)
        append(2 * drawn(random, 1, 5), true);
    return makeStorage(beats, kFourFour);
}

TEST(BeatGridEditingTests, RandomRebuildsKeepTheGridConsistent) {
    for (std::uint64_t seed = 1; seed <= 2000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const auto storage = randomQuarterNoteStorage(random, 50);
        const auto draw = [&](std::int64_t low, std::int64_t high) { return drawn(random, low, high); };
        const auto before = storage->beatEntries();
        const std::int64_t lower = draw(0, 3000);
        const std::int64_t beatsPerBar = draw(1, 4);
        Locations downbeats;
        for (std::int64_t at = lower + draw(40, 200), n = draw(1, 4); n > 0; --n, at += draw(200, 600))
            downbeats.push_back(at);
        const std::int64_t upper = downbeats.back() + draw(100, 500);
        Identifiers made;
        expectOneUndoableChange(storage, [&] {
            made = storage->replaceBeatEntries({lower, upper}, downbeats, beatsPerBar);
        });

        const auto after = storage->beatEntries();
        for (std::size_t i = 1; i < after.size(); ++i)
            EXPECT_LT(after[i - 1]->location(), after[i]->location()) << "doubled or out of order";
        auto downbeatPositions = downbeatsOf(storage);
        downbeatPositions.push_back(after.size());
        for (const std::size_t position : downbeatPositions)
            EXPECT_EQ(position % 2, 0u);
        // Nothing was pruned: the old beats outside one span and all new ones are there, the latter
        // contiguously.
        const auto isNew = [&](const BeatRef& beat) { return beat->eventId() >= made.front(); };
        const auto newBegin = std::find_if(after.begin(), after.end(), isNew);
        const auto newEnd = std::find_if_not(newBegin, after.end(), isNew);
        EXPECT_EQ(identifiers(std::vector(newBegin, newEnd)), made);
        EXPECT_TRUE(std::equal(after.begin(), newBegin, before.begin()));
        EXPECT_TRUE(std::equal(newEnd, after.end(), before.end() - (after.end() - newEnd)));
        // The given bars are there, each but the last with its number of beats.
        for (std::size_t i = 0; i < downbeats.size(); ++i) {
            const auto bar = std::find_if(after.begin(), after.end(), [&](const auto& beat) {
                return beat->location() == downbeats[i] && beat->isDownbeat();
            });
            ASSERT_NE(bar, after.end());
            EXPECT_TRUE(i + 1 == downbeats.size() ||
                        storage->getNumberOfBeats((*bar)->eventId()) == beatsPerBar);
        }
        // No other downbeat in the range, no untouched beat in it before its last bar ends.
        for (const auto& beat : after) {
            if (lower <= beat->location() && beat->location() < upper) {
                EXPECT_TRUE(isNew(beat));
                EXPECT_TRUE(!beat->isDownbeat() || beat->location() == lower ||
                            std::count(downbeats.begin(), downbeats.end(), beat->location()));
            }
        }
    }
}

TEST(BeatGridEditingTests, RandomEditsAreUndoableAndKeepCounts) {
    for (std::uint64_t seed = 1; seed <= 2000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const auto grid = randomGrid(random);
        if (grid.empty())
            continue;
        const auto draw = [&](std::size_t low, std::size_t high) {
            return std::uniform_int_distribution<std::size_t>(low, high)(random);
        };
        const bool quarterNotes = draw(0, 1) == 1;
        const auto storage = makeStorage(grid, quarterNotes ? kFourFour : kFourEight);
        const std::size_t position = draw(0, grid.size() - 1);
        const std::uint64_t identifier = idAt(storage, position);
        const std::int64_t limit = grid.back().location + 50;
        const auto downbeats = downbeatsOf(storage);
        const auto size = static_cast<std::int64_t>(grid.size());
        switch (draw(0, 3)) {
        case 0:
            expectOneUndoableChange(storage,
                                    [&] { storage->shiftDownbeatsByOffset(drawn(random, -size, 50)); });
            EXPECT_TRUE(quarterNotes || downbeatsOf(storage).size() == downbeats.size());
            break;
        case 1: {
            const auto next = std::upper_bound(downbeats.begin(), downbeats.end(), position);
            const std::int64_t end = next == downbeats.end() ? limit : grid[*next].location;
            if (end < 0)
                break; // pickup starts at 0
            expectOneUndoableChange(storage,
                                    [&] { (void)storage->setLocationOfBarEntry(identifier, end, limit); });
            EXPECT_TRUE(quarterNotes || storage->beatEntries().size() == grid.size());
            break;
        }
        case 2: {
            const auto old = quarterNotes ? 0 : storage->getNumberOfBeats(identifier);
            expectOneUndoableChange(storage, [&] { (void)storage->setNumberOfBeats(5, identifier, limit); });
            EXPECT_TRUE(quarterNotes || std::ssize(storage->beatEntries()) == size - old + 5);
            break;
        }
        default: {
            if (position + 1 == grid.size())
                break;
            const std::uint64_t last = idAt(storage, grid.size() - 1);
            Grid result;
            expectOneUndoableChange(
                storage, [&] { result = beatsOf(storage->offsetDownbeatEntries(1, identifier, last)); });
            const auto isDownbeat = [](const BeatAt& beat) { return beat.isDownbeat; };
            EXPECT_EQ(std::count_if(result.begin(), result.end(), isDownbeat),
                      std::count_if(grid.begin() + std::ptrdiff_t(position), grid.end(), isDownbeat));
            EXPECT_TRUE(std::is_sorted(result.begin(), result.end(),
                                       [](const auto& a, const auto& b) { return a.location < b.location; }));
            break;
        }
        }
    }
}

} // namespace
} // namespace tarn
