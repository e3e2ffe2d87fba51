#include "AnalyzedSong.h"
#include "Platform/Bundle.h"
#include "Platform/FileManager.h"
#include "Signals.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <thread>

/// Whole runs of the controller with the built-in engine.
namespace tarn {

namespace {

void addClicks(Samples& samples, const std::vector<double>& times, double level = 0.6) {
    for (const double time : times) {
        for (std::size_t i = 0; i < kAnalysisRate / 100; ++i) {
            const double t = static_cast<double>(i) / kAnalysisRate;
            samples.at(static_cast<std::size_t>(time * kAnalysisRate) + i) +=
                static_cast<float>(level * std::sin(2 * pi * 1500 * t) * std::exp(-t * 300));
        }
    }
}

/// I, vi, IV and V of E flat major at A = 432 Hz, each for a bar, over a click on every beat (two a second)
/// and a quiet one between beats.
Samples turnaround(int bars, int beatsPerBar = 4) {
    Samples samples;
    const std::vector<std::vector<int>> chords{
        {39, 63, 67, 70}, {36, 63, 67, 72}, {44, 63, 68, 72}, {46, 62, 65, 70}};
    std::vector<double> beats, offBeats;
    for (int bar = 0; bar < bars; ++bar) {
        Synthesizer{432}.play(samples, bar * beatsPerBar * 0.5, beatsPerBar * 0.5,
                              chords[static_cast<std::size_t>(bar) % 4]);
        for (int beat = beatsPerBar * bar; beat < beatsPerBar * (bar + 1); ++beat) {
            beats.push_back(beat * 0.5);
            offBeats.push_back(beat * 0.5 + 0.25);
        }
    }
    addClicks(samples, beats);
    addClicks(samples, offBeats, 0.2);
    return samples;
}

class AnalysisRun : public testing::Test {
protected:
    AnalysisRun() { FileManager::setCachesDirectory(mFolder.path()); }
    ~AnalysisRun() override { FileManager::setCachesDirectory({}); }

    void record(const Samples& samples) { writeAudio(mAudio, samples, kAnalysisRate); }
    void run(AnalyzedSong& song) {
        ASSERT_TRUE(song.begin());
        song.finish();
        EXPECT_EQ(song.controller->progress()->completedUnitCount(), 18);
    }
    void removeCaches() { std::filesystem::remove_all(mFolder.path() / "Tarn"); }
    /// The contents of the cache files, by their places.
    std::map<std::string, std::string> caches() const {
        std::map<std::string, std::string> found;
        if (std::filesystem::exists(mFolder.path() / "Tarn")) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(mFolder.path() / "Tarn"))
                if (entry.is_regular_file())
                    found[entry.path().parent_path().filename().string()] += textOf(entry.path());
        }
        return found;
    }

    TemporaryFolder mFolder;
    const std::filesystem::path mAudio = mFolder.path() / "song.wav";
};

double secondsOf(const auto& entry) {
    return static_cast<double>(entry->location()) / kAnalysisRate;
}

/// Runs that the thread sanitizer watches.
using AnalysisRunConcurrency = AnalysisRun;

} // namespace

// Chord changes alone wouldn't tell: alignment goes by the bars that were detected with the beats.
TEST_F(AnalysisRun, CountsFiveToTheBar) {
    record(turnaround(12, 5));
    AnalyzedSong song(mAudio);
    run(song);
    EXPECT_NE(song.found().find("\nsignature 5/4\nb"), std::string::npos) << song.found();
    std::size_t beatsIntoBar = 0;
    for (const auto& beat : song.storage->beatEntries()) {
        if (beat->isDownbeat()) {
            EXPECT_NEAR(std::remainder(secondsOf(beat), 2.5), 0, 0.05);
        }
        beatsIntoBar = beat->isDownbeat() ? 1 : beatsIntoBar + 1;
        EXPECT_LE(beatsIntoBar, 10u);
    }
}

