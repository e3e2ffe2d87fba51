#include "TarnFoundation/SortedSearch.h"

#include "TarnFoundation/UserEntries/TarnMarkerEntry.h"
#include "Tests/TarnFoundation/BeatGrid.h"

#include <deque>
#include <string>

namespace tarn {
namespace {

using namespace test;
using Index = std::optional<std::size_t>;

std::vector<BeatRef> beatsAt(const Grid& grid) {
    return makeStorage(grid)->beatEntries().copy();
}

/// The last (or first) index that satisfies the condition, by looking at all of them.
template <typename Condition>
Index lastWhere(std::size_t count, Condition condition) {
    Index found;
    for (std::size_t i = 0; i < count; ++i)
        found = condition(i) ? Index(i) : found;
    return found;
}
template <typename Condition>
Index firstWhere(std::size_t count, Condition condition) {
    for (std::size_t i = 0; i < count; ++i) {
        if (condition(i))
            return i;
    }
    return std::nullopt;
}

TEST(SortedSearchTests, ValuesStrictlyPastAndBeforeOfAnyComparableType) {
    const std::deque<std::string> names{"bar", "beat", "tatum"};
    EXPECT_EQ(indexOfElementPast(names, "beat"), 2u);
    EXPECT_EQ(indexOfElementBefore(names, "c"), 1u);
    EXPECT_EQ(indexOfClosestElement(std::vector{0.5, 1.0}, 0.7), 0u);
}

/// Ordered by rank, equal by name.
struct Named {
    int rank = 0;
    char name = ' ';
    friend bool operator<(const Named& a, const Named& b) { return a.rank < b.rank; }
    friend bool operator==(const Named& a, const Named& b) { return a.name == b.name; }
};

TEST(SortedSearchTests, StepsOverAnElementThatEqualsTheValueAlthoughItIsOrderedPastOrBeforeIt) {
    const std::vector<Named> values{{1, 'a'}, {2, 'b'}, {3, 'c'}};
    EXPECT_EQ(indexOfElementPast(values, {1, 'b'}), 2u);
    EXPECT_EQ(indexOfElementPast(values, {2, 'c'}), std::nullopt);
    EXPECT_EQ(indexOfElementBefore(values, {3, 'b'}), 0u);
    EXPECT_EQ(indexOfElementBefore(values, {2, 'a'}), std::nullopt);
}

TEST(SortedSearchTests, PrimitivesFindTheBoundsOfAPredicate) {
    const std::vector<int> values{1, 3, 3, 5};
    EXPECT_EQ(lowerBound(values, 3, std::less<>()), 1u);
    EXPECT_EQ(lowerBound(values, 3, std::less_equal<>()), 3u);
    EXPECT_EQ(upperBound(values, 3, std::less<>()), 3u);
    EXPECT_EQ(upperBound(values, 5, std::less<>()), 4u);
    EXPECT_EQ(lowerBound(std::vector<int>(), 3, std::less<>()), 0u);
}

TEST(SortedSearchTests, StepsFromTheClosestValueCountItWhenItLiesAhead) {
    const Locations values{10, 20, 30};
    const std::pair<std::int64_t, Locations> cases[] = {// -2, -1, 0, 1 and 2 steps away
                                                        {12, {10, 10, 10, 20, 30}},
                                                        {18, {10, 10, 20, 20, 30}},
                                                        {20, {10, 10, 20, 30, 30}},
                                                        {32, {20, 30, 30, 30, 30}}};
    for (const auto& [to, results] : cases) {
        for (std::int64_t offset = -2; offset <= 2; ++offset)
            EXPECT_EQ(closest(values, to, offset), results[std::size_t(offset + 2)])
                << to << " by " << offset;
    }
    EXPECT_EQ(closest(values, 20, kGreatest), 30);
    EXPECT_EQ(closest(values, 20, kLeast), 10);
    EXPECT_EQ(closest(Locations(), 1, 1), std::nullopt);
}

TEST(SortedSearchTests, EntriesByLocation) {
    const auto entries = beatsAt(evenGrid(3, 100, {}, 100));
    EXPECT_EQ(identifierForSample(entries, 250), entries[1]->eventId());
    EXPECT_EQ(indexOfEntryAfter(entries, *entries[1]), 2u);
    EXPECT_EQ(indexOfEntryBefore(entries, *entries[1]), 0u);
    EXPECT_EQ(indexOfEntryAfter(entries, *entries[2]), std::nullopt);
    EXPECT_EQ(indexOfEntryBefore(entries, *entries[0]), std::nullopt);
    EXPECT_EQ(indexOfEntryAfter(entries, TarnMarkerEntry(77)), std::nullopt);
    EXPECT_EQ(rangeForEntry(entries, *entries[2]), Range(std::int64_t{300}, kGreatest));
    EXPECT_EQ(rangeForEntry(entries, *entries[0]), Range<std::int64_t>(100, 200));

    // Entries at one location govern the same samples.
    const auto doubled = beatsAt({{100}, {100}, {300}});
    EXPECT_EQ(rangeForEntry(doubled, *doubled[0]), Range<std::int64_t>(100, 300));

    EXPECT_DEATH((void)indexOfClosestEntry(beatsAt({{kLeast}, {0}}), 1), "overflow");
    EXPECT_DEATH((void)indexOfClosestElement(std::vector{kLeast, kGreatest}, 0), "overflow");
}

TEST(SortedSearchTests, EntriesInRangeExpressions) {
    const auto entries = beatsAt(evenGrid(3, 100, {}, 100));
    using Sample = std::int64_t;
    EXPECT_EQ(locations(entriesIn(entries, ClosedRange<Sample>(100, 200))), (Locations{100, 200}));
    EXPECT_EQ(locations(entriesIn(entries, Range<Sample>(100, 200))), Locations{100});
    EXPECT_EQ(locations(entriesIn(entries, Range<Sample>(101, 101))), Locations());
    EXPECT_EQ(locations(entriesIn(entries, PartialRangeFrom<Sample>{200})), (Locations{200, 300}));
    EXPECT_EQ(locations(entriesIn(entries, PartialRangeFrom<Sample>{500})), Locations());
    // Open at the bottom: never the first entry.
    EXPECT_EQ(locations(entriesIn(entries, PartialRangeUpTo<Sample>{300})), Locations{200});
    EXPECT_EQ(locations(entriesIn(entries, PartialRangeThrough<Sample>{300})), (Locations{200, 300}));
    EXPECT_EQ(locations(entriesIn(entries, PartialRangeThrough<Sample>{100})), Locations());
    EXPECT_DEATH((void)entriesIn(entries, PartialRangeUpTo<Sample>{100}), "must not end before it starts");
    EXPECT_DEATH((void)entriesIn(entries, ClosedRange<Sample>(0, kGreatest)), "overflow");
    EXPECT_DEATH((void)entriesIn(beatsAt({{kGreatest}}), Range<Sample>(0, 1)), "overflow");
    EXPECT_DEATH((void)entriesIn(std::vector{entries[1], entries[0]}, Range<Sample>(0, 1)),
                 "must be sorted by the key");

    // By any integer key, of anything.
    const std::vector<std::string> words{"a", "be", "bar", "tatum"};
    EXPECT_EQ(entriesIn(words, ClosedRange<std::size_t>(2, 4), &std::string::size),
              (std::vector<std::string>{"be", "bar"}));
}

TEST(SortedSearchTests, NothingIsFoundAmongNothing) {
    const EntryList<TarnBeatEntry> none;
    const TarnMarkerEntry entry(1);
    for (const Index& index : {firstIndexOfEntryWithId(none, 0), indexOfEntryAfter(none, entry),
                               indexOfEntryBefore(none, entry), indexOfQuarterNoteEntryBefore(none, 0)})
        EXPECT_EQ(index, std::nullopt);
    EXPECT_EQ(identifierForSample(none, 0), std::nullopt);
    EXPECT_EQ(rangeForEntry(none, entry), std::nullopt);
    EXPECT_TRUE(entriesIn(none, PartialRangeFrom<std::int64_t>{5}).empty());
    EXPECT_TRUE(entriesIn(none, PartialRangeUpTo<std::int64_t>{-5}).empty());
    EXPECT_DEATH((void)indexOfQuarterNoteEntryAfter(none, 0), "only be searched among beats");
}

TEST(SortedSearchTests, AgreesWithLinearDefinitionsOnRandomGrids) {
    for (std::uint64_t seed = 1; seed <= 3000 && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const auto grid = randomGrid(random);
        const auto beats = beatsAt(grid);
        const auto values = locations(beats);
        const std::size_t n = grid.size();
        const std::int64_t end = n > 0 ? values.back() : 0;
        for (int probe = 0; probe < 8; ++probe) {
            const auto x = drawn(random, -80, end + 20);
            SCOPED_TRACE("sample " + std::to_string(x));
            const auto past = firstWhere(n, [&](std::size_t i) { return values[i] > x; });
            const auto before = lastWhere(n, [&](std::size_t i) { return values[i] < x; });
            const auto at = lastWhere(n, [&](std::size_t i) { return values[i] <= x; });
            const auto distance = [&](std::size_t i) { return std::abs(values[i] - x); };
            EXPECT_EQ(indexOfElementPast(values, x), past);
            EXPECT_EQ(indexOfElementBefore(values, x), before);
            EXPECT_EQ(indexOfElementPast(beats, x), past);
            EXPECT_EQ(indexOfElementBefore(beats, x), before);
            EXPECT_EQ(indexForSample(beats, x), at);

            Index nearest;
            for (std::size_t i = 0; i < n; ++i)
                nearest = !nearest || distance(i) <= distance(*nearest) ? Index(i) : nearest;
            // Several later elements at one location: the first of them, unless they lie at or before the
            // value.
            if (nearest && values[*nearest] > x)
                nearest = firstWhere(n, [&](std::size_t i) { return values[i] == values[*nearest]; });
            EXPECT_EQ(indexOfClosestElement(values, x), nearest);

            Index nearestEntry = at;
            if (at && *at + 1 < n && distance(*at + 1) < distance(*at))
                nearestEntry = *at + 1;
            EXPECT_EQ(indexOfClosestEntry(beats, x), nearestEntry);

            const auto downbeat =
                lastWhere(n, [&](std::size_t i) { return grid[i].isDownbeat && values[i] <= x; });
            EXPECT_EQ(indexOfDownbeatEntryBefore(beats, x), downbeat);
            EXPECT_EQ(indexOfDownbeatEntryAfter(beats, x),
                      firstWhere(n, [&](std::size_t i) { return grid[i].isDownbeat && values[i] > x; }));
            const auto isQuarter = [&](std::size_t i) {
                return i >= downbeat.value_or(0) && (i - downbeat.value_or(0)) % 2 == 0;
            };
            if (n > 0) {
                const auto quarter =
                    lastWhere(n, [&](std::size_t i) { return isQuarter(i) && values[i] <= x; });
                EXPECT_EQ(indexOfQuarterNoteEntryBefore(beats, x), quarter.value_or(0));
                EXPECT_EQ(indexOfQuarterNoteEntryAfter(beats, x),
                          firstWhere(n, [&](std::size_t i) { return isQuarter(i) && values[i] > x; }));
            }
            const auto y = x + drawn(random, 0, 60);
            std::vector<BeatRef> inside;
            std::copy_if(beats.begin(), beats.end(), std::back_inserter(inside),
                         [&](const auto& beat) { return x <= beat->location() && beat->location() < y; });
            EXPECT_EQ(entriesIn(beats, Range(x, y)), inside);
        }
    }
}

} // namespace
} // namespace tarn
