#include "Programs/tarn/AnnotationText.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/OutputFile.h"
#include "Programs/tarn/RefusedOptions.h"
#include "TarnFoundation/MIDIExport/MIDIExport.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>

namespace tarn::program {
namespace {

const std::map<std::string, AnnotationKind> kExportedKinds{{"beats", AnnotationKind::beats},
                                                           {"chords", AnnotationKind::chords},
                                                           {"sections", AnnotationKind::sections},
                                                           {"regions", AnnotationKind::regions}};
const std::map<std::string, MIDIExportTiming> kTimings{{"song", MIDIExportTiming::followSongTempo},
                                                       {"fixed", MIDIExportTiming::fixedTempo},
                                                       {"seconds", MIDIExportTiming::seconds}};

struct ExportOptions {
    std::string document;
    std::string output;
    std::string what = "chords";
    bool withoutNotes = false;
    bool withoutChords = false;
    std::string timing = "song";
    int transpose = 0;
};

void exportMIDI(const Song& document, const ExportOptions& options, const std::filesystem::path& output) {
    const UserInfo midiOptions{
        {TarnNoteEntryStorageMIDIExportNotesOptionKey, !options.withoutNotes},
        {TarnNoteEntryStorageMIDIExportChordsOptionKey, !options.withoutChords},
        {TarnNoteEntryStorageMIDITransposeAmountOptionKey, options.transpose},
        {TarnNoteEntryStorageMIDITimingOptionKey, kTimings.at(options.timing)},
    };
    writeMIDIFile(document, midiOptions, output);
}

void exportDocument(const CLI::App& command, const ExportOptions& options) {
    const std::filesystem::path output(options.output);
    const std::string ending = endingOf(output);
    const auto isOneOf = [&](std::initializer_list<const char*> endings) {
        return std::find(endings.begin(), endings.end(), ending) != endings.end();
    };
    if (!isOneOf({".mid", ".midi", ".lab", ".csv", ".svg", ".html"}))
        throw Failure(ExitStatus::usage,
                      options.output + ": an export ends in .mid, .lab, .csv, .svg or .html");
    const bool isMIDI = isMIDIEnding(ending);
    if (!isMIDI)
        refuseOptions(command, options.output, {"--timing", "--no-notes", "--no-chords", "--transpose"});
    if (!isOneOf({".lab", ".csv"}))
        refuseOptions(command, options.output, {"--what"});
    const auto document = Song::open(options.document);
    refuseOutputOverInputs(output, {options.document, document->recordingFile(options.document)});
    if (isMIDI)
        exportMIDI(*document, options, output);
    else if (isOneOf({".svg", ".html"}))
        writeSongPicture(*document, options.document, output, {});
    else
        writeTextFile(annotationText(*document, kExportedKinds.at(options.what),
                                     ending == ".lab" ? AnnotationFormat::lab : AnnotationFormat::csv),
                      output);
}

} // namespace

void addExportCommand(CLI::App& app) {
    const auto options = std::make_shared<ExportOptions>();
    auto* const command = app.add_subcommand("export", "Write a document as a file of another format");
    command->add_option("document", options->document, "The document")->required()->type_name("FILE.tarn");
    command
        ->add_option("output", options->output,
                     "The file to write; its ending says what: .mid, .lab, .csv, .svg or .html")
        ->required()
        ->type_name("OUT");
    command
        ->add_option("--what", options->what,
                     "What a .lab or .csv file holds: beats, chords, sections or regions (chords)")
        ->check(CLI::IsMember(kExportedKinds).description(""))
        ->type_name("KIND");
    command
        ->add_option("--timing", options->timing,
                     "A .mid file's tempo: song follows every beat, fixed keeps one tempo, seconds makes a "
                     "quarter note last one second (song)")
        ->check(CLI::IsMember(kTimings).description(""))
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
    command->callback([options, command] { exportDocument(*command, *options); });
}

} // namespace tarn::program
