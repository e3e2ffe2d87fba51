#include "Tests/TarnFoundation/BeatGrid.h"

namespace tarn {
namespace {

using namespace test;

TEST(TimeSignatureTests, ADocumentWithoutOneReadsFourFourYetHasNoQuarterNoteSpacing) {
    const auto storage = makeStorage(evenGrid(4, 10, {0}));
    storage->setUseLegacyBeatFiltering(false);
    EXPECT_EQ(storage->timeSignature(), (TimeSignature{4, 4}));
    EXPECT_FALSE(storage->useQuarterNoteSpacing());
    EXPECT_FALSE(storage->needsTimeSignatureMigration());
    EXPECT_FALSE(storage->performTimeSignatureMigration());
    EXPECT_EQ(storage->beatEntriesFilteredByTimeSignature().size(), 4u);
}

TEST(TimeSignatureTests, TheEarliestEntryIsReadAndSettingReplacesAllInOneChange) {
    const auto storage = makeStorage({});
    const auto late = at(500, storage->newTimeSignatureEntry());
    late->setDenominator(8);
    const auto early = at(100, storage->newTimeSignatureEntry());
    early->setNumerator(3);
    storage->addTimeSignatureEntriesFromArray({late, early});
    EXPECT_EQ(storage->timeSignature(), (TimeSignature{3, 4}));
    EXPECT_TRUE(storage->useQuarterNoteSpacing());

    const NotificationRecorder recorder(storage);
    storage->setTimeSignature(6, 8);
    EXPECT_EQ(recorder.names(), Names{TarnNoteEntryStorageDidChangeTimeSignatureEntriesNotification});
    EXPECT_EQ(locations(storage->timeSignatureEntries()), Locations{0});
    EXPECT_EQ(storage->timeSignature(), (TimeSignature{6, 8}));
}

TEST(TimeSignatureTests, QuarterNoteViewKeepsEverySecondBeatOfEachStretch) {
    const auto expectView = [](std::size_t count, const Positions& downbeats, const Locations& view) {
        const auto storage = makeStorage(evenGrid(count, 1, downbeats));
        EXPECT_EQ(locations(storage->beatEntriesFilteredByTimeSignatureDenominator(4)), view) << count;
        EXPECT_EQ(storage->beatEntriesFilteredByTimeSignatureDenominator(2).size(), count);
    };
    expectView(7, {0, 4}, {0, 2, 4});    // the last bar of 3 loses its last quarter note
    expectView(7, {3}, {1, 3, 5});       // pickup of odd length: the other parity
    expectView(7, {0, 3}, {0, 2, 3, 5}); // an odd bar inside keeps its last quarter note
    expectView(5, {0, 4}, {0, 2});       // a lone last downbeat goes as well
}

TEST(TimeSignatureTests, ApplyingMarksEveryNumeratorthBeatFromTheFirstDownbeat) {
    TarnTimeSignatureEntry entry(99);
    const auto expectMarked = [&](TimeSignature signature, const Positions& before, const Positions& after) {
        const auto storage = makeStorage(evenGrid(12, 10, before));
        entry.setNumerator(signature.numerator);
        entry.setDenominator(signature.denominator);
        expectOneUndoableChange(storage, [&] { storage->applyTimeSignatureToBeatEntries(entry); });
        EXPECT_EQ(beatsOf(storage->beatEntries()), evenGrid(12, 10, after));
    };
    expectMarked({3, 8}, {0}, {0, 3, 6, 9});
    expectMarked({200, 4}, {1, 5}, {1});
    expectMarked({2, 4}, {2, 3, 4}, {2, 6, 10});
    expectMarked({3, 4}, {0}, {0, 6});

    const auto storage = makeStorage(evenGrid(12, 10, {}));
    const auto beats = storage->beatEntries();
    EXPECT_EQ(storage->_beatEntriesWithTimeSignature(entry, beats), std::nullopt);
    storage->applyTimeSignatureToBeatEntries(entry);
    EXPECT_TRUE(storage->beatEntries().isSameListAs(beats)) << "without a downbeat nothing changes";
    entry.setDenominator(0);
    EXPECT_TRUE(storage->_beatEntriesWithTimeSignature(entry, beats)->isSameListAs(beats));
}

TEST(TimeSignatureTests, InfersTheNumeratorFromTheMostFrequentBarLength) {
    // A first length without a downbeat is pickup.
    const auto expectInferred = [](const Positions& barLengths, bool pickup, std::int64_t denominator,
                                   TimeSignature result) {
        Positions downbeats;
        std::size_t count = 0;
        for (const std::size_t length : barLengths) {
            if (count > 0 || !pickup)
                downbeats.push_back(count);
            count += length;
        }
        const auto storage = makeStorage(evenGrid(count, 10, downbeats));
        storage->setTimeSignatureByDenominator(denominator);
        EXPECT_EQ(storage->timeSignature(), result) << testing::PrintToString(barLengths);
        ASSERT_EQ(storage->timeSignatureEntries().size(), 1u);
    };
    expectInferred({3, 4, 3}, false, 8, {3, 8});
    expectInferred({5, 7, 7, 5, 9}, false, 8, {5, 8}); // a tie goes to the smaller
    expectInferred({2, 3, 4, 3, 4}, true, 8, {3, 8});  // two pickup beats count as a bar of 3
    expectInferred({24}, false, 8, {8, 8});
    expectInferred({1, 1, 1, 6}, false, 8, {6, 8});      // bars of a downbeat alone do not count
    expectInferred({24, 24, 24, 20}, false, 8, {20, 8}); // the most frequent one among 2 to 20
    expectInferred({6, 6, 8}, false, 4, {3, 4});
    expectInferred({48}, false, 4, {4, 4});
    expectInferred({}, false, 8, {8, 8});

    const auto storage = makeStorage(evenGrid(6, 10, {0, 3}));
    storage->setTimeSignatureByDenominator(2);
    EXPECT_TRUE(storage->timeSignatureEntries().empty());
}

TEST(TimeSignatureTests, MigrationInsertsMidpointsOutsideUndoAndOnlyOnce) {
    for (const auto& [before, after] : {std::pair("", ""),
                                        {"50*", "50* 51"},
                                        {"0* 101 200*", "0* 50 101 150 200* 249"},
                                        {"-9* -4", "-9* -7 -4 -2"}}) {
        const auto storage = makeStorage(gridOf(before), TimeSignature{3, 8});
        EXPECT_FALSE(storage->needsTimeSignatureMigration()) << "in a new document";
        storage->setUseLegacyBeatFiltering(false);
        EXPECT_TRUE(storage->needsTimeSignatureMigration());

        storage->undoManager = std::make_shared<UndoManager>();
        const TarnNoteEntryStorageUndoRecorder recorder(storage, storage->undoManager);
        int groupingLevel = 0;
        const auto token =
            NotificationCenter::defaultCenter().addObserver("", storage, nullptr, [&](const Notification&) {
                groupingLevel += storage->undoManager->groupingLevel();
            });
        EXPECT_TRUE(storage->performTimeSignatureMigration());
        NotificationCenter::defaultCenter().removeObserver(token);
        EXPECT_EQ(groupingLevel, 2) << "both changes lie in one group";
        EXPECT_FALSE(storage->undoManager->canUndo());
        EXPECT_TRUE(storage->undoManager->isUndoRegistrationEnabled());
        EXPECT_EQ(storage->undoManager->groupingLevel(), 0);
        EXPECT_EQ(storage->timeSignature(), (TimeSignature{3, 4}));
        EXPECT_EQ(beatsOf(storage->beatEntries()), gridOf(after));

        EXPECT_FALSE(storage->performTimeSignatureMigration());
        EXPECT_EQ(beatsOf(storage->beatEntries()), gridOf(after));
    }
}

/// The rule as it reads: positions are marked for removal one by one.
Grid quarterNoteView(const Grid& grid) {
    std::vector<char> removed(grid.size(), false);
    Positions downbeats;
    for (std::size_t i = 0; i < grid.size(); ++i) {
        if (grid[i].isDownbeat)
            downbeats.push_back(i);
    }
    std::size_t sinceDownbeat = 0;
    for (std::size_t i = 0; i < grid.size(); ++i) {
        if (downbeats.empty())
            removed[i] = i % 2 == 1;
        else if (i < downbeats.front())
            removed[i] = i % 2 != downbeats.front() % 2;
        else
            removed[i] = (sinceDownbeat = grid[i].isDownbeat ? 0 : sinceDownbeat + 1) % 2 == 1;
    }
    if (!downbeats.empty() && (grid.size() - downbeats.back()) % 2 == 1)
        removed.back() = true;
    Grid view;
    for (std::size_t i = 0; i < grid.size(); ++i) {
        if (!removed[i])
            view.push_back(grid[i]);
    }
    return view;
}

TEST(TimeSignatureTests, QuarterNoteViewAgreesWithItsRuleOnRandomGrids) {
    for (std::uint64_t seed = 1; seed <= 3000 && !HasFailure(); ++seed) {
        std::mt19937_64 random(seed);
        const auto grid = randomGrid(random);
        EXPECT_EQ(beatsOf(makeStorage(grid)->beatEntriesFilteredByTimeSignatureDenominator(4)),
                  quarterNoteView(grid))
            << "seed " << seed;
    }
}

} // namespace
} // namespace tarn
