#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"

#include "Platform/Bundle.h"
#include "Platform/UserDefaults.h"
#include "TarnFoundation/Formatting/TarnUserDefaultsKeys.h"
#include "Tests/TarnFoundation/Analysis/ScriptedAnalysis.h"

#include <algorithm>
#include <thread>

namespace tarn {
namespace {

using scripted::Lines;
using scripted::Song;

const Lines kFreshRun{
    "M MusicInformationRetrievalDidBeginProcessing",
    "M WaveformDidBeginProcessing waveform 0",
    "W 0 waveform",
    "M WaveformDidFinishProcessing waveform 1",
    "W 1 tuning",
    "M TuningEstimationDidFinishProcessing standardPitch 442",
    "M SpectrogramDidBeginProcessing spectrogram",
    "W 2 spectrogram 440",
    "M SpectrogramDidFinishProcessing spectrogram 2",
    "M BeatDetectionDidBeginProcessing",
    "W 3 beats",
    "M BeatDetectionDidFinishProcessing tempo 120",
    "W 4 key 440",
    "M NoteEntryStorageDidChangeKeyEntries C#m",
    "W ChordDetectionDidBegin chordDetector",
    "W ChordDetectionDidBeginProcessing chordDetector",
    "W 5 chords 440 C# minor 0 100 200 300 400 500 600 700 800 900",
    "M NoteEntryStorageDidChangeChordEntries A@0 E@400",
    "M ChordDetectionDidFinishProcessing chordDetector",
    "W ChordDetectionDidFinishProcessing chordDetector",
    "W ChordDetectionDidEnd chordDetector",
    "W 17 alignment 0 100 200 300 400 500 600 700 800 900 tatums 8 chords 0 400",
    "M BeatAlignmentDidFinishProcessing beatEntries 0 100 200* 300 400 500 600* 700 800 900 timeSignature "
    "2/4",
    "M MusicInformationRetrievalDidFinishProcessing",
};

const std::string kChordFile("ChRE100a\x01\x01\0\0\0"
                             "\x44\xAC\0\0\0\0\0\0\x02\x03\x11\0\0\0\x3F\0\0\x80\x3E",
                             32);

std::string archiveOf(const std::shared_ptr<Spectrogram>& spectrogram) {
    const Data bytes = KeyedArchiver::archivedData(spectrogram);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// All calculations are forced for controllers made during its life.
struct Forcing {
    Forcing() { UserDefaults::standard().setVolatileValue(TarnUserDefaultsKeyForceMIRProcessing, "true"); }
    ~Forcing() {
        UserDefaults::standard().setVolatileValue(TarnUserDefaultsKeyForceMIRProcessing, std::nullopt);
    }
};

TEST(AnalysisControllerConcurrency, aRunPostsAndInsertsWhatTheDocumentLacks) {
    struct Case {
        const char* name;
        const char* document;
        bool isForced;
        bool isLegacy;
        bool isCached;
        Lines lines;
    };
    const Case cases[] = {
        {"fresh", "", false, false, false, kFreshRun},
        {"complete",
         "pkbstc",
         false,
         false,
         true,
         {"M MusicInformationRetrievalDidBeginProcessing", "M WaveformDidBeginProcessing waveform 1",
          "M WaveformDidFinishProcessing waveform 1", "M SpectrogramDidBeginProcessing spectrogram 3",
          "M SpectrogramDidFinishProcessing spectrogram 3", "W ChordDetectionDidBegin chordDetector",
          "W ChordDetectionDidBeginProcessing chordDetector", "W 5 chords 432 E minor 5 7",
          "W ChordDetectionDidFinishProcessing chordDetector", "W ChordDetectionDidEnd chordDetector",
          "M MusicInformationRetrievalDidFinishProcessing"}},
        {"complete, legacy chord detection",
         "pkbstc",
         false,
         true,
         true,
         {"M MusicInformationRetrievalDidBeginProcessing", "M WaveformDidBeginProcessing waveform 1",
          "M WaveformDidFinishProcessing waveform 1", "M SpectrogramDidBeginProcessing spectrogram 3",
          "M SpectrogramDidFinishProcessing spectrogram 3", "W ChordDetectionDidBegin chordDetector",
          "W ChordDetectionDidEnd chordDetector", "M MusicInformationRetrievalDidFinishProcessing"}},
        {"all but a tempo and chords: beats are detected but not aligned",
         "pkbs",
         false,
         true,
         true,
         {"M MusicInformationRetrievalDidBeginProcessing", "M WaveformDidBeginProcessing waveform 1",
          "M WaveformDidFinishProcessing waveform 1", "M SpectrogramDidBeginProcessing spectrogram 3",
          "M SpectrogramDidFinishProcessing spectrogram 3", "M BeatDetectionDidBeginProcessing", "W 3 beats",
          "M BeatDetectionDidFinishProcessing tempo 120", "W ChordDetectionDidBegin chordDetector",
          "W ChordDetectionDidBeginProcessing chordDetector",
          "W 5 legacy chords 432 E minor 0 100 200 300 400 500 600 700 800 900",
          "M NoteEntryStorageDidChangeChordEntries A@0 E@400",
          "M ChordDetectionDidFinishProcessing chordDetector",
          "W ChordDetectionDidFinishProcessing chordDetector", "W ChordDetectionDidEnd chordDetector",
          "M MusicInformationRetrievalDidFinishProcessing"}},
        {"complete, forced",
         "pkbstc",
         true,
         false,
         true,
         {"M MusicInformationRetrievalDidBeginProcessing",
          "M WaveformDidBeginProcessing waveform 1",
          "W 0 waveform",
          "M WaveformDidFinishProcessing waveform 1",
          "W 1 tuning",
          "M TuningEstimationDidFinishProcessing standardPitch 442",
          "M SpectrogramDidBeginProcessing spectrogram",
          "W 2 spectrogram 432",
          "M SpectrogramDidFinishProcessing spectrogram 2",
          "M BeatDetectionDidBeginProcessing",
          "W 3 beats",
          "M BeatDetectionDidFinishProcessing tempo 120",
          "W 4 key 432",
          "M NoteEntryStorageDidChangeKeyEntries Em C#m",
          "W ChordDetectionDidBegin chordDetector",
          "W ChordDetectionDidBeginProcessing chordDetector",
          "W 5 chords 432 E minor 0 100 200 300 400 500 600 700 800 900",
          "W ChordDetectionDidFinishProcessing chordDetector",
          "W ChordDetectionDidEnd chordDetector",
          "W 17 alignment 0 100 200 300 400 500 600 700 800 900 tatums 8 chords 10",
          "M BeatAlignmentDidFinishProcessing beatEntries 0 100 200* 300 400 500 600* 700 800 900 "
          "timeSignature 2/4",
          "M MusicInformationRetrievalDidFinishProcessing"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Song song;
        song.fill(c.document);
        if (c.isLegacy)
            song.script->refused = {"chords"};
        if (c.isCached) {
            song.script->waveformIsCached = true;
            writeText(song.cache("Spectrograms/U.spectrogram"), archiveOf(scripted::completeSpectrogram(3)));
        }
        std::optional<Forcing> forcing;
        if (c.isForced)
            forcing.emplace();
        const auto before = song.script->lines().size();
        song.run();
        Lines lines = song.script->lines();
        lines.erase(lines.begin(), lines.begin() + std::ptrdiff_t(before));
        EXPECT_EQ(lines, c.lines);
        EXPECT_EQ(song.controller->progress()->completedUnitCount(), 18);
        const bool worked = c.isForced || !c.isCached;
        EXPECT_EQ(textOf(song.cache("Spectrograms/U.spectrogram")),
                  archiveOf(scripted::completeSpectrogram(worked ? 2 : 3)));
        EXPECT_EQ(textOf(song.cache("Chords/U.chordScores")), c.isLegacy ? "" : kChordFile);
        EXPECT_EQ(song.factory->waveformCache, song.cache("Waveforms/U.waveform"));
    }
}

TEST(AnalysisControllerConcurrency, laterStagesHearWhatTheApplicationInserts) {
    Song song;
    song.afterNotification = [&](const Notification& notification) {
        if (const auto* pitch = notification.value<std::shared_ptr<TarnStandardPitchEntry>>("standardPitch"))
            song.storage->addStandardPitchEntry(*pitch);
    };
    song.run();
    EXPECT_THAT(song.script->lines(),
                testing::AllOf(testing::Contains("W 2 spectrogram 442"), testing::Contains("W 4 key 442"),
                               testing::Contains(testing::StartsWith("W 5 chords 442 C# minor 0 100"))));
}

TEST(AnalysisControllerConcurrency, cancellingEndsTheRunWithWhatIsInTheDocument) {
    struct Case {
        const char* stage;
        std::size_t keptLines; ///< of a fresh run
        Lines rest;
    };
    const Case cases[] = {{"begin", 1, {}},
                          {"waveform", 3, {"M WaveformDidFinishProcessing waveform 0"}},
                          {"tuning", 5, {}},
                          {"spectrogram", 8, {}},
                          {"beats", 11, {}},
                          {"key", 13, {}},
                          {"chords", 17, {"W ChordDetectionDidEnd chordDetector"}},
                          {"alignment", 22, {}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stage);
        Song song;
        song.script->whileWorking = [&](const std::string& stage) {
            if (stage == c.stage)
                song.controller->cancelProcessing();
        };
        song.afterNotification = [&](const Notification&) {
            if (c.stage == std::string("begin"))
                song.controller->cancelProcessing();
        };
        song.run();
        Lines expected(kFreshRun.begin(), kFreshRun.begin() + std::ptrdiff_t(c.keptLines));
        expected.insert(expected.end(), c.rest.begin(), c.rest.end());
        EXPECT_EQ(song.script->lines(), expected);
        EXPECT_EQ(textOf(song.cache("Chords/U.chordScores")), c.keptLines > 17 ? kChordFile : "");
        EXPECT_EQ(std::filesystem::exists(song.cache("Spectrograms/U.spectrogram")), c.keptLines > 8);
    }
}

TEST(AnalysisControllerConcurrency, aDroppedControllerIsNotHeardOfAgain) {
    struct Case {
        const char* stage;
        std::size_t keptLines; ///< of a fresh run
    };
    const Case cases[] = {{"", 0},       {"waveform", 3}, {"tuning", 5},  {"spectrogram", 8},
                          {"beats", 11}, {"key", 13},     {"chords", 17}, {"alignment", 22}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stage);
        Song song;
        song.open();
        const std::weak_ptr<TarnMusicInformationRetrievalController> dropped = song.controller;
        song.script->whileWorking = [&](const std::string& stage) {
            if (stage == c.stage)
                MainQueue::sync([&] { song.controller.reset(); });
        };
        ASSERT_TRUE(song.controller->beginProcessingError());
        const auto queue = song.controller->processingQueue();
        if (c.keptLines == 0)
            song.controller.reset();
        song.finish(queue);
        Lines expected(kFreshRun.begin(), kFreshRun.begin() + std::ptrdiff_t(c.keptLines));
        if (expected.empty())
            expected.push_back("M MusicInformationRetrievalDidBeginProcessing without object");
        expected.push_back("M MusicInformationRetrievalDidFinishProcessing without object");
        EXPECT_EQ(song.script->lines(), expected);
        EXPECT_TRUE(dropped.expired());
    }
}

TEST(AnalysisControllerConcurrency, anApplicationMayDropTheControllerInAnyNotification) {
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
        EXPECT_THAT(song.script->lines().back(),
                    testing::StartsWith("M MusicInformationRetrievalDidFinishProcessing"));
    }
}

TEST(AnalysisControllerConcurrency, stagesRunTwoAtATimeWhileAnotherThreadWatchesAndCancels) {
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
            Lines lines = song.script->lines();
            EXPECT_EQ(lines.size(), kFreshRun.size());
            std::erase(lines, kFreshRun.front()); // no stage waits for the begin notification
            EXPECT_EQ(lines.back(), kFreshRun.back());
            EXPECT_EQ(song.storage->keyEntries().size(), 1U);
            EXPECT_EQ(song.storage->chordEntries().size(), 2U);
        }
    }
}

TEST(AnalysisControllerConcurrency, aSecondRunLeavesTheFirstAlone) {
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
    EXPECT_THAT(song.script->lines(), testing::Contains(kFreshRun.back()));
}

TEST(AnalysisControllerConcurrency, stagesAreQueuedWithTheirDependencies) {
    for (const bool isLegacy : {false, true}) {
        Song song;
        if (isLegacy)
            song.script->refused = {"chords"};
        song.open();
        EXPECT_EQ(song.controller->progress()->totalUnitCount(), 0);
        ASSERT_TRUE(song.controller->beginProcessingError());
        EXPECT_EQ(song.controller->progress()->totalUnitCount(), 18);
        EXPECT_EQ(song.controller->progress()->localizedDescription(), "Analyzing song");
        const auto queue = song.controller->processingQueue();
        EXPECT_EQ(queue->maxConcurrentOperationCount(), 2);
        const auto operations = queue->operations();
        ASSERT_EQ(operations.size(), 9U);
        std::map<std::shared_ptr<Operation>, std::string> names{{operations[0], "begin"},
                                                                {operations[8], "finish"}};
        for (const auto& [name, operation] : song.factory->operations)
            names[operation] = name;
        Lines lines;
        for (const auto& operation : operations) {
            lines.push_back(names[operation] + " <-");
            for (const auto& dependency : operation->dependencies()) {
                if (names.count(dependency)) // others keep the scripted stages in order
                    lines.back() += ' ' + names[dependency] + ',';
            }
        }
        const Lines expected{
            "begin <-",
            "waveform <-",
            "tuning <-",
            "spectrogram <- tuning,",
            "beats <-",
            "key <- tuning,",
            isLegacy ? "legacy chords <- beats, key," : "chords <- key,",
            isLegacy ? "alignment <- beats, legacy chords," : "alignment <- beats, chords,",
            isLegacy ? "finish <- key, waveform, tuning, beats, legacy chords, alignment, spectrogram,"
                     : "finish <- key, waveform, tuning, beats, chords, alignment, spectrogram,",
        };
        EXPECT_EQ(lines, expected);
        song.finish(queue);
    }
}

TEST(AnalysisController, anOperationThatCannotBeMadeEndsTheBeginning) {
    const Lines order{"tuning",      "key",      "beats",  "alignment",
                      "spectrogram", "waveform", "chords", "legacy chords"};
    struct Case {
        std::set<std::string> refused;
        std::size_t asked; ///< stages that are asked for
        const char* message;
    };
    const Case cases[] = {
        {{"tuning", "key"}, 1, "Failed to load audio file for tuning estimation."},
        {{"key"}, 2, "Failed to load audio file for key detection."},
        {{"beats"}, 3, "Failed to load audio file for beat and key detection."},
        {{"spectrogram"}, 5, "Failed to load audio file for spectrogram processing."},
        {{"waveform", "chords"}, 6, "Failed to load audio file for waveform processing."},
        {{"chords", "legacy chords"}, 8, "Failed to load audio file for chord detection."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        Song song;
        song.script->refused = c.refused;
        song.open();
        Error error;
        EXPECT_FALSE(song.controller->beginProcessingError(&error));
        EXPECT_EQ(error.domain, TarnMusicInformationRetrievalErrorDomain);
        EXPECT_EQ(error.code, -1);
        EXPECT_EQ(error.localizedDescription(), c.message);
        EXPECT_EQ(error.userInfo.size(), 1U);
        EXPECT_EQ(song.factory->made, Lines(order.begin(), order.begin() + std::ptrdiff_t(c.asked)));
        EXPECT_TRUE(song.controller->processingQueue()->operations().empty());
        EXPECT_EQ(song.controller->progress()->totalUnitCount(), 0);
        EXPECT_FALSE(song.controller->beginProcessingError());
        MainQueue::runPending();
        EXPECT_EQ(song.script->lines(), Lines());
    }
}

TEST(AnalysisController, withoutAnEngineEveryFileIsRefused) {
    TemporaryFolder texts;
    writeText(texts.path() / "xx.lproj" / "Localizable.strings",
              "\"Failed to load audio file for tuning estimation.\" = \"translated\";");
    Bundle::framework().setResourceFolder(texts.path());
    Bundle::framework().setPreferredLanguages({"xx"});
    const auto controller = std::make_shared<TarnMusicInformationRetrievalController>(
        "song.wav", "U", std::make_shared<TarnNoteEntryStorage>());
    controller->cancelProcessing(); // nothing to cancel yet
    Error error;
    EXPECT_FALSE(controller->beginProcessingError(&error));
    EXPECT_EQ(error.localizedDescription(), "translated");
    Bundle::framework().setResourceFolder({});
}

TEST(AnalysisController, aSongHasThreeCacheFilesOfItsOwn) {
    using Controller = TarnMusicInformationRetrievalController;
    TemporaryFolder caches;
    FileManager::setCachesDirectory(caches.path() / "made on demand");
    const auto folder = caches.path() / "made on demand" / "Tarn";
    EXPECT_EQ(Controller::spectrogramPathForUUID("U"), folder / "Spectrograms" / "U.spectrogram");
    EXPECT_EQ(Controller::waveformPathForUUID("U"), folder / "Waveforms" / "U.waveform");
    EXPECT_EQ(Controller::waveformPathForUUID("/U").string(),
              (folder / "Waveforms" / "").string() + "/U.waveform");
    EXPECT_EQ(Controller("song.wav", "V", nullptr).cachedChordResultsURL(),
              folder / "Chords" / "V.chordScores");
    for (const char* name : {"Spectrograms", "Waveforms", "Chords"})
        EXPECT_TRUE(std::filesystem::is_directory(folder / name));
    writeText(caches.path() / "a file", "");
    FileManager::setCachesDirectory(caches.path() / "a file");
    EXPECT_EQ(Controller::cachedSpectrogramDirectory(), caches.path() / "a file" / "Tarn" / "Spectrograms");
    FileManager::setCachesDirectory({});
}

TEST(AnalysisController, onlyAnUndecodableCacheIsLogged) {
    Song song;
    song.open();
    const auto file = song.cache("Spectrograms/U.spectrogram");
    const auto read = [&] { return song.controller->readCacheFromURL<Spectrogram>(file); };
    EXPECT_FALSE(read()) << "missing";
    const Data other = KeyedArchiver::archivedData(scripted::completeWaveform());
    writeText(file, {reinterpret_cast<const char*>(other.data()), other.size()});
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

TEST(AnalysisControllerDeathTest, logsAndMarksIntervalsOnlyWhenTheEnvironmentSaysSo) {
    testing::FLAGS_gtest_death_test_style = "threadsafe"; // the log is made once in a process
    const auto runSpectrogramStage = [] {
        Song song;
        song.open();
        song.script->whileWorking = [](const std::string&) { std::fputs("working\n", stderr); };
        setLogSink([](const LogMessage& message) {
            std::fputs((message.category + ' ' + message.text(true) + '\n').c_str(), stderr);
        });
        scripted::SpectrogramStage operation(song.script, "spectrogram");
        operation.delegate = song.controller;
        operation.main();
    };
    const auto spectrogramStage = [&](const char* variable) {
        const EnvironmentVariable debug("KELP_MIR_DEBUG", variable);
        runSpectrogramStage();
        std::exit(0);
    };
    EXPECT_EXIT(
        spectrogramStage(""), testing::ExitedWithCode(0),
        "^TarnMusicInformationRetrievalController signpost begin SpectrogramOperation [0-9]+\nworking\n"
        "TarnMusicInformationRetrievalController signpost end SpectrogramOperation [0-9]+\n$");
    EXPECT_EXIT(spectrogramStage(nullptr), testing::ExitedWithCode(0), "^working\n$");
    EXPECT_EXIT(
        {
            TarnMusicInformationRetrievalController controller("song.wav", "U", nullptr);
            controller.beginProcessingError();
        },
        testing::KilledBySignal(SIGABRT), "must be made by std::make_shared");
}

} // namespace
} // namespace tarn
