#include "AnalysisEngine/AnalysisEngine.h"

#include "AnalysisEngine/AudioReader.h"
#include "AnalysisEngine/BeatAlignment.h"
#include "AnalysisEngine/BeatwiseChordRecognition.h"
#include "AnalysisEngine/ChordRecognition.h"
#include "AnalysisEngine/KeyDetection.h"
#include "AnalysisEngine/LoudnessMeter.h"
#include "AnalysisEngine/RecordingTags.h"
#include "AnalysisEngine/SharedAudio.h"
#include "AnalysisEngine/SpectrogramComputation.h"
#include "AnalysisEngine/TuningEstimation.h"
#include "AnalysisEngine/WaveformComputation.h"
#include "KELPMusic/ConcertPitch.h"
#include "Platform/Bundle.h"
#include "Platform/CheckedArithmetic.h"
#include "Platform/FileManager.h"
#include "Platform/Log.h"
#include "Platform/SHA256.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <vector>

namespace tarn {

namespace {

constexpr std::int64_t kProgressUnits = 1000;

std::string activity(const char* text) {
    return Bundle::framework().localizedString(text);
}

/// A frequency that can be tuned by; anything else counts as concert pitch.
double usableTuning(double frequency) {
    return std::isfinite(frequency) && frequency > 0 ? frequency : kConcertPitch;
}

/// What the operations have in common: the file's audio, and work that can be cancelled and reports its
/// progress.
template <typename Base>
class EngineOperation : public Base {
public:
    EngineOperation(std::shared_ptr<SharedAudio> audio, const char* activityText) : mAudio(std::move(audio)) {
        this->progress()->setTotalUnitCount(kProgressUnits);
        this->setActivity(activity(activityText));
    }

protected:
    [[nodiscard]] SharedAudio& audio() const { return *mAudio; }

    /// Returns what `work` returns, or an empty value when the operation is cancelled.
    template <typename Work>
    auto perform(const Work& work) -> decltype(work(std::declval<const StageMonitor&>())) {
        const StageMonitor monitor([this] { return this->isCancelled(); },
                                   [this](double fraction) {
                                       const double units = std::clamp(fraction, 0.0, 1.0) * kProgressUnits;
                                       this->progress()->setCompletedUnitCount(
                                           static_cast<std::int64_t>(units));
                                   });
        try {
            return work(monitor);
        } catch (const AnalysisCancelled&) {
            return {};
        }
    }

private:
    std::shared_ptr<SharedAudio> mAudio;
};

class EngineTuningEstimation : public EngineOperation<TuningEstimationOperation> {
public:
    explicit EngineTuningEstimation(std::shared_ptr<SharedAudio> audio)
        : EngineOperation(std::move(audio), "Estimating tuning") {}

protected:
    std::optional<double> process() override {
        return perform([&](const StageMonitor& monitor) -> std::optional<double> {
            return estimateTuning(audio().features(monitor)->spectral);
        });
    }
};

class EngineKeyDetection : public EngineOperation<KeyDetectionOperation> {
public:
    explicit EngineKeyDetection(std::shared_ptr<SharedAudio> audio)
        : EngineOperation(std::move(audio), "Detecting key") {}

protected:
    std::optional<int> process(double tuningFrequency) override {
        return perform([&](const StageMonitor& monitor) -> std::optional<int> {
            const auto features = audio().features(monitor.part(0, 0.5));
            const auto found =
                detectKey(features->spectral, usableTuning(tuningFrequency), monitor.part(0.5, 1));
            if (!found)
                return std::nullopt;
            setConfidence(found->probability);
            return found->key;
        });
    }
};

class EngineBeatDetection : public EngineOperation<BeatDetectionOperation> {
public:
    explicit EngineBeatDetection(std::shared_ptr<SharedAudio> audio)
        : EngineOperation(std::move(audio), "Detecting beats") {}

protected:
    std::optional<Result> process() override {
        return perform([&](const StageMonitor& monitor) -> std::optional<Result> {
            const auto beats = audio().beats(monitor);
            if (beats->tatums.empty())
                return std::nullopt;
            return Result{beats->tatums, beats->metre.tempo};
        });
    }
};

/// Works on what it is told alone, and on what the engine knows of these beats.
class EngineBeatAlignment : public EngineOperation<BeatAlignmentOperation> {
public:
    explicit EngineBeatAlignment(std::vector<std::shared_ptr<SharedAudio>> open)
        : EngineOperation(nullptr, "Aligning beats"), mOpen(std::move(open)) {}

protected:
    std::optional<Result> process(const Input& input) override {
        return perform([&](const StageMonitor& monitor) -> std::optional<Result> {
            const int expected = static_cast<int>(std::clamp<std::int64_t>(input.tatumsPerBar, 1, 255));
            const auto detected = detectedBeats(input.beatLocations);
            if (detected)
                setMetre(std::shared_ptr<const DetectedMetre>(detected, &detected->metre));
            const auto bars =
                detected ? barsOf(*detected)
                         : alignBeats(input.beatLocations, expected, input.chordChangeLocations, monitor);
            return bars ? Result{bars->downbeatLocation, bars->tatumCount} : Result{kNoDownbeat, expected};
        });
    }

private:
    static constexpr std::int64_t kNoDownbeat = -1;

