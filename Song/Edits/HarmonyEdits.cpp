#include "Song/Edits/EditActions.h"

#include "KELPMusic/KELPKey.h"
#include "TarnFoundation/SortedSearch.h"

namespace tarn::edits {

Action setKey(EditWords& words) {
    const std::string text = words.word("a key");
    auto tonic = KELPChord::chordWithString(text);
    if (!words.isAtEnd() && tonic) {
        const bool isMinor = words.oneOf({"major", "minor"}) == 1;
        tonic = KELPChord::chordWithString(text + (isMinor ? "m" : ""));
    }
    if (!tonic || tonic->isNoChord() || tonic->addedBass() ||
        (tonic->chordIntervals() != *KELPChordIntervalsWithID(1) &&
         tonic->chordIntervals() != *KELPChordIntervalsWithID(2)))
        throw EditWordError("'" + text + "' is not a valid key (C, Ebm, F# minor)");
    return [=](Song& document) {
        auto& notes = *document.notes;
        const auto before = notes.globalKey();
        const auto chordsBefore = notes.chordEntries();
        const auto key = KELPKey::makeWithTonicChord(tonic);
        notes.overrideGlobalKey(key);
        const auto chords = notes.chordEntries();
        std::size_t respelled = 0;
        for (std::size_t i = 0; i < chords.size(); ++i) {
            const auto& chord = chords[i]->chord();
            respelled += chord && !(*chord == *chordsBefore[i]->chord());
        }
        return "key " + key->description() + " (was " + (before ? before->description() : "none") + "), " +
               counted(respelled, "chord") + " respelled";
    };
}

namespace {

/// The chord that sounds at the place: the last one that begins at or before it.
std::shared_ptr<TarnChordEntry> chordSoundingAt(const Song& document, const Position& at) {
    const auto chords = document.notes->chordEntries();
    const auto index = indexForSample(chords, SongPositions(document).frame(at));
    if (!index)
        refuse("no chord sounds at " + at.text);
    return chords[*index];
}

std::string described(const Song& document, const TarnChordEntry& entry) {
    return (entry.chord() ? entry.chord()->string() : "the chord") + " at " +
           SongPositions(document).name(entry.location());
}

} // namespace

Action addChord(EditWords& words) {
    const auto chord = words.chord();
    words.expect("at");
    const Position at = words.position();
    return [=](Song& document) {
        auto& notes = *document.notes;
        const auto entry = notes.newChordEntry();
        entry->setLocation(SongPositions(document).frame(at));
        entry->setChord(chord);
        for (const auto& other : notes.chordEntries()) {
            if (other->location() == entry->location())
                refuse(described(document, *other) + " is there already; change-chord changes it");
        }
        notes.addChordEntry(entry);
        return "chord " + described(document, *entry) + " added";
    };
}

Action changeChord(EditWords& words) {
    words.expect("at");
    const Position at = words.position();
    words.expect("to");
    const auto chord = words.chord();
    return [=](Song& document) {
        const auto entry = chordSoundingAt(document, at);
        const auto changed = document.notes->copyOfChordEntry(entry);
        changed->setChord(chord);
        document.notes->replaceChordEntry(entry, changed);
        return "chord " + described(document, *changed) + " (was " +
               (entry->chord() ? entry->chord()->string() : "none") + ")";
    };
}

Action removeChord(EditWords& words) {
    words.expect("at");
    const Position at = words.position();
    return [=](Song& document) {
        const auto entry = chordSoundingAt(document, at);
        document.notes->removeChordEntry(entry);
        return "chord " + described(document, *entry) + " removed";
    };
}

} // namespace tarn::edits
