#include "Programs/tarn/Commands.h"
#include "Programs/tarn/DocumentChange.h"
#include "Programs/tarn/Failure.h"
#include "Song/Edits/Edits.h"
#include "Song/SongPositions.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace tarn::program {
namespace {

struct EditOptions {
    std::string document;
    std::vector<std::string> edits;
    std::string message;
    bool isDryRun = false;
    bool isSalvaged = false;
};

void editDocument(const EditOptions& options) {
    if (options.edits.empty() && !options.isSalvaged)
        throw Failure(ExitStatus::usage, "name an edit; 'tarn edit --help' lists them");
    try {
        const auto edits = parseEdits(options.edits);
        changeDocument(options.document, {.isDryRun = options.isDryRun, .isSalvaged = options.isSalvaged},
                       [&](Song& song) { return applyEdits(song, edits, options.message); });
    } catch (const EditSyntaxError& error) {
        throw Failure(ExitStatus::usage, error.what());
    } catch (const EditRefused& refusal) {
        throw Failure(ExitStatus::refusedEdit,
                      options.document + ": " + refusal.what() + "; nothing was changed");
    }
}

std::string helpText() {
    std::string text = "Edits, as sentences; each is one argument or its words are arguments:\n";
    for (const EditForm& form : editForms())
        text += "  " + form.form + "\n      " + std::string(form.example) + "\n";
    return text + "\nPOSITION: 3:1 bar and beat, 3:2+ or 3:2+1/4 part of the way to the next beat,\n"
                  "  0:24, 1:05, 1:05.2, 65.2s time, @132300 frame, start, end\n"
                  "  (3:10 is a beat, 3:09 and 0:10 are times: bars and beats never begin with 0)\n"
                  "LENGTH: 1 beat, 1/2 beat, 2 bars, 0.5s, 300ms, 441 frames\n"
                  "NAME: Chorus, \"Verse 2\", Chorus#2 (the second of that name)\n"
                  "\nAll edits of a call are kept, or none.\n"
                  "\nExample:\n"
                  "  tarn edit song.tarn metre=3/4 'move-bar 5 to 1:05.2' 'add-marker \"Solo\" at 25:1'\n"
                  "  tarn edit song.tarn --dry-run key=Ebm add-chord F#m7 at 3:1";
}

} // namespace

void addEditCommand(CLI::App& app) {
    const auto options = std::make_shared<EditOptions>();
    auto* const command = app.add_subcommand("edit", "Correct and extend a document");
    command->add_option("document", options->document, "The document")->required()->type_name("FILE.tarn");
    command->add_option("edits", options->edits, "What to change")->type_name("EDIT");
    command->add_option("--message", options->message, "What the history calls the change (the edits)")
        ->type_name("TEXT");
    command->add_flag("--salvage", options->isSalvaged,
                      "Change what can be read of a damaged document; without edits, only repair it");
    command->add_flag("--dry-run", options->isDryRun, "Say what would change and write nothing");
    command->footer(helpText());
    command->callback([options] { editDocument(*options); });
}

} // namespace tarn::program