    std::shared_ptr<const DetectedBeats> detectedBeats(const std::vector<std::int64_t>& tatums) const {
        for (const auto& audio : mOpen)
            if (auto beats = audio->detectedBeats(); beats && beats->tatums == tatums)
                return beats;
        return nullptr;
    }

    std::vector<std::shared_ptr<SharedAudio>> mOpen;
};

class EngineSpectrogram : public EngineOperation<KELPSpectrogramOperation> {
public:
    EngineSpectrogram(std::shared_ptr<SharedAudio> audio, std::shared_ptr<Spectrogram> spectrogram)
        : EngineOperation(std::move(audio), "Computing spectrogram"), mDrawn(std::move(spectrogram)) {
        setSpectrogram(mDrawn);
    }

protected:
    bool process(double tuningFrequency) override {
        return perform([&](const StageMonitor& monitor) {
            setSpectrogram(mDrawn); // a cache's may have taken its place
            mDrawn->setTuningFrequency(usableTuning(tuningFrequency));
            // Whoever computes the features, what there is of them is drawn whenever that reports.
            const StageMonitor computing = monitor.part(0, 0.8);
            const StageMonitor drawing({}, [&](double fraction) {
                computing.report(fraction);
                if (const auto heard = audio().heardSoFar())
                    appendColumns(*heard->spectrum, *mDrawn);
            });
            const auto features = audio().features(drawing);
            appendColumns(*features->spectral.magnitudes, *mDrawn, monitor.part(0.8, 1));
            mDrawn->finish();
            return true;
        });
    }

private:
    const std::shared_ptr<Spectrogram> mDrawn;
};

class EngineWaveform : public EngineOperation<KELPWaveformOperation> {
public:
    EngineWaveform(std::shared_ptr<SharedAudio> audio, std::filesystem::path cache,
                   std::shared_ptr<Waveform> waveform)
        : EngineOperation(std::move(audio), "Drawing waveform"), mCache(std::move(cache)),
          mWaveform(std::move(waveform)) {}

    [[nodiscard]] std::shared_ptr<Waveform> waveform() const override {
        const std::lock_guard guard(mMutex);
        return mWaveform;
    }

protected:
    bool process() override {
        return perform([&](const StageMonitor& monitor) {
            const auto reader = AudioReader::open(audio().file());
            if (!reader)
                return false;
            const auto computed = waveformToFill(*reader);
            if (audio().expectsFeatures())
                drawWithFeatures(*computed, monitor);
            else
                computeWaveform(*reader, *computed, monitor);
            writeWaveformCache(computed,
                               mCache); // without the cache the waveform is computed again next time
            return true;
        });
    }

private:
    /// From the pass that others need anyway.
    void drawWithFeatures(Waveform& waveform, const StageMonitor& monitor) {
        const StageMonitor drawing({}, [&](double fraction) {
            monitor.report(fraction);
            if (const auto heard = audio().heardSoFar())
                appendPoints(*heard->waveform, waveform);
        });
        (void)audio().features(drawing);
        if (const auto heard = audio().heardSoFar())
            appendPoints(*heard->waveform, waveform);
        waveform.finish();
    }

