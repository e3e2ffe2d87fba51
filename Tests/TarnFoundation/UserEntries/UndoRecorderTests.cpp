#include "DocumentFixture.h"

#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"

#include <future>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

class UndoRecorderTests : public ::testing::Test {
protected:
    Document document = makeDocument();
    std::shared_ptr<UndoManager> manager = std::make_shared<UndoManager>();
    TarnNoteEntryStorageUndoRecorder recorder{document, manager};
};

TEST_F(UndoRecorderTests, TakesBackWhatTheConsistencyRulesPruned) {
    addBeats(*document, {0, 1, 2});
    document->setTimeSignature(4, 4);
    const auto odd = document->beatEntries();
    addBeats(*document, {10, 0}); // five: one is pruned
    EXPECT_EQ(document->beatEntries().size(), 4u);
    manager->undo();
    EXPECT_EQ(identifiers(document->beatEntries()), identifiers(odd)) << "three again, although that is odd";
    manager->redo();
    EXPECT_EQ(document->beatEntries().size(), 4u);
}

TEST_F(UndoRecorderTests, MakesOneStepOfAGroupAndNoneOfNothing) {
    manager->beginUndoGrouping();
    document->addChordEntry(document->newChordEntry());
    document->addMarkerEntry(document->newMarkerEntry());
    manager->endUndoGrouping();
    document->removeMarkerEntriesInArray({}); // posts, but changes nothing
    manager->undo();
    EXPECT_TRUE(document->chordEntries().empty() && document->markerEntries().empty());
    EXPECT_FALSE(manager->canUndo());

    manager->disableUndoRegistration();
    document->addNoteEntry(document->newNoteEntry());
    manager->enableUndoRegistration();
    EXPECT_FALSE(manager->canUndo());
    EXPECT_TRUE(manager->canRedo()) << "what is not registered does not discard redo steps";
    document->addNoteEntry(document->newNoteEntry());
    document->populateWithNoteEntryStorageEntries(*makeDocument());
    manager->undo();
    EXPECT_EQ(document->noteEntries().size(), 2u) << "populating is undone as well, kind by kind";
}

TEST_F(UndoRecorderTests, StillTakesAStepBackWhenOthersWereNotRecorded) {
    const auto marker = document->newMarkerEntry();
    const auto later = at(9, document->newMarkerEntry());
    document->addMarkerEntry(marker);
    document->replaceMarkerEntry(marker, later);
    manager->disableUndoRegistration();
    const auto unrecorded = document->newMarkerEntry();
    document->replaceMarkerEntriesInArrayWithMarkerEntriesInArray({later}, {unrecorded, later});
    manager->enableUndoRegistration();
    manager->undo();
    EXPECT_EQ(document->markerEntries().copy(), (std::vector{unrecorded, marker}));
}

TEST_F(UndoRecorderTests, GivesNoIdentifierTwiceAfterPopulatingWasUndone) {
    document->addMarkerEntriesFromArray({document->newMarkerEntry(), document->newMarkerEntry()});
    document->populateWithNoteEntryStorageEntries(*makeDocument());
    EXPECT_EQ(document->nextEventId(), 0u);
    manager->undo();
    EXPECT_EQ(identifiers(document->markerEntries()), (Identifiers{0, 1}));
    EXPECT_EQ(document->newMarkerEntry()->eventId(), 2u);
}

/// Reads the document on another thread each time it is to draw.
struct ReadingDisplay : TarnNoteEntryStorageDisplay {
    std::vector<std::future<std::size_t>> reads;
    void noteStorageInvalidateDisplayInRange(TarnNoteEntryStorage& storage,
                                             std::pair<std::int64_t, std::int64_t>) override {
        reads.push_back(
            std::async(std::launch::async, [&storage] { return storage.markerEntries().size(); }));
        EXPECT_EQ(reads.back().wait_for(std::chrono::seconds(20)), std::future_status::ready)
            << "the storage's lock is held while its display is called";
    }
    void noteStorageDidChangeInstrumentDescription(TarnNoteEntryStorage&) override {}
};

TEST_F(UndoRecorderTests, TellsTheDisplayWithoutTheLock) {
    const auto display = std::make_shared<ReadingDisplay>();
    document->display = display;
    const auto marker = document->newMarkerEntry();
    document->addMarkerEntry(marker);
    manager->undo();
    manager->redo();
    manager->disableUndoRegistration(); // the step no longer fits, and is taken back like an edit
    document->replaceMarkerEntry(marker, document->newMarkerEntry());
    manager->enableUndoRegistration();
    manager->undo();
    EXPECT_EQ(display->reads.size(), 5u);
}

TEST_F(UndoRecorderTests, OutlivesNothing) {
    document->addChordEntry(document->newChordEntry());
    std::weak_ptr<TarnNoteEntryStorage> weak = document;
    document.reset();
    EXPECT_TRUE(weak.expired()) << "neither the manager nor the recorder keeps a document alive";
    manager->undo();
}

} // namespace
