#pragma once

#include "Song/Song.h"

#include <memory>
#include <vector>

/// Songs for tests, made in memory.
namespace tarn::test {

struct EvenBeats {
    std::int64_t first = 0;
    std::int64_t spacing = 0;
    int count = 0;
    int perBar = 0;
    int pickup = 0; ///< beats before the first bar
};

inline void addBeats(Song& document, const EvenBeats& even) {
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (int i = 0; i < even.count; ++i) {
        beats.push_back(document.notes->newBeatEntry());
        beats.back()->setLocation(even.first + i * even.spacing);
        beats.back()->setDownbeat(i % even.perBar == even.pickup);
    }
    document.notes->addBeatEntriesFromArray(beats);
}

/// A recording of 10 bars of 4/4 at 120 beats per minute and 44100 frames per second: the eighth-note
/// positions of bars 1 to 8 lie 11025 frames apart, bar n begins at frame 88200 n. Nothing but the grid.
inline std::shared_ptr<Song> sampleSong(std::uint8_t numerator = 4) {
    constexpr std::int64_t kEighth = 11025;
    auto document = std::make_shared<Song>(Recording{"song.wav", 44100, 80 * kEighth, "sample"});
    addBeats(*document, {.first = 8 * kEighth, .spacing = kEighth, .count = 64, .perBar = 2 * numerator});
    document->notes->setTimeSignature(numerator, 4);
    return document;
}

inline void addChord(Song& document, std::int64_t location, const char* name) {
    const auto entry = document.notes->newChordEntry();
    entry->setChord(KELPChord::chordWithString(name));
    entry->setLocation(location);
    document.notes->addChordEntry(entry);
}

inline void addTempo(Song& document, float tempo) {
    const auto entry = document.notes->newTempoEntry();
    entry->setTempo(tempo);
    document.notes->addTempoEntry(entry);
}

} // namespace tarn::test
