#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include "TarnFoundation/RegionEditing.h"

#include <gtest/gtest.h>

#include <limits>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

TEST(Regions, AreFoundByTwoRulesOfContainment) {
    struct Case {
        std::vector<Span> stored;
        std::int64_t frame;
        int forLocation; ///< position in `stored`; -1: none
        int containing;
    };
    for (const auto& c : std::initializer_list<Case>{
             {{{100, 50}}, 99, -1, -1},
             {{{100, 50}}, 100, 0, 0},
             {{{100, 50}}, 149, 0, 0},
             {{{100, 50}}, 150, 0, -1}, // the end belongs to it by one rule only
             {{{100, 50}}, 151, -1, -1},
             {{{100, 0}}, 100, 0, -1},
             {{{0, 10}}, -1, -1, -1}, // a negative frame is a very large unsigned one
             {{{-10, 5}}, -7, 0, 0},
             {{{-10, 20}}, 5, -1, 0}, // the end wraps, the start compares signed or unsigned
             {{{-10, 20}}, -5, -1, -1},
             {{{200, 100}, {100, 150}}, 210, 0, 1}, // the first stored; the first by location
             {{{100, 50}, {150, 50}}, 150, 0, 1},
             {{}, 0, -1, -1},
         }) {
        const auto document = makeDocument();
        const auto regions = addRegions(*document, c.stored);
        const auto expect = [&](int position) {
            return position < 0 ? nullptr : regions[std::size_t(position)];
        };
        EXPECT_EQ(document->regionEntryForLocation(c.frame), expect(c.forLocation)) << c.frame;
        EXPECT_EQ(document->regionEntryContaining(c.frame), expect(c.containing)) << c.frame;
    }
}

TEST(Regions, HaveNeighboursByLocation) {
    const auto document = makeDocument();
    const auto regions = addRegions(*document, {{300, 1}, {100, 500}, {200, 1}});
    const auto expect = [&](const auto& entry, const auto& before, const auto& after) {
        EXPECT_EQ(document->regionEntryOccurringBefore(entry), before);
        EXPECT_EQ(document->regionEntryOccurringAfter(entry), after);
    };
    const std::shared_ptr<TarnRegionEntry> none;
    expect(regions[1], none, regions[2]);
    expect(regions[2], regions[1], regions[0]);
    expect(regions[0], regions[2], none);
    expect(std::make_shared<TarnRegionEntry>(regions[2]->eventId()), regions[1], regions[0]); // its equal
    expect(newRegion(*document, {150, 1}), none, none);
    expect(none, none, none);
}

TEST(Regions, AreFilteredByRangeExpressionsInTheirOrder) {
    const auto document = makeDocument();
    const auto regions =
        addRegions(*document, {{30, 10}, {10, 10}, {20, 0}, {-5, 25}}); // ends 40, 20, 20, 20
    using Identifiers = std::vector<std::uint64_t>;
    const auto ending = [&](const auto& in) { return identifiers(entriesEnding(regions, in)); };
    const auto beginning = [&](const auto& in) { return identifiers(entriesBeginning(regions, in)); };
    EXPECT_EQ(ending(ClosedRange<std::int64_t>(20, 40)), (Identifiers{0, 1, 2, 3}));
    EXPECT_EQ(ending(Range<std::int64_t>(20, 40)), (Identifiers{1, 2, 3}));
    EXPECT_EQ(ending(PartialRangeFrom<std::int64_t>{21}), Identifiers{0});
    EXPECT_EQ(beginning(ClosedRange<std::int64_t>(10, 30)), (Identifiers{0, 1, 2}));
    EXPECT_EQ(beginning(PartialRangeUpTo<std::int64_t>{20}), (Identifiers{1, 3}));
    EXPECT_EQ(beginning(PartialRangeThrough<std::int64_t>{20}), (Identifiers{1, 2, 3}));
    for (const Span& endless : {Span{0, std::uint64_t{1} << 63}, Span{1, (std::uint64_t{1} << 63) - 1}}) {
        regions[0]->setRange({endless.first, endless.second});
        EXPECT_DEATH((void)ending(PartialRangeFrom<std::int64_t>{0}), "range|overflow") << endless.first;
    }
}

const std::vector<std::int64_t> kBeats{1000, 2000, 3000, 4000, 5000, 6000};
const std::vector<std::size_t> kDownbeats{0, 4}; // at 1000 and 5000

