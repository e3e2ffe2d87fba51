#include "Song/Edits/EditVerbs.h"

#include "KELPMusic/KELPKey.h"
#include "Song/CountedBeats.h"
#include "TarnFoundation/SortedSearch.h"

#include <algorithm>

namespace tarn::edits {
namespace {

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

/// Whether both sound the same, however they are written.
bool soundAlike(const KELPChordRef& a, const KELPChordRef& b) {
    if (!a || !b || a->isNoChord() || b->isNoChord())
        return a && b && a->isNoChord() == b->isNoChord();
    const auto bassOf = [](const KELPChord& chord) {
        return chord.addedBass().value_or(chord.root()).value();
    };
    return a->root().value() == b->root().value() && a->chordIntervals() == b->chordIntervals() &&
           bassOf(*a) == bassOf(*b);
}

/// The chord that sounds at the frame; null before the first one.
KELPChordRef soundingAt(const EntryList<TarnChordEntry>& chords, std::int64_t frame) {
    const auto index = indexForSample(chords, frame);
    return index ? chords[*index]->chord() : nullptr;
}

/// The first chord at or after the frame.
EntryList<TarnChordEntry>::const_iterator firstAtOrAfter(const EntryList<TarnChordEntry>& chords,
                                                         std::int64_t frame) {
    return std::lower_bound(
        chords.begin(), chords.end(), frame,
        [](const auto& entry, std::int64_t location) { return entry->location() < location; });
}

Action replaceChords(EditWords& words) {
    const auto from = words.chord();
    words.expect("by");
    const auto to = words.chord();
    return [=](Song& song) {
        auto& notes = *song.notes;
        std::vector<std::shared_ptr<TarnChordEntry>> former;
        std::vector<std::shared_ptr<TarnChordEntry>> changed;
        for (const auto& entry : notes.chordEntries()) {
            if (!soundAlike(entry->chord(), from) || *entry->chord() == *to)
                continue;
            former.push_back(entry);
            changed.push_back(notes.copyOfChordEntry(entry));
            changed.back()->setChord(to);
        }
        if (former.empty())
            refuse("there is no chord " + from->string() + " to replace");
        notes.replaceChordEntriesInArrayWithChordEntriesInArray(former, changed);
        return counted(former.size(), "chord") + " " + from->string() + " became " + to->string();
    };
}

/// A chord and where it begins.
using PlacedChord = std::pair<std::int64_t, KELPChordRef>;

/// The chords of a bar, put on another one beat by beat, so that the bars may differ in tempo; what the other
/// one has no beat for is left out. It begins with the chord that sounds where the bar begins. `gridEnd` is
/// where the last bar ends.
void copyBar(const EntryList<TarnChordEntry>& chords, const BeatGrid& grid, Range<std::size_t> source,
             Range<std::size_t> destination, std::int64_t gridEnd, std::vector<PlacedChord>& copied) {
    const auto& frames = grid.locations();
    const auto sounding = soundingAt(chords, frames[source.lower]);
    copied.emplace_back(frames[destination.lower], sounding ? sounding : KELPChord::noChord());
    for (std::size_t beat = 0; beat < std::min(sizeOf(source), sizeOf(destination)); ++beat) {
        const std::size_t from = source.lower + beat;
        const std::size_t to = destination.lower + beat;
        const std::int64_t end = grid.endOf({from, from + 1}, gridEnd);
        const std::int64_t toEnd = grid.endOf({to, to + 1}, gridEnd);
        for (auto entry = firstAtOrAfter(chords, frames[from]);
             entry != chords.end() && (*entry)->location() < end; ++entry) {
            const double part = static_cast<double>((*entry)->location() - frames[from]) /
                                static_cast<double>(end - frames[from]);
            const auto place =
                frames[to] + static_cast<std::int64_t>(part * static_cast<double>(toEnd - frames[to]));
            if (copied.back().first == place)
                copied.pop_back();
            copied.emplace_back(place, (*entry)->chord());
        }
    }
}

/// Chords that only repeat the one before them go.
std::vector<PlacedChord> withoutRepetitions(const std::vector<PlacedChord>& chords,
                                            const KELPChordRef& before) {
    std::vector<PlacedChord> kept;
    KELPChordRef last = before ? before : KELPChord::noChord();
    for (const auto& [place, chord] : chords) {
        const auto& written = chord ? chord : KELPChord::noChord();
        if (!(*written == *last))
            kept.emplace_back(place, written);
        last = written;
    }
    return kept;
}

Action copyBars(EditWords& words) {
    const std::int64_t first = words.wholeNumber("the number of a bar");
    const std::int64_t last = words.takeIf("to") ? words.wholeNumber("the number of a bar") : first;
    words.expect("at");
    const std::int64_t target = words.wholeNumber("the number of a bar");
    return [=](Song& song) {
        if (last < first)
            refuse("bar " + std::to_string(last) + " comes before bar " + std::to_string(first));
        auto& notes = *song.notes;
        const SongPositions positions(song);
        const BeatGrid grid = countedBeats(song);
        (void)positions.startOfBar(first); // refuses what the song does not have
        (void)positions.startOfBar(last);
        const std::int64_t start = positions.startOfBar(target);
        const std::int64_t count = last - first + 1;
        if (count - 1 > static_cast<std::int64_t>(positions.barCount()) - target)
            refuse("there are only " + counted(positions.barCount(), "bar"));
        const std::int64_t gridEnd = std::max(song.recording.frameCount, grid.locations().back());
        const auto barAt = [&](std::int64_t number) {
            return grid.barLines().bar(static_cast<std::size_t>(number - 1));
        };
        const auto chords = notes.chordEntries();
        const std::int64_t end = grid.endOf(barAt(target + count - 1), gridEnd);
        const auto firstReplaced = firstAtOrAfter(chords, start);
        const auto firstKept = firstAtOrAfter(chords, end);
        std::vector<PlacedChord> copied;
        for (std::int64_t bar = 0; bar < count; ++bar)
            copyBar(chords, grid, barAt(first + bar), barAt(target + bar), gridEnd, copied);
        const std::size_t copiedCount =
            withoutRepetitions(copied, nullptr).size(); // the first one counts although it may go on
        // What sounded after the copied bars goes on to sound there.
        if (end < song.recording.frameCount && (firstKept == chords.end() || (*firstKept)->location() > end))
            copied.emplace_back(end, soundingAt(chords, end));
        const auto before =
            firstReplaced == chords.begin() ? KELPChordRef() : (*(firstReplaced - 1))->chord();
        std::vector<std::shared_ptr<TarnChordEntry>> added;
        for (const auto& [place, chord] : withoutRepetitions(copied, before)) {
            added.push_back(notes.newChordEntry());
            added.back()->setLocation(place);
            added.back()->setChord(chord);
        }
        const std::vector<std::shared_ptr<TarnChordEntry>> former(firstReplaced, firstKept);
        if (former.empty() && added.empty())
            refuse("there are no chords to copy");
        notes.replaceChordEntriesInArrayWithChordEntriesInArray(former, added);
        return counted(static_cast<std::size_t>(count), "bar") + " copied to bar " + std::to_string(target) +
               ", with " + counted(copiedCount, "chord");
    };
}

} // namespace

std::span<const Verb> harmonyVerbs() {
    static constexpr Verb kVerbs[] = {
        {"key", "= (CHORD | NOTE major | NOTE minor)", "key=Ebm", setKey},
        {"add-chord", "CHORD at POSITION", "add-chord F#m7 at 3:1", addChord},
        {"change-chord", "at POSITION to CHORD", "change-chord at 12:3 to Bb/D", changeChord},
        {"remove-chord", "at POSITION", "remove-chord at 12:3", removeChord},
        {"replace-chords", "CHORD by CHORD", "replace-chords C#m7 by E/G#", replaceChords},
        {"copy-bars", "BAR [to BAR] at BAR", "copy-bars 5 to 8 at 13", copyBars},
    };
    return kVerbs;
}

} // namespace tarn::edits
