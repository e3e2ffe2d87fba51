#pragma once

#include "Programs/tarn/Edits.h"
#include "Tests/Platform/Texts.h"

#include <string>
#include <vector>

/// Documents for tests of the commands, made in memory.
namespace tarn::program::test {

/// Beats that far apart; every `perBar`-th opens a bar, the first time after `pickup` of them.
inline void addBeats(SongDocument& document, std::int64_t first, std::int64_t spacing, int count, int perBar,
                     int pickup = 0) {
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (int i = 0; i < count; ++i) {
        beats.push_back(document.notes->newBeatEntry());
        beats.back()->setLocation(first + i * spacing);
        beats.back()->setDownbeat(i % perBar == pickup);
    }
    document.notes->addBeatEntriesFromArray(beats);
}

/// A recording of 10 bars of 4/4 at 120 beats per minute and 44100 frames per second: the eighth-note
/// positions of bars 1 to 8 lie 11025 frames apart, bar n begins at frame 88200 n. Nothing but the grid.
inline std::shared_ptr<SongDocument> sampleSong(std::uint8_t numerator = 4) {
    constexpr std::int64_t kEighth = 11025;
    auto document = std::make_shared<SongDocument>(Recording{"song.wav", 44100, 80 * kEighth, "sample"});
    addBeats(*document, 8 * kEighth, kEighth, 64, 2 * numerator);
    document->notes->setTimeSignature(numerator, 4);
    return document;
}

inline void addChord(SongDocument& document, const char* name, std::int64_t location) {
    const auto entry = document.notes->newChordEntry();
    entry->setChord(KELPChord::chordWithString(name));
    entry->setLocation(location);
    document.notes->addChordEntry(entry);
}

inline void addTempo(SongDocument& document, float tempo) {
    const auto entry = document.notes->newTempoEntry();
    entry->setTempo(tempo);
    document.notes->addTempoEntry(entry);
}

/// Edits as typed on a command line, with bars between them.
inline void perform(SongDocument& document, const std::string& edits) {
    (void)applyEdits(document, parseEdits(partsOf(edits, '|')));
}

/// The texts of the entries, in order, with blanks between them.
inline std::string joined(const auto& entries, const auto& textOf) {
    std::string text;
    for (const auto& entry : entries)
        text += (text.empty() ? "" : " ") + textOf(*entry);
    return text;
}

/// "C@88200 Am7@176400".
inline std::string chordsOf(const SongDocument& document) {
    return joined(document.notes->chordEntries(), [](const auto& entry) {
        return entry.chord()->string() + "@" + std::to_string(entry.location());
    });
}

/// Every stored beat, in order: its location, with a star when it opens a bar.
inline std::string gridOf(const SongDocument& document) {
    return joined(document.notes->beatEntries(), [](const auto& beat) {
        return std::to_string(beat.location()) + (beat.isDownbeat() ? "*" : "");
    });
}

/// "Intro/verse@0 Song/other@88200".
inline std::string sectionsOf(const SongDocument& document) {
    return joined(document.structure->sectionEntries(), [](const auto& section) {
        return section.name().value_or("(none)") + "/" + section.colorString().value_or("(none)") + "@" +
               std::to_string(section.location());
    });
}

/// "Verse[88200,176400)".
inline std::string regionsOf(const SongDocument& document) {
    return joined(document.notes->regionEntries(), [](const auto& region) {
        return region.name().value_or("(none)") + "[" + std::to_string(region.location()) + "," +
               std::to_string(region.end()) + ")";
    });
}

/// "C#4@88200+11025".
inline std::string notesOf(const SongDocument& document) {
    return joined(document.notes->noteEntries(), [](const auto& note) {
        return note.pitch()->description() + "@" + std::to_string(note.location()) + "+" +
               std::to_string(note.length());
    });
}

/// What the action throws says; empty when it throws nothing.
template <typename Failure>
std::string messageOf(const auto& action) {
    try {
        action();
        return "";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

} // namespace tarn::program::test
