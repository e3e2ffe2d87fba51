// Prints what the engine finds in an audio file as JSON, for the evaluation. With --spans, prints instead the
// harmonic spans between the boundaries (seconds) that standard input lists, for the training of the chord
// model: for each span the treble and bass profiles, its level and its peakiness.
#include "AnalysisEngine/AudioFeatures.h"
#include "AnalysisEngine/BeatAlignment.h"
#include "AnalysisEngine/BeatDetection.h"
#include "AnalysisEngine/ChordRecognition.h"
#include "AnalysisEngine/HarmonicSpans.h"
#include "AnalysisEngine/KeyDetection.h"
#include "AnalysisEngine/TuningEstimation.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>

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

/// The beats with their downbeats, and the metre that follows from the bars.
void describeBeats(const DetectedBeats& beats, const ChordRecognition& recognition, json& estimate) {
    std::vector<std::int64_t> changes;
    for (const RecognizedChord& chord : recognition.chords)
        changes.push_back(chord.location);
    const std::optional<BeatAlignment> bars = alignBeats(beats.tatums, 8, changes);
    estimate["tempo"] = beats.overallTempo;
    estimate["beats"] = json::array();
    estimate["countedBeats"] = json::array();
    std::ptrdiff_t first = -1;
    if (bars) {
        estimate["timeSignature"] = {{"numerator", bars->tatumCount / 2}, {"denominator", 4}};
        first = std::find(beats.tatums.begin(), beats.tatums.end(), bars->downbeatLocation) -
                beats.tatums.begin();
    }
    for (std::size_t i = 0; i < beats.tatums.size(); ++i) {
        const auto since = static_cast<std::ptrdiff_t>(i) - first;
        const bool downbeat = bars && since >= 0 && since % bars->tatumCount == 0;
        estimate["beats"].push_back({{"location", beats.tatums[i]}, {"downbeat", downbeat}});
        if (i % 2 == 0)
            estimate["countedBeats"].push_back(beats.tatums[i]);
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
    describeBeats(beats, recognition, estimate);
    std::cout << estimate.dump() << '\n';
}

} // namespace

int main(int argumentCount, char** arguments) {
    const bool spans = argumentCount == 3 && std::strcmp(arguments[1], "--spans") == 0;
    if (argumentCount != (spans ? 3 : 2)) {
        std::cerr << "usage: tarn-analysis-driver [--spans] FILE\n";
        return 2;
    }
    std::string refusal;
    const std::unique_ptr<AudioReader> reader = AudioReader::open(arguments[argumentCount - 1], &refusal);
    if (!reader) {
        std::cerr << arguments[argumentCount - 1] << ": " << refusal << '\n';
        return 1;
    }
    const AudioFeatures features = extractAudioFeatures(*reader);
    if (spans)
        printSpans(features);
    else
        printEstimate(features);
    return 0;
}
