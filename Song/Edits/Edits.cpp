#include "Song/Edits/Edits.h"

#include "Song/DistinctIdentifiers.h"
#include "Song/Edits/EditActions.h"

#include <algorithm>
#include <utility>

namespace tarn {
namespace {

using edits::Action, edits::quoted;

struct Verb {
    std::string_view name;
    std::string_view operands;
    std::string_view example;
    Action (*parse)(EditWords&);
};

constexpr Verb kVerbs[] = {
    {"metre", "= (N/4 | N/8)", "metre=3/4", edits::setMetre},
    {"meter", "= (N/4 | N/8)", "meter=6/8", edits::setMetre},
    {"move-bar", "BAR to POSITION", "move-bar 5 to 1:05.2", edits::moveBar},
    {"bar-beats", "BAR = COUNT", "bar-beats 7 = 5", edits::setBarBeats},
    {"shift-downbeats", "COUNT [beats | eighths]", "shift-downbeats -1", edits::shiftDownbeats},
    {"offset-downbeats", "COUNT [beats] from POSITION to POSITION", "offset-downbeats 1 from 3:1 to 9:1",
     edits::offsetDownbeats},
    {"tempo", "= BPM [from POSITION]", "tempo=128 from 0:01.2", edits::setTempoAndStart},
    {"half-tempo", "", "half-tempo", edits::halveTempo},
    {"double-tempo", "", "double-tempo", edits::doubleTempo},
    {"tap-downbeats", "POSITION POSITION [POSITION ...]", "tap-downbeats 0:10.1 0:12.0 0:13.9",
     edits::tapDownbeats},
    {"add-beat", "at POSITION", "add-beat at 0:12.4", edits::addBeat},
    {"remove-beat", "at POSITION", "remove-beat at 3:2", edits::removeBeat},
    {"move-beat", "POSITION to POSITION", "move-beat 3:2 to 0:05.1", edits::moveBeat},
    {"title", "= NAME", "title=\"Blue in green\"", edits::setTitle},
    {"artist", "= NAME", "artist=\"Bill Evans\"", edits::setArtist},
    {"capo", "= FRET", "capo=3", edits::setCapo},
    {"transpose", "= SEMITONES", "transpose=-2", edits::setTransposition},
    {"key", "= (CHORD | NOTE major | NOTE minor)", "key=Ebm", edits::setKey},
    {"add-region", "(verse | chorus | bridge | region) [NAME] (POSITION to POSITION | at POSITION)",
     "add-region verse 3:1 to 11:1", edits::addRegion},
    {"adjust-region",
     "(NAME | at POSITION) (start | end) (by LENGTH | to POSITION) [stop | clip | delete] "
     "[threshold LENGTH]",
     "adjust-region Chorus end by 1 bar", edits::adjustRegion},
    {"shift-region", "(NAME | at POSITION) (by LENGTH | to POSITION) [stop | clip | delete]",
     "shift-region Chorus#2 by -1 beat clip", edits::shiftRegion},
    {"rename-region", "(NAME | at POSITION) to NAME", "rename-region at 12:1 to \"Last chorus\"",
     edits::renameRegion},
    {"remove-region", "NAME | at POSITION", "remove-region at 12:1", edits::removeRegion},
    {"add-section", "NAME at POSITION [color COLOR]", "add-section \"Verse 2\" at 17:1 color verse",
     edits::addSection},
    {"rename-section", "(NAME | at POSITION) to NAME", "rename-section Intro to Opening",
     edits::renameSection},
    {"color-section", "(NAME | at POSITION) COLOR", "color-section at 17:1 chorus", edits::colorSection},
    {"remove-section", "NAME | at POSITION", "remove-section Intro", edits::removeSection},
    {"add-marker", "[NAME] at POSITION", "add-marker Solo at 25:1", edits::addMarker},
    {"remove-marker", "NAME | at POSITION", "remove-marker Solo", edits::removeMarker},
    {"add-chord", "CHORD at POSITION", "add-chord F#m7 at 3:1", edits::addChord},
    {"change-chord", "at POSITION to CHORD", "change-chord at 12:3 to Bb/D", edits::changeChord},
    {"remove-chord", "at POSITION", "remove-chord at 12:3", edits::removeChord},
    {"replace-chords", "CHORD by CHORD", "replace-chords C#m7 by E/G#", edits::replaceChords},
    {"copy-bars", "BAR [to BAR] at BAR", "copy-bars 5 to 8 at 13", edits::copyBars},
    {"add-note", "NOTE at POSITION for LENGTH", "add-note E4 at 3:2+ for 1/2 beat", edits::addNote},
    {"change-note", "NOTE at POSITION to NOTE", "change-note E4 at 3:1 to F4", edits::changeNote},
    {"remove-note", "NOTE at POSITION", "remove-note E4 at 3:1", edits::removeNote},
};

/// The verb with which the text begins, alone or before a blank or an equals sign.
const Verb* verbOf(std::string_view text) {
    const std::string_view word = text.substr(0, text.find_first_of(" \t\r\n="));
    const auto* const found = std::find_if(std::begin(kVerbs), std::end(kVerbs),
                                           [&](const Verb& verb) { return verb.name == word; });
    return found == std::end(kVerbs) ? nullptr : found;
}

struct Sentence {
    const Verb* verb;
    std::vector<EditWord> words;

