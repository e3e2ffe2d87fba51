#include "Programs/tarn/Commands.h"
#include "Programs/tarn/FormatCommands.h"
#include "Programs/tarn/OutputFile.h"

#include <iostream>
#include <memory>

namespace tarn::program {

void addDrawCommand(CLI::App& app) {
    struct Options {
        std::string document;
        std::string output;
        std::unique_ptr<FormatArguments> arguments;
    };
    const auto options = std::make_shared<Options>();
    auto* command =
        app.add_subcommand("draw", "Draw the song on wrapped rows, as a picture or as a page that plays it");
    command->add_option("FILE", options->document, "The song's document (.tarn)")->required();
    command->add_option("OUT", options->output, "The picture: .svg, or .html for a page with the recording")
        ->required();
    options->arguments = std::make_unique<FormatArguments>(
        *command, FormatDirection::writing, [](const Format& format) { return format.isPicture; });
    command->footer("Example:\n  tarn draw song.tarn song.html --seconds-per-row 12");
    command->callback([options] {
        const std::filesystem::path document(options->document);
        const std::filesystem::path output(options->output);
        const Format& format = options->arguments->formatOf(options->output, "a picture");
        const FormatOptions given = options->arguments->given(format, options->output);
        const auto song = Song::open(document);
        refuseOutputOverInputs(output, {document, song->recordingFile(document)});
        writeSongFile(*song, document, format, given, output);
        std::cout << options->output << "\n";
    });
}

} // namespace tarn::program
