#include "Interchange/DocumentJSON.h"
#include "Interchange/SongChart.h"
#include "Programs/tarn/Commands.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace tarn::program {

namespace {

struct ShowOptions {
    std::string file;
    bool json = false;
};

void show(const ShowOptions& options) {
    const auto document = Song::open(options.file);
    if (options.json)
        printJSON(*document);
    else
        std::cout << songFacts(*document) << songChart(*document);
}

} // namespace

void addShowCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "show", "Show a document as a chart: bars with their chords, sections, regions and markers");
    const auto options = std::make_shared<ShowOptions>();
    command->add_option("document", options->file, "The document")->required()->type_name("FILE.tarn");
    command->add_flag("--json", options->json, "Print the whole document as one JSON object instead");
    command->footer("Example:\n  tarn show song.tarn");
    command->callback([options] { show(*options); });
}

} // namespace tarn::program
