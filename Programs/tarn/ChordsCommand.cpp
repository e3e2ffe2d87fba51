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

void listChords(const std::string& text) {
    const auto results = ChordDetectionResults::_arrayWithChordsMatchingSearchString(text);
    if (results.empty())
        throw Failure(ExitStatus::usage, "no chord matches '" + text +
                                             "'; begin with a note and a part of a chord's name, "
                                             "as in F#m or Ebmaj");
    std::size_t width = 0;
    for (const auto& result : results)
        width = std::max(width, result->chord()->string().size());
    for (const auto& result : results) {
        const std::string name = result->chord()->string();
        std::cout << name << std::string(width - name.size() + 3, ' ') << tones(*result->chord()) << "\n";
    }
}

} // namespace

void addChordsCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("chords", "List the chords that a text may mean, with their tones");
    const auto text = std::make_shared<std::string>();
    command->add_option("text", *text, "A root, then a part of a chord's name, then / for inversions")
        ->required()
        ->type_name("TEXT");
    command->footer("Example:\n  tarn chords F#m7");
    command->callback([text] { listChords(*text); });
}

} // namespace tarn::program
