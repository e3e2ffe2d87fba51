#include "Song/SongHistory.h"

#include "Song/Edits/Edits.h"
#include "Song/SongFile.h"
#include "Tests/Song/SongTexts.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

/// As another run of the program finds the song.
std::shared_ptr<Song> openedAgain(const std::shared_ptr<Song>& song) {
    return songFromBytes(archivedSong(song), "song.tarn");
}

/// A song without a history.
std::shared_ptr<Song> songWithoutHistory() {
    return openedAgain(test::sampleSong());
}

/// All contents, with the order in which entries are stored and their identifiers.
std::string fingerprint(const Song& song) {
    std::string text = song.properties.title + "\n";
    const auto add = [&](const auto& storage) {
        storage.forEachKind([&]<typename Kind>(Kind) {
            for (const auto& entry : storage.template storedEntries<Kind>())
                text += entry->description() + "\n";
        });
    };
    add(*song.notes);
    add(*song.structure);
    return text + test::contentsOf(song);
}

std::optional<SongHistoryError::Kind> refusal(const auto& action) {
    try {
        action();
    } catch (const SongHistoryError& error) {
        return error.kind();
    }
    return std::nullopt;
}

} // namespace

TEST(SongHistory, stepsAreTakenBackAndMadeAgainAcrossRuns) {
    auto song = songWithoutHistory();
    std::vector<std::string> states{fingerprint(*song)};
    for (const char* sentence :
         {"add-chord C at 1:1", "add-chord Am at 2:1", "change-chord at 1:2 to G7", "bar-beats 3 = 5",
          "add-section Intro at 1:1", "metre=3/4", "key=G", "add-region verse 2:1 to 4:1",
          "shift-region Verse by 1 bar", "add-note E4 at 3:1 for 1 beat", "remove-chord at 2:1"}) {
        applyEdits(*song, sentence);
        states.push_back(fingerprint(*song));
        song = openedAgain(song);
    }
    for (std::size_t i = states.size() - 1; i > 0; --i) {
        EXPECT_EQ(fingerprint(*song), states[i]) << song->history.newest()->message;
        song->undo();
        song = openedAgain(song);
    }
    EXPECT_EQ(fingerprint(*song), states[0]);
    EXPECT_EQ(refusal([&] { song->undo(); }), SongHistoryError::Kind::nothing);
    for (std::size_t i = 1; i < states.size(); ++i) {
        song->redo();
        EXPECT_EQ(fingerprint(*song), states[i]) << song->history.newest()->message;
    }
    EXPECT_EQ(refusal([&] { song->redo(); }), SongHistoryError::Kind::nothing);
}

TEST(SongHistory, aNewStepForgetsThoseThatWereTakenBack) {
    const auto song = songWithoutHistory();
    applyEdits(*song, "add-chord C at 1:1");
    song->undo();
    applyEdits(*song, "add-chord G at 1:1");
    EXPECT_EQ(refusal([&] { song->redo(); }), SongHistoryError::Kind::nothing);
    ASSERT_EQ(song->history.steps().size(), 1u);
    EXPECT_EQ(song->history.newest()->identifier, 2u) << "identifiers are not used again";
}

TEST(SongHistory, aCallerThatSawAnOlderStateIsRefused) {
    const auto song = songWithoutHistory();
    applyEdits(*song, "add-chord C at 1:1");
    const auto seen = song->history.newest()->identifier;
    applyEdits(*song, "add-chord G at 2:1");
    EXPECT_EQ(refusal([&] { song->undo(seen); }), SongHistoryError::Kind::outdated);
    EXPECT_EQ(test::chordsOf(*song), "C@88200 G@176400");
    song->undo(song->history.newest()->identifier);
    EXPECT_EQ(test::chordsOf(*song), "C@88200");
}

TEST(SongHistory, whatAnApplicationChangesIsAStepToo) {
    const auto song = songWithoutHistory();
    test::addChord(*song, 0, "C");
    song->properties.title = "Title";
    song->record("From the application");
    song->record("Nothing has changed");
    ASSERT_EQ(song->history.steps().size(), 1u);
    EXPECT_EQ(song->undo(), "From the application");
    EXPECT_EQ(test::chordsOf(*song), "");
    EXPECT_EQ(song->properties.title, "");
}

