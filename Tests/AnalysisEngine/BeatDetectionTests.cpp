#include "AnalysisEngine/AudioReader.h"
#include "AnalysisEngine/BeatAlignment.h"
#include "AnalysisEngine/BeatDetection.h"
#include "Signals.h"

#include <array>
#include <gtest/gtest.h>
#include <numeric>
#include <span>

using namespace tarn;

namespace {

/// A piece of music at the analysis rate, made of sounds put at times in seconds.
class Music {
public:
    explicit Music(double seconds) : mSamples(static_cast<std::size_t>(seconds * kAnalysisRate)) {}

    void kick(double time) {
        add(time, 0.15, [](double t) { return 0.8 * std::sin(2 * pi * 55 * t) * std::exp(-t * 20); });
    }
    void snare(double time) {
        add(time, 0.15, [this](double t) { return 0.5 * mNoise(mRandom) * std::exp(-t * 30); });
    }
    void hat(double time) {
        double last = 0; // the difference leaves the high frequencies
        add(time, 0.04, [&](double t) {
            const double value = mNoise(mRandom);
            return 0.15 * (value - std::exchange(last, value)) * std::exp(-t * 100);
        });
    }
    void click(double time) {
        add(time, 0.01, [](double t) { return std::sin(2 * pi * 1500 * t) * std::exp(-t * 300); });
    }
    void tone(double time, double length, double midiPitch, double level = 0.1) {
        const double step = 2 * pi * 440 * std::exp2((midiPitch - 69) / 12);
        add(time, length, [=](double t) {
            const double fade = std::min({1.0, t / 0.01, (length - t) / 0.02});
            return level * fade *
                   (std::sin(step * t) + 0.4 * std::sin(2 * step * t) + 0.2 * std::sin(3 * step * t));
        });
    }
    void chord(double time, double length, std::span<const int> pitches) {
        for (const int pitch : pitches)
            tone(time, length, pitch, 0.07);
    }

    BeatFeatures features() const {
        BeatFeatureExtractor extractor;
        extractor.process(mSamples);
        return extractor.finish();
    }

    /// What is detected when the file has that rate.
    DetectedBeats beats(double sampleRate = kAnalysisRate) const {
        return detectBeats(features(), sampleRate);
    }

private:
    template <typename Sound>
    void add(double time, double length, Sound&& sound) {
        const auto begin = static_cast<std::size_t>(std::lround(time * kAnalysisRate));
        const auto count = static_cast<std::size_t>(length * kAnalysisRate);
        for (std::size_t i = 0; i < count && begin + i < mSamples.size(); ++i)
            mSamples[begin + i] += static_cast<float>(sound(static_cast<double>(i) / kAnalysisRate));
    }

