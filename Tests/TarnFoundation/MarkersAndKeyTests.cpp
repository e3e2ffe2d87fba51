#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include "TarnFoundation/NoteEntryStorageError.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"

#include <gmock/gmock.h>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

TEST(MarkersTests, AreInsertedOnceAtAFrame) {
    const auto document = makeDocument();
    const NotificationRecorder recorder(document);
    const auto marker = document->insertMarkerEntry(48000);
    EXPECT_EQ(marker->location(), 48000);
    EXPECT_EQ(document->insertMarkerEntry(-1)->eventId(), 1u);
    EXPECT_EQ(recorder.names(), Names(2, MarkerKind::kDidChangeNotification));
    for (const auto& [frame, text] : {std::pair(48000, "An entry already exists in markers at 48000"),
                                      {-1, "An entry already exists in markers at -1"}}) {
        EXPECT_THAT(([&, at = frame] { (void)document->insertMarkerEntry(at); }),
                    testing::Throws<NoteEntryStorageError>(
                        testing::Field(&NoteEntryStorageError::description, text)));
    }
    EXPECT_EQ(locations(document->markerEntries()), (Locations{-1, 48000}));
    EXPECT_EQ(document->nextEventId(), 2u) << "a refusal makes no entry";
}

KELPKeyRef keyOf(const char* tonic) {
    return KELPKey::makeWithTonicChord(KELPChord::chordWithString(tonic));
}

TEST(GlobalKeyTests, IsThatOfTheEarliestKeyEntry) {
    const auto document = makeDocument();
    EXPECT_EQ(document->globalKey(), nullptr);
    addKey(*document, 100, "G");
    addKey(*document, 50, "Ebm");
    addKey(*document, 50, "A");
    ASSERT_TRUE(document->globalKey());
    EXPECT_EQ(*document->globalKey(), *keyOf("Ebm"));
    addKey(*document, 0, "");
    EXPECT_EQ(document->globalKey(), nullptr) << "later entries do not stand in for the first";
}

TEST(OverriddenKeyTests, SpellsEveryChordAgainInOneStepOfUndo) {
    const auto document = makeDocument();
    for (const auto& [location, tonic] : {std::pair(0, "G"), {50, "D"}, {70, "C"}})
        addKey(*document, location, tonic);
    for (const auto& [location, chord] : {std::pair(300, "A#m7/G#"), {100, "C"}, {200, "N.C."}, {250, ""}})
        addChord(*document, location, chord);
    document->undoManager = std::make_shared<UndoManager>();
    const TarnNoteEntryStorageUndoRecorder undoRecorder(document, document->undoManager);
    const auto oldKeys = document->keyEntries();
    const auto oldChords = document->chordEntries();
    const auto firstNewId = document->nextEventId();

    const NotificationRecorder recorder(document);
    document->overrideGlobalKeyWithKey(keyOf("F"));
    EXPECT_EQ(recorder.names(), (Names{KeyKind::kDidChangeNotification, ChordKind::kDidChangeNotification}));
    EXPECT_EQ(identifiers(document->keyEntries()), Identifiers{firstNewId});
    EXPECT_EQ(locations(document->keyEntries()), Locations{0});
    EXPECT_EQ(*document->globalKey(), *keyOf("F"));
    EXPECT_EQ(chordsOf(document->chordEntries()), (Names{"C@100", "N.C.@200", "none@250", "Bbm7/Ab@300"}));
    EXPECT_EQ(identifiers(document->chordEntries()),
              (Identifiers{firstNewId + 1, firstNewId + 2, firstNewId + 3, firstNewId + 4}));
    EXPECT_EQ(chordsOf(oldChords).back(), "A#m7/G#@300") << "the old entries keep their spelling";

    const auto newChords = identifiers(document->chordEntries());
    document->undoManager->undo();
    EXPECT_FALSE(document->undoManager->canUndo());
    EXPECT_EQ(identifiers(document->keyEntries()), identifiers(oldKeys));
    EXPECT_EQ(identifiers(document->chordEntries()), identifiers(oldChords));
    EXPECT_EQ(*document->globalKey(), *keyOf("G"));
    document->undoManager->redo();
    EXPECT_EQ(*document->globalKey(), *keyOf("F"));
    EXPECT_EQ(identifiers(document->chordEntries()), newChords);
}

TEST(OverriddenKeyTests, NeedsNeitherChordsNorAnEarlierKeyNorAnUndoManager) {
    const auto document = makeDocument();
    const NotificationRecorder recorder(document);
    document->overrideGlobalKey(keyOf("C#m"));
    EXPECT_EQ(*document->globalKey(), *keyOf("C#m"));
    ASSERT_EQ(recorder.names(), (Names{KeyKind::kDidChangeNotification, ChordKind::kDidChangeNotification}));
    EXPECT_TRUE(recorder.list<TarnChordEntry>(1, TarnNoteEntryStorageAddedEntriesKey)->empty());
}

} // namespace
