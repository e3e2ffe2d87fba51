#pragma once

#include "Song/Edits/Edits.h"
#include "Song/SongPositions.h"
#include "Tests/Platform/Texts.h"
#include "Tests/Song/SampleSong.h"

#include <string>

/// What a song holds, in words, and edits as they are typed.
namespace tarn::test {

/// Edits as typed on a command line, with bars between them.
inline void perform(Song& document, const std::string& edits) {
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
inline std::string chordsOf(const Song& document) {
    return joined(document.notes->chordEntries(), [](const auto& entry) {
        return entry.chord()->string() + "@" + std::to_string(entry.location());
    });
}

/// Every stored beat, in order: its location, with a star when it opens a bar.
inline std::string beatsOf(const Song& document) {
    return joined(document.notes->beatEntries(), [](const auto& beat) {
        return std::to_string(beat.location()) + (beat.isDownbeat() ? "*" : "");
    });
}

/// "Intro/verse@0 Song/other@88200".
inline std::string sectionsOf(const Song& document) {
    return joined(document.structure->sectionEntries(), [](const auto& section) {
        return section.name().value_or("(none)") + "/" + section.colorString().value_or("(none)") + "@" +
               std::to_string(section.location());
    });
}

/// "Verse[88200,176400)".
inline std::string regionsOf(const Song& document) {
    return joined(document.notes->regionEntries(), [](const auto& region) {
        return region.name().value_or("(none)") + "[" + std::to_string(region.location()) + "," +
               std::to_string(region.end()) + ")";
    });
}

/// "C#4@88200+11025".
inline std::string notesOf(const Song& document) {
    return joined(document.notes->noteEntries(), [](const auto& note) {
        return note.pitch()->description() + "@" + std::to_string(note.location()) + "+" +
               std::to_string(note.length());
    });
}

/// All of these.
inline std::string contentsOf(const Song& document) {
    return chordsOf(document) + "\n" + beatsOf(document) + "\n" + sectionsOf(document) + "\n" +
           regionsOf(document) + "\n" + notesOf(document);
}

/// The frame of a position as it is typed.
inline std::int64_t frameOf(const std::shared_ptr<Song>& song, const std::string& text) {
    return SongPositions(*song).frame(Position::make(text).value());
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

} // namespace tarn::test
