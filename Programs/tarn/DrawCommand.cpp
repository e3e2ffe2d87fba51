#include "Programs/tarn/Commands.h"

#include "Platform/PlainText.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/OutputFile.h"

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
    const auto ending = endingOf(output);
    if (ending != ".svg" && ending != ".html")
        throw Failure(ExitStatus::usage, options.output + ": a picture's name ends in .svg or .html");
    const auto document = Song::open(file);
    refuseOutputOverInputs(output, {file, document->recordingFile(file)});
    writeSongPicture(*document, file, output, options.picture);
    std::cout << options.output << "\n";
}

/// A number between the limits: a range alone lets nan pass.
CLI::Validator finiteRange(double least, double greatest) {
    const CLI::Range range(least, greatest);
    return {[range](std::string& text) {
                return numberWithText(text) ? range(text) : "'" + text + "' is not a number";
            },
            range.get_description()};
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
        ->check(finiteRange(200, 20000))
        ->capture_default_str();
    command
        ->add_option("--seconds-per-row", options->picture.secondsPerRow, "About how much music a row shows")
        ->check(finiteRange(0.5, 3600))
        ->capture_default_str();
    command->footer("Example:\n  tarn draw song.tarn song.html --seconds-per-row 12");
    command->callback([options] { draw(*options); });
}

} // namespace tarn::program
