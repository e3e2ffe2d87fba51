#include "TarnFoundation/Analysis/AnalysisRun.h"

#include "Tests/TarnFoundation/Analysis/ScriptedAnalysis.h"

#include <future>
#include <thread>

namespace tarn {
namespace {

using scripted::Event;
using scripted::Song;
using testing::Contains;
using testing::Not;

/// Runs an analysis that is cancelled on the main thread when the stage has found its result and, where it
/// does not wait for the main thread, has ended.
void runAndCancelAfter(Song& song, const std::string& stage) {
    const bool waits = stage != "key" && stage != "alignment";
    song.script->whileWorking = [&song, stage, waits](const std::string& working) {
        if (working != stage)
            return;
        MainQueue::async([&song, stage, waits] {
            if (!waits)
                song.factory->operations[stage]->waitUntilFinished();
            song.controller->cancelProcessing();
        });
    };
    song.run();
}

TEST(AnalysisRunConcurrencyTests, ResultsThatComeAfterCancellingAreNotHandedOver) {
    for (const auto& [stage, report] :
         {std::pair("tuning", TarnTuningEstimationDidFinishProcessingNotification),
          {"beats", TarnBeatDetectionDidFinishProcessingNotification},
          {"key", TarnNoteEntryStorageDidChangeKeyEntriesNotification},
          {"chords", TarnNoteEntryStorageDidChangeChordEntriesNotification},
          {"alignment", TarnBeatAlignmentDidFinishProcessingNotification}}) {
        SCOPED_TRACE(stage);
        Song song;
        runAndCancelAfter(song, stage);
        EXPECT_THAT(song.script->events(), Not(Contains(testing::Field(&Event::name, report))));
    }
}

TEST(AnalysisRunConcurrencyTests, ResultsThatWaitForTheMainThreadAreNotHandedOverWhenItCancels) {
    Song song;
    song.open();
    const auto chords = std::make_shared<scripted::Chords<DetectChordsOperation>>(song.script, "chords");
    const auto tuning = std::make_shared<scripted::Tuning>(song.script, "tuning");
    const auto beats = std::make_shared<scripted::Beats>(song.script, "beats");
    MainQueue::async([&] {
        for (Operation* operation :
             std::initializer_list<Operation*>{chords.get(), tuning.get(), beats.get()})
            operation->cancel();
    });
    ChordDetectionOperationDelegate& ofChords = *song.controller;
    TuningEstimationOperationDelegate& ofTuning = *song.controller;
    BeatDetectionOperationDelegate& ofBeats = *song.controller;
    auto reports = std::async(std::launch::async, [&] {
        ofTuning.tuningEstimationOperationDidFinish(*tuning);
        ofBeats.beatDetectionOperationDidEndProcessing({1, 2}, 120, *beats);
        ofChords.chordDetectionDidFinishProcessingWithResults(song.script->chords, *chords);
    });
    EXPECT_TRUE(MainQueue::runUntil(
        [&] { return reports.wait_for(std::chrono::seconds(0)) == std::future_status::ready; },
        std::chrono::minutes(1)));
    EXPECT_THAT(song.script->events(), testing::IsEmpty());
    EXPECT_TRUE(song.storage->chordEntries().empty());
}

/// The key that chord detection is told on its own thread.
std::future<std::string> askForKey(Song& song) {
    return std::async(std::launch::async, [&song] {
        scripted::Chords<DetectChordsOperation> operation(song.script, "chords");
        ChordDetectionOperationDelegate& delegate = *song.controller;
        return delegate.keyForChordDetectionOperation(operation)->description();
    });
}

TEST(AnalysisRunConcurrencyTests, ChordDetectionWaitsForTheMainThreadOnlyWhenAKeyIsOnItsWay) {
    Song song;
    song.open();
    auto withoutKey = askForKey(song); // nobody drains the main queue
    ASSERT_EQ(withoutKey.wait_for(std::chrono::minutes(1)), std::future_status::ready);
    EXPECT_EQ(withoutKey.get(), "C major");

    scripted::Key detection(song.script, "key");
    detection.delegate = song.controller;
    detection.main();
    auto withKey = askForKey(song);
    EXPECT_EQ(withKey.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_TRUE(MainQueue::runUntil(
        [&] { return withKey.wait_for(std::chrono::seconds(0)) == std::future_status::ready; },
        std::chrono::minutes(1)));
    EXPECT_EQ(withKey.get(), "C# minor");
}

TEST(AnalysisRunDeathTest, ADependencyHasToBeInTheTable) {
    const auto make = [] { return std::make_shared<BlockOperation>([] {}); };
    const std::vector<analysis::Stage> stages{{.name = "key", .make = make, .dependencies = {"tuning"}}};
    const auto progress = Progress::discrete(0);
    EXPECT_DEATH(static_cast<void>(analysis::Run().start(stages, *progress, make(), make())),
                 "not in the table");
}

TEST(AnalysisRunDeathTest, ARunStartsOnce) {
    const auto make = [] { return std::make_shared<BlockOperation>([] {}); };
    const auto progress = Progress::discrete(0);
    analysis::Run run;
    ASSERT_EQ(run.start({}, *progress, make(), make()), nullptr);
    EXPECT_DEATH(static_cast<void>(run.start({}, *progress, make(), make())), "started once");
}

} // namespace
} // namespace tarn
