#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include "TarnFoundation/RegionEditing.h"

#include <algorithm>
#include <map>
#include <random>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

using Grid = RegionSnapGrid;
using Rule = RegionNeighborCollisionRule;
using Boundary = RegionBoundary;

TEST(RegionBoundaries, SwapRolesWhenOnePassesTheOther) {
    const auto spanAfter = [](auto move, std::int64_t target) {
        TarnRegionEntry region(0);
        region.setRange({100, 50});
        move(region, target);
        return Span(region.location(), region.length());
    };
    const auto start = setStart<TarnRegionEntry>;
    const auto end = setEnd<TarnRegionEntry>;
    EXPECT_EQ(spanAfter(start, 150), Span(150, 0));
    EXPECT_EQ(spanAfter(start, 180), Span(150, 30));
    EXPECT_EQ(spanAfter(end, 100), Span(100, 0));
    EXPECT_EQ(spanAfter(end, -40), Span(-40, 140));
    EXPECT_EQ(spanAfter(end, kGreatest), Span(100, kGreatest - 100));
    EXPECT_DEATH(spanAfter(start, kLeast), "overflow in subtraction");
    EXPECT_DEATH(spanAfter(end, kLeast), "overflow in subtraction");
}

/// Moving a region by frames or steps: an adjustment of one boundary, or a shift of the whole.
struct Edit {
    std::optional<Boundary> boundary; ///< none: a shift
    std::int64_t by = 0;
    Grid grid = Grid::none;
    Rule rule = Rule::doNotMove;
    std::int64_t threshold = 0;
};

constexpr const char* kAdjustmentCases[] = {"missingSnapPoints", "zeroLengthRegion", "lengthBelowThreshold"};
constexpr const char* kShiftCases[] = {"missingSnapPoint", "zeroLengthRegion", "shiftOutOfBounds"};

/// What `edit` answers, or the error that it throws.
std::string outcomeOf(const std::function<std::string()>& edit) {
    try {
        return edit();
    } catch (const SnappedAdjustmentError& error) {
        return std::string("adjustment: ") + kAdjustmentCases[std::size_t(error.errorCase())];
    } catch (const SnappedShiftError& error) {
        return std::string("shift: ") + kShiftCases[std::size_t(error.errorCase())];
    } catch (const RegionClippingError&) {
        return "clipping: zeroLengthRegion";
    } catch (const AdjustRegionEntryError&) {
        return "adjustment: abortedOnCollision";
    } catch (const ShiftRegionError&) {
        return "shift: abortedOnCollision";
    }
}

/// Performs the edit, expects one change or none at all, and answers the error, or the identifiers that went
/// and the regions that there are, "-1 -0 2:300+50 *9:10+20", the new one with a star.
std::string perform(TarnNoteEntryStorage& document, const std::shared_ptr<TarnRegionEntry>& entry,
                    const Edit& e) {
    const auto before = document.regionEntries();
    const auto span = entry->range();
    const auto newId = document.nextEventId();
    const NotificationRecorder recorder(document.shared_from_this());
    std::shared_ptr<TarnRegionEntry> moved;
    const std::string outcome = outcomeOf([&] {
        moved = e.boundary ? document.adjustRegionEntry(entry, *e.boundary, e.by, e.grid, e.rule, e.threshold)
                           : document.shiftRegionEntry(entry, e.by, e.grid, e.rule);
        std::string text;
        for (const auto& removed : *recorder.list<TarnRegionEntry>(0, TarnNoteEntryStorageRemovedEntriesKey))
            text += "-" + std::to_string(removed->eventId()) + " ";
        for (const auto& region : document.regionEntries())
            text += (region == moved ? "*" : "") + std::to_string(region->eventId()) + ":" +
                    std::to_string(region->location()) + "+" + std::to_string(region->length()) + " ";
        return text;
    });
    EXPECT_EQ(entry->range(), span) << "the original stays as it was";
    EXPECT_EQ(document.nextEventId(), newId + 1) << "a failed edit uses up an identifier, too";
    if (!moved) {
        EXPECT_TRUE(document.regionEntries().isSameListAs(before)) << outcome;
        EXPECT_TRUE(recorder.notifications.empty()) << outcome;
        return outcome;
    }
    EXPECT_EQ(moved->className(), entry->className());
    EXPECT_EQ(recorder.names(), Names{RegionKind::kDidChangeNotification});
    EXPECT_EQ(identifiers(*recorder.list<TarnRegionEntry>(0, TarnNoteEntryStorageAddedEntriesKey)),
              Identifiers{newId});
    return outcome;
}

