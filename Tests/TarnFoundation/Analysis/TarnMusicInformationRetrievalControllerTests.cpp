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

const Lines kFreshRun = scripted::linesOf(
    "M Run begins; M Waveform begins waveform 0; W 0 waveform; M Waveform ends waveform 1; "
    "W 1 tuning; M TuningEstimation ends standardPitch 442; "
    "M Spectrogram begins spectrogram; W 2 spectrogram 440; M Spectrogram ends spectrogram 2; "
    "M BeatDetection begins; W 3 beats; M BeatDetection ends tempo 120; "
    "W 4 key 440; M Changed KeyEntries C#m; "
    "W ChordDetectionDidBegin chordDetector; W ChordDetection begins chordDetector; "
    "W 5 chords 440 C# minor 0 100 200 300 400 500 600 700 800 900; M Changed ChordEntries A@0 E@400; "
    "M ChordDetection ends chordDetector; W ChordDetection ends chordDetector; "
    "W ChordDetectionDidEnd chordDetector; "
    "W 17 alignment 0 100 200 300 400 500 600 700 800 900 tatums 8 chords 0 400; "
    "M BeatAlignment ends beatEntries 0 100 200* 300 400 500 600* 700 800 900 timeSignature 2/4; M Run ends");

/// The stages of a run in their order.
struct Stage {
    const char* name;
    std::size_t keptLines;     ///< of a fresh run until the stage has worked
    const char* whenCancelled; ///< what follows these
};
constexpr Stage kStages[] = {{"begin", 1, ""},
                             {"waveform", 3, "M Waveform ends waveform 0"},
                             {"tuning", 5, ""},
                             {"spectrogram", 8, ""},
                             {"beats", 11, ""},
                             {"key", 13, ""},
                             {"chords", 17, "W ChordDetectionDidEnd chordDetector"},
                             {"alignment", 22, ""}};

