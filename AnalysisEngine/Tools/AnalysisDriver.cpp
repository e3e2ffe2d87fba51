// Prints what the engine finds in an audio file as JSON, for the evaluation. With --spans, prints instead the
// harmonic spans between the boundaries (seconds) that standard input lists, for the training of the chord
// model: for each span the treble and bass profiles, its level and its peakiness. With --countings, prints
// all ways in which the beats could be counted, for the training of the bar model.
#include "AnalysisEngine/AudioFeatures.h"
#include "AnalysisEngine/BarModel.h"
#include "AnalysisEngine/BeatAlignment.h"
#include "AnalysisEngine/BeatCountings.h"
#include "AnalysisEngine/BeatDetection.h"
#include "AnalysisEngine/ChordRecognition.h"
#include "AnalysisEngine/HarmonicSpans.h"
#include "AnalysisEngine/KeyDetection.h"
#include "AnalysisEngine/PulseTracking.h"
#include "AnalysisEngine/TuningEstimation.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string_view>

using namespace tarn;
using nlohmann::json;

namespace {

void printSpans(const AudioFeatures& features) {
    std::vector<double> boundaries;
    for (double boundary = 0; std::cin >> boundary;)
        boundaries.push_back(boundary);
    for (const HarmonicSpan& span :
         describeHarmony(features.spectral, estimateTuning(features.spectral), boundaries)) {
        for (const auto& profile : {span.treble, span.bass}) {
            for (const float value : profile)
                std::cout << value << ' ';
        }
        std::cout << span.level << '\n';
    }
}

void printCountings(const BeatFeatures& features) {
    const std::vector<float> strength = onsetStrength(features, {});
    json result = json::array();
    for (const BeatCounting& counting :
         beatCountings(features, strength, trackPulses(features, strength, {}), {})) {
        json beats = json::array(), bars = json::array();
        for (const double beat : counting.beats)
            beats.push_back((beat - BeatFeatures::kOnsetDelay) / features.fluxRate);
        const std::vector<RoleLikelihoods> likelihoods = roleLikelihoods(counting);
        for (std::size_t kind = 0; kind < kBarKinds.size(); ++kind) {
            const BarPositions positions = barPositions(likelihoods, kBarKinds[kind]);
            bars.push_back(
                {{"features", barFeatures(counting, kind, positions)}, {"positions", positions.positions}});
        }
        result.push_back({{"beats", beats}, {"heard", counting.heard}, {"bars", bars}});
    }
    std::cout << result.dump() << '\n';
}

json describeChord(const RecognizedChord& chord) {
    json result{{"location", chord.location}};
    if (chord.label == kNoChordLabel) {
        result["root"] = nullptr;
        result["intervals"] = json::array();
        return result;
    }
    result["root"] = rootOf(chord.label);
    result["bass"] = chord.bass;
    for (const int interval : qualityOf(chord.label).intervals) {
        if (interval >= 0)
            result["intervals"].push_back(interval);
    }
    return result;
}

/// The beats with their downbeats, and the metre.
void describeBeats(const DetectedBeats& beats, json& estimate) {
    const std::optional<BeatAlignment> bars = barsOf(beats);
    estimate["tempo"] = beats.overallTempo;
    estimate["beats"] = json::array();
    estimate["countedBeats"] = beats.metre.countedBeats;
    std::ptrdiff_t first = -1;
    if (bars) {
        estimate["timeSignature"] = {{"numerator", beats.metre.numerator},
                                     {"denominator", beats.metre.denominator}};
        first = std::find(beats.tatums.begin(), beats.tatums.end(), bars->downbeatLocation) -
                beats.tatums.begin();
    }
    for (std::size_t i = 0; i < beats.tatums.size(); ++i) {
        const auto since = static_cast<std::ptrdiff_t>(i) - first;
        const bool downbeat = bars && since >= 0 && since % bars->tatumCount == 0;
        estimate["beats"].push_back({{"location", beats.tatums[i]}, {"downbeat", downbeat}});
    }
}

void printEstimate(const AudioFeatures& features) {
    const double tuning = estimateTuning(features.spectral);
    const std::optional<int> key = detectKey(features.spectral, tuning);
    const DetectedBeats beats = detectBeats(features.beats, features.sampleRate);
    const ChordRecognition recognition = recognizeChords(features, tuning, key, beats.tatums);
    json estimate{{"sampleRate", features.sampleRate},
                  {"frameCount", features.frameCount},
                  {"standardPitch", {{"frequency", tuning}}},
                  {"key", nullptr},
                  {"timeSignature", nullptr},
                  {"chords", json::array()}};
    if (key)
        estimate["key"] = {{"root", *key % 12}, {"minor", *key >= 12}};
    for (const RecognizedChord& chord : recognition.chords)
        estimate["chords"].push_back(describeChord(chord));
    describeBeats(beats, estimate);
    std::cout << estimate.dump() << '\n';
}

} // namespace

int main(int argumentCount, char** arguments) {
    const std::string_view option = argumentCount == 3 ? arguments[1] : "";
    if (argumentCount != 2 && option != "--spans" && option != "--countings") {
        std::cerr << "usage: tarn-analysis-driver [--spans | --countings] FILE\n";
        return 2;
    }
    std::string refusal;
    const std::unique_ptr<AudioReader> reader = AudioReader::open(arguments[argumentCount - 1], &refusal);
    if (!reader) {
        std::cerr << arguments[argumentCount - 1] << ": " << refusal << '\n';
        return 1;
    }
    const AudioFeatures features = extractAudioFeatures(*reader);
    if (option == "--spans")
        printSpans(features);
    else if (option == "--countings")
        printCountings(features.beats);
    else
        printEstimate(features);
    return 0;
}
