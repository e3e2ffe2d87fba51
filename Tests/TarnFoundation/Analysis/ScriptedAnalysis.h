#pragma once

#include "Platform/DispatchQueue.h"
#include "Platform/FileManager.h"
#include "Platform/Log.h"
#include "Platform/NotificationCenter.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <sstream>

/// Operations that answer what a test wrote down, and a record of everything that an analysis does.
namespace tarn::scripted {

using fixtures::linesOf;
using Lines = fixtures::Names;

inline std::string textOf(double value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

template <typename Numbers>
std::string joined(const Numbers& numbers) {
    std::string text;
    for (const auto& number : numbers)
        text += ' ' + textOf(static_cast<double>(number));
    return text;
}

inline KELPChordDetectionResultRef chordAt(const char* chord, std::int64_t location) {
    return KELPChordDetectionResult::resultForChord(KELPChord::chordWithString(chord), 1, location);
}

inline std::shared_ptr<Spectrogram> completeSpectrogram(std::uint32_t columnCount) {
    auto spectrogram = std::make_shared<Spectrogram>(Spectrogram::Layout{512, columnCount, 2, 1, 33});
    for (std::uint32_t i = 0; i < columnCount; ++i)
        spectrogram->appendColumn(std::array<std::uint8_t, 2>{std::uint8_t(i), 7});
    spectrogram->finish();
    return spectrogram;
}

inline std::shared_ptr<Waveform> completeWaveform() {
    auto waveform = std::make_shared<Waveform>(256, 44100);
    waveform->appendPoint({-1, 1, 1});
    waveform->finish();
    return waveform;
}

/// What the operations give, and what they note. Set up before a run.
struct Script {
    double tuning = 442;
    std::optional<int> key = 13;
    BeatDetectionOperation::Result beats{{0, 100, 200, 300, 400, 500, 600, 700, 800, 900}, 120};
    BeatAlignmentOperation::Result alignment{200, 4};
    ChordDetectionResultArray chords{chordAt("A", 0), chordAt("E", 400)};
    std::vector<DetectChordsOperation::Frame> topKResults{{44100, {{3, 0.5F}, {17, 0.25F}}}};
    bool waveformIsCached = false;
    std::set<std::string> refused;                              ///< stages that refuse the file
    std::function<void(const std::string& stage)> whileWorking; ///< called on the operation's thread

    std::shared_ptr<Progress> progress; ///< of the controller
    std::atomic<int> working = 0;
    std::atomic<int> mostWorking = 0;

    void note(const std::string& line) {
        const std::lock_guard guard(mMutex);
        mLines.push_back((MainQueue::isMainThread() ? "M " : "W ") + line);
    }
    [[nodiscard]] Lines lines() const {
        const std::lock_guard guard(mMutex);
        return mLines;
    }
    /// Notes units and activity of the controller's progress, after everything that was handed to the main
    /// thread before has happened there.
    void work(const std::string& stage, const std::string& input = {}) {
        const int now = ++working;
        for (int most = mostWorking; now > most && !mostWorking.compare_exchange_weak(most, now);) {
        }
        MainQueue::sync([] {});
        note(std::to_string(progress->completedUnitCount()) + ' ' + progress->localizedDescription() + input);
        if (whileWorking)
            whileWorking(stage);
        --working;
    }

private:
    mutable std::mutex mMutex;
    Lines mLines;
};

/// A scripted operation of one of the kinds; `main` may also be called by a test.
template <typename Kind>
class Scripted : public Kind {
public:
    Scripted(std::shared_ptr<Script> script, const std::string& stage)
        : mScript(std::move(script)), mStage(stage) {
        this->setActivity(stage);
    }
    using Kind::main;

protected:
    /// Works, and then gives the result.
    template <typename Result>
    Result worked(const Result& result, const std::string& input = {}) {
        mScript->work(mStage, input);
        return result;
    }

    const std::shared_ptr<Script> mScript;
    const std::string mStage;
};

struct Tuning : Scripted<TuningEstimationOperation> {
    using Scripted::Scripted;
    std::optional<double> process() override { return worked(mScript->tuning); }
};

struct Key : Scripted<KeyDetectionOperation> {
    using Scripted::Scripted;
    std::optional<int> process(double tuning) override { return worked(mScript->key, ' ' + textOf(tuning)); }
};

struct Beats : Scripted<BeatDetectionOperation> {
    using Scripted::Scripted;
    std::optional<Result> process() override { return worked(mScript->beats); }
};

struct Alignment : Scripted<BeatAlignmentOperation> {
    using Scripted::Scripted;
    std::optional<Result> process(const Input& input) override {
        return worked(mScript->alignment, joined(input.beatLocations) + " tatums " +
                                              std::to_string(input.tatumsPerBar) + " chords" +
                                              joined(input.chordChangeLocations));
    }
};

struct SpectrogramStage : Scripted<KELPSpectrogramOperation> {
    using Scripted::Scripted;
    bool process(double tuningFrequency) override {
        setSpectrogram(worked(completeSpectrogram(2), ' ' + textOf(tuningFrequency)));
        return true;
    }
};

struct WaveformStage : Scripted<KELPWaveformOperation> {
    WaveformStage(std::shared_ptr<Script> script, const std::string& stage)
        : Scripted(std::move(script), stage),
          mWaveform(mScript->waveformIsCached ? completeWaveform() : std::make_shared<Waveform>(256, 44100)) {
    }
    std::shared_ptr<Waveform> waveform() const override {
        const std::lock_guard guard(mMutex);
        return mWaveform;
    }
    bool process() override {
        mScript->work(mStage);
        const std::lock_guard guard(mMutex);
        if (!isCancelled())
            mWaveform = completeWaveform();
        return true;
    }

private:
    mutable std::mutex mMutex;
    std::shared_ptr<Waveform> mWaveform;
};

template <typename Kind>
struct Chords : Scripted<Kind> {
    using Scripted<Kind>::Scripted;
    std::optional<ChordDetectionResultArray> process(const ChordDetectionOperation::Input& input) override {
        this->mScript->work(this->mStage, ' ' + textOf(input.tuningFrequency) + ' ' +
                                              input.key->description() + joined(input.beatLocations));
        if constexpr (std::is_same_v<Kind, DetectChordsOperation>)
            this->setTopKResults(this->mScript->topKResults);
        return this->mScript->chords;
    }
};

/// Makes scripted operations. With a gate, the stages run one after another in a fixed order, from the moment
/// at which the gate is opened, and each begins when the main thread has dealt with the one before.
class Factory : public AnalysisOperationFactory {
public:
    Factory(std::shared_ptr<Script> script, bool withGate) : mScript(std::move(script)) {
        if (withGate)
            mGate = std::make_shared<BlockOperation>([] {});
    }

    Lines made; ///< stages in the order in which they were asked for
    std::filesystem::path waveformCache;
    std::map<std::string, std::shared_ptr<Operation>> operations; ///< those made, by stage

    void openGate() {
        if (mGate && !mIsOpen.exchange(true))
            mGateQueue.addOperation(mGate);
    }
    [[nodiscard]] bool isDone() const { return mGateQueue.operations().empty(); }

    std::shared_ptr<TuningEstimationOperation> makeTuningEstimationOperation(const File&) override {
        return make<Tuning>("tuning");
    }
    std::shared_ptr<KeyDetectionOperation> makeKeyDetectionOperation(const File&) override {
        return make<Key>("key");
    }
    std::shared_ptr<BeatDetectionOperation> makeBeatDetectionOperation(const File&) override {
        return make<Beats>("beats");
    }
    std::shared_ptr<BeatAlignmentOperation> makeBeatAlignmentOperation() override {
        return make<Alignment>("alignment");
    }
    std::shared_ptr<KELPSpectrogramOperation> makeSpectrogramOperation(const File&) override {
        return make<SpectrogramStage>("spectrogram");
    }
    std::shared_ptr<KELPWaveformOperation> makeWaveformOperation(const File&, const File& cache) override {
        waveformCache = cache;
        return make<WaveformStage>("waveform");
    }
    std::shared_ptr<DetectChordsOperation> makeDetectChordsOperation(const File&) override {
        return make<Chords<DetectChordsOperation>>("chords");
    }
    std::shared_ptr<LegacyChordDetectionOperation> makeLegacyChordDetectionOperation(const File&) override {
        return make<Chords<LegacyChordDetectionOperation>>("legacy chords");
    }

private:
    template <typename Made>
    std::shared_ptr<Made> make(const std::string& stage) {
        made.push_back(stage);
        if (mScript->refused.count(stage))
            return nullptr;
        auto operation = std::make_shared<Made>(mScript, stage);
        operations[stage] = operation;
        if (mGate && operations.size() == 7 && stage.ends_with("chords")) // all have been made
            serialize();
        return operation;
    }

    void serialize() {
        auto previous = mGate;
        for (const char* stage :
             {"waveform", "tuning", "spectrogram", "beats", "key", "chords", "legacy chords", "alignment"}) {
            const auto found = operations.find(stage);
            if (found == operations.end())
                continue;
            const auto barrier = std::make_shared<BlockOperation>([] { MainQueue::sync([] {}); });
            barrier->addDependency(previous);
            found->second->addDependency(barrier);
            mGateQueue.addOperation(barrier);
            previous = found->second;
        }
    }

    const std::shared_ptr<Script> mScript;
    std::shared_ptr<Operation> mGate;
    std::atomic<bool> mIsOpen = false;
    OperationQueue mGateQueue;
};

/// A song with its caches in a folder of its own, a document, a controller, and the record of what happens.
class Song {
public:
    explicit Song(bool withGate = true) : factory(std::make_shared<Factory>(script, withGate)) {
        MainQueue::becomeMainThread();
        MainQueue::runPending();
        FileManager::setCachesDirectory(caches.path());
        setLogSink([this](const LogMessage& message) {
            const std::lock_guard guard(mLogMutex);
            mLogged.push_back(message.text(true));
        });
        mObservation = NotificationCenter::defaultCenter().addObserver(
            "", nullptr, nullptr, [this](const Notification& notification) { observe(notification); });
    }
    ~Song() {
        mObservation->remove();
        setLogSink({});
        FileManager::setCachesDirectory({});
    }

    TemporaryFolder caches;
    const std::shared_ptr<Script> script = std::make_shared<Script>();
    const std::shared_ptr<Factory> factory;
    const fixtures::Document storage = fixtures::makeDocument();
    std::shared_ptr<TarnMusicInformationRetrievalController> controller;
    /// Called after a notification was noted.
    std::function<void(const Notification&)> afterNotification;

    void open() {
        controller =
            std::make_shared<TarnMusicInformationRetrievalController>("song.wav", "U", storage, factory);
        mSender = controller;
        script->progress = controller->progress();
    }
    /// Runs the analysis to its end; the controller may be dropped meanwhile.
    void run() {
        if (!controller)
            open();
        ASSERT_TRUE(controller->beginProcessingError());
        finish(controller->processingQueue());
    }
    void finish(const std::shared_ptr<OperationQueue>& queue) {
        ASSERT_TRUE(MainQueue::runUntil([&] { return queue->operations().empty() && factory->isDone(); },
                                        std::chrono::minutes(2)))
            << "the analysis does not end";
        MainQueue::runPending();
    }
    [[nodiscard]] Lines logged() const {
        const std::lock_guard guard(mLogMutex);
        return mLogged;
    }
    [[nodiscard]] std::filesystem::path cache(const char* file) const {
        return caches.path() / "Tarn" / file;
    }

    /// Fills the document with the kinds whose letters are given: (p)itch, (k)ey, (b)eats, time (s)ignature,
    /// (t)empo, (c)hord.
    void fill(const std::string& kinds) {
        for (const char kind : kinds) {
            if (kind == 'p') {
                auto pitch = storage->newStandardPitchEntry();
                pitch->setFrequency(432);
                storage->addStandardPitchEntry(pitch);
            } else if (kind == 'k') {
                fixtures::addKey(*storage, 0, "Em");
            } else if (kind == 'b') {
                fixtures::addBeats(*storage, {7, 5});
            } else if (kind == 's') {
                storage->setTimeSignature(4, 8);
            } else if (kind == 't') {
                storage->addTempoEntry(storage->newTempoEntry());
            } else {
                fixtures::addChord(*storage, 10, "D");
            }
        }
    }

private:
    /// Adds what there is to tell of the content, where it is a reference to a value of the kind.
    template <typename Value>
    static void append(std::string& line, const std::any& content, std::string (*tell)(const Value&)) {
        const auto* value = std::any_cast<std::shared_ptr<Value>>(&content);
        if (value && *value)
            line += tell(**value);
    }

    void observe(const Notification& notification) {
        std::string line = notification.name.substr(4, notification.name.size() - 16); // Tarn… …Notification
        for (const auto& [longer, shorter] : {std::pair("MusicInformationRetrieval", "Run"),
                                              {"DidBeginProcessing", " begins"},
                                              {"DidFinishProcessing", " ends"},
                                              {"NoteEntryStorageDidChange", "Changed "}}) {
            if (const auto at = line.find(longer); at != std::string::npos)
                line.replace(at, std::strlen(longer), shorter);
        }
        for (const auto& [key, content] : notification.userInfo) {
            if (key.find("TarnNoteEntryStorage") == std::string::npos)
                line += ' ' + key;
            append<Spectrogram>(line, content,
                                [](const auto& s) { return ' ' + std::to_string(s.completedColumnCount()); });
            append<Waveform>(line, content,
                             [](const auto& w) { return ' ' + std::to_string(w.points(0).size()); });
            append<TarnStandardPitchEntry>(line, content,
                                           [](const auto& p) { return ' ' + textOf(p.frequency()); });
            append<TarnTempoEntry>(line, content, [](const auto& t) { return ' ' + textOf(t.tempo()); });
            append<TarnTimeSignatureEntry>(line, content, [](const auto& s) {
                return ' ' + std::to_string(s.numerator()) + '/' + std::to_string(s.denominator());
            });
            if (const auto* beats = std::any_cast<EntryList<TarnBeatEntry>>(&content)) {
                for (const auto& beat : *beats)
                    line += ' ' + std::to_string(beat->location()) + (beat->isDownbeat() ? "*" : "");
            }
            const auto* detector = std::any_cast<std::shared_ptr<ChordDetectionOperation>>(&content);
            if (detector && *detector != factory->operations["chords"] &&
                *detector != factory->operations["legacy chords"])
                line += " of another run";
        }
        if (notification.object == storage) {
            if (notification.name == TarnNoteEntryStorageDidChangeKeyEntriesNotification) {
                for (const auto& key : storage->keyEntries())
                    line += ' ' + key->tonicChord()->string();
            }
            if (notification.name == TarnNoteEntryStorageDidChangeChordEntriesNotification) {
                for (const auto& chord : fixtures::chordsOf(storage->chordEntries()))
                    line += ' ' + chord;
            }
        } else if (!notification.object) {
            line += " without object";
        } else if (notification.object != mSender.lock()) {
            line += " of another object";
        }
        script->note(line);
        if (afterNotification)
            afterNotification(notification);
        if (notification.name == TarnMusicInformationRetrievalDidBeginProcessingNotification)
            factory->openGate();
    }

    std::weak_ptr<TarnMusicInformationRetrievalController> mSender;
    NotificationCenter::Token mObservation;
    mutable std::mutex mLogMutex;
    Lines mLogged;
};

} // namespace tarn::scripted