TEST_F(AnalysisRun, FindsWhatIsTrueOfASong) {
    record(turnaround(12));
    AnalyzedSong song(mAudio);
    run(song);
    ASSERT_EQ(song.storage->standardPitchEntries().size(), 1u);
    EXPECT_NEAR(song.storage->standardPitchEntries()[0]->frequency(), 432, 0.5);
    ASSERT_EQ(song.storage->tempoEntries().size(), 1u);
    EXPECT_NEAR(song.storage->tempoEntries()[0]->tempo(), 120, 1);
    EXPECT_NE(song.found().find("\nkey Eb\ntempo 1"), std::string::npos) << song.found();
    EXPECT_NE(song.found().find("\nsignature 4/4\nb"), std::string::npos) << song.found();
    const auto beats = song.storage->beatEntries();
    EXPECT_NEAR(static_cast<double>(beats.size()), 96, 2);
    for (const auto& beat : beats) {
        EXPECT_NEAR(std::remainder(secondsOf(beat), 0.25), 0, 0.025);
        EXPECT_EQ(beat->isDownbeat(), std::abs(std::remainder(secondsOf(beat), 2)) < 0.1);
    }
    const auto chords = song.storage->chordEntries();
    ASSERT_EQ(chords.size(), 12u);
    for (std::size_t i = 0; i < chords.size(); ++i) {
        EXPECT_EQ(chords[i]->chord()->string(), (std::array{"Eb", "Cm", "Ab", "Bb"}[i % 4]));
        EXPECT_NEAR(secondsOf(chords[i]), 2.0 * static_cast<double>(i), 0.1);
    }
}

TEST_F(AnalysisRun, ShowsUsersNoTextButThoseOfTheTables) {
    // The shipped English keys with translations that mark them.
    const std::filesystem::path resources =
        (std::filesystem::path(TARN_TEST_DATA) / "../../../TarnFoundation/Resources").lexically_normal();
    const std::string english = textOf(resources / "en.lproj" / "Localizable.strings");
    ASSERT_FALSE(english.empty());
    writeText(mFolder.path() / "xx.lproj" / "Localizable.strings",
              std::regex_replace(english, std::regex("= \""), "= \"translated: "));
    Bundle::framework().setResourceFolder(mFolder.path());
    Bundle::framework().setPreferredLanguages({"xx"});

    record(turnaround(1));
    AnalyzedSong song(mAudio);
    std::set<std::string> shown;
    ASSERT_TRUE(song.begin());
    for (const auto& operation : song.queue()->operations())
        shown.insert(operation->progress()->localizedDescription());
    shown.insert(song.controller->progress()->localizedDescription());
    song.finish();
    const auto engine = AnalysisOperationFactory::shared();
    shown.insert(engine->makeLegacyChordDetectionOperation(mAudio)->progress()->localizedDescription());
    shown.erase(""); // of the operations that only begin and end the run
    EXPECT_GE(shown.size(), 7u);

    // Files that are not recordings, and what is told apart about them.
    writeText(mFolder.path() / "text.wav", "no audio");
    const std::pair<const char*, AnalysisRefusal> refused[] = {
        {"missing.wav", AnalysisRefusal::missingFile},
        {".", AnalysisRefusal::unreadableFile},
        {"text.wav", AnalysisRefusal::undecodableAudio}};
    for (const auto& [name, reason] : refused) {
        Error error;
        AnalyzedSong other(mFolder.path() / name);
        EXPECT_FALSE(other.controller->beginProcessingError(&error));
        shown.insert(error.localizedDescription());
        ASSERT_TRUE(error.underlying);
        EXPECT_EQ(error.underlying->code, static_cast<long>(reason));
        shown.insert(error.underlying->localizedDescription());
    }
    EXPECT_EQ(engine->refusal(mAudio), nullptr);
    Bundle::framework().setResourceFolder({});
    for (const std::string& text : shown)
        EXPECT_TRUE(text.starts_with("translated: ")) << text;
}

TEST_F(AnalysisRun, EndsWithWhatCanBeSaidOfSignalsThatAreNotMusic) {
    Samples square(3 * kAnalysisRate);
    for (std::size_t i = 0; i < square.size(); ++i)
        square[i] = i / 100 % 2 == 0 ? 1.0f : -1.0f;
    Samples second = turnaround(4);
    second.resize(kAnalysisRate);
    const char* const kNothing = "pitch 440\nchord N.C. 0\n";
    const std::tuple<const char*, Samples, const char*> cases[] = {
        // with all that is found, where certain
        {"silence", Samples(3 * kAnalysisRate), kNothing},
        {"one frame", Samples(1, 0.5f), kNothing},
        {"constant", Samples(3 * kAnalysisRate, 1.0f), kNothing},
        {"noise", noise(3, 1), nullptr},
        {"square wave", square, nullptr},
        {"one second", second, nullptr}};
    for (const auto& [name, samples, found] : cases) {
        SCOPED_TRACE(name);
        removeCaches();
        record(samples);
        AnalyzedSong song(mAudio);
        run(song);
        if (found) {
            EXPECT_EQ(song.found(), found);
        }
        EXPECT_EQ(song.storage->standardPitchEntries().size(), 1u);
        EXPECT_FALSE(song.storage->chordEntries().empty());
        EXPECT_EQ(song.storage->tempoEntries().empty(), song.storage->beatEntries().empty());
        for (const auto& beat : song.storage->beatEntries())
            EXPECT_LT(beat->location(), std::ssize(samples));
    }
}