    std::vector<float> mSamples;
    std::mt19937 mRandom{1};
    std::uniform_real_distribution<double> mNoise{-1, 1};
};

/// I, vi, IV and V of C major with their bass notes.
void playChord(Music& music, double time, double length, std::size_t number) {
    constexpr int kNotes[][4] = {{36, 60, 64, 67}, {33, 60, 64, 69}, {41, 60, 65, 69}, {43, 62, 67, 71}};
    music.tone(time, length, kNotes[number % 4][0], 0.2);
    music.chord(time, length, std::span(kNotes[number % 4]).subspan(1));
}

/// Share of `times` that have one of the counted beats within 40 ms.
double shareFound(const std::vector<double>& times, const DetectedBeats& beats,
                  double sampleRate = kAnalysisRate) {
    const auto found = std::count_if(times.begin(), times.end(), [&](double time) {
        bool isFound = false;
        for (std::size_t i = 0; i < beats.tatums.size(); i += 2)
            isFound |= std::abs(static_cast<double>(beats.tatums[i]) / sampleRate - time) < 0.04;
        return isFound;
    });
    return static_cast<double>(found) / static_cast<double>(times.size());
}

std::vector<double> steadyBeats(double first, double tempo, double seconds) {
    std::vector<double> times;
    for (double time = first; time < seconds - 0.2; time += 60 / tempo)
        times.push_back(time);
    return times;
}

/// Drums and chords in bars of four, the beats at those times: kick on one and three, snare on two and four.
Music band(const std::vector<double>& beats, double seconds) {
    Music music(seconds);
    for (std::size_t i = 0; i + 1 < beats.size(); ++i) {
        const double length = beats[i + 1] - beats[i];
        i % 2 == 0 ? music.kick(beats[i]) : music.snare(beats[i]);
        music.hat(beats[i]);
        music.hat(beats[i] + length / 2);
        if (i % 4 == 0)
            playChord(music, beats[i], 3.9 * length, i / 4);
    }
    return music;
}

TEST(BeatDetection, FindsTheTempoThatPeopleTapInFramesOfTheFile) {
    const std::pair<double, double> cases[] = {{64, kAnalysisRate}, {76, 8000},           {93, kAnalysisRate},
                                               {110, 48000},        {128, kAnalysisRate}, {145, 96000}};
    for (const auto& [tempo, rate] : cases) {
        SCOPED_TRACE(tempo);
        const std::vector<double> times = steadyBeats(0.5, tempo, 40);
        const DetectedBeats beats = band(times, 40).beats(rate);
        EXPECT_NEAR(beats.metre.tempo, tempo, 0.01 * tempo);
        EXPECT_GE(shareFound(times, beats, rate), 0.95);
        EXPECT_NEAR(static_cast<double>(beats.tatums.size()), 2.0 * static_cast<double>(times.size()), 4);
        EXPECT_TRUE(std::is_sorted(beats.tatums.begin(), beats.tatums.end(), std::less_equal<>()));
        EXPECT_GE(beats.tatums.front(), 0);
        EXPECT_LT(beats.tatums.back(), static_cast<std::int64_t>(40 * rate));
    }
}

TEST(BeatDetection, FollowsTheTempo) {
    std::vector<double> slowing, changing;
    double period = 0.5;
    for (double time = 0.3; time < 60; time += period, period *= 1.003)
        slowing.push_back(time);
    for (double time = 0.3; time < 60; time += time < 30 ? 0.6 : 0.48)
        changing.push_back(time);
    EXPECT_GE(shareFound(slowing, band(slowing, 60).beats()), 0.95);
    EXPECT_GE(shareFound(changing, band(changing, 60).beats()), 0.9);
}

TEST(BeatDetection, DoesNotDependOnBlocksOrLevel) {
    Samples samples = noise(20, 1);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] *=
            static_cast<float>(std::exp(-30 * std::fmod(static_cast<double>(i) / kAnalysisRate, 0.5)));
    BeatFeatureExtractor atOnce, inPieces;
    atOnce.process(samples);
    std::vector<float> quiet(samples);
    for (float& sample : quiet)
        sample /= 64;
    const std::span<const float> all(quiet);
    for (std::size_t begin = 0, length = 1; begin < all.size(); begin += length, length = length * 7 % 5003)
        inPieces.process(all.subspan(begin, std::min(length, all.size() - begin)));
    const std::vector<std::int64_t> expected = detectBeats(atOnce.finish(), 44100).tatums;
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(detectBeats(inPieces.finish(), 44100).tatums, expected);
}

double secondsOf(std::int64_t frame) {
    return static_cast<double>(frame) / kAnalysisRate;
}

/// What must hold of detected beats and bars, whatever the song.
void expectSoundBeats(const DetectedBeats& beats) {
    const DetectedMetre& metre = beats.metre;
    ASSERT_FALSE(metre.bars.empty());
    for (const auto* frames : {&metre.countedBeats, &metre.eighths, &beats.tatums}) {
        ASSERT_FALSE(frames->empty());
        EXPECT_TRUE(std::is_sorted(frames->begin(), frames->end(), std::less_equal<>()));
        EXPECT_GE(frames->front(), 0);
    }
    EXPECT_TRUE(std::includes(metre.eighths.begin(), metre.eighths.end(), metre.countedBeats.begin(),
                              metre.countedBeats.end()));
    for (std::size_t bar = 0; bar < metre.bars.size(); ++bar) {
        EXPECT_TRUE(
            std::binary_search(metre.countedBeats.begin(), metre.countedBeats.end(), metre.bars[bar].start));
        if (bar > 0) {
            EXPECT_EQ(metre.bars[bar - 1].start + metre.bars[bar - 1].length, metre.bars[bar].start);
        }
    }
    EXPECT_LT(beats.firstDownbeat, static_cast<std::size_t>(beats.tatumsPerBar));
    const auto alignment = barsOf(beats);
    ASSERT_TRUE(alignment);
    EXPECT_EQ(alignment->downbeatLocation, beats.tatums[beats.firstDownbeat]);
    EXPECT_EQ(alignment->tatumCount, beats.tatumsPerBar);
}

