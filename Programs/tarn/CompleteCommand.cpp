#include "Programs/tarn/Commands.h"
#include "Programs/tarn/ExportFormats.h"
#include "Song/Edits/Edits.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace tarn::program {
namespace {

/// The first words of all edits, with `=` where the form has it.
std::vector<std::string> editVerbs() {
    std::vector<std::string> verbs;
    for (const EditForm& form : editForms()) {
        const std::size_t end = form.form.find(' ');
        const bool takesValue = end != std::string::npos && form.form.substr(end).starts_with(" =");
        verbs.push_back(form.form.substr(0, end) + (takesValue ? "=" : ""));
    }
    return verbs;
}

/// The endings of all exports without their dots.
std::vector<std::string> exportEndingWords() {
    std::vector<std::string> endings;
    for (const ExportFormat& format : exportFormats())
        endings.emplace_back(format.endings.front().substr(1));
    return endings;
}

} // namespace

/// For the shells' completion scripts, which so never fall behind the program; not shown in the help.
void addCompleteCommand(CLI::App& app) {
    const auto what = std::make_shared<std::string>();
    auto* const command = app.add_subcommand("complete", "List what completion scripts offer, a line each");
    command->group("");
    command->add_option("what", *what)->required()->check(CLI::IsMember({"edits", "exports", "kinds"}));
    command->callback([what] {
        const auto words = *what == "edits"     ? editVerbs()
                           : *what == "exports" ? exportEndingWords()
                                                : exportedKinds();
        for (const std::string& word : words)
            std::cout << word << "\n";
    });
}

} // namespace tarn::program
