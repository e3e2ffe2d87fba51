#include "Song/Edits/Edits.h"

#include "Song/DistinctIdentifiers.h"
#include "Song/Edits/EditVerbs.h"

#include <algorithm>
#include <utility>

namespace tarn {
namespace {

using edits::quoted;

using edits::Verb;

/// All verbs, in the order of the documentation.
std::vector<Verb> allVerbs() {
    std::vector<Verb> verbs;
    for (const auto group : {edits::gridVerbs, edits::tempoVerbs, edits::propertyVerbs, edits::harmonyVerbs,
                             edits::regionVerbs, edits::outlineVerbs, edits::noteVerbs}) {
        const auto ofGroup = group();
        verbs.insert(verbs.end(), ofGroup.begin(), ofGroup.end());
    }
    return verbs;
}

const std::vector<Verb>& verbs() {
    static const std::vector<Verb> all = allVerbs();
    return all;
}

/// The verb with which the text begins, alone or before a blank or an equals sign.
const Verb* verbOf(std::string_view text) {
    const std::string_view word = text.substr(0, text.find_first_of(" \t\r\n="));
    const auto found =
        std::find_if(verbs().begin(), verbs().end(), [&](const Verb& verb) { return verb.name == word; });
    return found == verbs().end() ? nullptr : &*found;
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
            before.restoreIn(song);
            throw EditRefused("'" + edit.text + "': " + refusal.what());
        }
        sentences += (sentences.empty() ? "" : "; ") + edit.text;
    }
    keepEntriesMadeAgain(song, before);
    song.record(message.empty() ? sentences : message);
    return changes;
}

std::vector<std::string> applyEdits(Song& song, std::string_view sentence) {
    const std::string arguments[] = {std::string(sentence)};
    return applyEdits(song, parseEdits(arguments));
}

std::vector<EditForm> editForms() {
    std::vector<EditForm> forms;
    for (const Verb& verb : verbs())
        forms.push_back({formOf(verb), verb.example});
    return forms;
}

} // namespace tarn
