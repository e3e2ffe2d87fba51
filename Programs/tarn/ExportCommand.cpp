#include "Programs/tarn/Commands.h"
#include "Programs/tarn/FormatCommands.h"
#include "Programs/tarn/OutputFile.h"

#include <memory>

namespace tarn::program {

void addExportCommand(CLI::App& app) {
    struct Options {
        std::string document;
        std::string output;
        std::unique_ptr<FormatArguments> arguments;
    };
    const auto options = std::make_shared<Options>();
    auto* const command = app.add_subcommand("export", "Write a document as a file of another format");
    command->add_option("document", options->document, "The document")->required()->type_name("FILE.tarn");
    command
        ->add_option("output", options->output,
                     "The file to write; its ending says what: " + endingsFor(FormatDirection::writing))
        ->required()
        ->type_name("OUT");
    options->arguments = std::make_unique<FormatArguments>(*command, FormatDirection::writing);
    command->footer("Example:\n"
                    "  tarn export song.tarn song.mid --timing fixed --transpose -2\n"
                    "  tarn export song.tarn song.lab\n"
                    "  tarn export song.tarn beats.csv --what beats\n"
                    "  tarn export song.tarn song.musicxml");
    command->callback([options] {
        const std::filesystem::path document(options->document);
        const std::filesystem::path output(options->output);
        const Format& format = options->arguments->formatOf(options->output, "an export");
        const FormatOptions given = options->arguments->given(format, options->output);
        const auto song = Song::open(document);
        refuseOutputOverInputs(output, {document, song->recordingFile(document)});
        writeSongFile(*song, document, format, given, output);
    });
}

} // namespace tarn::program
