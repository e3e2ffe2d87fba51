// Analyses a recording, corrects it, and writes the song, a MIDI file and a picture beside it:
//   analyze-and-edit song.mp3 'bar-beats 7 = 5' 'add-section Solo at 9:1'
#include "AnalysisEngine/AnalysisEngine.h"
#include "Interchange/Format.h"
#include "Song/Edits/Edits.h"
#include "Song/SongAnalysis.h"
#include "Song/SongWaveform.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>

int main(int argumentCount, char** arguments) try {
    if (argumentCount < 2)
        throw std::runtime_error("name a recording, and the edits to make");
    const std::filesystem::path recording = arguments[1];
    const auto fileWith = [&](const char* ending) {
        return std::filesystem::path(recording).replace_extension(ending);
    };
    tarn::registerAnalysisEngine();
    const auto song = tarn::analyzeRecording(
        recording, fileWith(".tarn"), {.report = [](double fraction, const std::string& activity) {
            std::cerr << '\r' << int(100 * fraction) << " %  " << activity << "          " << std::flush;
        }});
    for (int i = 2; i < argumentCount; ++i)
        for (const std::string& change : tarn::applyEdits(*song, arguments[i]))
            std::cout << '\n' << change;
    tarn::Song::save(song, fileWith(".tarn"));
    for (const char* ending : {".mid", ".svg"}) {
        std::ofstream file(fileWith(ending), std::ios::binary);
        const auto waveform = tarn::waveformOfRecording(recording, song->recording.digest);
        tarn::writeSong(file, *song, *tarn::formatWithEnding(ending), {.waveform = waveform});
    }
    std::cout << '\n' << song->history.steps().size() << " steps\n";
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