    [[nodiscard]] std::string text() const {
        std::string result(verb->name);
        for (const EditWord& word : words)
            result += " " + (word.isQuoted ? quoted(word.text) : word.text);
        return result;
    }
};

std::string formOf(const Verb& verb) {
    return std::string(verb.name) + (verb.operands.empty() ? "" : " ") + std::string(verb.operands);
}

std::vector<Sentence> sentencesOf(std::span<const std::string> arguments) {
    std::vector<Sentence> sentences;
    for (const std::string& argument : arguments) {
        if (const Verb* const verb = verbOf(argument)) {
            Sentence sentence{verb, {}};
            std::string_view rest = std::string_view(argument).substr(verb->name.size());
            try {
                sentence.words = splitWords(rest.starts_with('=') ? rest.substr(1) : rest);
            } catch (const EditWordError& error) {
                throw EditSyntaxError("'" + argument + "': " + error.what());
            }
            sentences.push_back(std::move(sentence));
        } else if (sentences.empty()) {
            throw EditSyntaxError("'" + argument + "' is not an edit; 'tarn edit --help' lists them");
        } else {
            const bool isName = argument.find_first_of(" \t\r\n") != std::string::npos || argument.empty();
            sentences.back().words.push_back({argument, isName});
        }
    }
    return sentences;
}

Edit editOf(const Sentence& sentence) {
    EditWords words(sentence.words);
    try {
        words.takeIf("=");
        Edit edit{sentence.text(), sentence.verb->parse(words)};
        words.expectEnd();
        return edit;
    } catch (const EditWordError& error) {
        throw EditSyntaxError("'" + sentence.text() + "': " + error.what() + "; write " +
                              formOf(*sentence.verb) + ", as in '" + std::string(sentence.verb->example) +
                              "'");
    }
}

} // namespace

std::vector<Edit> parseEdits(std::span<const std::string> arguments) {
    std::vector<Edit> edits;
    for (const Sentence& sentence : sentencesOf(arguments))
        edits.push_back(editOf(sentence));
    return edits;
}

std::vector<std::string> applyEdits(Song& song, std::span<const Edit> edits, const std::string& message) {
    giveDistinctIdentifiers(song);
    song.record("Changed");
    const SongState before(song);
    std::vector<std::string> changes;
    std::string sentences;
    for (const Edit& edit : edits) {
        try {
            changes.push_back(edit.apply(song));
        } catch (const EditRefused& refusal) {
            if (const auto difference = SongDifference::between(before, SongState(song)))
                SongDifference::apply(song, *difference, SongDifference::Direction::back);
            throw EditRefused("'" + edit.text + "': " + refusal.what());
        }
        sentences += (sentences.empty() ? "" : "; ") + edit.text;
    }
    song.record(message.empty() ? sentences : message);
    return changes;
}

std::vector<std::string> applyEdits(Song& song, std::string_view sentence) {
    const std::string arguments[] = {std::string(sentence)};
    return applyEdits(song, parseEdits(arguments));
}

std::vector<EditForm> editForms() {
    std::vector<EditForm> forms;
    for (const Verb& verb : kVerbs)
        forms.push_back({formOf(verb), verb.example});
    return forms;
}

} // namespace tarn
