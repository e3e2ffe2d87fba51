#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include "Platform/Bundle.h"
#include "Platform/UserDefaults.h"
#include "TarnFoundation/Formatting/TarnUserDefaultsKeys.h"
#include "Tests/Platform/System.h"
#include "Tests/TarnFoundation/Analysis/ScriptedAnalysis.h"

#include <algorithm>
#include <regex>
#include <thread>

namespace tarn {
namespace {

/// Whether the whole text is of that form. GoogleTest's own expressions are simpler on some systems.
auto matches(const char* form) {
    return [form](const std::string& text) { return std::regex_match(text, std::regex(form)); };
}

using scripted::Event;
using scripted::Events;
using scripted::Lines;
using scripted::posted;
using scripted::postedByWorker;
using scripted::Song;
using scripted::worked;

constexpr const char* kBeats = "0 100 200 300 400 500 600 700 800 900";

const Event kRunBegins = posted(TarnMusicInformationRetrievalDidBeginProcessingNotification);
const Event kRunEnds = posted(TarnMusicInformationRetrievalDidFinishProcessingNotification);
const Event kRunEndsWithoutController =
    posted(TarnMusicInformationRetrievalDidFinishProcessingNotification, {{"object", "none"}});

/// Detection by score, or the legacy one, begins and ends with these, on its own thread.
Event chordDetection(const char* notification, const char* detector = "chords") {
    return postedByWorker(notification, {{"chordDetector", detector}});
}
const Event kAlignmentEnds =
    posted(TarnBeatAlignmentDidFinishProcessingNotification,
           {{"beatEntries", "0 100 200* 300 400 500 600* 700 800 900"}, {"timeSignature", "2/4"}});

/// All that happens when an empty document is analysed.
const Events kFreshRun = {
    kRunBegins,
    posted(TarnWaveformDidBeginProcessingNotification, {{"waveform", "0 points"}}),
    worked("waveform", 0),
    posted(TarnWaveformDidFinishProcessingNotification, {{"waveform", "1 points"}}),
    worked("tuning", 1),
    posted(TarnTuningEstimationDidFinishProcessingNotification, {{"standardPitch", "442"}}),
    posted(TarnSpectrogramDidBeginProcessingNotification, {{"spectrogram", ""}}),
    worked("spectrogram", 2, {{"tuning", "440"}}),
    posted(TarnSpectrogramDidFinishProcessingNotification, {{"spectrogram", "2 columns"}}),
    posted(TarnBeatDetectionDidBeginProcessingNotification),
    worked("beats", 3),
    posted(TarnBeatDetectionDidFinishProcessingNotification, {{"tempo", "120"}}),
    worked("key", 4, {{"tuning", "440"}}),
    posted(TarnNoteEntryStorageDidChangeKeyEntriesNotification, {{"keys", "C#m"}}),
    chordDetection(TarnChordDetectionDidBeginNotification),
    chordDetection(TarnChordDetectionDidBeginProcessingNotification),
    worked("chords", 5, {{"tuning", "440"}, {"key", "C# minor"}, {"beats", kBeats}}),
    posted(TarnNoteEntryStorageDidChangeChordEntriesNotification, {{"chords", "A@0 E@400"}}),
    posted(TarnChordDetectionDidFinishProcessingNotification, {{"chordDetector", "chords"}}),
    chordDetection(TarnChordDetectionDidFinishProcessingNotification),
    chordDetection(TarnChordDetectionDidEndNotification),
    worked("alignment", 17, {{"beats", kBeats}, {"tatums per bar", "8"}, {"chord changes", "0 400"}}),
    kAlignmentEnds,
    kRunEnds,
};

/// The stages of a run in their order.
constexpr const char* kStages[] = {"waveform", "tuning", "spectrogram", "beats",
                                   "key",      "chords", "alignment"};

Events joined(Events events, const Events& more) {
    events.insert(events.end(), more.begin(), more.end());
    return events;
}

/// What has happened when the stage has worked.
Events freshRunUntil(const std::string& stage) {
    const auto found = std::find_if(kFreshRun.begin(), kFreshRun.end(),
                                    [&](const Event& event) { return event.name == stage; });
    return {kFreshRun.begin(), found + 1};
}

/// A run with a cached waveform and spectrogram, of which the rest is given.
Events runWithCaches(const Events& rest) {
    const Events begun{
        kRunBegins, posted(TarnWaveformDidBeginProcessingNotification, {{"waveform", "1 points"}}),
        posted(TarnWaveformDidFinishProcessingNotification, {{"waveform", "1 points"}}),
        posted(TarnSpectrogramDidBeginProcessingNotification, {{"spectrogram", "3 columns"}}),
        posted(TarnSpectrogramDidFinishProcessingNotification, {{"spectrogram", "3 columns"}})};
    return joined(begun, rest);
}

const std::string kChordFile("ChRE100a\x01\x01\0\0\0"
                             "\x44\xAC\0\0\0\0\0\0\x02\x03\x11\0\0\0\x3F\0\0\x80\x3E",
                             32);

std::string archiveOf(const std::shared_ptr<SecureCoding>& object) {
    const Data bytes = KeyedArchiver::archivedData(object);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// All calculations are forced for controllers made during its life.
struct Forcing {
    Forcing() { UserDefaults::standard().setVolatileValue(TarnUserDefaultsKeyForceMIRProcessing, "true"); }
    ~Forcing() {
        UserDefaults::standard().setVolatileValue(TarnUserDefaultsKeyForceMIRProcessing, std::nullopt);
    }
};

void cacheWaveformAndSpectrogram(Song& song) {
    song.script->waveformIsCached = true;
    writeText(song.cache("Spectrograms/u.spectrogram"), archiveOf(scripted::completeSpectrogram(3)));
}

/// Runs the analysis and returns what happens in it.
Events eventsOfRun(Song& song) {
    song.script->forgetEvents();
    song.run();
    EXPECT_EQ(song.controller->progress()->completedUnitCount(), 18);
    return song.script->events();
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, AFreshRunFindsEverythingAndKeepsCaches) {
    Song song;
    EXPECT_EQ(eventsOfRun(song), kFreshRun);
    EXPECT_EQ(textOf(song.cache("Spectrograms/u.spectrogram")), archiveOf(scripted::completeSpectrogram(2)));
    EXPECT_EQ(textOf(song.cache("Chords/u.chordScores")), kChordFile);
    EXPECT_EQ(song.factory->waveformCache, song.cache("Waveforms/u.waveform"));
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests,
     ACompleteDocumentLacksOnlyTheScoresOfItsChords) {
    Song song;
    song.fillDocument();
    cacheWaveformAndSpectrogram(song);
    const Events expected =
        runWithCaches({chordDetection(TarnChordDetectionDidBeginNotification),
                       chordDetection(TarnChordDetectionDidBeginProcessingNotification),
                       worked("chords", 5, {{"tuning", "432"}, {"key", "E minor"}, {"beats", "5 7"}}),
                       chordDetection(TarnChordDetectionDidFinishProcessingNotification),
                       chordDetection(TarnChordDetectionDidEndNotification), kRunEnds});
    EXPECT_EQ(eventsOfRun(song), expected);
    EXPECT_EQ(textOf(song.cache("Chords/u.chordScores")), kChordFile);
    EXPECT_EQ(textOf(song.cache("Spectrograms/u.spectrogram")), archiveOf(scripted::completeSpectrogram(3)));
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, LegacyDetectionHasNoScoresAndFindsNothingMore) {
    Song song;
    song.script->refused = {"chords"};
    song.fillDocument();
    cacheWaveformAndSpectrogram(song);
    const Events expected =
        runWithCaches({chordDetection(TarnChordDetectionDidBeginNotification, "legacy chords"),
                       chordDetection(TarnChordDetectionDidEndNotification, "legacy chords"), kRunEnds});
    EXPECT_EQ(eventsOfRun(song), expected);
    EXPECT_EQ(textOf(song.cache("Chords/u.chordScores")), "");
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, WithoutATempoBeatsAreDetectedButNotAligned) {
    Song song;
    song.script->refused = {"chords"};
    song.fillDocument();
    song.storage->removeTempoEntriesInArray(song.storage->tempoEntries());
    song.storage->removeChordEntriesInArray(song.storage->chordEntries());
    cacheWaveformAndSpectrogram(song);
    const char* const legacy = "legacy chords";
    const Events expected = runWithCaches(
        {posted(TarnBeatDetectionDidBeginProcessingNotification), worked("beats", 3),
         posted(TarnBeatDetectionDidFinishProcessingNotification, {{"tempo", "120"}}),
         chordDetection(TarnChordDetectionDidBeginNotification, legacy),
         chordDetection(TarnChordDetectionDidBeginProcessingNotification, legacy),
         worked(legacy, 5, {{"tuning", "432"}, {"key", "E minor"}, {"beats", kBeats}}),
         posted(TarnNoteEntryStorageDidChangeChordEntriesNotification, {{"chords", "A@0 E@400"}}),
         posted(TarnChordDetectionDidFinishProcessingNotification, {{"chordDetector", legacy}}),
         chordDetection(TarnChordDetectionDidFinishProcessingNotification, legacy),
         chordDetection(TarnChordDetectionDidEndNotification, legacy), kRunEnds});
    EXPECT_EQ(eventsOfRun(song), expected);
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, AForcedRunWorksInEveryStageAndKeepsTheChords) {
    Song song;
    song.fillDocument();
    cacheWaveformAndSpectrogram(song);
    const Forcing forcing;
    EXPECT_EQ(
        eventsOfRun(song),
        (Events{
            kRunBegins,
            posted(TarnWaveformDidBeginProcessingNotification, {{"waveform", "1 points"}}),
            worked("waveform", 0),
            posted(TarnWaveformDidFinishProcessingNotification, {{"waveform", "1 points"}}),
            worked("tuning", 1),
            posted(TarnTuningEstimationDidFinishProcessingNotification, {{"standardPitch", "442"}}),
            posted(TarnSpectrogramDidBeginProcessingNotification, {{"spectrogram", ""}}),
            worked("spectrogram", 2, {{"tuning", "432"}}),
            posted(TarnSpectrogramDidFinishProcessingNotification, {{"spectrogram", "2 columns"}}),
            posted(TarnBeatDetectionDidBeginProcessingNotification),
            worked("beats", 3),
            posted(TarnBeatDetectionDidFinishProcessingNotification, {{"tempo", "120"}}),
            worked("key", 4, {{"tuning", "432"}}),
            posted(TarnNoteEntryStorageDidChangeKeyEntriesNotification, {{"keys", "Em C#m"}}),
            chordDetection(TarnChordDetectionDidBeginNotification),
            chordDetection(TarnChordDetectionDidBeginProcessingNotification),
            worked("chords", 5, {{"tuning", "432"}, {"key", "E minor"}, {"beats", kBeats}}),
            chordDetection(TarnChordDetectionDidFinishProcessingNotification),
            chordDetection(TarnChordDetectionDidEndNotification),
            worked("alignment", 17, {{"beats", kBeats}, {"tatums per bar", "8"}, {"chord changes", "10"}}),
            kAlignmentEnds,
            kRunEnds,
        }));
    EXPECT_EQ(textOf(song.cache("Spectrograms/u.spectrogram")), archiveOf(scripted::completeSpectrogram(2)));
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, LaterStagesHearWhatTheApplicationInserts) {
    Song song;
    song.afterNotification = [&](const Notification& notification) {
        if (const auto* pitch = notification.value<std::shared_ptr<TarnStandardPitchEntry>>("standardPitch"))
            song.storage->addStandardPitchEntry(*pitch);
    };
    song.run();
    EXPECT_THAT(song.script->events(),
                testing::IsSupersetOf(
                    {worked("spectrogram", 2, {{"tuning", "442"}}), worked("key", 4, {{"tuning", "442"}}),
                     worked("chords", 5, {{"tuning", "442"}, {"key", "C# minor"}, {"beats", kBeats}})}));
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests,
     ARunThatIsCancelledAtItsBeginningEndsBeforeItsStages) {
    Song song;
    song.afterNotification = [&](const Notification&) { song.controller->cancelProcessing(); };
    song.run();
    EXPECT_EQ(song.script->events(), Events{kRunBegins});
    EXPECT_FALSE(std::filesystem::exists(song.cache("Spectrograms/u.spectrogram")));
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, CancellingEndsTheRunWithWhatIsInTheDocument) {
    for (const std::string last : kStages) {
        SCOPED_TRACE(last);
        Song song;
        song.script->whileWorking = [&](const std::string& stage) {
            if (stage == last)
                song.controller->cancelProcessing();
        };
        song.run();
        Events expected = freshRunUntil(last);
        if (last == "waveform")
            expected.push_back(
                posted(TarnWaveformDidFinishProcessingNotification, {{"waveform", "0 points"}}));
        if (last == "chords")
            expected.push_back(chordDetection(TarnChordDetectionDidEndNotification));
        EXPECT_EQ(song.script->events(), expected);
        EXPECT_EQ(textOf(song.cache("Chords/u.chordScores")), last == "alignment" ? kChordFile : "");
        const bool hasSpectrogram = last != "waveform" && last != "tuning" && last != "spectrogram";
        EXPECT_EQ(std::filesystem::exists(song.cache("Spectrograms/u.spectrogram")), hasSpectrogram);
    }
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, AControllerDroppedAtOncePostsWithoutItself) {
    Song song;
    song.open();
    ASSERT_TRUE(song.controller->beginProcessingError());
    const auto queue = song.controller->processingQueue();
    song.controller.reset();
    song.finish(queue);
    EXPECT_EQ(
        song.script->events(),
        (Events{posted(TarnMusicInformationRetrievalDidBeginProcessingNotification, {{"object", "none"}}),
                kRunEndsWithoutController}));
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, ADroppedControllerIsNotHeardOfAgain) {
    for (const std::string last : kStages) {
        SCOPED_TRACE(last);
        Song song;
        song.open();
        const std::weak_ptr<TarnMusicInformationRetrievalController> dropped = song.controller;
        song.script->whileWorking = [&](const std::string& stage) {
            if (stage == last)
                MainQueue::sync([&] { song.controller.reset(); });
        };
        ASSERT_TRUE(song.controller->beginProcessingError());
        song.finish(song.controller->processingQueue());
        EXPECT_EQ(song.script->events(), joined(freshRunUntil(last), {kRunEndsWithoutController}));
        EXPECT_TRUE(dropped.expired());
    }
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests,
     AnApplicationMayDropTheControllerInAnyNotification) {
    constexpr std::size_t kNotificationsOfAFreshRun = 17;
    for (std::size_t last = 0; last < kNotificationsOfAFreshRun; ++last) {
        SCOPED_TRACE(last);
        Song song;
        song.open();
        std::atomic<std::size_t> count = 0;
        song.afterNotification = [&](const Notification&) {
            if (count++ == last)
                song.controller.reset();
        };
        ASSERT_TRUE(song.controller->beginProcessingError());
        song.finish(song.controller->processingQueue());
        EXPECT_EQ(song.controller, nullptr);
        EXPECT_EQ(song.script->events().back().name, kRunEnds.name);
    }
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests,
     StagesRunTwoAtATimeWhileAnotherThreadWatchesAndCancels) {
    for (int run = 0; run < 20; ++run) {
        Song song(false);
        song.open();
        std::atomic<bool> isOver = false;
        std::thread watcher([&] {
            while (!isOver) {
                static_cast<void>(song.controller->beatLocations());
                static_cast<void>(song.controller->progress()->fractionCompleted());
                if (run % 2 == 1 && song.script->working > 0)
                    song.controller->cancelProcessing();
                std::this_thread::yield();
            }
        });
        song.run();
        isOver = true;
        watcher.join();
        EXPECT_LE(song.script->mostWorking, 2);
        EXPECT_EQ(song.controller->progress()->completedUnitCount(), 18);
        if (run % 2 == 0) {
            EXPECT_EQ(song.script->events().size(), kFreshRun.size());
            EXPECT_EQ(song.script->events().back(), kRunEnds);
            EXPECT_EQ(song.storage->keyEntries().size(), 1U);
            EXPECT_EQ(song.storage->chordEntries().size(), 2U);
        }
    }
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, ASecondRunLeavesTheFirstAlone) {
    Song song(false);
    song.open();
    ASSERT_TRUE(song.controller->beginProcessingError());
    const auto first = song.controller->processingQueue();
    ASSERT_TRUE(song.controller->beginProcessingError());
    const auto second = song.controller->processingQueue();
    EXPECT_NE(first, second);
    song.controller->cancelProcessing();
    const auto started = first->operations();
    song.finish(second);
    song.finish(first);
    EXPECT_TRUE(std::none_of(started.begin(), started.end(), [](const auto& o) { return o->isCancelled(); }));
    EXPECT_EQ(song.controller->progress()->completedUnitCount(), 18) << "the second run's alone";
    EXPECT_THAT(song.script->events(), testing::Contains(kRunEnds));
}

struct QueuedStage {
    std::string name;
    std::set<std::string> dependencies = {};
    friend bool operator==(const QueuedStage&, const QueuedStage&) = default;
};

/// The stages of a run in the order in which they are queued.
std::vector<QueuedStage> queuedStages(const std::set<std::string>& refused) {
    Song song;
    song.script->refused = refused;
    song.open();
    EXPECT_EQ(song.controller->progress()->totalUnitCount(), 0);
    EXPECT_TRUE(song.controller->beginProcessingError());
    EXPECT_EQ(song.controller->progress()->totalUnitCount(), 18);
    EXPECT_EQ(song.controller->progress()->localizedDescription(), "Analyzing song");
    const auto queue = song.controller->processingQueue();
    EXPECT_EQ(queue->maxConcurrentOperationCount(), 2);
    const auto operations = queue->operations();
    std::map<std::shared_ptr<Operation>, std::string> names{{operations.front(), "begin"},
                                                            {operations.back(), "finish"}};
    for (const auto& [name, operation] : song.factory->operations)
        names[operation] = name;
    std::vector<QueuedStage> stages;
    for (const auto& operation : operations) {
        stages.push_back({names[operation]});
        for (const auto& dependency : operation->dependencies()) {
            if (names.count(dependency)) // others keep the scripted stages in order
                stages.back().dependencies.insert(names[dependency]);
        }
    }
    song.finish(queue);
    return stages;
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, StagesAreQueuedWithTheirDependencies) {
    EXPECT_EQ(
        queuedStages({}),
        (std::vector<QueuedStage>{
            {.name = "begin"},
            {.name = "waveform"},
            {.name = "tuning"},
            {.name = "spectrogram", .dependencies = {"tuning"}},
            {.name = "beats"},
            {.name = "key", .dependencies = {"tuning"}},
            {.name = "chords", .dependencies = {"key"}},
            {.name = "alignment", .dependencies = {"beats", "chords"}},
            {.name = "finish",
             .dependencies = {"waveform", "tuning", "spectrogram", "beats", "key", "chords", "alignment"}},
        }));
}

TEST(TarnMusicInformationRetrievalControllerConcurrencyTests, LegacyChordsWaitForTheBeatsToo) {
    const auto stages = queuedStages({"chords"});
    ASSERT_EQ(stages.size(), 9U);
    EXPECT_EQ(stages[6], (QueuedStage{.name = "legacy chords", .dependencies = {"beats", "key"}}));
    EXPECT_EQ(stages[7], (QueuedStage{.name = "alignment", .dependencies = {"beats", "legacy chords"}}));
}

TEST(TarnMusicInformationRetrievalControllerTests, AnOperationThatCannotBeMadeEndsTheBeginning) {
    const auto expectRefusal = [](const std::set<std::string>& refused, const Lines& asked,
                                  const std::string& message) {
        SCOPED_TRACE(message);
        Song song;
        song.script->refused = refused;
        song.open();
        Error error;
        EXPECT_FALSE(song.controller->beginProcessingError(&error));
        EXPECT_EQ(error.domain, TarnMusicInformationRetrievalErrorDomain);
        EXPECT_EQ(error.code, -1);
        EXPECT_EQ(error.localizedDescription(), message);
        EXPECT_EQ(error.userInfo.size(), 1U);
        EXPECT_EQ(song.factory->made, asked) << "the stages until then";
        EXPECT_TRUE(song.controller->processingQueue()->operations().empty());
        EXPECT_EQ(song.controller->progress()->totalUnitCount(), 0);
        EXPECT_FALSE(song.controller->beginProcessingError());
        MainQueue::runPending();
        EXPECT_EQ(song.script->events(), Events());
    };
    expectRefusal({"tuning", "key"}, {"tuning"}, "Failed to load audio file for tuning estimation.");
    expectRefusal({"key"}, {"tuning", "key"}, "Failed to load audio file for key detection.");
    expectRefusal({"beats"}, {"tuning", "key", "beats"},
                  "Failed to load audio file for beat and key detection.");
    expectRefusal({"spectrogram"}, {"tuning", "key", "beats", "alignment", "spectrogram"},
                  "Failed to load audio file for spectrogram processing.");
    expectRefusal({"waveform", "chords"}, {"tuning", "key", "beats", "alignment", "spectrogram", "waveform"},
                  "Failed to load audio file for waveform processing.");
    expectRefusal(
        {"chords", "legacy chords"},
        {"tuning", "key", "beats", "alignment", "spectrogram", "waveform", "chords", "legacy chords"},
        "Failed to load audio file for chord detection.");
}

TEST(TarnMusicInformationRetrievalControllerTests, WithoutAnEngineEveryFileIsRefused) {
    TemporaryFolder texts;
    writeText(texts.path() / "xx.lproj" / "Localizable.strings",
              "\"Failed to load audio file for tuning estimation.\" = \"translated\";");
    Bundle::framework().setResourceFolder(texts.path());
    Bundle::framework().setPreferredLanguages({"xx"});
    const auto controller = std::make_shared<TarnMusicInformationRetrievalController>(
        "song.wav", "u", std::make_shared<TarnNoteEntryStorage>());
    controller->cancelProcessing(); // nothing to cancel yet
    Error error;
    EXPECT_FALSE(controller->beginProcessingError(&error));
    EXPECT_EQ(error.localizedDescription(), "translated");
    ASSERT_TRUE(error.underlying);
    EXPECT_EQ(error.underlying->code, static_cast<long>(AnalysisRefusal::noEngine));
    Bundle::framework().setResourceFolder({});
}

TEST(TarnMusicInformationRetrievalControllerTests, ASongHasThreeCacheFilesOfItsOwn) {
    using Caches = TarnMusicInformationRetrievalController;
    TemporaryFolder caches;
    FileManager::setCachesDirectory(caches.path() / "made on demand");
    const auto folder = caches.path() / "made on demand" / "Tarn";
    EXPECT_EQ(Caches::spectrogramPathForUUID("u"), folder / "Spectrograms" / "u.spectrogram");
    EXPECT_EQ(Caches::waveformPathForUUID("u"), folder / "Waveforms" / "u.waveform");
    EXPECT_EQ(Caches("song.wav", "v", nullptr).cachedChordResultsURL(), folder / "Chords" / "v.chordScores");
    for (const char* name : {"Spectrograms", "Waveforms", "Chords"})
        EXPECT_TRUE(std::filesystem::is_directory(folder / name));
    writeText(caches.path() / "a file", "");
    FileManager::setCachesDirectory(caches.path() / "a file");
    EXPECT_EQ(Caches::cachedSpectrogramDirectory(), caches.path() / "a file" / "Tarn" / "Spectrograms");
    FileManager::setCachesDirectory({});
}

TEST(TarnMusicInformationRetrievalControllerTests, NoIdentifierLeadsOutOfItsFolderOrToAnotherSongsFile) {
    using Caches = TarnMusicInformationRetrievalController;
    TemporaryFolder caches;
    FileManager::setCachesDirectory(caches.path());
    const auto folder = caches.path() / "Tarn" / "Waveforms";
    const std::string longest(128, 'n');
    for (const std::string& kept : {std::string("5F0E-a_b.c"), longest})
        EXPECT_EQ(Caches::waveformPathForUUID(kept), folder / (kept + ".waveform"));

    using namespace std::string_literals;
    std::set<std::filesystem::path> files{Caches::waveformPathForUUID("U")};
    const std::string others[] = {
        "./U",    "../U",     "/U",
        "a/../U", "U\0"s,     "U\0.waveform\0"s,
        ".U",     "..",       ".",
        "",       "Ü",        longest + "n",
        "U\nU",   "U\\U",     "U U",
        "C:U",    "sha256-U", "sha256-a25513c7e0f6eaa80a3337ee18081b9e2ed09e00af8531c8f7bb2542764027e7"};
    for (const std::string& identifier : others) {
        const auto file = Caches::waveformPathForUUID(identifier);
        EXPECT_EQ(file.parent_path(), folder);
        EXPECT_THAT(file.filename().string(), testing::Truly(matches("sha256-[0-9a-f]{64}\\.waveform")));
        files.insert(file);
    }
    EXPECT_EQ(files.size(), 1 + std::size(others));

    // A folder whose name is found in either case.
    std::filesystem::create_symlink("Waveforms", caches.path() / "Tarn" / "wAVEFORMS");
    EXPECT_EQ(Caches::waveformPathForUUID("u-1"), folder / "u-1.waveform");
    EXPECT_EQ(Caches::waveformPathForUUID("U-1").string().find("U-1"), std::string::npos);
    FileManager::setCachesDirectory({});
}

TEST(TarnMusicInformationRetrievalControllerTests, OnlyAnUndecodableCacheIsLogged) {
    Song song;
    song.open();
    const auto file = song.cache("Spectrograms/u.spectrogram");
    const auto read = [&] { return song.controller->readCacheFromURL<Spectrogram>(file); };
    EXPECT_FALSE(read()) << "missing";
    writeText(file, archiveOf(scripted::completeWaveform()));
    EXPECT_FALSE(read()) << "another class";
    EXPECT_EQ(song.logged(), Lines());
    writeText(file, "no archive");
    EXPECT_FALSE(read());
    EXPECT_THAT(song.logged(),
                testing::ElementsAre(testing::StartsWith("Encountered error while decoding cached data: ")));
    writeText(file, archiveOf(scripted::completeSpectrogram(3)));
    ASSERT_TRUE(read());
    const Forcing forcing;
    song.open();
    EXPECT_FALSE(read());
}

TEST(TarnMusicInformationRetrievalControllerDeathTest, LogsAndMarksIntervalsOnlyWhenTheEnvironmentSaysSo) {
    testing::FLAGS_gtest_death_test_style = "threadsafe"; // the log is made once in a process
    const auto spectrogramStage = [](const char* variable) {
        const EnvironmentVariable debug("KELP_MIR_DEBUG", variable);
        {
            Song song;
            song.open();
            song.script->whileWorking = [](const std::string&) { std::fputs("working\n", stderr); };
            setLogSink([](const LogMessage& message) {
                std::fputs((message.category + ' ' + message.text(true) + '\n').c_str(), stderr);
            });
            scripted::SpectrogramStage operation(song.script, "spectrogram");
            operation.delegate = song.controller;
            operation.main();
        }
        std::exit(0);
    };
    EXPECT_EXIT(
        spectrogramStage(""), testing::ExitedWithCode(0),
        testing::Truly(matches(
            "TarnMusicInformationRetrievalController signpost begin SpectrogramOperation "
            "[0-9]+\r?\nworking\r?\n"
            "TarnMusicInformationRetrievalController signpost end SpectrogramOperation [0-9]+\r?\n")));
    EXPECT_EXIT(spectrogramStage(nullptr), testing::ExitedWithCode(0),
                testing::Truly(matches("working\r?\n")));
    EXPECT_EXIT(
        {
            TarnMusicInformationRetrievalController controller("song.wav", "U", nullptr);
            controller.beginProcessingError();
        },
        succeededOrAborted, "must be made by std::make_shared");
}

} // namespace
} // namespace tarn
