#include "Programs/tarn/Commands.h"
#include "Programs/tarn/FormatCommands.h"
#include "Song/Edits/Edits.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
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

/// The endings of all formats of that direction without their dots.
std::vector<std::string> endingWords(FormatDirection direction) {
    std::vector<std::string> endings;
    for (const Format* format : formatsFor(direction))
        for (const std::string_view ending : format->endings)
            endings.emplace_back(ending.substr(1));
    return endings;
}

std::vector<std::string> formatNames(FormatDirection direction, const FormatFilter& filter = {}) {
    std::vector<std::string> names;
    for (const Format* format : formatsFor(direction, filter))
        names.emplace_back(format->name);
    return names;
}

/// What `--what` may say, for any format.
std::vector<std::string> kindNames(FormatDirection direction) {
    std::vector<std::string> names;
    for (const Format* format : formatsFor(direction)) {
        for (const FormatOption& option :
             direction == FormatDirection::writing ? format->writeOptions : format->readOptions) {
            for (const std::string_view name : option.allowed)
                if (option.name == "what" && std::find(names.begin(), names.end(), name) == names.end())
                    names.emplace_back(name);
        }
    }
    return names;
}

} // namespace

/// For the shells' completion scripts, which so never fall behind the program; not shown in the help.
void addCompleteCommand(CLI::App& app) {
    const std::map<std::string, std::function<std::vector<std::string>()>> lists{
        {"edits", editVerbs},
        {"exports", [] { return endingWords(FormatDirection::writing); }},
        {"imports", [] { return endingWords(FormatDirection::reading); }},
        {"formats", [] { return formatNames(FormatDirection::writing); }},
        {"imported-formats", [] { return formatNames(FormatDirection::reading); }},
        {"picture-formats",
         [] { return formatNames(FormatDirection::writing, [](const Format& f) { return f.isPicture; }); }},
        {"kinds", [] { return kindNames(FormatDirection::writing); }},
        {"imported-kinds", [] { return kindNames(FormatDirection::reading); }},
    };
    const auto what = std::make_shared<std::string>();
    auto* const command = app.add_subcommand("complete", "List what completion scripts offer, a line each");
    command->group("");
    command->add_option("what", *what)->required()->check(CLI::IsMember(lists));
    command->callback([what, lists] {
        const auto words = lists.at(*what)();
        for (const std::string& word : words)
            std::cout << word << "\n";
    });
}

} // namespace tarn::program
