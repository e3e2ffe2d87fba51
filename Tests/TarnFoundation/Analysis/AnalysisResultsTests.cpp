#include "Tests/TarnFoundation/Analysis/ScriptedAnalysis.h"

namespace tarn {
namespace {

using scripted::Event;
using scripted::Events;
using scripted::Lines;
using scripted::Locations;
using scripted::posted;
using scripted::Song;

/// Runs the stage to its end, while the main queue waits.
void detectKey(Song& song, std::optional<int> key) {
    song.open();
    song.script->key = key;
    scripted::Key operation(song.script, "key");
    operation.delegate = song.controller;
    operation.main();
}

TEST(AnalysisResultsTests, AKeyIsInsertedOnTheMainQueueAsItsTonicTriad) {
    const std::pair<int, const char*> cases[] = {
        {0, "C"},   {1, "Db"},   {3, "Eb"},   {6, "F#"},   {8, "Ab"},   {10, "Bb"},  {11, "B"},
        {12, "Cm"}, {13, "C#m"}, {15, "D#m"}, {18, "F#m"}, {20, "G#m"}, {22, "Bbm"}, {23, "Bm"},
    };
    for (const auto& [index, tonic] : cases) {
        Song song;
        detectKey(song, index);
        EXPECT_TRUE(song.storage->keyEntries().empty()) << "inserted before the main queue was drained";
        song.controller.reset();
        MainQueue::runPending();
        ASSERT_EQ(song.storage->keyEntries().size(), 1U);
        EXPECT_EQ(song.storage->keyEntries()[0]->tonicChord()->string(), tonic);
    }
}

TEST(AnalysisResultsTests, WithoutAKeyNoEntryIsInserted) {
    Song song;
    detectKey(song, std::nullopt);
    MainQueue::runPending();
    const Events events = song.script->events();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].name, "key");
}

/// Reports beats and then a downbeat to the song's new controller; returns the last event.
Event eventAfterAlignment(Song& song, const std::vector<std::int64_t>& beats, std::int64_t downbeat,
                          std::int64_t tatumCount) {
    song.open();
    const auto script = song.script;
    scripted::Beats detection(script, "beats");
    scripted::Alignment alignment(script, "alignment");
    BeatDetectionOperationDelegate& beatDelegate = *song.controller;
    BeatAlignmentOperationDelegate& alignmentDelegate = *song.controller;
    beatDelegate.beatDetectionOperationDidEndProcessing(beats, 97.5, detection);
    EXPECT_EQ(script->events(),
              Events{posted(TarnBeatDetectionDidFinishProcessingNotification, {{"tempo", "97.5"}})});
    EXPECT_EQ(song.controller->beatLocations().has_value(), !beats.empty());
    alignmentDelegate.beatAlignmentOperationDidFindDownbeatLocation(alignment, downbeat, tatumCount);
    EXPECT_EQ(script->events().size(), 1U) << "posted before the main queue was drained";
    MainQueue::runPending();
    EXPECT_TRUE(song.storage->beatEntries().empty() && song.storage->timeSignatureEntries().empty());
    return script->events().back();
}

const Locations kTenBeats{0, 10, 20, 30, 40, 50, 60, 70, 80, 90};

TEST(AnalysisResultsTests, EveryTatumCountThBeatFromTheDownbeatIsADownbeat) {
    const auto expectBeats = [](const Locations& beats, std::int64_t downbeat, std::int64_t tatumCount,
                                const char* marked, const char* signature) {
        Song song;
        EXPECT_EQ(eventAfterAlignment(song, beats, downbeat, tatumCount),
                  posted(TarnBeatAlignmentDidFinishProcessingNotification,
                         {{"beatEntries", marked}, {"timeSignature", signature}}));
    };
    expectBeats(kTenBeats, 20, 4, "0 10 20* 30 40 50 60* 70 80 90", "2/4");
    expectBeats(kTenBeats, 20, 8, "0 10 20* 30 40 50 60 70 80 90", "4/4");
    expectBeats(kTenBeats, 20, 7, "0 10 20* 30 40 50 60 70 80 90*", "3/4");
    expectBeats(kTenBeats, 80, 1, "0 10 20 30 40 50 60 70 80* 90*", "0/4");
    expectBeats(kTenBeats, 80, -1, "0 10 20 30 40 50 60 70 80* 90", "0/4");
    expectBeats(kTenBeats, 0, 511, "0* 10 20 30 40 50 60 70 80 90", "255/4");
    expectBeats({7, 5, 5, 9}, 5, 2, "7 5* 5 9*", "1/4"); // the first of equals, as reported
}