TEST_F(AnalysisRun, ACancelledStageReportsNothing) {
    record(turnaround(4));
    registerAnalysisEngine();
    const auto engine = AnalysisOperationFactory::shared();
    for (const double share : {0.0, 0.5, 0.9, 2.0}) {
        for (const std::string stage : {"tuning", "key", "beats", "chords", "spectrogram", "waveform"}) {
            SCOPED_TRACE(stage + " from " + std::to_string(share));
            removeCaches();
            AnalyzedSong song(mAudio);
            const auto asked = [&](auto operation) -> std::shared_ptr<Operation> {
                operation->delegate = song.controller;
                return operation;
            };
            const auto waveform = song.controller->cachedWaveformURL();
            const auto operation = stage == "tuning"   ? asked(engine->makeTuningEstimationOperation(mAudio))
                                   : stage == "key"    ? asked(engine->makeKeyDetectionOperation(mAudio))
                                   : stage == "beats"  ? asked(engine->makeBeatDetectionOperation(mAudio))
                                   : stage == "chords" ? asked(engine->makeDetectChordsOperation(mAudio))
                                   : stage == "spectrogram"
                                       ? asked(engine->makeSpectrogramOperation(mAudio))
                                       : asked(engine->makeWaveformOperation(mAudio, waveform));
            const auto token = operation->progress()->observe([&](const Progress& progress) {
                if (operation->state() == Operation::State::executing &&
                    progress.fractionCompleted() >= share)
                    operation->cancel();
            });
            OperationQueue queue;
            queue.addOperation(operation);
            MainQueue::runUntil([&] { return queue.operations().empty(); });
            MainQueue::runPending();
            EXPECT_EQ(operation->isCancelled(), share <= 1);
            EXPECT_EQ(song.found().empty() && caches().empty(), share <= 1);
        }
    }
}

TEST_F(AnalysisRunConcurrency, GivesTheSameResultHoweverItIsScheduled) {
    record(turnaround(2));
    std::string found;
    std::map<std::string, std::string> cached;
    for (const int threads : {2, 1, 2, 8}) {
        SCOPED_TRACE(threads);
        removeCaches();
        AnalyzedSong song(mAudio);
        ASSERT_TRUE(song.begin(threads));
        if (found.empty()) { // once with a main thread that has other things to do
            for (; song.isRunning(); std::this_thread::sleep_for(std::chrono::milliseconds(5)))
                MainQueue::runPending();
        }
        song.finish();
        if (found.empty()) {
            found = song.found();
            cached = caches();
        }
        EXPECT_EQ(song.found(), found);
        EXPECT_TRUE(caches() == cached);
    }
    EXPECT_EQ(cached.size(), 3u);
    EXPECT_FALSE(found.empty());

    AnalyzedSong one(mAudio, "one"), other(mAudio, "other");
    ASSERT_TRUE(one.begin());
    ASSERT_TRUE(other.begin());
    one.finish();
    other.finish();
    EXPECT_EQ(one.found(), found);
    EXPECT_EQ(other.found(), found);
}

TEST_F(AnalysisRunConcurrency, BearsBeingDroppedCancelledAndBegunAgain) {
    record(turnaround(2));
    std::string whole;
    constexpr int kMoments = 8;
    for (int moment = -1; moment < kMoments; ++moment) {
        SCOPED_TRACE(moment);
        removeCaches();
        AnalyzedSong song(mAudio);
        const std::weak_ptr<AnalyzedSong::Controller> first = song.controller;
        ASSERT_TRUE(song.begin());
        const auto queue = song.queue();
        MainQueue::runUntil([&] {
            return !song.isRunning() ||
                   (moment >= 0 && song.controller->progress()->fractionCompleted() * kMoments >= moment);
        });
        const bool drops = moment % 4 >= 2, restarts = moment % 2 == 0;
        if (moment % 4 != 2)
            song.controller->cancelProcessing();
        if (drops)
            song.open();
        if (restarts) {
            ASSERT_TRUE(song.begin());
        }
        MainQueue::runPending();
        const std::string before = song.found();
        song.finish();
        MainQueue::runUntil([&] { return queue->operations().empty(); });
        MainQueue::runPending();
        if (moment < 0)
            whole = song.found();
        if (restarts || drops) {
            EXPECT_EQ(song.found(), restarts ? whole : before);
        }
        EXPECT_EQ(first.expired(), drops);
    }
}

} // namespace tarn
