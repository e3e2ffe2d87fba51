#include "Programs/tarn/Commands.h"
#include "Programs/tarn/ExportFormats.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/OutputFile.h"
#include "Programs/tarn/RefusedOptions.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <string_view>

namespace tarn::program {
namespace {

/// Refuses the options of other formats.
void refuseOptionsOfOthers(const CLI::App& command, const std::string& output, const ExportFormat& format) {
    const auto takes = [&](std::string_view option) {
        return std::find(format.options.begin(), format.options.end(), option) != format.options.end();
    };
    for (const ExportFormat& other : exportFormats()) {
        for (const char* option : other.options) {
            if (!takes(option))
                refuseOptions(command, output, {option});
        }
    }
}

void exportDocument(const CLI::App& command, const std::string& output, const ExportRequest& request) {
    const ExportFormat* const format = exportFormatOf(request.output);
    if (!format)
        throw Failure(ExitStatus::usage, output + ": an export ends in " + exportEndings());
    refuseOptionsOfOthers(command, output, *format);
    const auto document = Song::open(request.document);
    refuseOutputOverInputs(request.output, {request.document, document->recordingFile(request.document)});
    format->write(*document, request);
}

} // namespace

void addExportCommand(CLI::App& app) {
    struct Options : ExportRequest {
        std::string documentText;
        std::string outputText;
        bool withoutNotes = false;
        bool withoutChords = false;
    };
    const auto options = std::make_shared<Options>();
    auto* const command = app.add_subcommand("export", "Write a document as a file of another format");
    command->add_option("document", options->documentText, "The document")
        ->required()
        ->type_name("FILE.tarn");
    command
        ->add_option("output", options->outputText,
                     "The file to write; its ending says what: " + exportEndings())
        ->required()
        ->type_name("OUT");
    command
        ->add_option("--what", options->what,
                     "What a .lab or .csv file holds: beats, chords, sections or regions (chords)")
        ->check(CLI::IsMember(exportedKinds()).description(""))
        ->type_name("KIND");
    command
        ->add_option("--timing", options->timing,
                     "A .mid file's tempo: song follows every beat, fixed keeps one tempo, seconds makes a "
                     "quarter note last one second (song)")
        ->check(CLI::IsMember(exportTimings()).description(""))
        ->type_name("TIMING");
    command->add_flag("--no-notes", options->withoutNotes, "Leave the notes out of a .mid file");
    command->add_flag("--no-chords", options->withoutChords, "Leave the chords out of a .mid file");
    command->add_option("--transpose", options->transpose, "Semitones up (negative: down) in a .mid file (0)")
        ->check(CLI::Range(-127, 127).description(""))
        ->type_name("N");
    command->footer("Example:\n"
                    "  tarn export song.tarn song.mid --timing fixed --transpose -2\n"
                    "  tarn export song.tarn song.lab\n"
                    "  tarn export song.tarn beats.csv --what beats");
    command->callback([options, command] {
        options->document = options->documentText;
        options->output = options->outputText;
        options->hasNotes = !options->withoutNotes;
        options->hasChords = !options->withoutChords;
        exportDocument(*command, options->outputText, *options);
    });
}

} // namespace tarn::program