    /// That of the operation, or a new one in its place when the cache's finished one is not wanted.
    std::shared_ptr<Waveform> waveformToFill(const AudioReader& reader) {
        const std::lock_guard guard(mMutex);
        if (mWaveform->isProcessingComplete())
            mWaveform = std::make_shared<Waveform>(reader.frameCount(), reader.sampleRate());
        return mWaveform;
    }

    std::filesystem::path mCache;
    mutable std::mutex mMutex; ///< guards the waveform
    std::shared_ptr<Waveform> mWaveform;
};

KELPChordRef chordOf(const RecognizedChord& recognized, const KELPKeyRef& key) {
    if (recognized.label == kNoChordLabel)
        return KELPChord::noChord();
    const KELPNote root = KELPNote::noteWithValue(rootOf(recognized.label));
    auto chord = KELPChord::chordWithRoot(root, qualityOf(recognized.label).definition->intervals);
    if (recognized.bass != rootOf(recognized.label)) {
        const KELPNote bass =
            chord->toneWithValue(recognized.bass).value_or(KELPNote::noteWithValue(recognized.bass));
        chord = chord->chordWithNewRoot(root, bass);
    }
    return key ? key->scaleNormalizedChord(chord) : chord;
}

std::vector<std::int64_t> wholeFrames(const std::vector<double>& locations) {
    std::vector<std::int64_t> frames;
    for (const double location : locations) {
        // A count-in in the document lies before the recording.
        if (location >= 0 && truncationFits<std::int64_t>(location))
            frames.push_back(static_cast<std::int64_t>(location));
    }
    return frames;
}

class EngineChordDetection : public EngineOperation<DetectChordsOperation> {
public:
    explicit EngineChordDetection(std::shared_ptr<SharedAudio> audio)
        : EngineOperation(std::move(audio), "Detecting chords") {}

protected:
    std::optional<ChordDetectionResultArray> process(const Input& input) override {
        return perform([&](const StageMonitor& monitor) -> std::optional<ChordDetectionResultArray> {
            const auto features = audio().features(monitor.part(0, 0.4));
            // Beat detection may or may not have come to its end in this run; without its beats the same ones
            // are computed here, so that the chords do not depend on who was first.
            auto tatums = wholeFrames(input.beatLocations);
            if (tatums.empty())
                tatums = audio().beats(monitor.part(0.4, 0.6))->tatums;
            const auto recognition =
                recognizeChords(*features, usableTuning(input.tuningFrequency), tatums, monitor.part(0.6, 1));
            publishCandidates(recognition);
            ChordDetectionResultArray results;
            for (const RecognizedChord& chord : recognition.chords)
                results.push_back(KELPChordDetectionResult::resultForChord(
                    chordOf(chord, input.key), chord.probability, chord.location));
            return results;
        });
    }

private:
    void publishCandidates(const ChordRecognition& recognition) {
        std::vector<Frame> frames;
        frames.reserve(recognition.candidates.size());
        for (const auto& candidates : recognition.candidates) {
            Frame frame{candidates.location, {}};
            for (const auto& candidate : candidates.ranked)
                frame.candidates.push_back({candidate.label, candidate.probability});
            frames.push_back(std::move(frame));
        }
        setTopKResults(std::move(frames));
    }
};

class EngineLegacyChordDetection : public EngineOperation<LegacyChordDetectionOperation> {
public:
    explicit EngineLegacyChordDetection(std::shared_ptr<SharedAudio> audio)
        : EngineOperation(std::move(audio), "Detecting chords") {}

protected:
    std::optional<ChordDetectionResultArray> process(const Input& input) override {
        return perform([&](const StageMonitor& monitor) -> std::optional<ChordDetectionResultArray> {
            const auto features = audio().features(monitor.part(0, 0.6));
            ChordDetectionResultArray results;
            for (const auto& chord :
                 recognizeChordsBeatwise(*features, usableTuning(input.tuningFrequency),
                                         wholeFrames(input.beatLocations), monitor.part(0.6, 1)))
                results.push_back(
                    KELPChordDetectionResult::resultForChord(chordOf(chord, input.key), 0, chord.location));
            return results;
        });
    }
};

/// SHA-256 of the rate, the channels and all samples, as 64 hexadecimal digits; nothing when cancelled or
/// where the source cannot be read.
std::optional<std::string>
digestOfSamples(AudioSource& source, const AnalysisOperationFactory::CancellationQuestion& isCancelled) {
    const auto stream = source.open();
    if (!stream)
        return std::nullopt;
    SHA256 digest;
    const auto add = [&](std::span<const std::uint32_t> numbers) {
        std::vector<std::byte> bytes; // least significant first, on every machine
        bytes.reserve(numbers.size() * sizeof(std::uint32_t));
        for (const std::uint32_t number : numbers)
            for (std::size_t i = 0; i < sizeof(number); ++i)
                bytes.push_back(static_cast<std::byte>(number >> 8 * i));
        digest.update(bytes);
    };
    const std::uint32_t shape[] = {static_cast<std::uint32_t>(stream->sampleRate()),
                                   static_cast<std::uint32_t>(stream->channelCount())};
    add(shape);
    const auto channels = static_cast<std::size_t>(stream->channelCount());
    std::vector<float> samples(AudioReader::kBlockLength * channels);
    std::vector<std::uint32_t> bits(samples.size());
    while (const std::size_t frames = stream->read(samples)) {
        if (isCancelled && isCancelled())
            return std::nullopt;
        std::transform(samples.begin(), samples.end(), bits.begin(),
                       [](float sample) { return std::bit_cast<std::uint32_t>(sample); });
        add(std::span(bits).first(frames * channels));
    }
    return digest.hexDigest();
}

} // namespace

std::shared_ptr<SharedAudio> AnalysisEngine::sharedAudio(const File& audio) {
    const std::lock_guard guard(mMutex);
    for (const auto& open : openAudio())
        if (open->file() == audio)
            return open;
    std::string refusal;
    if (!AudioReader::open(audio, &refusal)) {
        Log::standard().write(LogLevel::error, "{} cannot be analyzed: {}", [&] {
            return std::vector{logPrivate(audio.string()), logPublic(refusal)};
        });
        return nullptr;
    }
    auto opened = std::make_shared<SharedAudio>(audio);
    mOpen.push_back(opened);
    return opened;
}

std::vector<std::shared_ptr<SharedAudio>> AnalysisEngine::openAudio() {
    std::erase_if(mOpen, [](const auto& audio) { return audio.expired(); });
    std::vector<std::shared_ptr<SharedAudio>> open;
    for (const auto& audio : mOpen)
        if (auto locked = audio.lock())
            open.push_back(std::move(locked));
    return open;
}

template <typename EngineOperation>
std::shared_ptr<EngineOperation> AnalysisEngine::makeOperation(const File& audio) {
    auto shared = sharedAudio(audio);
    if (!shared)
        return nullptr;
    shared->expectFeatures();
    return std::make_shared<EngineOperation>(std::move(shared));
}

std::shared_ptr<TuningEstimationOperation> AnalysisEngine::makeTuningEstimationOperation(const File& audio) {
    return makeOperation<EngineTuningEstimation>(audio);
}

std::shared_ptr<KeyDetectionOperation> AnalysisEngine::makeKeyDetectionOperation(const File& audio) {
    return makeOperation<EngineKeyDetection>(audio);
}

std::shared_ptr<BeatDetectionOperation> AnalysisEngine::makeBeatDetectionOperation(const File& audio) {
    return makeOperation<EngineBeatDetection>(audio);
}

std::shared_ptr<BeatAlignmentOperation> AnalysisEngine::makeBeatAlignmentOperation() {
    const std::lock_guard guard(mMutex);
    return std::make_shared<EngineBeatAlignment>(openAudio());
}

std::shared_ptr<KELPSpectrogramOperation> AnalysisEngine::makeSpectrogramOperation(const File& audio) {
    auto shared = sharedAudio(audio);
    const auto reader = shared ? AudioReader::open(audio) : nullptr;
    if (!reader)
        return nullptr;
    const auto frameCount = reader->declaresLength() ? std::optional(reader->frameCount()) : std::nullopt;
    return std::make_shared<EngineSpectrogram>(std::move(shared),
                                               makeSpectrogram(reader->sampleRate(), frameCount));
}

std::shared_ptr<KELPWaveformOperation> AnalysisEngine::makeWaveformOperation(const File& audio,
                                                                             const File& cache) {
    auto shared = sharedAudio(audio);
    const auto reader = shared ? AudioReader::open(audio) : nullptr;
    if (!reader)
        return nullptr;
    auto waveform = readWaveformCache(cache, audio, *reader);
    if (!waveform)
        waveform = std::make_shared<Waveform>(reader->frameCount(), reader->sampleRate());
    return std::make_shared<EngineWaveform>(std::move(shared), cache, std::move(waveform));
}

std::shared_ptr<DetectChordsOperation> AnalysisEngine::makeDetectChordsOperation(const File& audio) {
    return makeOperation<EngineChordDetection>(audio);
}

std::shared_ptr<LegacyChordDetectionOperation>
AnalysisEngine::makeLegacyChordDetectionOperation(const File& audio) {
    return makeOperation<EngineLegacyChordDetection>(audio);
}

std::shared_ptr<const Error> AnalysisEngine::refusal(const File& audio) {
    const auto cause = std::make_shared<Error>();
    if (!AudioSourcePath::sourceAt(audio) && !FileManager::isReadableFile(audio, cause.get()))
        return analysisRefusal(
            cause->code == ENOENT ? AnalysisRefusal::missingFile : AnalysisRefusal::unreadableFile, cause);
    std::string reason;
    if (AudioReader::open(audio, &reason))
        return nullptr;
    *cause = Error(kAnalysisRefusalDomain, static_cast<long>(AnalysisRefusal::undecodableAudio),
                   audio.string() + ": " + reason);
    return analysisRefusal(AnalysisRefusal::undecodableAudio, cause);
}

std::optional<RecordingFacts> AnalysisEngine::identifyRecording(const File& audio,
                                                                const CancellationQuestion& isCancelled,
                                                                std::string* refusal) {
    const auto reader = AudioReader::open(audio, refusal);
    if (!reader)
        return std::nullopt;
    const auto source = AudioSourcePath::sourceAt(audio);
    auto digest =
        source ? digestOfSamples(*source, isCancelled) : SHA256::hexDigestOfFile(audio, isCancelled);
    if (!digest) {
        if (refusal && !(isCancelled && isCancelled()))
            *refusal = "the file cannot be read to its end";
        return std::nullopt;
    }
    auto tags = source ? RecordingTags() : tagsOf(audio);
    const std::int64_t frames = reader->declaresLength() ? reader->frameCount() : 0;
    return RecordingFacts{.sampleRate = static_cast<double>(reader->sampleRate()),
                          .frameCount = frames,
                          .declaredFrames = frames,
                          .digest = *std::move(digest),
                          .title = std::move(tags.title),
                          .artist = std::move(tags.artist),
                          .hearing = sharedAudio(audio)};
}

bool AnalysisEngine::hearRecording(const File& audio, RecordingFacts& facts,
                                   const CancellationQuestion& isCancelled) {
    const auto hearing = std::exchange(facts.hearing, nullptr);
    if (const auto features = heardFeatures(audio)) {
        facts.frameCount = features->frameCount;
        facts.envelope = features->envelope;
    } else {
        const auto reader = AudioReader::open(audio);
        if (!reader)
            return false;
        LoudnessMeter meter(reader->sampleRate());
        for (auto block = reader->nextBlock(); !block.empty(); block = reader->nextBlock()) {
            if (isCancelled && isCancelled())
                return false;
            meter.process(block);
        }
        facts.frameCount = reader->framesRead();
        facts.envelope = meter.finish();
    }
    if (facts.declaredFrames == 0) // where the file does not say
        facts.declaredFrames = facts.frameCount;
    return true;
}

std::optional<RecordingFacts> AnalysisEngine::readRecording(const File& audio,
                                                            const CancellationQuestion& isCancelled,
                                                            std::string* refusal) {
    auto facts = identifyRecording(audio, isCancelled, refusal);
    return facts && hearRecording(audio, *facts, isCancelled) ? std::move(facts) : std::nullopt;
}

std::shared_ptr<const AudioFeatures> AnalysisEngine::heardFeatures(const File& audio) {
    const std::lock_guard guard(mMutex);
    for (const auto& open : openAudio())
        if (open->file() == audio)
            return open->heardFeatures();
    return nullptr;
}

void registerAnalysisEngine() {
    AnalysisOperationFactory::setShared(std::make_shared<AnalysisEngine>());
}

} // namespace tarn
