// Writes a recording with known contents and prints what is true of it, in the form in which the analysis
// prints its findings.
#include "KELPMusic/KELPKey.h"
#include "Programs/demo/DemoSong.h"

#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>

int main(int argumentCount, char** arguments) {
    using namespace tarn;
    if (argumentCount != 2) {
        std::cerr << "usage: tarn-demo-song OUT.wav\n";
        return 2;
    }
    // Verse, chorus, verse and chorus in D major on instruments that are tuned low.
    demo::Song song;
    song.tempo = 96;
    song.standardPitch = 432;
    const std::vector<std::string> verse{"D", "Bm", "G", "A", "D", "F#m", "Em7", "A7"};
    const std::vector<std::string> chorus{"G", "A", "F#m", "Bm", "G", "A7", "D", "D"};
    for (const auto& part : {verse, chorus, verse, chorus})
        song.chords.insert(song.chords.end(), part.begin(), part.end());

    const std::vector<float> samples = demo::render(song);
    if (!demo::writeRecording(arguments[1], samples, song.sampleRate)) {
        std::cerr << "The recording cannot be written: " << arguments[1] << "\n";
        return EXIT_FAILURE;
    }
    nlohmann::ordered_json truth{{"sampleRate", song.sampleRate},
                                 {"frameCount", samples.size()},
                                 {"standardPitch", {{"frequency", song.standardPitch}}},
                                 {"key", {{"name", "D"}, {"root", 2}, {"minor", false}}},
                                 {"tempo", song.tempo},
                                 {"timeSignature", {{"numerator", song.beatsPerBar}, {"denominator", 4}}},
                                 {"beats", nlohmann::ordered_json::array()},
                                 {"countedBeats", nlohmann::ordered_json::array()},
                                 {"chords", nlohmann::ordered_json::array()}};
    std::int64_t beat = 0;
    for (const std::string& name : song.chords) {
        const auto chord = KELPChord::chordWithString(name);
        truth["chords"].push_back(
            {{"location", song.frameOfBeat(beat)}, {"name", name}, {"root", chord->root().value()}});
        for (int inBar = 0; inBar < song.beatsPerBar; ++inBar, ++beat) {
            truth["beats"].push_back({{"location", song.frameOfBeat(beat)}, {"downbeat", inBar == 0}});
            truth["countedBeats"].push_back(song.frameOfBeat(beat));
        }
    }
    std::cout << truth.dump() << "\n";
    return EXIT_SUCCESS;
}
