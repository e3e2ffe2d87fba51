#include "AnalysisEngine/ChordModel.h"
#include "AnalysisEngine/ChordRecognition.h"
#include "AnalysisEngine/KeyDetection.h"
#include "AnalysisEngine/TuningEstimation.h"
#include "Signals.h"

#include <array>
#include <gtest/gtest.h>
#include <set>
#include <string_view>

namespace tarn {

namespace {

std::string nameOf(ChordLabel label) {
    constexpr std::array kNames{"C", "Db", "D", "Eb", "E", "F", "Gb", "G", "Ab", "A", "Bb", "B"};
    return label == kNoChordLabel ? "N"
                                  : kNames[static_cast<std::size_t>(rootOf(label))] +
                                        std::string(qualityOf(label).definition->name);
}

/// A bass note, and the chord in close position around C4 twice in its time.
struct Voicing {
    int bass;
    std::vector<int> notes;
};

constexpr double kChordLength = 2;

Samples progression(const Synthesizer& synthesizer, const std::vector<Voicing>& voicings, int rounds = 1) {
    Samples signal;
    double begin = 0;
    for (int round = 0; round < rounds; ++round) {
        for (const Voicing& voicing : voicings) {
            for (const double half : {0.0, kChordLength / 2}) {
                synthesizer.play(signal, begin + half, kChordLength / 2, {voicing.bass}, 0.15);
                synthesizer.play(signal, begin + half, kChordLength / 2, voicing.notes, 0.08);
            }
            begin += kChordLength;
        }
    }
    return signal;
}

std::vector<Voicing> moved(int up, std::vector<Voicing> voicings) {
    for (Voicing& voicing : voicings) {
        voicing.bass += up;
        for (int& note : voicing.notes)
            note += up;
    }
    return voicings;
}

/// I vi IV V on C, moved.
std::vector<Voicing> majorTurnaround(int up) {
    return moved(up, {{36, {60, 64, 67}}, {33, {60, 64, 69}}, {41, {60, 65, 69}}, {43, {59, 62, 67}}});
}

/// i iv V i on A, moved.
std::vector<Voicing> minorCadence(int up) {
    return moved(up, {{33, {60, 64, 69}}, {38, {62, 65, 69}}, {40, {59, 64, 68}}, {33, {60, 64, 69}}});
}

std::string namesOf(const ChordRecognition& recognition) {
    std::string names;
    for (const RecognizedChord& chord : recognition.chords)
        names += (names.empty() ? "" : ", ") + nameOf(chord.label);
    return names;
}

void expectSound(const ChordRecognition& recognition, const AudioFeatures& features) {
    ASSERT_FALSE(recognition.chords.empty());
    EXPECT_EQ(recognition.chords.front().location, 0);
    for (std::size_t i = 1; i < recognition.chords.size(); ++i) {
        EXPECT_LT(recognition.chords[i - 1].location, recognition.chords[i].location);
        EXPECT_NE(recognition.chords[i - 1].label, recognition.chords[i].label);
    }
    EXPECT_LT(recognition.chords.back().location, features.frameCount);
    ASSERT_FALSE(recognition.candidates.empty());
    for (const ChordCandidates& frame : recognition.candidates) {
        float sum = 0;
        float before = 1;
        for (const ChordCandidate& candidate : frame.ranked) {
            EXPECT_LE(candidate.probability, before + 1e-6f);
            before = candidate.probability;
            sum += candidate.probability;
        }
        EXPECT_GT(sum, 0.05f);
        EXPECT_LE(sum, 1.001f);
    }
}

double cents(double frequency, double reference) {
    return 1200 * std::log2(frequency / reference);
}

/// It is surer than of any other key.
std::optional<int> keyOf(const AudioFeatures& features, double tuning) {
    const auto found = detectKey(features.spectral, tuning);
    if (!found)
        return std::nullopt;
    EXPECT_GT(found->probability, 1.0 / 24);
    EXPECT_LE(found->probability, 1);
    return found->key;
}

} // namespace

TEST(TuningEstimation, FindsTheStandardPitchOfAScale) {
    for (const double pitch : {428.0, 432.0, 438.7, 440.0, 443.0, 446.5, 452.0}) {
        for (const double vibrato : {0.0, 25.0}) {
            SCOPED_TRACE(std::to_string(pitch) + " Hz, vibrato " + std::to_string(vibrato));
            Samples signal = noise(8, 0.02);
            const Synthesizer synthesizer{pitch, vibrato};
            double begin = 0;
            for (const int note : {48, 50, 52, 53, 55, 57, 59, 60, 62, 64, 65, 67, 69, 71, 72, 60})
                synthesizer.play(signal, std::exchange(begin, begin + 0.5), 0.5, {note});
            EXPECT_NEAR(cents(estimateTuning(featuresOf(signal).spectral), pitch), 0, vibrato > 0 ? 4 : 1);
        }
    }
}

TEST(KeyDetection, TellsMajorAndMinorKeys) {
    for (const int up : {0, 3, 6, 10}) {
        SCOPED_TRACE(up);
        const Synthesizer synthesizer{442};
        EXPECT_EQ(keyOf(featuresOf(progression(synthesizer, majorTurnaround(up))), 442), up);
        EXPECT_EQ(keyOf(featuresOf(progression(synthesizer, minorCadence(up))), 442), 12 + (9 + up) % 12);
    }
}

TEST(KeyDetection, IsEmptyWithoutAKey) {
    for (const auto& signal : {Samples(), Samples(100000), noise(20, 0.3)})
        EXPECT_EQ(keyOf(featuresOf(signal), 440), std::nullopt);
}

TEST(ChordRecognition, FollowsAProgressionAt432Hz) {
    const AudioFeatures features = featuresOf(progression({432}, majorTurnaround(2), 2));
    const std::string expected = "D, Bm, G, A, D, Bm, G, A";
    const double tuning = estimateTuning(features.spectral);
    EXPECT_NEAR(cents(tuning, 432), 0, 1);
    const std::optional<int> key = keyOf(features, tuning);
    EXPECT_EQ(key, 2);

    const ChordRecognition freely = recognizeChords(features, tuning, {});
    expectSound(freely, features);
    EXPECT_EQ(namesOf(freely), expected);
    for (std::size_t i = 0; i < freely.chords.size(); ++i) {
        const double begin = static_cast<double>(freely.chords[i].location) / features.sampleRate;
        EXPECT_NEAR(begin, static_cast<double>(i) * kChordLength, 0.2) << i;
    }

    std::vector<std::int64_t> tatums;
    for (int i = 0; i < 32; ++i)
        tatums.push_back(i * kAnalysisRate / 2);
    const ChordRecognition onBeats = recognizeChords(features, tuning, tatums);
    expectSound(onBeats, features);
    EXPECT_EQ(namesOf(onBeats), expected);
    for (std::size_t i = 0; i < onBeats.chords.size(); ++i)
        EXPECT_EQ(onBeats.chords[i].location, static_cast<std::int64_t>(i) * 2 * kAnalysisRate);
}

TEST(ChordRecognition, TellsQualitiesAndBasses) {
    // Of a single chord, without a song around it: triads and the common sevenths. Rarer qualities may be
    // taken for commoner ones then.
    const std::set<std::string_view> known{"", "m", "dim", "aug", "7", "maj7", "m7"};
    for (const int root : {0, 5, 11}) {
        for (const ChordQuality& quality : kChordQualities) {
            SCOPED_TRACE(std::to_string(root) + " " + std::string(quality.definition->name));
            Voicing voicing{36 + root, {}};
            for (const int interval : quality.intervals) {
                if (interval >= 0)
                    voicing.notes.push_back(48 + root + interval);
            }
            const AudioFeatures features = featuresOf(progression({}, {voicing}));
            const ChordRecognition recognition = recognizeChords(features, 440, {});
            ASSERT_EQ(recognition.chords.size(), 1u) << namesOf(recognition);
            const RecognizedChord& chord = recognition.chords[0];
            EXPECT_EQ(rootOf(chord.label), root);
            EXPECT_EQ(chord.bass, root);
            EXPECT_EQ(recognition.candidates[4].ranked[0].label, chord.label);
            if (known.contains(quality.definition->name)) {
                EXPECT_EQ(qualityOf(chord.label).definition->name, quality.definition->name);
            }
        }
    }
    for (const int bass : {4, 7}) {
        const AudioFeatures inverted = featuresOf(progression({}, {{36 + bass, {60, 64, 67, 72}}}));
        const ChordRecognition recognition = recognizeChords(inverted, 440, {});
        ASSERT_EQ(namesOf(recognition), "C");
        EXPECT_EQ(recognition.chords[0].bass, bass);
    }
}

TEST(ChordModel, HearsTheSameInEveryKey) {
    const AudioFeatures features = featuresOf(progression({}, majorTurnaround(0)));
    const std::vector<double> boundaries{0, 0.5, 1, 1.8, 2.5, 3, 4.2, 6, 7};
    const std::vector<HarmonicSpan> spans = describeHarmony(features.spectral, 440, boundaries);
    const std::vector<LabelScores> evidence = ChordModel(spans).evidence();
    for (const int up : {1, 5, 11}) {
        std::vector<HarmonicSpan> moved = spans;
        for (HarmonicSpan& span : moved) {
            for (auto* profile : {&span.notes, &span.lowest, &span.bass, &span.treble})
                std::rotate(profile->begin(), profile->end() - up, profile->end());
        }
        const ChordModel model(moved);
        for (std::size_t i = 0; i < spans.size(); ++i) {
            const LabelScores scores = model.evidence(i);
            EXPECT_NEAR(scores[kNoChordLabel], evidence[i][kNoChordLabel], 1e-4);
            for (int root = 0; root < 12; ++root) {
                for (std::size_t quality = 0; quality < kChordQualityCount; ++quality)
                    ASSERT_NEAR(scores[chordLabel((root + up) % 12, quality)],
                                evidence[i][chordLabel(root, quality)], 1e-4)
                        << i << " " << root << " " << quality;
            }
        }
    }
}

TEST(ChordRecognition, SaysNoChordWhereNothingSounds) {
    Samples signal(4 * kAnalysisRate);
    Synthesizer{}.play(signal, 4, 4, {48, 60, 64, 67}, 0.1);
    const AudioFeatures features = featuresOf(signal);
    const ChordRecognition recognition = recognizeChords(features, 440, {});
    EXPECT_EQ(namesOf(recognition), "N, C");
    EXPECT_NEAR(static_cast<double>(recognition.chords[1].location) / kAnalysisRate, 4, 0.25);
}

TEST(ChordRecognition, StaysSoundOnSignalsThatAreNotMusic) {
    const std::vector<std::pair<std::string, Samples>> cases{{"silence", Samples(3 * kAnalysisRate)},
                                                             {"one sample", Samples(1, 0.5f)},
                                                             {"huge noise", noise(2, 65536)}};
    for (const auto& [name, signal] : cases) {
        SCOPED_TRACE(name);
        const AudioFeatures features = featuresOf(signal);
        const double tuning = estimateTuning(features.spectral);
        EXPECT_GT(tuning, 427);
        EXPECT_LT(tuning, 453);
        expectSound(recognizeChords(features, tuning, {}), features);
        // Beats from anywhere, denser than frames and beyond the end.
        std::vector<std::int64_t> tatums{1, 2, 3, 30000, 30010, 200000};
        std::erase_if(tatums, [&](std::int64_t tatum) { return tatum >= features.frameCount; });
        expectSound(recognizeChords(features, tuning, tatums), features);
    }
    EXPECT_EQ(estimateTuning(featuresOf({}).spectral), 440);
    EXPECT_EQ(estimateTuning(featuresOf(cases[0].second).spectral), 440);
    EXPECT_TRUE(recognizeChords(featuresOf({}), 440, {}).chords.empty());
    EXPECT_EQ(namesOf(recognizeChords(featuresOf(cases[0].second), 440, {})), "N");
}

TEST(ChordRecognition, StopsWhenAskedAndReportsItsProgress) {
    const AudioFeatures features = featuresOf(progression({}, majorTurnaround(0)));
    std::vector<double> reports;
    const StageMonitor all([] { return false; }, [&](double fraction) { reports.push_back(fraction); });
    const std::vector<std::int64_t> tatums{0, 4000, 8000, 12000};
    recognizeChords(features, 440, tatums, all);
    EXPECT_GT(reports.size(), 20u);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    EXPECT_GE(reports.front(), 0);
    EXPECT_LE(reports.back(), 1);
    int asked = 0;
    const StageMonitor soon([&] { return ++asked > 10; }, nullptr);
    EXPECT_THROW(recognizeChords(features, 440, {}, soon), AnalysisCancelled);
    EXPECT_EQ(asked, 11);
    EXPECT_THROW(detectKey(features.spectral, 440, soon), AnalysisCancelled);
}

} // namespace tarn