Lines freshRun(std::size_t keptLines, const std::string& then) {
    Lines lines(kFreshRun.begin(), kFreshRun.begin() + std::ptrdiff_t(keptLines));
    if (!then.empty())
        lines.push_back(then);
    return lines;
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

TEST(AnalysisControllerConcurrency, aRunPostsAndInsertsWhatTheDocumentLacks) {
    // What the document has already; with anything, all caches are there.
    const auto expectRun = [](const char* document, bool isForced, bool isLegacy, const Lines& expected) {
        SCOPED_TRACE(testing::Message() << document << " forced: " << isForced << " legacy: " << isLegacy);
        const bool isCached = *document;
        Song song;
        song.fill(document);
        if (isLegacy)
            song.script->refused = {"chords"};
        if (isCached) {
            song.script->waveformIsCached = true;
            writeText(song.cache("Spectrograms/U.spectrogram"), archiveOf(scripted::completeSpectrogram(3)));
        }
        std::optional<Forcing> forcing;
        if (isForced)
            forcing.emplace();
        const auto before = song.script->lines().size();
        song.run();
        Lines lines = song.script->lines();
        lines.erase(lines.begin(), lines.begin() + std::ptrdiff_t(before));
        EXPECT_EQ(lines, expected);
        EXPECT_EQ(song.controller->progress()->completedUnitCount(), 18);
        EXPECT_EQ(textOf(song.cache("Spectrograms/U.spectrogram")),
                  archiveOf(scripted::completeSpectrogram(isForced || !isCached ? 2 : 3)));
        EXPECT_EQ(textOf(song.cache("Chords/U.chordScores")), isLegacy ? "" : kChordFile);
        EXPECT_EQ(song.factory->waveformCache, song.cache("Waveforms/U.waveform"));
    };
    using scripted::linesOf;
    const std::string cached = "M Run begins; M Waveform begins waveform 1; M Waveform ends waveform 1; "
                               "M Spectrogram begins spectrogram 3; M Spectrogram ends spectrogram 3; ";
    expectRun("", false, false, kFreshRun);
    expectRun("pkbstc", false, false,
              linesOf(cached + "W ChordDetectionDidBegin chordDetector; "
                               "W ChordDetection begins chordDetector; W 5 chords 432 E minor 5 7; "
                               "W ChordDetection ends chordDetector; W ChordDetectionDidEnd chordDetector; "
                               "M Run ends"));
    expectRun("pkbstc", false, true,
              linesOf(cached + "W ChordDetectionDidBegin chordDetector; "
                               "W ChordDetectionDidEnd chordDetector; M Run ends"));
    // All but a tempo and chords: beats are detected but not aligned.
    expectRun("pkbs", false, true,
              linesOf(cached +
                      "M BeatDetection begins; W 3 beats; M BeatDetection ends tempo 120; "
                      "W ChordDetectionDidBegin chordDetector; W ChordDetection begins chordDetector; "
                      "W 5 legacy chords 432 E minor 0 100 200 300 400 500 600 700 800 900; "
                      "M Changed ChordEntries A@0 E@400; M ChordDetection ends chordDetector; "
                      "W ChordDetection ends chordDetector; W ChordDetectionDidEnd chordDetector; "
                      "M Run ends"));
    expectRun(
        "pkbstc", true, false,
        linesOf("M Run begins; M Waveform begins waveform 1; W 0 waveform; M Waveform ends waveform 1; "
                "W 1 tuning; M TuningEstimation ends standardPitch 442; "
                "M Spectrogram begins spectrogram; W 2 spectrogram 432; M Spectrogram ends spectrogram 2; "
                "M BeatDetection begins; W 3 beats; M BeatDetection ends tempo 120; "
                "W 4 key 432; M Changed KeyEntries Em C#m; "
                "W ChordDetectionDidBegin chordDetector; W ChordDetection begins chordDetector; "
                "W 5 chords 432 E minor 0 100 200 300 400 500 600 700 800 900; "
                "W ChordDetection ends chordDetector; W ChordDetectionDidEnd chordDetector; "
                "W 17 alignment 0 100 200 300 400 500 600 700 800 900 tatums 8 chords 10; "
                "M BeatAlignment ends beatEntries 0 100 200* 300 400 500 600* 700 800 900 timeSignature 2/4; "
                "M Run ends"));
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
    for (const auto& [name, keptLines, whenCancelled] : kStages) {
        SCOPED_TRACE(name);
        Song song;
        const std::string last = name;
        song.script->whileWorking = [&](const std::string& stage) {
            if (stage == last)
                song.controller->cancelProcessing();
        };
        song.afterNotification = [&](const Notification&) {
            if (last == "begin")
                song.controller->cancelProcessing();
        };
        song.run();
        EXPECT_EQ(song.script->lines(), freshRun(keptLines, whenCancelled));
        EXPECT_EQ(textOf(song.cache("Chords/U.chordScores")), keptLines > 17 ? kChordFile : "");
        EXPECT_EQ(std::filesystem::exists(song.cache("Spectrograms/U.spectrogram")), keptLines > 8);
    }
}

TEST(AnalysisControllerConcurrency, aDroppedControllerIsNotHeardOfAgain) {
    for (const Stage& last : kStages) {
        SCOPED_TRACE(last.name);
        Song song;
        song.open();
        const std::weak_ptr<TarnMusicInformationRetrievalController> dropped = song.controller;
        song.script->whileWorking = [&](const std::string& stage) {
            if (stage == last.name)
                MainQueue::sync([&] { song.controller.reset(); });
        };
        ASSERT_TRUE(song.controller->beginProcessingError());
        const auto queue = song.controller->processingQueue();
        Lines expected = freshRun(last.keptLines, "M Run ends without object");
        if (last.keptLines == 1) { // before anything is posted
            song.controller.reset();
            expected[0] += " without object";
        }
        song.finish(queue);
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
        EXPECT_THAT(song.script->lines().back(), testing::StartsWith("M Run ends"));
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
    EXPECT_EQ(song.controller->progress()->completedUnitCount(), 18) << "the second run's alone";
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
        std::string text;
        for (const auto& operation : operations) {
            text += names[operation] + " <-";
            for (const auto& dependency : operation->dependencies()) {
                if (names.count(dependency)) // others keep the scripted stages in order
                    text += ' ' + names[dependency] + ',';
            }
            text += "; ";
        }
        const std::string chords = isLegacy ? "legacy chords" : "chords";
        EXPECT_EQ(text,
                  "begin <-; waveform <-; tuning <-; spectrogram <- tuning,; beats <-; key <- tuning,; " +
                      chords + (isLegacy ? " <- beats, key,; " : " <- key,; ") + "alignment <- beats, " +
                      chords + ",; finish <- key, waveform, tuning, beats, " + chords +
                      ", alignment, spectrogram,; ");
        song.finish(queue);
    }
}

TEST(AnalysisController, anOperationThatCannotBeMadeEndsTheBeginning) {
    // The stages that are asked for until then.
    const auto expectRefusal = [](const std::set<std::string>& refused, const char* asked, const char* what) {
        SCOPED_TRACE(what);
        Song song;
        song.script->refused = refused;
        song.open();
        Error error;
        EXPECT_FALSE(song.controller->beginProcessingError(&error));
        EXPECT_EQ(error.domain, TarnMusicInformationRetrievalErrorDomain);
        EXPECT_EQ(error.code, -1);
        EXPECT_EQ(error.localizedDescription(), std::string("Failed to load audio file for ") + what);
        EXPECT_EQ(error.userInfo.size(), 1U);
        EXPECT_EQ(song.factory->made, scripted::linesOf(asked));
        EXPECT_TRUE(song.controller->processingQueue()->operations().empty());
        EXPECT_EQ(song.controller->progress()->totalUnitCount(), 0);
        EXPECT_FALSE(song.controller->beginProcessingError());
        MainQueue::runPending();
        EXPECT_EQ(song.script->lines(), Lines());
    };
    expectRefusal({"tuning", "key"}, "tuning", "tuning estimation.");
    expectRefusal({"key"}, "tuning; key", "key detection.");
    expectRefusal({"beats"}, "tuning; key; beats", "beat and key detection.");
    expectRefusal({"spectrogram"}, "tuning; key; beats; alignment; spectrogram", "spectrogram processing.");
    expectRefusal({"waveform", "chords"}, "tuning; key; beats; alignment; spectrogram; waveform",
                  "waveform processing.");
    expectRefusal({"chords", "legacy chords"},
                  "tuning; key; beats; alignment; spectrogram; waveform; chords; legacy chords",
                  "chord detection.");
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
    ASSERT_TRUE(error.underlying);
    EXPECT_EQ(error.underlying->code, static_cast<long>(AnalysisRefusal::noEngine));
    Bundle::framework().setResourceFolder({});
}

TEST(AnalysisController, aSongHasThreeCacheFilesOfItsOwn) {
    using Caches = TarnMusicInformationRetrievalController;
    TemporaryFolder caches;
    FileManager::setCachesDirectory(caches.path() / "made on demand");
    const auto folder = caches.path() / "made on demand" / "Tarn";
    EXPECT_EQ(Caches::spectrogramPathForUUID("U"), folder / "Spectrograms" / "U.spectrogram");
    EXPECT_EQ(Caches::waveformPathForUUID("U"), folder / "Waveforms" / "U.waveform");
    EXPECT_EQ(Caches("song.wav", "V", nullptr).cachedChordResultsURL(), folder / "Chords" / "V.chordScores");
    for (const char* name : {"Spectrograms", "Waveforms", "Chords"})
        EXPECT_TRUE(std::filesystem::is_directory(folder / name));
    writeText(caches.path() / "a file", "");
    FileManager::setCachesDirectory(caches.path() / "a file");
    EXPECT_EQ(Caches::cachedSpectrogramDirectory(), caches.path() / "a file" / "Tarn" / "Spectrograms");
    FileManager::setCachesDirectory({});
}

TEST(AnalysisController, noIdentifierLeadsOutOfItsFolderOrToAnothersFile) {
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
        EXPECT_THAT(file.filename().string(), testing::MatchesRegex("sha256-[0-9a-f]{64}\\.waveform"));
        files.insert(file);
    }
    EXPECT_EQ(files.size(), 1 + std::size(others));

    // A folder that answers to its name in either case.
    std::filesystem::create_symlink("Waveforms", caches.path() / "Tarn" / "wAVEFORMS");
    EXPECT_EQ(Caches::waveformPathForUUID("u-1"), folder / "u-1.waveform");
    EXPECT_EQ(Caches::waveformPathForUUID("U-1").string().find("U-1"), std::string::npos);
    FileManager::setCachesDirectory({});
}

TEST(AnalysisController, onlyAnUndecodableCacheIsLogged) {
    Song song;
    song.open();
    const auto file = song.cache("Spectrograms/U.spectrogram");
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

TEST(AnalysisControllerDeathTest, logsAndMarksIntervalsOnlyWhenTheEnvironmentSaysSo) {
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
