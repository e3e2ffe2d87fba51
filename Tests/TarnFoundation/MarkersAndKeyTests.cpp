#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include "TarnFoundation/NoteEntryStorageError.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorageUndoRecorder.h"

#include <gtest/gtest.h>

using namespace tarn;
using namespace tarn::fixtures;

namespace {

TEST(Markers, AreInsertedOnceAtAFrame) {
    const auto document = makeDocument();
    const NotificationRecorder recorder(document);
    const auto marker = document->insertMarkerEntry(48000);
    EXPECT_EQ(marker->location(), 48000);
    EXPECT_EQ(document->insertMarkerEntry(-1)->eventId(), 1u);
    EXPECT_EQ(recorder.names(), std::vector<std::string>(2, MarkerKind::kDidChangeNotification));
    for (const auto& [frame, text] : {std::pair(48000, "An entry already exists in markers at 48000"),
                                      std::pair(-1, "An entry already exists in markers at -1")}) {
        try {
            (void)document->insertMarkerEntry(frame);
            ADD_FAILURE() << "a second marker at " << frame;
        } catch (const NoteEntryStorageError& error) {
            EXPECT_EQ(error.description, text);
            EXPECT_STREQ(error.what(), text);
        }
    }
    EXPECT_EQ(locations(document->markerEntries()), (std::vector<std::int64_t>{-1, 48000}));
    EXPECT_EQ(document->nextEventId(), 2u) << "a refusal makes no entry";
}

void addKey(TarnNoteEntryStorage& document, std::int64_t location, const char* tonic) {
    const auto key = document.newKeyEntry();
    key->setLocation(location);
    key->setTonicChord(KELPChord::chordWithString(tonic)); // none for an unreadable text
    document.addKeyEntry(key);
}

KELPKeyRef keyOf(const char* tonic) {
    return KELPKey::keyWithTonicChord(KELPChord::chordWithString(tonic));
}

TEST(GlobalKey, IsThatOfTheEarliestKeyEntry) {
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

class OverriddenKey : public ::testing::Test {
protected:
    void addChord(std::int64_t location, const char* text) {
        const auto chord = document->newChordEntry();
        chord->setLocation(location);
        chord->setChord(KELPChord::chordWithString(text));
        document->addChordEntry(chord);
    }
    [[nodiscard]] std::vector<std::string> chords() const {
        std::vector<std::string> result;
        for (const auto& entry : document->chordEntries())
            result.push_back(std::to_string(entry->location()) + " " +
                             (entry->chord() ? entry->chord()->string() : "none"));
        return result;
    }

    Document document = makeDocument();
};

TEST_F(OverriddenKey, SpellsEveryChordAnewInOneStepOfUndo) {
    for (const auto& [location, tonic] : {std::pair(0, "G"), std::pair(50, "D"), std::pair(70, "C")})
        addKey(*document, location, tonic);
    addChord(300, "A#m7/G#");
    addChord(100, "C");
    addChord(200, "N.C.");
    addChord(250, "");
    document->undoManager = std::make_shared<UndoManager>();
    const TarnNoteEntryStorageUndoRecorder undoRecorder(document, document->undoManager);
    const auto oldKeys = document->keyEntries();
    const auto oldChords = document->chordEntries();
    const auto firstNewId = document->nextEventId();

    const NotificationRecorder recorder(document);
    document->overrideGlobalKeyWithKey(keyOf("F"));
    EXPECT_EQ(recorder.names(),
              (std::vector<std::string>{KeyKind::kDidChangeNotification, ChordKind::kDidChangeNotification}));
    ASSERT_EQ(document->keyEntries().size(), 1u);
    EXPECT_EQ(document->keyEntries()[0]->location(), 0);
    EXPECT_EQ(document->keyEntries()[0]->eventId(), firstNewId);
    EXPECT_EQ(*document->globalKey(), *keyOf("F"));
    EXPECT_EQ(chords(), (std::vector<std::string>{"100 C", "200 N.C.", "250 none", "300 Bbm7/Ab"}));
    EXPECT_EQ(identifiers(document->chordEntries()),
              (std::vector<std::uint64_t>{firstNewId + 1, firstNewId + 2, firstNewId + 3, firstNewId + 4}));
    EXPECT_EQ(oldChords[3]->chord()->string(), "A#m7/G#") << "the old entries keep their spelling";

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

TEST_F(OverriddenKey, NeedsNeitherChordsNorAnEarlierKeyNorAnUndoManager) {
    const NotificationRecorder recorder(document);
    document->overrideGlobalKey(keyOf("C#m"));
    EXPECT_EQ(*document->globalKey(), *keyOf("C#m"));
    ASSERT_EQ(recorder.names(),
              (std::vector<std::string>{KeyKind::kDidChangeNotification, ChordKind::kDidChangeNotification}));
    EXPECT_TRUE(recorder.list<TarnChordEntry>(1, TarnNoteEntryStorageAddedEntriesKey)->empty());
}

} // namespace
