#pragma once

#include "AnalysisEngine/AnalysisEngine.h"
#include "Song/SongAnalysis.h"
#include "Song/SongChange.h"
#include "Tests/AnalysisEngine/Signals.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Song/SampleSong.h"

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>

namespace tarn::test {

/// Where each of the clicks of a recording begins: on each beat of sampleSong.
inline std::vector<std::int64_t> clickPlaces() {
    std::vector<std::int64_t> places;
    for (std::int64_t beat = 4; beat < 36; ++beat)
        places.push_back(22050 * beat);
    return places;
}

/// The recording of sampleSong, 20 s: silence but for a click on each beat.
inline Samples clicks() {
    Samples samples(882000);
    for (const std::int64_t place : clickPlaces()) {
        for (int i = 0; i < 441; ++i)
            samples[static_cast<std::size_t>(place + i)] =
                static_cast<float>(0.8 * std::exp(-i / 60.0) * std::cos(2 * pi * 2000 * i / 44100));
    }
    return samples;
}

/// Where sounds begin after silence, in samples.
inline std::vector<std::int64_t> onsetsIn(const std::vector<float>& samples) {
    std::vector<std::int64_t> onsets;
    std::int64_t lastLoud = -10'000;
    for (std::int64_t i = 0; i < static_cast<std::int64_t>(samples.size()); ++i) {
        if (std::abs(samples[static_cast<std::size_t>(i)]) < 0.3)
            continue;
        if (i - lastLoud > 600)
            onsets.push_back(i);
        lastLoud = i;
    }
    return onsets;
}

/// A folder with song.wav and song.tarn: sampleSong with its recording of clicks, a key and two chords.
class PracticeSong {
public:
    PracticeSong() {
        registerAnalysisEngine();
        writeAudio(recording, clicks(), 44100);
        const auto described = newSong(recording, document);
        const auto song = sampleSong();
        song->recording = described->recording;
        song->facts.engineVersion = "1"; // analysed already
        addChord(*song, 88200, "F#m7");
        addChord(*song, 2 * 88200, "Bb/D");
        Song::save(song, document);
    }

    /// Another program's change.
    void change(const std::function<void(Song&)>& edit) const {
        SongChange change(document);
        edit(change.existingSong());
        change.save(change.song());
    }

    const TemporaryFolder folder;
    const std::filesystem::path recording = folder.path() / "song.wav";
    const std::filesystem::path document = folder.path() / "song.tarn";
};

} // namespace tarn::test