// The rules that are easily got wrong, on a grid of 0, 1000, 2000 and 3000 with downbeats at 0 and 2000.
TEST(RegionEditing, MovesBoundariesAndRegions) {
    // Of region 0, in a document whose next identifier is 5.
    const auto expectOutcome = [](Span region, const Edit& edit, const char* outcome) {
        const auto document = makeDocument();
        const auto regions = addRegions(*document, {region});
        addBeats(*document, {0, 1000, 2000, 3000}, {0, 2});
        EXPECT_EQ(perform(*document, regions[0], edit), outcome)
            << region.first << "+" << region.second << " by " << edit.by;
    };
    constexpr auto start = Boundary::start, end = Boundary::end;
    constexpr std::nullopt_t shift = std::nullopt;
    constexpr auto stay = Rule::doNotMove;
    expectOutcome({1000, 1000}, {end, 1, Grid::bar}, "-0 *5:1000+1000 "); // no further point
    expectOutcome({1000, 1000}, {end, kGreatest, Grid::beat}, "-0 *5:1000+2000 ");
    expectOutcome({1000, 1000}, {start, kLeast, Grid::beat}, "-0 *5:0+2000 ");
    expectOutcome({0, 1500}, {end, 0, Grid::beat}, "-0 *5:0+2000 "); // a tie goes to the later point
    expectOutcome({0, 1600}, {end, 1, Grid::beat}, "-0 *5:0+2000 "); // the nearest lies ahead: the first step
    expectOutcome({0, 2000}, {start, 1, Grid::beat, stay, 1001}, "adjustment: lengthBelowThreshold");
    expectOutcome({0, 2000}, {start, 1, Grid::beat, stay, 1000}, "-0 *5:1000+1000 ");
    expectOutcome({1000, 1000}, {start, 0, Grid::none, stay, 5000},
                  "-0 *5:1000+1000 "); // nothing to be checked
    expectOutcome({1000, 100}, {shift, 300},
                  "-0 *5:1100+500 "); // beyond its length forward, it comes out longer
    expectOutcome({1000, 100}, {shift, -5000}, "-0 *5:-4000+100 ");
    // Shifts on the grid: the start by steps, the end to its nearest point.
    expectOutcome({1400, 500}, {shift, 1, Grid::beat}, "-0 *5:2000+1000 "); // the end on a tie: the later
    expectOutcome({0, 1000}, {shift, kGreatest, Grid::beat}, "shift: shiftOutOfBounds");
    expectOutcome({3000, 500}, {shift, kLeast, Grid::beat}, "shift: shiftOutOfBounds");
    expectOutcome({3500, 2000}, {shift, -1, Grid::beat}, "-0 *5:3000+0 "); // no bound for the end backward
}

TEST(RegionEditing, SettlesCollisionsWithImmediateNeighbours) {
    // Of the second region.
    const auto expectOutcome = [](const std::vector<Span>& spans, const Edit& edit, const char* outcome) {
        const auto document = makeDocument();
        const auto regions = addRegions(*document, spans);
        EXPECT_EQ(perform(*document, regions[1], edit), outcome) << edit.by;
    };
    const std::vector<Span> row{{0, 1000}, {1000, 500}, {1500, 500}, {1600, 10}};
    const std::vector<Span> pile{{0, 1100}, {1000, 600}, {1500, 500}};
    constexpr auto start = Boundary::start, end = Boundary::end;
    constexpr std::nullopt_t shift = std::nullopt;
    constexpr auto none = Grid::none;
    constexpr auto stay = Rule::doNotMove, drop = Rule::deleteNeighbor, clip = Rule::clipToNeighbor;
    // Touching is no collision.
    expectOutcome(row, {shift, 0, none, stay}, "-1 0:0+1000 *4:1000+500 2:1500+500 3:1600+10 ");
    expectOutcome(row, {start, -1, none, stay}, "adjustment: abortedOnCollision");
    // The region after the next one is not looked at.
    expectOutcome(row, {end, 300, none, drop}, "-1 -2 0:0+1000 *4:1000+800 3:1600+10 ");
    expectOutcome(pile, {shift, 0, none, clip}, "-1 0:0+1100 *3:1100+400 2:1500+500 ");
    expectOutcome(row, {shift, -1000, none, clip}, "-1 0:0+1000 *4:500+500 2:1500+500 3:1600+10 "); // swapped
    expectOutcome(row, {start, -1001, none, clip}, "clipping: zeroLengthRegion");
    // A neighbour that reaches beyond the region: its end becomes the region's, by the swap.
    expectOutcome({{0, 5000}, {1000, 500}}, {shift, 0, none, clip}, "-1 0:0+5000 *2:1500+3500 ");
    expectOutcome({{0, 1500}, {1000, 500}}, {shift, 0, none, clip}, "clipping: zeroLengthRegion");
}

