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
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <sstream>

/// Operations that return what a test wrote down, and a record of everything that happens in an analysis.
namespace tarn::scripted {

using fixtures::Locations;
using Lines = fixtures::Names;

/// Something that happened: a stage that worked, or a notification.
struct Event {
    std::string name;                          ///< of the stage or the notification
    std::map<std::string, std::string> values; ///< its inputs, or what it carries
    bool isOnMainThread = false;

    friend bool operator==(const Event&, const Event&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Event& event) {
        out << (event.isOnMainThread ? "main thread: " : "worker: ") << event.name;
        for (const auto& [key, value] : event.values)
            out << ", " << key << " " << value;
        return out << "\n";
    }
};
using Events = std::vector<Event>;
using Values = std::map<std::string, std::string>;

inline Event posted(const std::string& notification, const Values& values = {}) {
    return {notification, values, true};
}
inline Event postedByWorker(const std::string& notification, const Values& values = {}) {
    return {notification, values, false};
}
/// A stage works on its inputs. The controller's progress has completed `completedUnits`, and the activity
/// that it shows is the stage's.
inline Event worked(const std::string& stage, int completedUnits, Values inputs = {}) {
    inputs["completed units"] = std::to_string(completedUnits);
    inputs["activity"] = stage;
    return {stage, inputs, false};
}

inline std::string textOf(double value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

template <typename Numbers>
std::string joined(const Numbers& numbers) {
    std::string text;
    for (const auto& number : numbers)
        text += (text.empty() ? "" : " ") + textOf(static_cast<double>(number));
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

    void note(Event event) {
        event.isOnMainThread = MainQueue::isMainThread();
        const std::lock_guard guard(mMutex);
        mEvents.push_back(std::move(event));
    }
    [[nodiscard]] Events events() const {
        const std::lock_guard guard(mMutex);
        return mEvents;
    }
    void forgetEvents() {
        const std::lock_guard guard(mMutex);
        mEvents.clear();
    }
    /// Notes the stage, after everything that was handed to the main thread before has happened there.
    void work(const std::string& stage, Values inputs = {}) {
        const int now = ++working;
        for (int most = mostWorking; now > most && !mostWorking.compare_exchange_weak(most, now);) {
        }
        MainQueue::sync([] {});
        inputs["completed units"] = std::to_string(progress->completedUnitCount());
        inputs["activity"] = progress->localizedDescription();
        note({stage, std::move(inputs)});
        if (whileWorking)
            whileWorking(stage);
        --working;
    }

private:
    mutable std::mutex mMutex;
    Events mEvents;
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
    Result worked(const Result& result, const Values& inputs = {}) {
        mScript->work(mStage, inputs);
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
    std::optional<int> process(double tuning) override {
        return worked(mScript->key, {{"tuning", textOf(tuning)}});
    }
};

struct Beats : Scripted<BeatDetectionOperation> {
    using Scripted::Scripted;
    std::optional<Result> process() override { return worked(mScript->beats); }
};

struct Alignment : Scripted<BeatAlignmentOperation> {
    using Scripted::Scripted;
    std::optional<Result> process(const Input& input) override {
        return worked(mScript->alignment, {{"beats", joined(input.beatLocations)},
                                           {"tatums per bar", std::to_string(input.tatumsPerBar)},
                                           {"chord changes", joined(input.chordChangeLocations)}});
    }
};

struct SpectrogramStage : Scripted<KELPSpectrogramOperation> {
    using Scripted::Scripted;
    bool process(double tuningFrequency) override {
        setSpectrogram(worked(completeSpectrogram(2), {{"tuning", textOf(tuningFrequency)}}));
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
        this->mScript->work(this->mStage, {{"tuning", textOf(input.tuningFrequency)},
                                           {"key", input.key->description()},
                                           {"beats", joined(input.beatLocations)}});
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
            std::make_shared<TarnMusicInformationRetrievalController>("song.wav", "u", storage, factory);
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

    void addStandardPitch() {
        const auto pitch = storage->newStandardPitchEntry();
        pitch->setFrequency(432);
        storage->addStandardPitchEntry(pitch);
    }
    /// Everything that a run can find.
    void fillDocument() {
        addStandardPitch();
        fixtures::addKey(*storage, 0, "Em");
        fixtures::addBeats(*storage, {7, 5});
        storage->setTimeSignature(4, 8);
        storage->addTempoEntry(storage->newTempoEntry());
        fixtures::addChord(*storage, 10, "D");
    }

private:
    /// The text of what a notification carries, where it is a value of the kind.
    template <typename Value>
    static void describe(std::string& text, const std::any& content,
                         std::string (*textOfValue)(const Value&)) {
        const auto* value = std::any_cast<std::shared_ptr<Value>>(&content);
        if (value && *value)
            text = textOfValue(**value);
    }

    std::string described(const std::any& content) {
        std::string text;
        describe<Spectrogram>(text, content, [](const auto& spectrogram) {
            return std::to_string(spectrogram.completedColumnCount()) + " columns";
        });
        describe<Waveform>(text, content, [](const auto& waveform) {
            return std::to_string(waveform.points(0).size()) + " points";
        });
        describe<TarnStandardPitchEntry>(text, content,
                                         [](const auto& pitch) { return textOf(pitch.frequency()); });
        describe<TarnTempoEntry>(text, content, [](const auto& tempo) { return textOf(tempo.tempo()); });
        describe<TarnTimeSignatureEntry>(text, content, [](const auto& signature) {
            return std::to_string(signature.numerator()) + '/' + std::to_string(signature.denominator());
        });
        if (const auto* beats = std::any_cast<EntryList<TarnBeatEntry>>(&content)) {
            for (const auto& beat : *beats)
                text += (text.empty() ? "" : " ") + std::to_string(beat->location()) +
                        (beat->isDownbeat() ? "*" : "");
        }
        if (const auto* detector = std::any_cast<std::shared_ptr<ChordDetectionOperation>>(&content)) {
            for (const char* stage : {"chords", "legacy chords"}) {
                if (*detector && *detector == factory->operations[stage])
                    text = stage;
            }
        }
        return text;
    }

    void observe(const Notification& notification) {
        Event event{notification.name, {}};
        for (const auto& [key, content] : notification.userInfo) {
            if (key.find("TarnNoteEntryStorage") == std::string::npos)
                event.values[key] = described(content);
        }
        if (notification.object == storage) {
            if (notification.name == TarnNoteEntryStorageDidChangeKeyEntriesNotification) {
                for (const auto& key : storage->keyEntries())
                    event.values["keys"] +=
                        (event.values["keys"].empty() ? "" : " ") + key->tonicChord()->string();
            }
            if (notification.name == TarnNoteEntryStorageDidChangeChordEntriesNotification) {
                for (const auto& chord : fixtures::chordsOf(storage->chordEntries()))
                    event.values["chords"] += (event.values["chords"].empty() ? "" : " ") + chord;
            }
        } else if (!notification.object) {
            event.values["object"] = "none";
        } else if (notification.object != mSender.lock()) {
            event.values["object"] = "another";
        }
        script->note(event);
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
