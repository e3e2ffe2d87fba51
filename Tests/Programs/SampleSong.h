#pragma once

#include "Programs/tarn/SongDocument.h"

#include <optional>
#include <string>
#include <vector>

/// Documents for tests of the commands, made in memory.
namespace tarn::program::test {

/// A recording of 10 bars of 4/4 at 120 beats per minute and 44100 frames per second: the eighth-note
/// positions of bars 1 to 8 lie 11025 frames apart, bar n begins at frame 88200 n. Nothing but the grid.
inline std::shared_ptr<SongDocument> sampleSong(std::uint8_t numerator = 4) {
    constexpr std::int64_t kEighth = 11025;
    auto document = std::make_shared<SongDocument>(Recording{"song.wav", 44100, 80 * kEighth, "sample"});
    auto& notes = *document->notes;
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (int i = 0; i < 64; ++i) {
        beats.push_back(notes.newBeatEntry());
        beats.back()->setLocation((i + 8) * kEighth);
        beats.back()->setDownbeat(i % (2 * numerator) == 0);
    }
    notes.addBeatEntriesFromArray(beats);
    notes.setTimeSignature(numerator, 4);
    return document;
}

inline void addChord(SongDocument& document, const char* name, std::int64_t location) {
    const auto entry = document.notes->newChordEntry();
    entry->setChord(KELPChord::chordWithString(name));
    entry->setLocation(location);
    document.notes->addChordEntry(entry);
}

/// "C@88200 Am7@176400".
inline std::string chordsOf(const SongDocument& document) {
    std::string text;
    for (const auto& entry : document.notes->chordEntries())
        text +=
            (text.empty() ? "" : " ") + entry->chord()->string() + "@" + std::to_string(entry->location());
    return text;
}

/// Every stored beat, in order: its location, with a star when it opens a bar.
inline std::vector<std::string> gridOf(const SongDocument& document) {
    std::vector<std::string> grid;
    for (const auto& beat : document.notes->beatEntries())
        grid.push_back(std::to_string(beat->location()) + (beat->isDownbeat() ? "*" : ""));
    return grid;
}

/// "Intro/verse@0 Song/other@88200".
inline std::string sectionsOf(const SongDocument& document) {
    std::string text;
    for (const auto& section : document.structure->sectionEntries())
        text += (text.empty() ? "" : " ") + section->name().value_or("(none)") + "/" +
                section->colorString().value_or("(none)") + "@" + std::to_string(section->location());
    return text;
}

} // namespace tarn::program::test