TEST(RegionEditing, StopsTheProcessBeyondTheFrames) {
    const auto document = makeDocument();
    const auto region = addRegions(*document, {{1000, 100}})[0];
    EXPECT_DEATH(perform(*document, region, {Boundary::end, kGreatest}), "overflow in addition");
    EXPECT_DEATH(perform(*document, region, {std::nullopt, kGreatest}), "overflow in addition");
}

TEST(RegionEditing, ErrorsAreToldByTheirCase) {
    using Error = SnappedShiftError;
    const Error missing(Error::Case::missingSnapPoint, "a");
    const Error alsoMissing(Error::Case::missingSnapPoint, "b");
    EXPECT_EQ(missing, alsoMissing);
    EXPECT_FALSE(missing == Error(Error::Case::shiftOutOfBounds, "a"));
    EXPECT_EQ(std::hash<Error>()(missing), std::hash<Error>()(alsoMissing));
}

/// The rules read directly: what an edit of one region comes to, in the form of `perform`.
namespace reference {

using Points = Locations;

struct Region {
    std::uint64_t id;
    std::int64_t location, length;
    [[nodiscard]] std::int64_t end() const { return location + length; }
    void setStart(std::int64_t start) {
        const auto old = end();
        location = std::min(start, old);
        length = std::max(start, old) - location;
    }
    void setEnd(std::int64_t end) {
        const auto old = location;
        location = std::min(old, end);
        length = std::max(old, end) - location;
    }
};

std::int64_t firstPast(const Points& points, std::int64_t value) {
    std::int64_t j = 0;
    while (j < std::ssize(points) && points[std::size_t(j)] <= value)
        ++j;
    return j;
}

std::int64_t nearest(const Points& points, std::int64_t value) {
    const auto j = firstPast(points, value);
    if (j == std::ssize(points) || j == 0)
        return j == 0 ? 0 : j - 1;
    return value - points[std::size_t(j - 1)] < points[std::size_t(j)] - value ? j - 1 : j;
}

std::int64_t steppedTo(const Points& points, std::int64_t value, std::int64_t steps) {
    auto i = nearest(points, value);
    const auto point = points[std::size_t(i)];
    if (steps > 0)
        i += value < point ? steps - 1 : steps;
    else if (steps < 0)
        i += point < value ? steps + 1 : steps;
    return points[std::size_t(std::clamp<std::int64_t>(i, 0, std::ssize(points) - 1))];
}

void adjust(Region& region, const Points& points, const Edit& e) {
    if (points.empty() && e.by == 0)
        return;
    const bool isStart = e.boundary == Boundary::start;
    const auto old = isStart ? region.location : region.end();
    const auto target = points.empty() ? old + e.by : steppedTo(points, old, e.by);
    const auto length = isStart ? region.end() - target : target - region.location;
    if (length <= 0)
        throw SnappedAdjustmentError(SnappedAdjustmentErrorCase::zeroLengthRegion, "");
    if (length < e.threshold)
        throw SnappedAdjustmentError(SnappedAdjustmentErrorCase::lengthBelowThreshold, "");
    isStart ? region.setStart(target) : region.setEnd(target);
}

void shift(Region& region, const Points& points, std::int64_t by) {
    if (points.empty()) {
        region.setStart(region.location + by);
        region.setEnd(region.end() + by);
        return;
    }
    if (by == 0)
        return;
    const auto count = std::ssize(points);
    std::int64_t first = 0; // the first point in the direction
    if (by > 0) {
        first = firstPast(points, region.location);
    } else {
        first = count - 1;
        while (first >= 0 && points[std::size_t(first)] >= region.location)
            --first;
    }
    if (first < 0 || first == count)
        throw SnappedShiftError(SnappedShiftErrorCase::missingSnapPoint, "");
    const auto target = by > 0 ? first + by - 1 : first + by + 1;
    if (target < 0 || target >= count)
        throw SnappedShiftError(SnappedShiftErrorCase::shiftOutOfBounds, "");
    const auto delta = points[std::size_t(target)] - region.location;
    region.location += delta; // neither order of the boundaries lets them pass each other
    const auto end = nearest(points, region.end());
    if (by > 0 && end == count - 1 && points.back() < region.end())
        throw SnappedShiftError(SnappedShiftErrorCase::shiftOutOfBounds, "");
    region.setEnd(points[std::size_t(end)]);
}

/// `stored` in stored order.
std::string perform(const std::vector<Region>& stored, std::size_t index, const Points& points, const Edit& e,
                    std::uint64_t newId) {
    const Region entry = stored[index];
    Region moved = entry;
    moved.id = newId;
    if (e.boundary)
        adjust(moved, points, e);
    else
        shift(moved, points, e.by);

    auto sorted = stored;
    const auto byLocation = [](const Region& a, const Region& b) { return a.location < b.location; };
    const auto withId = [](std::uint64_t id) { return [id](const Region& r) { return r.id == id; }; };
    std::stable_sort(sorted.begin(), sorted.end(), byLocation);
    const auto position = std::find_if(sorted.begin(), sorted.end(), withId(entry.id));
    const Region* before = position == sorted.begin() ? nullptr : &position[-1];
    const Region* after = position + 1 == sorted.end() ? nullptr : &position[1];
    const auto collidesBefore = [&] { return before && moved.location < before->end(); };
    const auto collidesAfter = [&] { return after && after->location < moved.end(); };
    std::vector<std::uint64_t> removed{entry.id};
    if (e.rule == Rule::doNotMove && (collidesBefore() || collidesAfter())) {
        if (e.boundary)
            throw AdjustRegionEntryError(AdjustRegionEntryErrorCase::abortedOnCollision, "");
        throw ShiftRegionError(ShiftRegionErrorCase::abortedOnCollision, "");
    }
    if (e.rule == Rule::deleteNeighbor) {
        if (collidesBefore())
            removed.push_back(before->id);
        if (collidesAfter())
            removed.push_back(after->id);
    }
    if (e.rule == Rule::clipToNeighbor) {
        const RegionClippingError swallowed(RegionClippingErrorCase::zeroLengthRegion, "");
        if (before && moved.location < before->location)
            throw swallowed;
        if (collidesBefore())
            moved.setStart(before->end());
        if (after && after->location < moved.location)
            throw swallowed;
        if (collidesAfter())
            moved.setEnd(after->location);
        if (moved.length == 0)
            throw swallowed;
    }

    std::string text;
    auto result = stored;
    for (const auto id : removed) {
        text += "-" + std::to_string(id) + " ";
        result.erase(std::find_if(result.begin(), result.end(), withId(id)));
    }
    result.push_back(moved);
    std::stable_sort(result.begin(), result.end(), byLocation);
    for (const Region& region : result)
        text += (region.id == newId ? "*" : "") + std::to_string(region.id) + ":" +
                std::to_string(region.location) + "+" + std::to_string(region.length) + " ";
    return text;
}

} // namespace reference

