#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"
#include "TarnFoundation/ChordSearch/TextualChordSearch.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

namespace tarn::program {

namespace {

/// The chord's tones from the lowest up, each once: "E G C".
std::string tones(const KELPChord& chord) {
    std::vector<std::string> names;
    for (const KELPPitchRef& pitch : chord.pitchesAtOctave(4)) {
        const std::string name = pitch->note().string();
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    }
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : " ") + name;
    return text;
}

/// What the search finds; where it finds nothing, the chord that the text names: one over a bass ("C/G") or
/// "N.C.".
std::vector<KELPChordRef> chordsFor(const std::string& text) {
    std::vector<KELPChordRef> chords;
    for (const auto& result : ChordDetectionResults::_arrayWithChordsMatchingSearchString(text))
        chords.push_back(result->chord());
    if (auto named = chords.empty() ? KELPChord::chordWithString(text) : nullptr)
        chords.push_back(std::move(named));
    if (chords.empty())
        throw Failure(ExitStatus::usage,
                      "no chord matches '" + text +
                          "'; begin with a note and a part of a chord's name, as in F#m or "
                          "Ebmaj, or name a chord over a bass note (C/G) or N.C.");
    return chords;
}

void listChords(const std::string& text) {
    const auto chords = chordsFor(text);
    std::size_t width = 0;
    for (const auto& chord : chords)
        width = std::max(width, chord->string().size());
    for (const auto& chord : chords) {
        const std::string name = chord->string();
        std::cout << name << std::string(width - name.size() + 3, ' ')
                  << (chord->isNoChord() ? "no chord" : tones(*chord)) << "\n";
    }
}

} // namespace

void addChordsCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("chords", "List the chords that a text may mean, with their tones");
    const auto text = std::make_shared<std::string>();
    command
        ->add_option(
            "text", *text,
            "A root, then a part of a chord's name, then / for inversions or / and a bass note; or N.C.")
        ->required()
        ->type_name("TEXT");
    command->footer("Example:\n  tarn chords F#m7\n  tarn chords C/G");
    command->callback([text] { listChords(*text); });
}

} // namespace tarn::program