/// A song in one metre: its counted beats, and which of them open bars.
struct Counted {
    Music music;
    std::vector<double> beats, downbeats;
};

/// Bars of beats that have so many strokes of the hi-hat each, `stroke` seconds apart where they are even: a
/// bass note for the bar, a chord on each beat, kick on the first and snare on the others. In two strokes the
/// second begins at `late` of the beat.
Counted song(const std::vector<int>& strokesOfBeats, double stroke, double late = 0.5) {
    constexpr int kNotes[][4] = {{36, 60, 64, 67}, {33, 60, 64, 69}, {41, 60, 65, 69}, {43, 62, 67, 71}};
    constexpr double kSeconds = 48;
    Counted result{Music(kSeconds), {}, {}};
    double time = 0.4;
    for (std::size_t bar = 0; time < kSeconds - 3; ++bar) {
        const std::span<const int> notes(kNotes[bar % 4]);
        result.downbeats.push_back(time);
        result.music.tone(time, 0.95 * stroke * std::reduce(strokesOfBeats.begin(), strokesOfBeats.end()),
                          notes[0], 0.2);
        for (const int strokes : strokesOfBeats) {
            time == result.downbeats.back() ? result.music.kick(time) : result.music.snare(time);
            result.music.chord(time, 0.95 * strokes * stroke, notes.subspan(1));
            for (int k = 0; k < strokes; ++k)
                result.music.hat(time + stroke * (strokes == 2 ? 2 * late * k : k));
            result.beats.push_back(time);
            time += strokes * stroke;
        }
    }
    return result;
}

std::vector<double> barStarts(const DetectedBeats& beats) {
    std::vector<double> starts;
    for (const DetectedBar& bar : beats.metre.bars)
        starts.push_back(secondsOf(bar.start));
    return starts;
}

double shareNear(const std::vector<double>& times, const std::vector<double>& found) {
    const auto near = std::count_if(times.begin(), times.end(), [&](double time) {
        return std::any_of(found.begin(), found.end(),
                           [&](double other) { return std::abs(other - time) < 0.04; });
    });
    return static_cast<double>(near) / static_cast<double>(times.size());
}

TEST(BeatDetection, CountsBarsOfEachMetre) {
    const struct {
        int numerator, denominator;
        std::vector<int> strokesOfBeats;
        double tempo; // of quarters, or dotted quarters
    } cases[] = {{3, 4, {2, 2, 2}, 105},       {4, 4, {2, 2, 2, 2}, 96},
                 {5, 4, {2, 2, 2, 2, 2}, 120}, {7, 4, {2, 2, 2, 2, 2, 2, 2}, 150},
                 {6, 8, {3, 3}, 66},           {9, 8, {3, 3, 3}, 70},
                 {12, 8, {3, 3, 3, 3}, 62},    {7, 8, {2, 2, 3}, 150},
                 {5, 8, {3, 2}, 143},          {5, 8, {2, 3}, 150}};
    for (const auto& expected : cases) {
        SCOPED_TRACE(testing::Message() << expected.numerator << '/' << expected.denominator);
        const bool isCompound = expected.denominator == 8 && expected.numerator % 3 == 0;
        const double eighth = 60 / expected.tempo / (isCompound ? 3 : 2);
        const Counted counted = song(expected.strokesOfBeats, eighth);
        const DetectedBeats beats = counted.music.beats();
        expectSoundBeats(beats);
        EXPECT_EQ(beats.metre.numerator, expected.numerator);
        EXPECT_EQ(beats.metre.denominator, expected.denominator);
        EXPECT_GE(shareFound(counted.beats, beats), 0.95);
        EXPECT_GE(shareNear(counted.downbeats, barStarts(beats)), 0.95);
        EXPECT_NEAR(beats.metre.tempo, expected.tempo, 5e-4 * expected.tempo);
        for (std::size_t i = 1; i + 1 < beats.metre.eighths.size(); ++i)
            EXPECT_NEAR(secondsOf(beats.metre.eighths[i] - beats.metre.eighths[i - 1]), eighth, 0.04);
    }
}

TEST(BeatDetection, CountsSwungEighthsAtTheirTempo) {
    for (const double offBeat : {0.58, 0.63, 0.67}) {
        SCOPED_TRACE(offBeat);
        const Counted counted = song({2, 2, 2, 2}, 30.0 / 126, offBeat);
        const DetectedBeats beats = counted.music.beats();
        EXPECT_NEAR(beats.metre.tempo, 126, 0.1);
        EXPECT_GE(shareFound(counted.beats, beats), 0.95);
    }
}

