#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include "TarnFoundation/RegionEditing.h"

#include <gmock/gmock.h>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

TEST(RegionsTests, AreFoundByTwoRulesOfContainment) {
    // Of each frame the positions in `stored`; -1: none.
    using Found = std::vector<int>;
    const auto expectFound = [](const std::vector<Span>& stored, const Locations& frames,
                                const Found& forLocation, const Found& containing) {
        const auto document = makeDocument();
        const auto regions = addRegions(*document, stored);
        const auto at = [&](int position) { return position < 0 ? nullptr : regions[std::size_t(position)]; };
        for (std::size_t i = 0; i < frames.size(); ++i) {
            EXPECT_EQ(document->regionEntryForLocation(frames[i]), at(forLocation[i])) << frames[i];
            EXPECT_EQ(document->regionEntryContaining(frames[i]), at(containing[i])) << frames[i];
        }
    };
    // The end belongs to a region by one rule only.
    expectFound({{100, 50}}, {99, 100, 149, 150, 151}, {-1, 0, 0, 0, -1}, {-1, 0, 0, -1, -1});
    expectFound({{100, 0}}, {100}, {0}, {-1});
    expectFound({{0, 10}}, {-1}, {-1}, {-1}); // a negative frame is a very large unsigned one
    expectFound({{-10, 5}}, {-7}, {0}, {0});
    expectFound({{-10, 20}}, {5, -5}, {-1, -1},
                {0, -1}); // the end wraps, the start is compared signed or not
    expectFound({{200, 100}, {100, 150}}, {210}, {0}, {1}); // the first stored; the first by location
    expectFound({{100, 50}, {150, 50}}, {150}, {0}, {1});
    expectFound({}, {0}, {-1}, {-1});
}

TEST(RegionsTests, HaveNeighboursByLocation) {
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

TEST(RegionsTests, AreFilteredByRangeExpressionsInTheirOrder) {
    const auto document = makeDocument();
    const auto regions =
        addRegions(*document, {{30, 10}, {10, 10}, {20, 0}, {-5, 25}}); // ends 40, 20, 20, 20
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
        EXPECT_DEATH((void)ending(PartialRangeFrom<std::int64_t>{0}),
                     testing::AnyOf(testing::HasSubstr("range"), testing::HasSubstr("overflow")))
            << endless.first;
    }
}

TEST(RegionsTests, FillTheFreeSpaceOfTheBarThatTheyAreDroppedInto) {
    // Without a span nothing happens.
    const auto expectFilled = [](const Document& document, std::int64_t frame, std::int64_t frameCount,
                                 std::optional<Span> filled) {
        const auto region = document->newVerseRegionEntry();
        region->setRange({7, 77});
        const NotificationRecorder recorder(document);
        document->addRegionEntryExpandedToFitBarSurrounding(region, frame, frameCount);
        EXPECT_EQ(Span(region->location(), region->length()), filled.value_or(Span{7, 77})) << frame;
        EXPECT_EQ(document->containsRegionEntry(region), filled.has_value()) << frame;
        EXPECT_EQ(recorder.notifications.size(), filled ? 1u : 0u) << frame;
    };
    const auto barsWith = [](const std::vector<Span>& regions) {
        auto document = makeDocumentWithBeats({1000, 2000, 3000, 4000, 5000, 6000}, {0, 4});
        addRegions(*document, regions);
        return document;
    };
    expectFilled(barsWith({}), 2000, 9000, Span{1000, 4000});
    expectFilled(barsWith({}), 1000, 9000, Span{1000, 4000});
    expectFilled(barsWith({}), 4999, 9000, Span{1000, 4000});
    expectFilled(barsWith({}), 5000, 9000, Span{5000, 4000});
    expectFilled(barsWith({}), 9000, 9000, Span{5000, 4000});
    expectFilled(barsWith({}), 500, 9000, Span{0, 1000}); // before the first bar
    expectFilled(barsWith({}), 0, 0, Span{0, 1000});
    expectFilled(makeDocumentWithBeats({1000, 2000, 3000}, {2}), 1500, 9000, Span{0, 3000}); // in a pickup
    expectFilled(makeDocumentWithBeats({1000, 2000}), 1500, 3000, Span{0, 3000});
    expectFilled(makeDocument(), 1500, 3000, std::nullopt);
    expectFilled(makeDocument(), -1, 3000, std::nullopt); // without beats the frame is not looked at
    // Neighbours in the bar shorten it; those that end or begin elsewhere do not.
    expectFilled(barsWith({{1200, 600}, {4200, 100}}), 2000, 9000, Span{1800, 2400});
    expectFilled(barsWith({{500, 1000}, {4200, 9000}}), 2000, 9000, Span{1500, 2700});
    expectFilled(barsWith({{500, 500}, {5000, 100}}), 2000, 9000, Span{1000, 4000});
    expectFilled(barsWith({{0, 900}, {5001, 100}}), 2000, 9000, Span{1000, 4000});
    expectFilled(barsWith({{1300, 100}, {1100, 100}, {4000, 10}, {4500, 10}}), 2000, 9000, Span{1400, 2600});
    expectFilled(barsWith({{1200, 500}, {1300, 10}}), 2000, 9000, Span{1700, 3300}); // the greatest end
    expectFilled(barsWith({{1500, 0}, {2001, 0}}), 2000, 9000, Span{1500, 501});
    // A region at the frame, its end included, keeps others out.
    for (const Span& occupied : {Span{1500, 1000}, {1000, 1000}, {2000, 10}})
        expectFilled(barsWith({occupied}), 2000, 9000, std::nullopt);
}

TEST(RegionsTests, AbortWhereNoneCanBeDropped) {
    const auto document = makeDocumentWithBeats({1000, 2000, 3000, 4000, 5000, 6000}, {0, 4});
    const auto drop = [&](std::int64_t frame, std::int64_t frameCount) {
        document->addRegionEntryExpandedToFitBarSurroundingFrame(document->newRegionEntry(), frame,
                                                                 frameCount);
    };
    EXPECT_DEATH(drop(-1, 9000), "frame that is not negative");
    EXPECT_DEATH(drop(6000, 5999), "must not end before the frame");
    EXPECT_DEATH(drop(5000, 5000), "no room for a region");
}

} // namespace
