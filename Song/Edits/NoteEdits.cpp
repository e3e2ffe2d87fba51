#include "Song/Edits/EditVerbs.h"

#include <cstdlib>

namespace tarn::edits {
namespace {

std::string described(const Song& document, const TarnNoteEntry& note) {
    return (note.pitch() ? note.pitch()->description() : "a note") + " at " +
           SongPositions(document).name(note.location());
}

/// The note of this sound that the place falls on; when none does, the nearest one is named.
std::shared_ptr<TarnNoteEntry> noteAt(const Song& document, const KELPPitchRef& pitch, const Position& at) {
    const std::int64_t frame = SongPositions(document).frame(at);
    std::shared_ptr<TarnNoteEntry> found;
    std::shared_ptr<TarnNoteEntry> nearest;
    for (const auto& note : document.notes->noteEntries()) {
        if (!note->pitch() || note->pitch()->semitones() != pitch->semitones())
            continue;
        const std::int64_t distance = frame - note->location();
        if (distance == 0 || (distance > 0 && static_cast<std::uint64_t>(distance) < note->length()))
            found = note;
        if (!nearest || std::abs(distance) < std::abs(frame - nearest->location()))
            nearest = note;
    }
    if (!found)
        refuse("no " + pitch->description() + " sounds at " + at.text +
               (nearest ? "; the nearest begins at @" + std::to_string(nearest->location()) : ""));
    return found;
}

Action addNote(EditWords& words) {
    const auto pitch = words.pitch();
    words.expect("at");
    const Position at = words.position();
    words.expect("for");
    const Distance length = words.distance();
    return [=](Song& document) {
        auto& notes = *document.notes;
        const SongPositions positions(document);
        const std::int64_t start = positions.frame(at);
        const std::int64_t end = positions.frameAfter(start, length);
        if (end <= start)
            refuse("a note must last for some time");
        if (end > document.recording.frameCount)
            refuse("the note would end after the recording");
        for (const auto& other : notes.noteEntries()) {
            if (other->location() == start && other->pitch() &&
                other->pitch()->semitones() == pitch->semitones())
                refuse(described(document, *other) + " is there already");
        }
        const auto note = notes.newNoteEntry();
        note->setPitch(pitch);
        note->setLocation(start);
        note->setLength(static_cast<std::uint64_t>(end - start));
        notes.addNoteEntry(note);
        return "note " + described(document, *note) + " added";
    };
}

Action changeNote(EditWords& words) {
    const auto pitch = words.pitch();
    words.expect("at");
    const Position at = words.position();
    words.expect("to");
    const auto newPitch = words.pitch();
    return [=](Song& document) {
        const auto note = noteAt(document, pitch, at);
        const auto changed = document.notes->copyOfNoteEntry(note);
        changed->setPitch(newPitch);
        document.notes->replaceNoteEntry(note, changed);
        return "note " + described(document, *changed) + " (was " + pitch->description() + ")";
    };
}

Action removeNote(EditWords& words) {
    const auto pitch = words.pitch();
    words.expect("at");
    const Position at = words.position();
    return [=](Song& document) {
        const auto note = noteAt(document, pitch, at);
        document.notes->removeNoteEntry(note);
        return "note " + described(document, *note) + " removed";
    };
}

} // namespace

std::span<const Verb> noteVerbs() {
    static constexpr Verb kVerbs[] = {
        {"add-note", "NOTE at POSITION for LENGTH", "add-note E4 at 3:2+ for 1/2 beat", addNote},
        {"change-note", "NOTE at POSITION to NOTE", "change-note E4 at 3:1 to F4", changeNote},
        {"remove-note", "NOTE at POSITION", "remove-note E4 at 3:1", removeNote},
    };
    return kVerbs;
}

} // namespace tarn::edits