TEST(RegionEditing, AgreesWithItsRulesOnRandomRegionsAndGrids) {
    constexpr unsigned kRounds = 20000;
    std::map<std::string, int> outcomes; // by rule and error
    for (unsigned seed = 0; seed < kRounds; ++seed) {
        std::mt19937 random(seed);
        const auto number = [&](int least, int greatest) {
            return least + std::int64_t(random() % unsigned(greatest - least + 1));
        };
        const auto document = makeDocument();
        std::vector<reference::Region> stored;
        std::vector<Span> spans;
        for (std::int64_t i = 0, count = number(1, 4); i < count; ++i) {
            spans.emplace_back(number(-5, 60), number(0, 20));
            stored.push_back({std::uint64_t(i), spans.back().first, std::int64_t(spans.back().second)});
        }
        const auto regions = addRegions(*document, spans);
        std::vector<std::shared_ptr<TarnBeatEntry>> beats(std::size_t(number(0, 9)));
        for (auto& beat : beats) {
            beat = at(number(0, 60), document->newBeatEntry());
            beat->setDownbeat(number(0, 2) == 0);
        }
        if (number(0, 1))
            document->setTimeSignature(4, number(0, 1) ? 4 : 8);
        document->addBeatEntriesFromArray(beats);

        Edit edit;
        if (number(0, 1))
            edit.boundary = number(0, 1) ? Boundary::start : Boundary::end;
        edit.grid = Grid(number(0, 2));
        edit.rule = Rule(number(0, 2));
        edit.threshold = number(-2, 12);
        reference::Points points;
        if (edit.grid != Grid::none) {
            for (const auto& beat : document->beatEntriesFilteredByTimeSignature()) {
                if (edit.grid == Grid::beat || beat->isDownbeat())
                    points.push_back(beat->location());
            }
        }
        edit.by = points.empty() ? number(-25, 25) : number(-3, 3);
        const auto index = std::size_t(number(0, int(regions.size()) - 1));
        const auto newId = document->nextEventId();
        const auto expected =
            outcomeOf([&] { return reference::perform(stored, index, points, edit, newId); });
        ASSERT_EQ(perform(*document, regions[index], edit), expected) << "seed " << seed;
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
        ++outcomes[expected[0] == '-' ? "rule " + std::to_string(int(edit.rule)) : expected];
    }
    for (const char* outcome :
         {"rule 0", "rule 1", "rule 2", "adjustment: zeroLengthRegion", "adjustment: lengthBelowThreshold",
          "adjustment: abortedOnCollision", "shift: missingSnapPoint", "shift: shiftOutOfBounds",
          "shift: abortedOnCollision", "clipping: zeroLengthRegion"})
        EXPECT_GT(outcomes[outcome], 100) << outcome;
    EXPECT_EQ(outcomes.size(), 10u);
}

} // namespace
