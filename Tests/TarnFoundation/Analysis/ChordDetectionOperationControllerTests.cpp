#include "TarnFoundation/Analysis/ChordDetectionOperationController.h"

#include "Tests/TarnFoundation/Analysis/ScriptedAnalysis.h"

namespace tarn {
namespace {

using scripted::Lines;

/// A song whose chords alone are detected. Each handler notes its name and what it receives.
struct ChordDetectionConcurrency : testing::Test {
    ChordDetectionConcurrency() { song.script->progress = Progress::discrete(0); }

    ChordDetectionOperationController::CompletionHandler handler(const std::string& name) {
        return [this, name](const EntryList<TarnChordEntry>& chords) {
            std::string line = name;
            for (const auto& chord : chords)
                line += ' ' + chord->chord()->string() + '@' + std::to_string(chord->location());
            song.script->note(line);
        };
    }
    void finish() { song.finish(controller->operationQueue()); }

    scripted::Song song{false};
    std::shared_ptr<ChordDetectionOperationController> controller =
        std::make_shared<ChordDetectionOperationController>("song.wav", song.storage, song.factory);
};

TEST_F(ChordDetectionConcurrency, handsOverTheChordsOnTheOperationsThreadWithoutInserting) {
    controller->run(handler("first"));
    EXPECT_EQ(controller->operation(), song.factory->operations["chords"]);
    finish();
    EXPECT_FALSE(controller->completionHandler());
    song.fill("pkb");
    controller->runWithCompletionHandler(handler("second"));
    finish();
    EXPECT_THAT(song.script->lines(), testing::IsSupersetOf({"W 0  440 C major", "W first A@0 E@400",
                                                             "W 0  432 E minor 5 7", "W second A@0 E@400"}));
    EXPECT_TRUE(song.storage->chordEntries().empty());
    EXPECT_FALSE(std::filesystem::exists(song.cache("Chords")));
}

TEST_F(ChordDetectionConcurrency, aRefusedFileGivesNoChordsAtOnce) {
    song.script->refused = {"chords"};
    controller->run(handler("refused"));
    EXPECT_EQ(song.script->lines(), Lines{"M refused"});
    EXPECT_EQ(controller->operation(), nullptr);
    EXPECT_FALSE(controller->completionHandler());
    EXPECT_EQ(song.factory->made, Lines{"chords"}) << "there is no fallback";
}

TEST_F(ChordDetectionConcurrency, theLastHandlerIsCalledOnceAndMayRunAgain) {
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
    Lines handlers;
    for (const auto& line : song.script->lines()) {
        if (line.find('@') != std::string::npos)
            handlers.push_back(line);
    }
    // The first operation's results go to the second handler, which leaves the third to the next results.
    EXPECT_EQ(handlers, (Lines{"W second A@0 E@400", "W third A@0 E@400"}));
}

TEST_F(ChordDetectionConcurrency, aDroppedOrCancelledDetectionCallsNobody) {
    song.script->whileWorking = [&](const std::string&) { controller->operation()->cancel(); };
    controller->run(handler("cancelled"));
    finish();
    EXPECT_TRUE(controller->completionHandler());
    const auto queue = controller->operationQueue();
    song.script->whileWorking = [&](const std::string&) { MainQueue::sync([&] { controller.reset(); }); };
    controller->run(handler("dropped"));
    song.finish(queue);
    EXPECT_EQ(song.script->lines(), (Lines{"W 0  440 C major", "W 0  440 C major"}));
}

} // namespace
} // namespace tarn
