#include "TarnFoundation/BeatSpacing.h"
#include "Tests/TarnFoundation/BeatGrid.h"

#include <cmath>
#include <sstream>

namespace tarn {
namespace {

using namespace test;
constexpr TimeSignature kFourFour{4, 4};
constexpr TimeSignature kFourEight{4, 8};

std::vector<BeatAt> grid(const Storage& storage) {
    return beatsOf(storage->beatEntries());
}
/// Beats by their locations, downbeats with a star: "0* 100 200".
std::vector<BeatAt> gridOf(const std::string& text) {
    std::vector<BeatAt> result;
    std::istringstream words(text);
    for (std::string word; words >> word;)
        result.push_back({std::stoll(word), word.back() == '*'});
    return result;
}
std::uint64_t idAt(const Storage& storage, std::size_t position) {
    return storage->beatEntries()[position]->eventId();
}

std::vector<std::size_t> downbeatsOf(const Storage& storage) {
    std::vector<std::size_t> positions;
    const auto beats = storage->beatEntries();
    for (std::size_t i = 0; i < beats.size(); ++i) {
        if (beats[i]->isDownbeat())
            positions.push_back(i);
    }
    return positions;
}

TEST(BeatSpacing, EvenSpacingTruncatesASinglePrecisionQuotient) {
    EXPECT_EQ(evenlySpacedLocations(4, 0, 1000), (Locations{0, 250, 500, 750}));
    EXPECT_EQ(evenlySpacedLocations(4, 0, 3), (Locations{0, 1, 2, 3})) << "a step of at least 1";
    EXPECT_EQ(evenlySpacedLocations(3, -10, 10), (Locations{-10, -4, 2}));
    EXPECT_EQ(evenlySpacedLocations(2, 5, 0), (Locations{5, 6}));
    // 2^25 + 3 is not a single-precision number: it counts as 2^25 + 4.
    EXPECT_EQ(evenlySpacedLocations(2, 0, 33554435), (Locations{0, 16777218}));
    EXPECT_DEATH((void)evenlySpacedLocations(0, 0, 100), "at least one beat");
    EXPECT_DEATH((void)evenlySpacedLocations(2, -1, std::numeric_limits<std::int64_t>::max()), "overflow");
}

TEST(BeatSpacing, DistanceAssertsTheOrderOfItsBeats) {
    TarnBeatEntry first(1);
    TarnBeatEntry second(2);
    second.setLocation(30);
    EXPECT_EQ(distanceBetweenEntries(first, second), 30);
    EXPECT_DEATH(
        (void)distanceBetweenEntries(second, first),
        "\\(firstEntry.location <= secondEntry.location\\) && \"\\[TarnNoteEntryStorage\\] Entries must be "
        "ordered\"");
}

TEST(BeatGridEditing, ShiftingMovesEveryDownbeatAroundTheGrid) {
    for (const auto& [offset, expected] : std::vector<std::pair<std::int64_t, std::vector<std::size_t>>>{
             {0, {0, 3}}, {1, {1, 4}}, {3, {0, 3}}, {4, {1, 4}}, {-1, {2, 5}}, {-6, {0, 3}}, {60, {0, 3}}}) {
        const auto storage = makeStorage(evenGrid(6, 10, {0, 3}), kFourEight);
        const auto identifiers = identifiersOf(storage->beatEntries());
        expectOneUndoableChange(storage, [&, by = offset] { storage->shiftDownbeatsByOffset(by); });
        EXPECT_EQ(grid(storage), evenGrid(6, 10, expected)) << offset;
        EXPECT_EQ(std::find_first_of(identifiers.begin(), identifiers.end(), storage->beatEntries().begin(),
                                     storage->beatEntries().end(),
                                     [](auto id, const auto& beat) { return beat->eventId() == id; }),
                  identifiers.end())
            << "all beats are copies";
    }
    const auto empty = makeStorage({});
    expectOneUndoableChange(empty, [&] { empty->shiftDownbeatsByOffset(5); });
    EXPECT_DEATH(makeStorage(evenGrid(6, 10, {0}))->shiftDownbeatsByOffset(-7), "cannot be shifted back");
}

TEST(BeatGridEditing, ShiftingKeepsQuarterNoteParity) {
    struct Case {
        const char* what;
        std::vector<BeatAt> before;
        std::int64_t offset;
        std::vector<BeatAt> after;
    };
    for (const auto& [what, before, offset, after] : std::vector<Case>{
             {"an even offset needs nothing", evenGrid(8, 10, {0, 4}, 100), 2, evenGrid(8, 10, {2, 6}, 100)},
             {"a beat in front takes the place of the last one", evenGrid(8, 10, {0, 4}, 100), 1,
              evenGrid(8, 10, {2, 6}, 90)},
             {"and its downbeat", evenGrid(8, 10, {0, 4}, 100), 3, evenGrid(8, 10, {0, 4}, 90)},
             // No place in front: the tail lies one step behind the last downbeat (at 50), on the beat at 60.
             // Then the odd first downbeat costs the first beat.
             {"no beat before the song", evenGrid(8, 10, {0, 4}), 1, gridOf("10* 20 30 40 50* 60 60 70")},
             {"exactly at the song's start", evenGrid(8, 10, {0, 4}, 10), 1, evenGrid(8, 10, {2, 6}, 0)},
         }) {
        SCOPED_TRACE(what);
        const auto storage = makeStorage(before, kFourFour);
        expectOneUndoableChange(storage, [&, by = offset] { storage->shiftDownbeatsByOffset(by); });
        EXPECT_EQ(grid(storage), after);
    }
}

TEST(BeatGridEditing, BeatsBetweenAreGivenInGridOrder) {
    const auto storage = makeStorage(evenGrid(6, 10, {0}), kFourFour);
    const auto beats = storage->beatEntries().copy();
    const auto id = [&](std::size_t i) { return beats[i]->eventId(); };
    EXPECT_EQ(storage->beatEntriesBetween(id(1), id(4)).copy(), (std::vector{beats[2], beats[3]}));
    EXPECT_EQ(storage->beatEntriesBetweenInclusive(id(1), id(3)).copy(),
              (std::vector{beats[1], beats[2], beats[3]}));
    EXPECT_TRUE(storage->beatEntriesBetween(id(1), id(2)).empty());
    EXPECT_TRUE(storage->beatEntriesBetween(id(4), id(1)).empty());
    EXPECT_TRUE(storage->beatEntriesBetweenInclusive(id(2), id(2)).empty());
    EXPECT_TRUE(storage->beatEntriesBetweenInclusive(id(2), 12345).empty());
}

TEST(BeatGridEditing, OffsettingWrapsDownbeatsWithinTheSpan) {
    struct Case {
        std::vector<std::size_t> downbeats;
        std::int64_t by;
        std::vector<BeatAt> span; ///< of positions 1 to 4
    };
    for (const auto& [downbeats, by, span] : std::vector<Case>{
             {{0, 4}, 1, gridOf("10* 20 30 40")},
             {{1}, -1, gridOf("10 20 30 40*")},
             {{2}, 4, gridOf("10 20 20* 30 40")}, // onto itself
             // The target at 30 is a downbeat itself: it comes out cleared and set.
             {{2, 3}, 1, gridOf("10 20 30 30* 40*")},
             {{0, 5}, 1, gridOf("10 20 30 40")},
         }) {
        const auto storage = makeStorage(evenGrid(6, 10, downbeats), kFourEight);
        const auto first = idAt(storage, 1);
        const auto last = idAt(storage, 4);
        std::vector<BeatAt> result;
        expectOneUndoableChange(storage, [&, offset = by] {
            result = beatsOf(storage->offsetDownbeatEntries(offset, first, last));
        });
        EXPECT_EQ(result, span);
        auto whole = grid(storage);
        EXPECT_EQ(std::vector(whole.begin() + 1, whole.end() - 1), span);
    }
    const auto storage = makeStorage(evenGrid(6, 10, {0}), kFourEight);
    const auto beats = storage->beatEntries();
    EXPECT_TRUE(storage->offsetDownbeatEntries(1, idAt(storage, 4), idAt(storage, 1)).empty());
    EXPECT_TRUE(storage->beatEntries().isSameListAs(beats));
    EXPECT_DEATH((void)storage->offsetDownbeatEntries(6, idAt(storage, 0), idAt(storage, 4)),
                 "length of their span");
}

TEST(BeatGridEditing, SpacingAndTempo) {
    EXPECT_EQ(makeStorage({})->averageBeatEntrySpacing(), std::nullopt);
    EXPECT_EQ(makeStorage({})->tempoFromBeatEntries(44100), 0.0);
    EXPECT_TRUE(std::isnan(makeStorage({{5, true}})->averageBeatEntrySpacing().value()));
    EXPECT_EQ(makeStorage({{0, true}, {10}, {40}})->averageBeatEntrySpacing(), 20.0);
    EXPECT_EQ(makeStorage(evenGrid(5, 22050, {0}))->tempoFromBeatEntries(44100), 120.0);
    EXPECT_EQ(makeStorage(evenGrid(8, 11025, {0}), kFourFour)->tempoFromBeatEntriesWithSampleRate(44100),
              120.0)
        << "counted beats, not stored ones";
    EXPECT_DEATH(
        (void)makeStorage({{std::numeric_limits<std::int64_t>::min()}, {1}})->averageBeatEntrySpacing(),
        "overflow");
}

TEST(BeatGridEditing, MovingABarLineSpacesTheTwoBarsThatMeetThere) {
    struct Case {
        const char* what;
        std::vector<BeatAt> before;
        std::size_t position;
        std::int64_t to;
        std::vector<BeatAt> after;
    };
    const auto bars = evenGrid(8, 250, {0, 4});
    for (const auto& [what, before, position, to, after] : std::vector<Case>{
             {"the last bar ends at the limit", bars, 4, 1200, gridOf("0* 300 600 900 1200* 1400 1600 1800")},
             {"the first bar has none before it", bars, 0, 100,
              gridOf("100* 325 550 775 1000* 1250 1500 1750")},
             {"pickup becomes a bar from the song's start", evenGrid(6, 100, {2}, 50), 2, 300,
              gridOf("0* 150 300* 725 1150 1575")},
             {"onto the previous bar line: steps of 1", bars, 4, 0, gridOf("0* 0* 1 2 3 500 1000 1500")},
         }) {
        SCOPED_TRACE(what);
        const auto storage = makeStorage(before, kFourEight);
        std::uint64_t downbeat = 0;
        const auto identifier = idAt(storage, position);
        const auto nextIdentifier = storage->nextEventId();
        expectOneUndoableChange(storage, [&, target = to] {
            downbeat = storage->setLocationOfBarEntry(identifier, target, 2000);
        });
        EXPECT_EQ(grid(storage), after);
        EXPECT_EQ(downbeat, nextIdentifier) << "the moved bar's beats are made first";
    }

    const auto storage = makeStorage(bars, kFourEight);
    EXPECT_DEATH((void)storage->setLocationOfBarEntry(999, 10, 2000), "This entry does not exist!");
    EXPECT_DEATH((void)storage->setLocationOfBarEntry(idAt(storage, 4), 2001, 2000),
                 "beyond the end of its bar");
    EXPECT_DEATH((void)storage->setLocationOfBarEntry(idAt(storage, 4), -1, 2000),
                 "before the start of the previous");
}

TEST(BeatGridEditing, NumberOfBeatsInABar) {
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
    EXPECT_EQ(downbeatsOf(storage), (std::vector<std::size_t>{0, 6}));
    EXPECT_EQ(grid(storage)[5], (BeatAt{5 * 133}));
    const auto last = idAt(storage, 6);
    expectOneUndoableChange(storage, [&] { downbeat = storage->setNumberOfBeats(1, last, 1700); });
    EXPECT_EQ(storage->beatEntries().size(), 8u);
    EXPECT_EQ(grid(storage)[7], (BeatAt{1250}));

    EXPECT_DEATH((void)storage->setNumberOfBeats(0, downbeat, 1700), "at least one beat");
    EXPECT_DEATH((void)storage->setNumberOfBeats(1, downbeat, 799), "must not end before it starts");
    EXPECT_DEATH((void)storage->setNumberOfBeats(std::numeric_limits<std::int64_t>::max(), downbeat, 1700),
                 "overflow");
    EXPECT_DEATH((void)storage->setNumberOfBeats(1, 999, 1700), "This entry does not exist!");
}

TEST(BeatGridEditing, RebuildingARangeJoinsTheOldGridAtBothEnds) {
    struct Case {
        const char* what;
        std::vector<BeatAt> before;
        Range<std::int64_t> range;
        Locations downbeats;
        std::vector<BeatAt> after; ///< two beats per bar
    };
    const auto bars = evenGrid(16, 100, {0, 4, 8, 12});
    for (const auto& [what, before, range, downbeats, after] : std::vector<Case>{
             {"downbeats on both sides",
              bars,
              {500, 1000},
              {600, 900},
              gridOf("0* 100 200 300 400* 450 500 550 600* 675 750 825 900* 975 1050 1125 1200* 1300 1400 "
                     "1500")},
             {"a downbeat where the range starts",
              bars,
              {400, 700},
              {400},
              gridOf("0* 100 200 300 400* 500 600 700 800* 900 1000 1100 1200* 1300 1400 1500")},
             {"off-beats on the bar lines at both ends belong to the bars before them",
              gridOf("0* 100 200 400 400* 500 600 800 800* 900 1000 1100"),
              {400, 700},
              {400},
              gridOf("0* 100 200 400 400* 500 600 700 800* 900 1000 1100")},
             {"none behind: the rest of the last bar stays",
              evenGrid(12, 100, {0, 4}),
              {400, 790},
              {400},
              gridOf("0* 100 200 300 400* 500 600 700 800 900 1000 1100")},
             {"none behind, and no beat either: the range's end closes the bar",
              evenGrid(8, 100, {0, 4}),
              {400, 1200},
              {600},
              gridOf("0* 100 200 300 400* 450 500 550 600* 750 900 1050")},
             {"none before: pickup leads up to the first bar",
              evenGrid(8, 100, {4}),
              {250, 790},
              {380},
              gridOf("0 100 200 290 380* 482 585 687")},
             {"no beat before: the grid opens with the first bar",
              evenGrid(8, 100, {0, 4}, 100),
              {0, 450},
              {150},
              gridOf("150* 237 325 412 500* 600 700 800")},
             {"an empty grid", {}, {0, 1000}, {100, 500}, gridOf("100* 200 300 400 500* 625 750 875")},
         }) {
        SCOPED_TRACE(what);
        const auto storage = makeStorage(before, kFourFour);
        const auto firstNew = storage->nextEventId();
        std::vector<std::uint64_t> identifiers;
        expectOneUndoableChange(storage, [&, in = range, at = downbeats] {
            identifiers = storage->replaceBeatEntries(in, at, 2);
        });
        EXPECT_EQ(grid(storage), after);
        std::vector<std::uint64_t> newIdentifiers = identifiersOf(storage->beatEntries());
        std::erase_if(newIdentifiers, [&](auto identifier) { return identifier < firstNew; });
        EXPECT_EQ(identifiers, newIdentifiers);
    }

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
Storage randomQuarterNoteStorage(std::mt19937_64& random, std::int64_t spacing) {
    const auto draw = [&](std::int64_t low, std::int64_t high) {
        return std::uniform_int_distribution<std::int64_t>(low, high)(random);
    };
    std::vector<BeatAt> beats;
    std::int64_t location = draw(0, 300);
    const auto addBeats = [&](std::int64_t count, bool bar) {
        for (std::int64_t i = 0; i < count; ++i) {
            beats.push_back({location, bar && i == 0});
            location += draw(spacing, 2 * spacing);
        }
    };
    addBeats(2 * draw(0, 2), false);
    for (std::int64_t remaining = draw(0, 6); remaining > 0; --remaining)
        addBeats(2 * draw(1, 5), true);
    return makeStorage(beats, kFourFour);
}

TEST(BeatGridEditing, RandomRebuildsKeepTheGridConsistent) {
    for (std::uint64_t seed = 1; seed <= 2000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const auto storage = randomQuarterNoteStorage(random, 50);
        const auto draw = [&](std::int64_t low, std::int64_t high) {
            return std::uniform_int_distribution<std::int64_t>(low, high)(random);
        };
        const auto before = storage->beatEntries();
        const std::int64_t lower = draw(0, 3000);
        const std::int64_t beatsPerBar = draw(1, 4);
        Locations downbeats;
        for (std::int64_t at = lower + draw(40, 200), n = draw(1, 4); n > 0; --n, at += draw(200, 600))
            downbeats.push_back(at);
        const std::int64_t upper = downbeats.back() + draw(100, 500);
        std::vector<std::uint64_t> identifiers;
        expectOneUndoableChange(storage, [&] {
            identifiers = storage->replaceBeatEntries({lower, upper}, downbeats, beatsPerBar);
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
        const auto isNew = [&](const BeatRef& beat) { return beat->eventId() >= identifiers.front(); };
        const auto newBegin = std::find_if(after.begin(), after.end(), isNew);
        const auto newEnd = std::find_if_not(newBegin, after.end(), isNew);
        EXPECT_EQ(identifiersOf(std::vector(newBegin, newEnd)), identifiers);
        EXPECT_TRUE(std::equal(after.begin(), newBegin, before.begin()));
        EXPECT_TRUE(std::equal(newEnd, after.end(), before.end() - (after.end() - newEnd)));
        // The given bars are there, each but the last with its number of beats.
        for (std::size_t i = 0; i < downbeats.size(); ++i) {
            const auto at = std::find_if(after.begin(), after.end(),
                                         [&](const auto& beat) { return beat->location() == downbeats[i]; });
            ASSERT_NE(at, after.end());
            EXPECT_TRUE((*at)->isDownbeat());
            if (i + 1 < downbeats.size()) {
                EXPECT_EQ(storage->getNumberOfBeats((*at)->eventId()), beatsPerBar);
            }
        }
        // No other downbeat in the range, no untouched beat in it before its last bar ends.
        for (const auto& beat : after) {
            if (beat->isDownbeat() && lower < beat->location() && beat->location() < upper) {
                EXPECT_TRUE(std::count(downbeats.begin(), downbeats.end(), beat->location()));
            }
            if (lower <= beat->location() && beat->location() < upper) {
                EXPECT_TRUE(isNew(beat));
            }
        }
    }
}

TEST(BeatGridEditing, RandomEditsAreUndoableAndKeepCounts) {
    for (std::uint64_t seed = 1; seed <= 2000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const auto drawn = randomGrid(random);
        if (drawn.empty())
            continue;
        const auto draw = [&](std::size_t low, std::size_t high) {
            return std::uniform_int_distribution<std::size_t>(low, high)(random);
        };
        const bool quarterNotes = draw(0, 1) == 1;
        const auto storage = makeStorage(drawn, quarterNotes ? kFourFour : kFourEight);
        const std::size_t position = draw(0, drawn.size() - 1);
        const std::uint64_t identifier = idAt(storage, position);
        const std::int64_t limit = drawn.back().location + 50;
        const auto downbeats = downbeatsOf(storage);
        switch (draw(0, 3)) {
        case 0:
            expectOneUndoableChange(storage, [&] {
                storage->shiftDownbeatsByOffset(std::uniform_int_distribution<std::int64_t>(
                    -static_cast<std::int64_t>(drawn.size()), 50)(random));
            });
            if (!quarterNotes) {
                EXPECT_EQ(downbeatsOf(storage).size(), downbeats.size());
            }
            break;
        case 1: {
            const auto next = std::upper_bound(downbeats.begin(), downbeats.end(), position);
            const std::int64_t end = next == downbeats.end() ? limit : drawn[*next].location;
            if (end < 0)
                break; // pickup starts at 0
            expectOneUndoableChange(storage,
                                    [&] { (void)storage->setLocationOfBarEntry(identifier, end, limit); });
            if (!quarterNotes) {
                EXPECT_EQ(storage->beatEntries().size(), drawn.size());
            }
            break;
        }
        case 2: {
            const auto old = quarterNotes ? 0 : storage->getNumberOfBeats(identifier);
            expectOneUndoableChange(storage, [&] { (void)storage->setNumberOfBeats(5, identifier, limit); });
            if (!quarterNotes) {
                EXPECT_EQ(static_cast<std::int64_t>(storage->beatEntries().size()),
                          static_cast<std::int64_t>(drawn.size()) - old + 5);
            }
            break;
        }
        default: {
            if (position + 1 == drawn.size())
                break;
            const std::uint64_t last = idAt(storage, drawn.size() - 1);
            const auto marks = std::count_if(drawn.begin() + static_cast<std::ptrdiff_t>(position),
                                             drawn.end(), [](const BeatAt& beat) { return beat.isDownbeat; });
            EntryList<TarnBeatEntry> result;
            expectOneUndoableChange(storage,
                                    [&] { result = storage->offsetDownbeatEntries(1, identifier, last); });
            EXPECT_TRUE(std::is_sorted(result.begin(), result.end(), [](const auto& a, const auto& b) {
                return a->location() < b->location();
            }));
            EXPECT_EQ(std::count_if(result.begin(), result.end(),
                                    [](const auto& beat) { return beat->isDownbeat(); }),
                      marks);
            break;
        }
        }
    }
}

} // namespace
} // namespace tarn