TEST(AnalysisResultsTests, ADownbeatThatIsNotABeatIsReportedWithoutBeats) {
    const auto expectNoBeats = [](const Locations& beats, std::int64_t downbeat, std::int64_t tatumCount) {
        Song song;
        EXPECT_EQ(eventAfterAlignment(song, beats, downbeat, tatumCount),
                  posted(TarnBeatAlignmentDidFinishProcessingNotification));
    };
    expectNoBeats(kTenBeats, 21, 4);
    expectNoBeats(kTenBeats, -1, 0);
    expectNoBeats({}, 0, 4);
}

TEST(AnalysisResultsTests, ADetectionWithoutBeatsForgetsTheEarlierOnes) {
    Song song;
    song.open();
    scripted::Beats operation(song.script, "beats");
    BeatDetectionOperationDelegate& delegate = *song.controller;
    delegate.beatDetectionOperationDidEndProcessing({9, 3}, 1, operation);
    EXPECT_EQ(song.controller->beatLocations(), (std::vector<std::int64_t>{9, 3}));
    delegate.beatDetectionOperationDidEndProcessing({}, 1, operation);
    EXPECT_FALSE(song.controller->beatLocations());
}

TEST(AnalysisResultsTests, AnEmptyListOfChordsIsInsertedToo) {
    Song song;
    song.open();
    const auto operation =
        std::make_shared<scripted::Chords<LegacyChordDetectionOperation>>(song.script, "legacy chords");
    song.factory->operations["legacy chords"] = operation;
    ChordDetectionOperationDelegate& delegate = *song.controller;
    delegate.chordDetectionDidFinishProcessingWithResults({}, *operation);
    EXPECT_EQ(song.script->events(), (Events{posted(TarnNoteEntryStorageDidChangeChordEntriesNotification),
                                             posted(TarnChordDetectionDidFinishProcessingNotification,
                                                    {{"chordDetector", "legacy chords"}})}));
}

TEST(AnalysisResultsTests, ChordsAreNotInsertedBesideOneThatTheUserAddsMeanwhile) {
    Song song;
    song.open();
    const auto operation = std::make_shared<scripted::Chords<DetectChordsOperation>>(song.script, "chords");
    ChordDetectionOperationDelegate& delegate = *song.controller;
    std::atomic<bool> isDone = false;
    MainQueue::async([&] { fixtures::addChord(*song.storage, 10, "D"); });
    std::thread detection([&] {
        delegate.chordDetectionDidFinishProcessingWithResults(song.script->chords, *operation);
        isDone = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the results wait for the main queue
    EXPECT_TRUE(MainQueue::runUntil([&] { return isDone.load(); }, std::chrono::minutes(1)));
    detection.join();
    EXPECT_EQ(fixtures::chordsOf(song.storage->chordEntries()), Lines{"D@10"});
}

TEST(AnalysisResultsDeathTest, ResultsOutOfRangeAbort) {
    Song song;
    for (const std::int64_t tatumCount : {-2, 512}) { // even where no beat is the downbeat
        EXPECT_DEATH(eventAfterAlignment(song, {10}, 11, tatumCount),
                     "The tatum count of a bar is out of range");
    }
    EXPECT_DEATH(eventAfterAlignment(song, {10}, 10, 0), "A bar without tatums has no next downbeat");
    EXPECT_DEATH(
        {
            detectKey(song, -1);
            MainQueue::runPending();
        },
        "A key index must not be negative");
}

} // namespace
} // namespace tarn
