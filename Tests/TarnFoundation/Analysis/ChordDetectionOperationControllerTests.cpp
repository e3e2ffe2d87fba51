#include "TarnFoundation/Analysis/ChordDetectionOperationController.h"

#include "Tests/TarnFoundation/Analysis/ScriptedAnalysis.h"

namespace tarn {
namespace {

using scripted::Event;
using scripted::Events;
using scripted::Lines;

/// A song whose chords alone are detected, without a controller's progress.
struct ChordDetectionOperationControllerConcurrencyTests : testing::Test {
    ChordDetectionOperationControllerConcurrencyTests() { song.script->progress = Progress::discrete(0); }

    /// Notes the handler's name and what it receives.
    ChordDetectionOperationController::CompletionHandler handler(const std::string& name) {
        return [this, name](const EntryList<TarnChordEntry>& chords) {
            Event event{name, {}};
            for (const auto& chord : chords)
                event.values[std::to_string(chord->location())] = chord->chord()->string();
            song.script->note(event);
        };
    }
    /// A handler that receives the scripted chords.
    static Event handled(const std::string& name) { return {name, {{"0", "A"}, {"400", "E"}}}; }
    static Event detected(const char* tuning, const char* key, const char* beats) {
        return {
            "chords",
            {{"tuning", tuning}, {"key", key}, {"beats", beats}, {"activity", ""}, {"completed units", "0"}}};
    }
    void finish() { song.finish(controller->operationQueue()); }

    scripted::Song song{false};
    std::shared_ptr<ChordDetectionOperationController> controller =
        std::make_shared<ChordDetectionOperationController>("song.wav", song.storage, song.factory);
};

TEST_F(ChordDetectionOperationControllerConcurrencyTests,
       HandsOverTheChordsOnTheOperationsThreadWithoutInserting) {
    controller->run(handler("first"));
    EXPECT_EQ(controller->operation(), song.factory->operations["chords"]);
    finish();
    EXPECT_FALSE(controller->completionHandler());
    song.addStandardPitch();
    fixtures::addKey(*song.storage, 0, "Em");
    fixtures::addBeats(*song.storage, {7, 5});
    controller->runWithCompletionHandler(handler("second"));
    finish();
    EXPECT_THAT(song.script->events(),
                testing::IsSupersetOf({detected("440", "C major", ""), handled("first"),
                                       detected("432", "E minor", "5 7"), handled("second")}));
    EXPECT_TRUE(song.storage->chordEntries().empty());
    EXPECT_FALSE(std::filesystem::exists(song.cache("Chords")));
}

TEST_F(ChordDetectionOperationControllerConcurrencyTests, ARefusedFileGivesNoChordsAtOnce) {
    song.script->refused = {"chords"};
    controller->run(handler("refused"));
    EXPECT_EQ(song.script->events(), (Events{Event{"refused", {}, true}}));
    EXPECT_EQ(controller->operation(), nullptr);
    EXPECT_FALSE(controller->completionHandler());
    EXPECT_EQ(song.factory->made, Lines{"chords"}) << "there is no fallback";
}

TEST_F(ChordDetectionOperationControllerConcurrencyTests, TheLastHandlerIsCalledOnceAndMayRunAgain) {
    song.script->whileWorking = [&, isFirst = true](const std::string&) mutable {
        if (std::exchange(isFirst, false))
            MainQueue::sync([&] {
                controller->run([&](const auto& chords) {
                    handler("second")(chords);
                    controller->run(handler("third"));
                });
            });
    };
    controller->operationQueue()->setMaxConcurrentOperationCount(1);
    controller->run(handler("first"));
    finish();
    Events handlers;
    for (const Event& event : song.script->events()) {
        if (event.name != "chords")
            handlers.push_back(event);
    }
    // The first operation's results go to the second handler, which leaves the third to the next results.
    EXPECT_EQ(handlers, (Events{handled("second"), handled("third")}));
}

TEST_F(ChordDetectionOperationControllerConcurrencyTests, ADroppedOrCancelledDetectionCallsNobody) {
    song.script->whileWorking = [&](const std::string&) { controller->operation()->cancel(); };
    controller->run(handler("cancelled"));
    finish();
    EXPECT_TRUE(controller->completionHandler());
    const auto queue = controller->operationQueue();
    song.script->whileWorking = [&](const std::string&) { MainQueue::sync([&] { controller.reset(); }); };
    controller->run(handler("dropped"));
    song.finish(queue);
    EXPECT_EQ(song.script->events(),
              (Events{detected("440", "C major", ""), detected("440", "C major", "")}));
}

} // namespace
} // namespace tarn
