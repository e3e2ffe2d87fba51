#include "TarnFoundation/RegionEditing.h"

#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include <algorithm>
#include <random>

namespace tarn {
namespace {

using namespace fixtures;
using Grid = RegionSnapGrid;
using Rule = RegionNeighborCollisionRule;
using RegionRef = std::shared_ptr<TarnRegionEntry>;
using Spans = std::vector<Span>;
constexpr auto start = RegionBoundary::start, end = RegionBoundary::end;

struct Move {
    std::optional<RegionBoundary> boundary = std::nullopt; ///< none: the whole region
    std::int64_t by = 0; ///< in points of the grid, in frames where there are none
    Grid on = Grid::none;
    Rule rule = Rule::doNotMove;
    std::int64_t threshold = 0;
};

/// A document with regions, one of which is moved.
struct Song {
    explicit Song(const Spans& spans, std::size_t moving = 0)
        : regions(addRegions(*document, spans)), region(regions.at(moving)) {}

    /// Moves the region and returns the new one. Every move is one change, or an error and no change.
    RegionRef moved(const Move& move) {
        const auto before = document->regionEntries();
        const auto span = region->range();
        const auto newIdentifier = document->nextEventId();
        const NotificationRecorder recorder(document);
        RegionRef result;
        try {
            result = move.boundary ? document->adjustRegionEntry(region, *move.boundary, move.by, move.on,
                                                                 move.rule, move.threshold)
                                   : document->shiftRegionEntry(region, move.by, move.on, move.rule);
        } catch (...) {
            EXPECT_TRUE(document->regionEntries().isSameListAs(before));
            EXPECT_TRUE(recorder.notifications.empty());
            EXPECT_EQ(document->nextEventId(), newIdentifier + 1) << "a failed move uses one up, too";
            throw;
        }
        EXPECT_EQ(recorder.names(), Names{RegionKind::kDidChangeNotification});
        removed = identifiers(*recorder.list<TarnRegionEntry>(0, TarnNoteEntryStorageRemovedEntriesKey));
        EXPECT_EQ(identifiers(*recorder.list<TarnRegionEntry>(0, TarnNoteEntryStorageAddedEntriesKey)),
                  Identifiers{newIdentifier});
        EXPECT_EQ(document->nextEventId(), newIdentifier + 1);
        EXPECT_TRUE(document->containsRegionEntry(result));
        EXPECT_EQ(result->className(), region->className());
        EXPECT_EQ(region->range(), span) << "the original stays as it was";
        return result;
    }
    Span spanAfter(const Move& move) {
        const auto result = moved(move);
        return {result->location(), result->length()};
    }
    /// All regions after the move, in the document's order.
    Spans spansAfter(const Move& move) {
        moved(move);
        Spans spans;
        for (const auto& stored : document->regionEntries())
            spans.emplace_back(stored->location(), stored->length());
        return spans;
    }
    template <typename Case>
    void expectError(Case errorCase, const Move& move) {
        try {
            moved(move);
            ADD_FAILURE() << "the region moved";
        } catch (const CaseError<Case>& error) {
            EXPECT_EQ(error.errorCase(), errorCase);
        }
    }

