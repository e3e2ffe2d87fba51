#include "Programs/tarn/Commands.h"

#include "Programs/tarn/Failure.h"
#include "Programs/tarn/PictureFile.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace tarn::program {

namespace {

struct DrawOptions {
    std::string document;
    std::string output;
    PictureOptions picture;
};

void draw(const DrawOptions& options) {
    const std::filesystem::path file(options.document);
    const std::filesystem::path output(options.output);
    const auto ending = output.extension();
    if (ending != ".svg" && ending != ".html")
        throw Failure(ExitStatus::usage, options.output + ": a picture's name ends in .svg or .html");
    writeSongPicture(*SongDocument::open(file), file, output, options.picture);
    std::cout << options.output << "\n";
}

} // namespace

void addDrawCommand(CLI::App& app) {
    const auto options = std::make_shared<DrawOptions>();
    auto* command =
        app.add_subcommand("draw", "Draw the song on wrapped rows, as a picture or as a page that plays it");
    command->add_option("FILE", options->document, "The song's document (.tarn)")->required();
    command->add_option("OUT", options->output, "The picture: .svg, or .html for a page with the recording")
        ->required();
    command->add_option("--width", options->picture.pageWidth, "Width of a row in points")
        ->check(CLI::Range(200.0, 20000.0))
        ->capture_default_str();
    command
        ->add_option("--seconds-per-row", options->picture.secondsPerRow, "About how much music a row shows")
        ->check(CLI::Range(0.5, 3600.0))
        ->capture_default_str();
    command->footer("Example:\n  tarn draw song.tarn song.html --seconds-per-row 12");
    command->callback([options] { draw(*options); });
}

} // namespace tarn::program