TEST(BeatDetection, KeepsBarsWholeAcrossPausesAndRitardandi) {
    std::vector<double> times, downbeats;
    double time = 0.4, period = 0.5;
    for (std::size_t bar = 0; bar < 24; ++bar) {
        if (bar == 9)
            time += 1.7; // silence
        downbeats.push_back(time);
        for (std::size_t beat = 0; beat < 4; ++beat, time += period) {
            period = bar % 8 == 7 ? period * 1.06 : 0.5;
            times.push_back(time);
        }
    }
    const DetectedBeats beats = band(times, times.back() + 1).beats();
    expectSoundBeats(beats);
    EXPECT_EQ(beats.metre.numerator, 4);
    EXPECT_GE(shareFound(times, beats), 0.9);
    EXPECT_GE(shareNear(downbeats, barStarts(beats)), 0.85);
}

TEST(BeatDetection, CountsOnWhileTheLastChordSounds) {
    std::vector<double> times = steadyBeats(0.5, 90, 20);
    Music music = band(times, 30);
    music.chord(times.back(), 5, std::array{60, 64, 67, 72});
    for (std::size_t i = 0; i < 6; ++i)
        times.push_back(times.back() + 60.0 / 90);
    const DetectedBeats beats = music.beats();
    EXPECT_GE(shareFound(times, beats), 0.95);
    EXPECT_LT(beats.tatums.back(), 27 * kAnalysisRate);
}

TEST(BeatDetection, HearsNoBeatsInWhatIsNoMusic) {
    const auto beatsOf = [](const Samples& samples) {
        BeatFeatureExtractor extractor;
        extractor.process(samples);
        const DetectedBeats beats = detectBeats(extractor.finish(), kAnalysisRate);
        EXPECT_TRUE(std::is_sorted(beats.tatums.begin(), beats.tatums.end(), std::less_equal<>()));
        EXPECT_TRUE(beats.tatums.empty() ? beats.metre.tempo == 0
                                         : beats.metre.tempo >= 30 && beats.metre.tempo < 450)
            << beats.metre.tempo;
        EXPECT_LE(beats.tatums.size(), 15 * samples.size() / kAnalysisRate);
        return beats;
    };
    for (const double seconds : {0.0, 0.01, 1.0, 20.0}) {
        SCOPED_TRACE(seconds);
        EXPECT_TRUE(beatsOf(noise(seconds, 0)).tatums.empty());
        EXPECT_TRUE(beatsOf(noise(seconds, 0.5)).tatums.empty());
    }
    Music lone(20);
    lone.tone(0, 20, 69, 0.3);
    EXPECT_TRUE(lone.beats().tatums.empty());
    for (const float level : {1.0f, 1e-30f, 65536.0f}) {
        SCOPED_TRACE(level);
        Samples constant(10 * kAnalysisRate, level), square(constant), impulse(constant.size());
        for (std::size_t i = 0; i < square.size(); ++i)
            square[i] *= i / 50 % 2 == 0 ? 1.0f : -1.0f;
        impulse[impulse.size() / 2] = level;
        for (const auto& samples : {constant, square, impulse})
            beatsOf(samples);
    }
}

TEST(BeatDetection, StopsWhenAskedAndReportsProgress) {
    const BeatFeatures features = band(steadyBeats(0.5, 90, 30), 30).features();
    std::vector<double> reports;
    const StageMonitor listening([] { return false; }, [&](double share) { reports.push_back(share); });
    detectBeats(features, kAnalysisRate, listening);
    ASSERT_GT(reports.size(), 20u);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_GE(reports.front(), 0);
    EXPECT_EQ(reports.back(), 1);

    for (const std::size_t after : {std::size_t{0}, reports.size() / 2, reports.size() - 2}) {
        std::size_t asked = 0;
        const StageMonitor stopping([&] { return asked++ >= after; }, nullptr);
        EXPECT_THROW(detectBeats(features, kAnalysisRate, stopping), AnalysisCancelled);
        EXPECT_EQ(asked, after + 1);
    }
    const StageMonitor stopped([] { return true; }, nullptr);
    BeatFeatureExtractor extractor;
    extractor.process(std::vector<float>(kAnalysisRate));
    EXPECT_THROW(extractor.finish(stopped), AnalysisCancelled);
}

} // namespace