    const Document document = makeDocument();
    const std::vector<RegionRef> regions;
    const RegionRef region;
    Identifiers removed; ///< by the last move
};

/// One region in a song with beats at 0, 1000, 2000 and 3000 and bars at 0 and 2000.
Song onGrid(Span region) {
    Song song({region});
    addBeats(*song.document, {0, 1000, 2000, 3000}, {0, 2});
    return song;
}

/// The second of several regions is the one that moves.
Song amongRegions(const Spans& spans) {
    return Song(spans, 1);
}

// A boundary

TEST(RegionEditingTests, ABoundaryMovesFreelyByFrames) {
    EXPECT_EQ(onGrid({1000, 500}).spanAfter({.boundary = start, .by = -70}), Span(930, 570));
    EXPECT_EQ(onGrid({1000, 500}).spanAfter({.boundary = start, .by = 499}), Span(1499, 1));
    EXPECT_EQ(onGrid({1000, 500}).spanAfter({.boundary = end, .by = 70}), Span(1000, 570));
    EXPECT_EQ(onGrid({1000, 500}).spanAfter({.boundary = end, .by = -499}), Span(1000, 1));
}

TEST(RegionEditingTests, ABoundaryMovesByFramesWhereTheGridHasNoPoints) {
    EXPECT_EQ(Song({{1000, 500}}).spanAfter({.boundary = end, .by = 70, .on = Grid::beat}), Span(1000, 570));
    Song withoutBars({{1000, 500}});
    addBeats(*withoutBars.document, {0, 1000, 2000});
    EXPECT_EQ(withoutBars.spanAfter({.boundary = end, .by = 70, .on = Grid::bar}), Span(1000, 570));
}

TEST(RegionEditingTests, ABoundaryMovesOverBeats) {
    EXPECT_EQ(onGrid({1000, 1000}).spanAfter({.boundary = end, .by = 1, .on = Grid::beat}), Span(1000, 2000));
    EXPECT_EQ(onGrid({0, 3000}).spanAfter({.boundary = end, .by = -2, .on = Grid::beat}), Span(0, 1000));
    EXPECT_EQ(onGrid({0, 3000}).spanAfter({.boundary = start, .by = 2, .on = Grid::beat}), Span(2000, 1000));
}

TEST(RegionEditingTests, ABoundaryMovesOverBars) {
    EXPECT_EQ(onGrid({0, 500}).spanAfter({.boundary = end, .by = 1, .on = Grid::bar}), Span(0, 2000));
    EXPECT_EQ(onGrid({2000, 500}).spanAfter({.boundary = start, .by = -1, .on = Grid::bar}), Span(0, 2500));
}

TEST(RegionEditingTests, InQuarterNotesEverySecondStoredBeatIsABeat) {
    Song song({{0, 500}});
    addBeats(*song.document, {0, 500, 1000, 1500, 2000}, {0, 4});
    song.document->setTimeSignature(2, 4);
    EXPECT_EQ(song.spanAfter({.boundary = end, .by = 1, .on = Grid::beat}), Span(0, 1000));
}

TEST(RegionEditingTests, BetweenTwoPointsTheFirstStepLeadsToTheOneInItsDirection) {
    for (const std::uint64_t length : {1400, 1500, 1600}) { // nearer to 1000, halfway, nearer to 2000
        EXPECT_EQ(onGrid({0, length}).spanAfter({.boundary = end, .by = 1, .on = Grid::beat}), Span(0, 2000));
        EXPECT_EQ(onGrid({0, length}).spanAfter({.boundary = end, .by = 2, .on = Grid::beat}), Span(0, 3000));
        EXPECT_EQ(onGrid({0, length}).spanAfter({.boundary = end, .by = -1, .on = Grid::beat}),
                  Span(0, 1000));
    }
    EXPECT_EQ(onGrid({0, 2400}).spanAfter({.boundary = end, .by = -2, .on = Grid::beat}), Span(0, 1000));
}

TEST(RegionEditingTests, NoStepsSnapABoundaryToTheNearestPoint) {
    EXPECT_EQ(onGrid({0, 1400}).spanAfter({.boundary = end, .on = Grid::beat}), Span(0, 1000));
    EXPECT_EQ(onGrid({0, 1500}).spanAfter({.boundary = end, .on = Grid::beat}), Span(0, 2000))
        << "the later of two equally near";
    EXPECT_EQ(onGrid({0, 9000}).spanAfter({.boundary = end, .on = Grid::beat}), Span(0, 3000));
    EXPECT_EQ(onGrid({-900, 2000}).spanAfter({.boundary = start, .on = Grid::beat}), Span(0, 1100));
}

TEST(RegionEditingTests, ABoundaryStaysOnTheOutermostPoints) {
    EXPECT_EQ(onGrid({1000, 1000}).spanAfter({.boundary = end, .by = 1, .on = Grid::bar}), Span(1000, 1000));
    EXPECT_EQ(onGrid({1000, 1000}).spanAfter({.boundary = end, .by = kGreatest, .on = Grid::beat}),
              Span(1000, 2000));
    EXPECT_EQ(onGrid({1000, 1000}).spanAfter({.boundary = start, .by = kLeast, .on = Grid::beat}),
              Span(0, 2000));
}

TEST(RegionEditingTests, NoBoundaryReachesTheOther) {
    constexpr auto empty = SnappedAdjustmentErrorCase::zeroLengthRegion;
    onGrid({1000, 500}).expectError(empty, {.boundary = start, .by = 500});
    onGrid({1000, 500}).expectError(empty, {.boundary = start, .by = 501});
    onGrid({1000, 500}).expectError(empty, {.boundary = end, .by = -500});
    onGrid({1000, 500}).expectError(empty, {.boundary = end, .by = -501, .threshold = 1});
    onGrid({1000, 1000}).expectError(empty, {.boundary = start, .by = 1, .on = Grid::beat});
}

TEST(RegionEditingTests, TheThresholdIsTheLeastLength) {
    constexpr auto tooShort = SnappedAdjustmentErrorCase::lengthBelowThreshold;
    onGrid({0, 500}).expectError(tooShort, {.boundary = start, .by = 100, .threshold = 401});
    onGrid({0, 500}).expectError(tooShort, {.boundary = end, .by = -100, .threshold = 401});
    onGrid({0, 2000}).expectError(tooShort,
                                  {.boundary = start, .by = 1, .on = Grid::beat, .threshold = 1001});
    EXPECT_EQ(onGrid({0, 500}).spanAfter({.boundary = start, .by = 100, .threshold = 400}), Span(100, 400));
    EXPECT_EQ(onGrid({0, 500}).spanAfter({.boundary = end, .by = -100, .threshold = 400}), Span(0, 400));
}

TEST(RegionEditingTests, ByNoFramesNoLengthIsChecked) {
    EXPECT_EQ(onGrid({1000, 500}).spanAfter({.boundary = start, .threshold = 5000}), Span(1000, 500));
    EXPECT_EQ(onGrid({1000, 0}).spanAfter({.boundary = end}), Span(1000, 0));
}

// A whole region

TEST(RegionEditingTests, ARegionMovesFreelyByFrames) {
    EXPECT_EQ(onGrid({1000, 100}).spanAfter({.by = 99}), Span(1099, 100));
    EXPECT_EQ(onGrid({1000, 100}).spanAfter({.by = -5000}), Span(-4000, 100));
    EXPECT_EQ(Song({{1000, 100}}).spanAfter({.by = -7, .on = Grid::bar}), Span(993, 100)) << "without bars";
}

TEST(RegionEditingTests, ARegionMovedForwardBeyondItsLengthBeginsAtItsOldEnd) {
    EXPECT_EQ(onGrid({1000, 100}).spanAfter({.by = 300}), Span(1100, 500));
}

TEST(RegionEditingTests, OnTheGridTheStartMovesByPointsAndTheEndToTheNearest) {
    EXPECT_EQ(onGrid({0, 1000}).spanAfter({.by = 2, .on = Grid::beat}), Span(2000, 1000));
    EXPECT_EQ(onGrid({2000, 1000}).spanAfter({.by = -2, .on = Grid::beat}), Span(0, 1000));
    EXPECT_EQ(onGrid({0, 1400}).spanAfter({.by = 1, .on = Grid::beat}), Span(1000, 1000));
    EXPECT_EQ(onGrid({0, 1500}).spanAfter({.by = 1, .on = Grid::beat}), Span(1000, 2000)) << "halfway: later";
    EXPECT_EQ(onGrid({2000, 500}).spanAfter({.by = -1, .on = Grid::bar}), Span(0, 0));
    EXPECT_EQ(onGrid({3500, 2000}).spanAfter({.by = -1, .on = Grid::beat}), Span(3000, 0));
}

TEST(RegionEditingTests, TheFirstPointInTheDirectionIsTheFirstStepOfARegion) {
    EXPECT_EQ(onGrid({900, 500}).spanAfter({.by = 1, .on = Grid::beat}), Span(1000, 1000));
    EXPECT_EQ(onGrid({1100, 500}).spanAfter({.by = -1, .on = Grid::beat}), Span(1000, 1000));
    EXPECT_EQ(onGrid({1100, 500}).spanAfter({.by = -2, .on = Grid::beat}), Span(0, 1000));
    EXPECT_EQ(onGrid({-500, 1000}).spanAfter({.by = 1, .on = Grid::beat}), Span(0, 1000));
}

TEST(RegionEditingTests, ByNoStepsARegionStaysBetweenThePoints) {
    EXPECT_EQ(onGrid({1100, 500}).spanAfter({.on = Grid::beat}), Span(1100, 500));
}

TEST(RegionEditingTests, ARegionNeedsAPointInItsDirection) {
    constexpr auto missing = SnappedShiftErrorCase::missingSnapPoint;
    onGrid({3000, 100}).expectError(missing, {.by = 1, .on = Grid::beat});
    onGrid({2000, 100}).expectError(missing, {.by = 1, .on = Grid::bar});
    onGrid({0, 1000}).expectError(missing, {.by = -1, .on = Grid::beat});
}

TEST(RegionEditingTests, TheStartMustReachAPointOfTheGrid) {
    constexpr auto out = SnappedShiftErrorCase::shiftOutOfBounds;
    EXPECT_EQ(onGrid({0, 0}).spanAfter({.by = 3, .on = Grid::beat}), Span(3000, 0));
    onGrid({0, 0}).expectError(out, {.by = 4, .on = Grid::beat});
    onGrid({0, 0}).expectError(out, {.by = 2, .on = Grid::bar});
    onGrid({0, 1000}).expectError(out, {.by = kGreatest, .on = Grid::beat});
    EXPECT_EQ(onGrid({3000, 500}).spanAfter({.by = -3, .on = Grid::beat}), Span(0, 1000));
    onGrid({3000, 500}).expectError(out, {.by = -4, .on = Grid::beat});
    onGrid({3000, 500}).expectError(out, {.by = kLeast, .on = Grid::beat});
}

TEST(RegionEditingTests, ForwardTheEndMayReachTheLastPointAndNotPassIt) {
    EXPECT_EQ(onGrid({1000, 1000}).spanAfter({.by = 1, .on = Grid::beat}), Span(2000, 1000));
    onGrid({1000, 1001}).expectError(SnappedShiftErrorCase::shiftOutOfBounds, {.by = 1, .on = Grid::beat});
}

// Neighbours

TEST(RegionEditingTests, RegionsThatTouchDoNotCollide) {
    const Spans row{{0, 1000}, {1000, 500}, {1500, 500}};
    for (const Rule rule : {Rule::doNotMove, Rule::clipToNeighbor, Rule::deleteNeighbor}) {
        EXPECT_EQ(amongRegions(row).spansAfter({.rule = rule}), row);
        EXPECT_EQ(amongRegions(row).spansAfter({.boundary = end, .rule = rule}), row);
    }
}

TEST(RegionEditingTests, ACollisionStopsTheMove) {
    const Spans row{{0, 1000}, {1000, 500}, {1500, 500}};
    amongRegions(row).expectError(AdjustRegionEntryErrorCase::abortedOnCollision,
                                  {.boundary = start, .by = -1});
    amongRegions(row).expectError(AdjustRegionEntryErrorCase::abortedOnCollision, {.boundary = end, .by = 1});
    amongRegions(row).expectError(ShiftRegionErrorCase::abortedOnCollision, {.by = -1});
    amongRegions(row).expectError(ShiftRegionErrorCase::abortedOnCollision, {.by = 1});
}

TEST(RegionEditingTests, ACollisionDeletesTheNeighbour) {
    auto song = amongRegions({{0, 1100}, {1000, 600}, {1500, 500}});
    EXPECT_EQ(song.spansAfter({.rule = Rule::deleteNeighbor}), Spans({{1000, 600}}));
    EXPECT_EQ(song.removed, (Identifiers{1, 0, 2})) << "the region, the one before, the one after";
    EXPECT_EQ(amongRegions({{0, 1000}, {1000, 500}, {1500, 500}})
                  .spansAfter({.by = -1, .rule = Rule::deleteNeighbor}),
              Spans({{999, 500}, {1500, 500}}));
}

TEST(RegionEditingTests, ACollisionClipsTheRegion) {
    const Move clip{.rule = Rule::clipToNeighbor};
    EXPECT_EQ(amongRegions({{0, 1100}, {1000, 600}, {1500, 500}}).spansAfter(clip),
              Spans({{0, 1100}, {1100, 400}, {1500, 500}}));
    EXPECT_EQ(amongRegions({{0, 1000}, {1000, 600}, {1500, 500}}).spansAfter(clip),
              Spans({{0, 1000}, {1000, 500}, {1500, 500}}));
}

TEST(RegionEditingTests, OnlyTheNeighboursByLocationAreLookedAt) {
    EXPECT_EQ(amongRegions({{0, 1000}, {1000, 500}, {1500, 500}, {1600, 10}})
                  .spansAfter({.boundary = end, .by = 300, .rule = Rule::deleteNeighbor}),
              Spans({{0, 1000}, {1000, 800}, {1600, 10}}))
        << "the one after next overlaps and stays";
    Song unordered({{3000, 10}, {1000, 500}, {0, 1000}, {1500, 500}}, 1);
    EXPECT_EQ(unordered.spanAfter({.boundary = end, .by = 300, .rule = Rule::clipToNeighbor}),
              Span(1000, 500));
}

TEST(RegionEditingTests, ANeighbourThatReachesPastTheRegionSwapsItsEnds) {
    EXPECT_EQ(amongRegions({{0, 5000}, {1000, 500}}).spansAfter({.rule = Rule::clipToNeighbor}),
              Spans({{0, 5000}, {1500, 3500}}));
    EXPECT_EQ(amongRegions({{0, 1000}, {1000, 500}, {1500, 500}})
                  .spansAfter({.by = -1000, .rule = Rule::clipToNeighbor}),
              Spans({{0, 1000}, {500, 500}, {1500, 500}}));
}

TEST(RegionEditingTests, AClippedRegionMustNotPassItsNeighbourNorLoseItsLength) {
    constexpr auto swallowed = RegionClippingErrorCase::zeroLengthRegion;
    const Rule clip = Rule::clipToNeighbor;
    const Spans row{{0, 1000}, {1000, 500}, {1500, 500}};
    amongRegions(row).expectError(swallowed, {.boundary = start, .by = -1001, .rule = clip});
    amongRegions({{0, 1000}, {1000, 600}, {1500, 500}})
        .expectError(swallowed, {.by = 600, .rule = clip});              // begins after the next one
    amongRegions(row).expectError(swallowed, {.by = 500, .rule = clip}); // begins with it
    amongRegions({{0, 1500}, {1000, 500}}).expectError(swallowed, {.rule = clip});
}

// Every move

TEST(RegionEditingTests, NoRandomMoveOverlapsANeighbourOrMissesTheGrid) {
    int moves = 0;
    for (unsigned seed = 0; seed < 5000; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto number = [&](int least, int greatest) {
            return least + std::int64_t(random() % unsigned(greatest - least + 1));
        };
        Spans spans(std::size_t(number(1, 4)));
        for (Span& span : spans)
            span = {number(-5, 60), number(0, 20)};
        Song song(spans, std::size_t(number(0, int(spans.size()) - 1)));
        const Locations beats{number(0, 9), number(10, 30), number(31, 60)};
        addBeats(*song.document, beats, {0});
        const Move move{.boundary = number(0, 1) ? std::optional(end) : std::nullopt,
                        .by = number(-3, 3),
                        .on = number(0, 1) ? Grid::beat : Grid::none,
                        .rule = number(0, 1) ? Rule::doNotMove : Rule::deleteNeighbor};
        const auto before = song.document->regionEntryOccurringBefore(song.region);
        const auto after = song.document->regionEntryOccurringAfter(song.region);
        try {
            const auto region = song.moved(move);
            ++moves;
            for (const auto& neighbour : {before, after}) {
                if (neighbour && song.document->containsRegionEntry(neighbour)) {
                    EXPECT_TRUE(region->end() <= neighbour->location() ||
                                neighbour->end() <= region->location());
                }
            }
            if (move.on == Grid::beat && move.by != 0) {
                EXPECT_EQ(std::count(beats.begin(), beats.end(), region->end()), 1);
            }
        } catch (const std::exception&) {
            continue; // refused without a change, as `moved` checks
        }
    }
    EXPECT_GT(moves, 1000);
}

// Errors and limits

TEST(RegionEditingTests, AbortsBeyondTheFrames) {
    EXPECT_DEATH(onGrid({1000, 100}).moved({.boundary = end, .by = kGreatest}), "overflow in addition");
    EXPECT_DEATH(onGrid({1000, 100}).moved({.by = kGreatest}), "overflow in addition");
}

TEST(RegionEditingTests, ErrorsAreEqualByTheirCase) {
    using Error = SnappedShiftError;
    const Error missing(Error::Case::missingSnapPoint, "a");
    const Error alsoMissing(Error::Case::missingSnapPoint, "b");
    EXPECT_EQ(missing, alsoMissing);
    EXPECT_FALSE(missing == Error(Error::Case::shiftOutOfBounds, "a"));
    EXPECT_EQ(std::hash<Error>()(missing), std::hash<Error>()(alsoMissing));
}

TEST(RegionEditingTests, SettingABoundaryPastTheOtherSwapsThem) {
    const auto spanAfter = [](auto setBoundary, std::int64_t frame) {
        TarnRegionEntry region(0);
        region.setRange({100, 50});
        setBoundary(region, frame);
        return Span(region.location(), region.length());
    };
    EXPECT_EQ(spanAfter(setStart<TarnRegionEntry>, 150), Span(150, 0));
    EXPECT_EQ(spanAfter(setStart<TarnRegionEntry>, 180), Span(150, 30));
    EXPECT_EQ(spanAfter(setEnd<TarnRegionEntry>, 100), Span(100, 0));
    EXPECT_EQ(spanAfter(setEnd<TarnRegionEntry>, -40), Span(-40, 140));
    EXPECT_EQ(spanAfter(setEnd<TarnRegionEntry>, kGreatest), Span(100, kGreatest - 100));
    EXPECT_DEATH(spanAfter(setStart<TarnRegionEntry>, kLeast), "overflow in subtraction");
    EXPECT_DEATH(spanAfter(setEnd<TarnRegionEntry>, kLeast), "overflow in subtraction");
}

} // namespace
} // namespace tarn