TEST(SongHistory, aStepThatNoLongerFitsStaysAndSaysWhy) {
    auto song = songWithoutHistory();
    applyEdits(*song, "add-chord C at 1:1");
    // A program that knows nothing of histories changes the chords.
    const auto history = song->history;
    song->notes->removeChordEntry(song->notes->chordEntries().front());
    song->record("");
    song->history = history;
    song = openedAgain(song);
    EXPECT_EQ(refusal([&] { song->undo(); }), SongHistoryError::Kind::doesNotFit);
    EXPECT_EQ(song->obstacleToUndo(),
              "the chord entries have been changed since by a program that keeps no history");
    EXPECT_EQ(song->history.newest()->message, "add-chord C at 1:1");
}

TEST(SongHistory, aRefusedEditLeavesNoTrace) {
    const auto song = songWithoutHistory();
    applyEdits(*song, "add-chord C at 1:1");
    const auto before = fingerprint(*song);
    EXPECT_THROW((void)applyEdits(*song, parseEdits(std::vector<std::string>{
                                             "title=New", "add-chord G at 2:1", "add-chord D at 1:1"})),
                 EditRefused);
    EXPECT_EQ(fingerprint(*song), before);
    EXPECT_THROW((void)applyEdits(*song, parseEdits(std::vector<std::string>{"change-chord at 1:1 to G",
                                                                             "remove-section None"})),
                 EditRefused);
    EXPECT_EQ(fingerprint(*song), before);
    song->record("Nothing has changed");
    EXPECT_EQ(song->history.steps().size(), 1u);
}

TEST(SongHistory, whatIsOnlyMadeAgainMakesNoStep) {
    const auto song = songWithoutHistory();
    test::perform(*song, "add-chord C at 1:1|add-chord G at 2:1|key=C|tempo=120|add-section Intro at 1:1|"
                         "add-region verse Lick 2:1 to 3:1|add-note E4 at 3:1 for 1 beat|title=X");
    const auto chord = song->notes->chordEntries().front()->eventId();
    song->facts.chords[chord] = 0.5;
    song->record("Facts");
    const auto before = fingerprint(*song);
    const auto stepCount = song->history.steps().size();
    for (const char* sentence :
         {"change-chord at 1:1 to C", "key=C", "tempo=120", "metre=4/4", "move-bar 2 to 2:1",
          "bar-beats 2 = 4", "shift-downbeats 0", "rename-section Intro to Intro",
          "color-section Intro other", "rename-region Lick to Lick", "shift-region Lick by 0s",
          "change-note E4 at 3:1 to E4", "copy-bars 1 to 2 at 1", "title=X"}) {
        applyEdits(*song, sentence);
        EXPECT_EQ(fingerprint(*song), before) << sentence;
        EXPECT_EQ(song->history.steps().size(), stepCount) << sentence;
    }
    // Of several entries that are made again, those that say the same stay.
    test::perform(*song, "remove-chord at 1:1|remove-chord at 2:1|add-chord D at 2:1|add-chord C at 1:1");
    EXPECT_EQ(song->notes->chordEntries().front()->eventId(), chord);
    EXPECT_EQ(song->facts.chords.at(chord), 0.5);
    song->undo();
    EXPECT_EQ(fingerprint(*song), before);
}

TEST(SongHistory, factsAboutAnEntryGoAndComeBackWithIt) {
    const auto song = songWithoutHistory();
    applyEdits(*song, "add-chord C at 1:1");
    const auto chord = song->notes->chordEntries().front()->eventId();
    song->facts.chords[chord] = 0.5;
    song->record("Facts");
    applyEdits(*song, "change-chord at 1:1 to G");
    EXPECT_TRUE(song->facts.chords.empty());
    song->undo();
    EXPECT_EQ(song->facts.chords.at(chord), 0.5);
}

TEST(SongHistory, theOldestStepsAreForgotten) {
    SongHistory history;
    for (std::size_t i = 0; i < SongHistory::kMostSteps + 5; ++i)
        history.add("step", Data(10));
    EXPECT_EQ(history.steps().size(), SongHistory::kMostSteps);
    EXPECT_EQ(history.steps().front().identifier, 6u);
    history.add("large", Data(SongHistory::kMostBytes + 1));
    ASSERT_EQ(history.steps().size(), 1u);
    EXPECT_EQ(history.doneCount(), 1u);
    EXPECT_EQ(history.newest()->message, "large");
}

} // namespace tarn