TEST(Regions, FillTheFreeSpaceOfTheBarThatTheyAreDroppedInto) {
    struct Case {
        std::vector<std::int64_t> beats;
        std::vector<std::size_t> downbeats;
        std::vector<Span> regions;
        std::int64_t frame;
        std::int64_t frameCount;
        std::optional<Span> filled; ///< none: nothing happens
    };
    for (const auto& c : std::initializer_list<Case>{
             {kBeats, kDownbeats, {}, 2000, 9000, Span{1000, 4000}},
             {kBeats, kDownbeats, {}, 1000, 9000, Span{1000, 4000}},
             {kBeats, kDownbeats, {}, 4999, 9000, Span{1000, 4000}},
             {kBeats, kDownbeats, {}, 5000, 9000, Span{5000, 4000}},
             {kBeats, kDownbeats, {}, 9000, 9000, Span{5000, 4000}},
             {kBeats, kDownbeats, {}, 500, 9000, Span{0, 1000}}, // before the first bar
             {kBeats, kDownbeats, {}, 0, 0, Span{0, 1000}},
             {{1000, 2000, 3000}, {2}, {}, 1500, 9000, Span{0, 3000}}, // in a pickup
             {{1000, 2000}, {}, {}, 1500, 3000, Span{0, 3000}},
             {{}, {}, {}, 1500, 3000, std::nullopt},
             {{}, {}, {}, -1, 3000, std::nullopt}, // without beats the frame is not looked at
             // Neighbours in the bar shorten it; those that end or begin elsewhere do not.
             {kBeats, kDownbeats, {{1200, 600}, {4200, 100}}, 2000, 9000, Span{1800, 2400}},
             {kBeats, kDownbeats, {{500, 1000}, {4200, 9000}}, 2000, 9000, Span{1500, 2700}},
             {kBeats, kDownbeats, {{500, 500}, {5000, 100}}, 2000, 9000, Span{1000, 4000}},
             {kBeats, kDownbeats, {{0, 900}, {5001, 100}}, 2000, 9000, Span{1000, 4000}},
             {kBeats,
              kDownbeats,
              {{1300, 100}, {1100, 100}, {4000, 10}, {4500, 10}},
              2000,
              9000,
              Span{1400, 2600}},
             {kBeats, kDownbeats, {{1200, 500}, {1300, 10}}, 2000, 9000, Span{1700, 3300}}, // the greatest
                                                                                            // end
             {kBeats, kDownbeats, {{1500, 0}, {2001, 0}}, 2000, 9000, Span{1500, 501}},
             // A region at the frame, its end included, keeps others out.
             {kBeats, kDownbeats, {{1500, 1000}}, 2000, 9000, std::nullopt},
             {kBeats, kDownbeats, {{1000, 1000}}, 2000, 9000, std::nullopt},
             {kBeats, kDownbeats, {{2000, 10}}, 2000, 9000, std::nullopt},
         }) {
        const auto document = makeDocumentWithBeats(c.beats, c.downbeats);
        addRegions(*document, c.regions);
        const auto region = document->newVerseRegionEntry();
        region->setRange({7, 77});
        const NotificationRecorder recorder(document);
        document->addRegionEntryExpandedToFitBarSurrounding(region, c.frame, c.frameCount);
        const Span expected = c.filled.value_or(Span{7, 77});
        EXPECT_EQ(Span(region->location(), region->length()), expected) << c.frame;
        EXPECT_EQ(document->containsRegionEntry(region), c.filled.has_value()) << c.frame;
        EXPECT_EQ(recorder.notifications.size(), c.filled ? 1u : 0u) << c.frame;
    }
}

TEST(Regions, StopTheProcessWhereNoneCanBeDropped) {
    const auto document = makeDocumentWithBeats(kBeats, kDownbeats);
    const auto drop = [&](std::int64_t frame, std::int64_t frameCount) {
        document->addRegionEntryExpandedToFitBarSurroundingFrame(document->newRegionEntry(), frame,
                                                                 frameCount);
    };
    EXPECT_DEATH(drop(-1, 9000), "frame that is not negative");
    EXPECT_DEATH(drop(6000, 5999), "must not end before the frame");
    EXPECT_DEATH(drop(5000, 5000), "no room for a region");
}

} // namespace
