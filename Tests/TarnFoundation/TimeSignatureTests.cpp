#include "Tests/TarnFoundation/BeatGrid.h"

#include <numeric>

namespace tarn {
namespace {

using namespace test;

Locations locationsOf(const EntryList<TarnBeatEntry>& beats) {
    Locations locations;
    for (const auto& beat : beats)
        locations.push_back(beat->location());
    return locations;
}

TEST(TimeSignature, ADocumentWithoutOneReadsFourFourYetHasNoQuarterNoteSpacing) {
    const auto storage = makeStorage(evenGrid(4, 10, {0}));
    storage->setUseLegacyBeatFiltering(false);
    EXPECT_EQ(storage->timeSignature(), (TimeSignature{4, 4}));
    EXPECT_FALSE(storage->useQuarterNoteSpacing());
    EXPECT_FALSE(storage->needsTimeSignatureMigration());
    EXPECT_FALSE(storage->performTimeSignatureMigration());
    EXPECT_EQ(storage->beatEntriesFilteredByTimeSignature().size(), 4u);
}

TEST(TimeSignature, TheEarliestEntryIsReadAndSettingReplacesAllInOneChange) {
    const auto storage = makeStorage({});
    const auto late = storage->newTimeSignatureEntry();
    late->setLocation(500);
    late->setDenominator(8);
    const auto early = storage->newTimeSignatureEntry();
    early->setLocation(100);
    early->setNumerator(3);
    storage->addTimeSignatureEntriesFromArray({late, early});
    EXPECT_EQ(storage->timeSignature(), (TimeSignature{3, 4}));
    EXPECT_TRUE(storage->useQuarterNoteSpacing());

    int changes = 0;
    const auto token = NotificationCenter::defaultCenter().addObserver(
        "", storage, nullptr, [&](const Notification& notification) {
            EXPECT_EQ(notification.name, TarnNoteEntryStorageDidChangeTimeSignatureEntriesNotification);
            ++changes;
        });
    storage->setTimeSignature(6, 8);
    NotificationCenter::defaultCenter().removeObserver(token);
    EXPECT_EQ(changes, 1);
    ASSERT_EQ(storage->timeSignatureEntries().size(), 1u);
    EXPECT_EQ(storage->timeSignatureEntries().front()->location(), 0);
    EXPECT_EQ(storage->timeSignature(), (TimeSignature{6, 8}));
}

TEST(TimeSignature, QuarterNoteViewKeepsEverySecondBeatOfEachStretch) {
    struct Case {
        std::size_t count;
        std::vector<std::size_t> downbeats;
        Locations view;
    };
    for (const auto& [count, downbeats, view] : std::vector<Case>{
             {0, {}, {}},
             {1, {}, {0}},
             {5, {}, {0, 2, 4}},
             {7, {0, 4}, {0, 2, 4}}, // the last bar of 3 loses its last quarter note
             {8, {0, 4}, {0, 2, 4, 6}},
             {6, {2}, {0, 2, 4}},       // pickup of even length
             {7, {3}, {1, 3, 5}},       // pickup of odd length: the other parity
             {7, {0, 3}, {0, 2, 3, 5}}, // an odd bar inside keeps its last quarter note
             {5, {0, 4}, {0, 2}},       // a lone last downbeat goes as well
             {1, {0}, {}},
         }) {
        const auto storage = makeStorage(evenGrid(count, 1, downbeats));
        EXPECT_EQ(locationsOf(storage->beatEntriesFilteredByTimeSignatureDenominator(4)), view) << count;
        EXPECT_EQ(storage->beatEntriesFilteredByTimeSignatureDenominator(2).size(), count);
    }
}

TEST(TimeSignature, ApplyingMarksEveryNumeratorthBeatFromTheFirstDownbeat) {
    struct Case {
        TimeSignature signature;
        std::vector<std::size_t> before, after;
    };
    for (const auto& [signature, before, after] : std::vector<Case>{{{3, 4}, {0}, {0, 6}},
                                                                    {{3, 8}, {0}, {0, 3, 6, 9}},
                                                                    {{2, 4}, {2, 3, 4}, {2, 6, 10}},
                                                                    {{200, 4}, {1, 5}, {1}}}) {
        const auto storage = makeStorage(evenGrid(12, 10, before));
        TarnTimeSignatureEntry entry(99);
        entry.setNumerator(signature.numerator);
        entry.setDenominator(signature.denominator);
        expectOneUndoableChange(storage, [&] { storage->applyTimeSignatureToBeatEntries(entry); });
        EXPECT_EQ(beatsOf(storage->beatEntries()), evenGrid(12, 10, after));
    }

    const auto storage = makeStorage(evenGrid(12, 10, {}));
    const auto beats = storage->beatEntries();
    TarnTimeSignatureEntry entry(99);
    EXPECT_EQ(storage->_beatEntriesWithTimeSignature(entry, beats), std::nullopt);
    storage->applyTimeSignatureToBeatEntries(entry);
    EXPECT_TRUE(storage->beatEntries().isSameListAs(beats)) << "without a downbeat nothing changes";
    entry.setDenominator(0);
    EXPECT_TRUE(storage->_beatEntriesWithTimeSignature(entry, beats)->isSameListAs(beats));
}

TEST(TimeSignature, InfersTheNumeratorFromTheMostFrequentBarLength) {
    struct Case {
        std::vector<std::size_t> barLengths; ///< a first length without a downbeat is pickup
        bool pickup;
        std::int64_t denominator;
        TimeSignature result;
    };
    for (const auto& [barLengths, pickup, denominator, result] : std::vector<Case>{
             {{3, 4, 3}, false, 8, {3, 8}},
             {{5, 7, 7, 5, 9}, false, 8, {5, 8}}, // a tie goes to the smaller
             {{2, 3, 4, 3, 4}, true, 8, {3, 8}},  // two pickup beats count as a bar of 3
             {{24}, false, 8, {8, 8}},
             {{1, 1, 1, 6}, false, 8, {6, 8}},      // bars of a downbeat alone do not count
             {{24, 24, 24, 20}, false, 8, {20, 8}}, // the most frequent one among 2 to 20
             {{6, 6, 8}, false, 4, {3, 4}},
             {{48}, false, 4, {4, 4}},
             {{}, false, 8, {8, 8}},
         }) {
        std::vector<std::size_t> downbeats;
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
    }
    const auto storage = makeStorage(evenGrid(6, 10, {0, 3}));
    storage->setTimeSignatureByDenominator(2);
    EXPECT_TRUE(storage->timeSignatureEntries().empty());
}

TEST(TimeSignature, MigrationInsertsMidpointsOutsideUndoAndOnlyOnce) {
    struct Case {
        std::vector<BeatAt> before, after;
    };
    for (const auto& [before, after] : std::vector<Case>{
             {{}, {}},
             {{{50, true}}, {{50, true}, {51}}},
             {{{0, true}, {101}, {200, true}}, {{0, true}, {50}, {101}, {150}, {200, true}, {249}}},
             {{{-9, true}, {-4}}, {{-9, true}, {-7}, {-4}, {-2}}},
         }) {
        const auto storage = makeStorage(before, TimeSignature{3, 8});
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
        EXPECT_EQ(beatsOf(storage->beatEntries()), after);

        EXPECT_FALSE(storage->performTimeSignatureMigration());
        EXPECT_EQ(beatsOf(storage->beatEntries()), after);
    }
}

/// The rule as it reads: positions are marked for removal one by one.
std::vector<BeatAt> quarterNoteView(const std::vector<BeatAt>& grid) {
    std::vector<char> removed(grid.size(), false);
    std::vector<std::size_t> downbeats;
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
    std::vector<BeatAt> view;
    for (std::size_t i = 0; i < grid.size(); ++i) {
        if (!removed[i])
            view.push_back(grid[i]);
    }
    return view;
}

TEST(TimeSignature, QuarterNoteViewAgreesWithItsRuleOnRandomGrids) {
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
