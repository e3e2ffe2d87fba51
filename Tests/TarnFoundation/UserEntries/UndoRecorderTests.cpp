#include "DocumentFixture.h"

#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

class UndoRecorder : public ::testing::Test {
protected:
    Document document = makeDocument();
    std::shared_ptr<UndoManager> manager = std::make_shared<UndoManager>();
    TarnNoteEntryStorageUndoRecorder recorder{document, manager};
};

/// Adds, replaces and removes entries of one kind, and expects each step to be taken back and made again
/// exactly.
template <typename Entry>
void expectStepsBackAndForth(UndoManager& manager, const std::function<std::shared_ptr<Entry>()>& make,
                             const std::function<EntryList<Entry>()>& read,
                             const std::function<void(EntryList<Entry>, EntryList<Entry>)>& replace) {
    std::vector<EntryList<Entry>> states{read()};
    const auto step = [&](const EntryList<Entry>& removed, const EntryList<Entry>& added) {
        replace(removed, added);
        states.push_back(read());
    };
    const auto entry = [&](std::int64_t location) {
        auto made = make();
        made->setLocation(location);
        return made;
    };
    const auto early = entry(5);
    const auto late = entry(50);
    step({}, {late, early, entry(5)});
    step({early}, {entry(70), entry(5)});
    step({late}, {});
    const auto same = [](const EntryList<Entry>& a, const EntryList<Entry>& b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    };
    for (std::size_t i = states.size() - 1; i-- > 0;) {
        manager.undo();
        EXPECT_TRUE(same(read(), states[i])) << Entry::kClassName << " undone to " << i;
    }
    EXPECT_FALSE(manager.canUndo());
    for (std::size_t i = 1; i < states.size(); ++i) {
        manager.redo();
        EXPECT_TRUE(same(read(), states[i])) << Entry::kClassName << " redone to " << i;
    }
    EXPECT_FALSE(manager.canRedo());
    manager.removeAllActions();
}

TEST_F(UndoRecorder, RestoresTheEntriesOfEveryKind) {
#define TARN_EXPECT_STEPS(Stem, stem)                                                                        \
    expectStepsBackAndForth<Tarn##Stem##Entry>(                                                              \
        *manager, [&] { return document->new##Stem##Entry(); }, [&] { return document->stem##Entries(); },   \
        [&](const auto& removed, const auto& added) {                                                        \
            document->replace##Stem##EntriesInArrayWith##Stem##EntriesInArray(removed, added);               \
        });
    TARN_NOTE_ENTRY_STORAGE_KINDS(TARN_EXPECT_STEPS)
#undef TARN_EXPECT_STEPS
}

TEST_F(UndoRecorder, TakesBackWhatTheConsistencyRulesPruned) {
    document->addBeatEntriesFromArray(makeDocumentWithBeats({0, 1, 2})->beatEntries());
    document->setTimeSignature(4, 4);
    const auto beat = document->newBeatEntry();
    beat->setLocation(10);
    const auto odd = document->beatEntries();
    document->addBeatEntriesFromArray({beat, document->newBeatEntry()}); // five: one is pruned
    EXPECT_EQ(document->beatEntries().size(), 4u);
    manager->undo();
    EXPECT_EQ(identifiers(document->beatEntries()), identifiers(odd)) << "three again, although that is odd";
    manager->redo();
    EXPECT_EQ(document->beatEntries().size(), 4u);
}

TEST_F(UndoRecorder, MakesOneStepOfAGroupAndNoneOfNothing) {
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
    const auto note = document->newNoteEntry();
    document->addNoteEntry(note);
    document->populateWithNoteEntryStorageEntries(*makeDocument());
    manager->undo();
    EXPECT_EQ(document->noteEntries().size(), 2u) << "populating is undone as well, kind by kind";
}

TEST_F(UndoRecorder, StillTakesAStepBackWhenOthersWereNotRecorded) {
    const auto marker = document->newMarkerEntry();
    const auto later = document->newMarkerEntry();
    later->setLocation(9);
    document->addMarkerEntry(marker);
    document->replaceMarkerEntry(marker, later);
    manager->disableUndoRegistration();
    const auto unrecorded = document->newMarkerEntry();
    document->replaceMarkerEntriesInArrayWithMarkerEntriesInArray({later}, {unrecorded, later});
    manager->enableUndoRegistration();
    manager->undo();
    EXPECT_EQ(identifiers(document->markerEntries()),
              (std::vector<std::uint64_t>{unrecorded->eventId(), marker->eventId()}));
}

TEST_F(UndoRecorder, GivesNoIdentifierTwiceAfterPopulatingWasUndone) {
    document->addMarkerEntriesFromArray({document->newMarkerEntry(), document->newMarkerEntry()});
    document->populateWithNoteEntryStorageEntries(*makeDocument());
    EXPECT_EQ(document->nextEventId(), 0u);
    manager->undo();
    EXPECT_EQ(identifiers(document->markerEntries()), (std::vector<std::uint64_t>{0, 1}));
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
            << "the storage's lock is held while its display is told";
    }
    void noteStorageDidChangeInstrumentDescription(TarnNoteEntryStorage&) override {}
};

TEST_F(UndoRecorder, TellsTheDisplayWithoutTheLock) {
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

TEST_F(UndoRecorder, OutlivesNothing) {
    document->addChordEntry(document->newChordEntry());
    std::weak_ptr<TarnNoteEntryStorage> weak = document;
    document.reset();
    EXPECT_TRUE(weak.expired()) << "neither the manager nor the recorder keeps a document alive";
    manager->undo();
}

} // namespace
