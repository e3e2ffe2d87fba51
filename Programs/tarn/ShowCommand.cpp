#include "Interchange/DocumentJSON.h"
#include "Interchange/SongChart.h"
#include "Platform/PlainText.h"
#include "Programs/tarn/Commands.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace tarn::program {

namespace {

struct ShowOptions {
    std::string file;
    bool json = false;
    bool isSalvaged = false;
    bool isAtConcertPitch = false;
};

/// What can be read of a damaged document; what could not be is told on standard error.
std::shared_ptr<Song> salvagedSong(const std::string& file) {
    const auto salvaged = Song::salvage(file);
    if (const std::string damage = salvaged.description(); !damage.empty())
        std::cerr << "tarn: " << onOneLine(file + ": " + damage) << "\n";
    return salvaged.song;
}

void show(const ShowOptions& options) {
    const auto document = options.isSalvaged ? salvagedSong(options.file) : Song::open(options.file);
    if (options.json)
        printJSON(*document);
    else
        std::cout << songFacts(*document, options.isAtConcertPitch)
                  << songChart(*document, options.isAtConcertPitch);
}

} // namespace

void addShowCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "show", "Show a document as a chart: bars with their chords, sections, regions and markers");
    const auto options = std::make_shared<ShowOptions>();
    command->add_option("document", options->file, "The document")->required()->type_name("FILE.tarn");
    auto* const json =
        command->add_flag("--json", options->json, "Print the whole document as one JSON object instead");
    command->add_flag("--salvage", options->isSalvaged, "Show what can be read of a damaged document");
    command
        ->add_flag("--concert", options->isAtConcertPitch,
                   "Chords and key as they sound, without the song's capo and transposition")
        ->excludes(json);
    command->footer("Example:\n  tarn show song.tarn");
    command->callback([options] { show(*options); });
}

} // namespace tarn::program
