// Prints what the engine finds in an audio file as JSON, for the evaluation. With --spans, prints instead the
// harmonic spans between the boundaries (seconds) that each line of standard input lists, and an empty line
// after them, for the training of the chord model: for each span its shares of all, the lowest, the bass and
// the treble notes, and its level. With
// --countings, prints all ways in which the beats could be counted, for the training of the bar model.
#include "AnalysisEngine/AudioFeatures.h"
#include "AnalysisEngine/BarModel.h"
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
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

using namespace tarn;
using nlohmann::json;

namespace {

void printSpans(const AudioFeatures& features) {
    const double tuning = estimateTuning(features.spectral);
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream numbers(line);
        std::vector<double> boundaries;
        for (double boundary = 0; numbers >> boundary;)
            boundaries.push_back(boundary);
        for (const HarmonicSpan& span : describeHarmony(features.spectral, tuning, boundaries)) {
            for (const auto& profile : {span.notes, span.lowest, span.bass, span.treble}) {
                for (const float value : profile)
                    std::cout << value << ' ';
            }
            std::cout << span.level << '\n';
        }
        std::cout << '\n';
    }
}

/// All ways to count the song, each in bars of each kind that is possible.
void printCountings(const BeatFeatures& features) {
    const std::vector<float> strength = onsetStrength(features, {});
    json result = json::array();
    for (const BeatCounting& counting :
         beatCountings(features, strength, trackPulses(features, strength, {}), {})) {
        json beats = json::array(), bars = json::array();
        for (const double beat : counting.beats)
            beats.push_back((beat - BeatFeatures::kOnsetDelay) / features.fluxRate);
        for (const BarKind& kind : kBarKinds) {
            if (!isPossible(counting, kind))
                continue;
            const BarPositions positions =
                barPositions(roleLikelihoods(counting, kind.countsEighths()), kind);
            bars.push_back({{"numerator", kind.numerator()},
                            {"denominator", kind.denominator()},
                            {"roles", kind.places},
                            {"countsEighths", kind.countsEighths()},
                            {"places", positions.places},
                            {"features", barFeatures(counting, kind, positions)}});
        }
        result.push_back({{"beats", beats}, {"heard", counting.heard}, {"bars", bars}});
    }
    std::cout << result.dump() << '\n';
}

json describeChord(const RecognizedChord& chord) {
    json result{{"location", chord.location}, {"probability", chord.probability}};
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

/// The eighths with the downbeats among them, and the metre.
void describeBeats(const DetectedMetre& metre, json& estimate) {
    estimate["tempo"] = metre.tempo;
    estimate["beats"] = json::array();
    estimate["countedBeats"] = metre.countedBeats;
    if (metre.denominator > 0)
        estimate["timeSignature"] = {{"numerator", metre.numerator}, {"denominator", metre.denominator}};
    auto bar = metre.bars.begin();
    for (const std::int64_t eighth : metre.eighths) {
        const bool opensBar = bar != metre.bars.end() && bar->start == eighth;
        bar += opensBar;
        estimate["beats"].push_back({{"location", eighth}, {"downbeat", opensBar}});
    }
}

void printEstimate(const AudioFeatures& features) {
    const double tuning = estimateTuning(features.spectral);
    const std::optional<DetectedKey> key = detectKey(features.spectral, tuning);
    const DetectedBeats beats = detectBeats(features.beats, features.sampleRate);
    const ChordRecognition recognition = recognizeChords(features, tuning, beats.tatums);
    json estimate{{"sampleRate", features.sampleRate},
                  {"frameCount", features.frameCount},
                  {"standardPitch", {{"frequency", tuning}}},
                  {"key", nullptr},
                  {"timeSignature", nullptr},
                  {"chords", json::array()}};
    if (key)
        estimate["key"] = {
            {"root", key->key % 12}, {"minor", key->key >= 12}, {"probability", key->probability}};
    for (const RecognizedChord& chord : recognition.chords)
        estimate["chords"].push_back(describeChord(chord));
    describeBeats(beats.metre, estimate);
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
