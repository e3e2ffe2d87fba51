#include "Interchange/AnnotationText.h"
#include "Interchange/NoteImport.h"
#include "Platform/FileManager.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/DocumentChange.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/OutputFile.h"
#include "Programs/tarn/RefusedOptions.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <map>
#include <memory>

namespace tarn::program {
namespace {

const std::map<std::string, AnnotationKind> kImportedKinds{{"beats", AnnotationKind::beats},
                                                           {"chords", AnnotationKind::chords},
                                                           {"sections", AnnotationKind::sections}};

struct ImportOptions {
    std::string document;
    std::string input;
    std::string what = "chords";
    std::string by = "time";
    std::string at;
    int channel = 0;       ///< 0: none given
    int beatsPerBar = 0;   ///< 0: none given
    int firstDownbeat = 0; ///< 0: none given
    bool isDryRun = false;
};

Data contentsOf(const std::filesystem::path& file) {
    constexpr std::uintmax_t kLargestFile = 64 << 20; ///< bytes; no annotation of a song comes near it
    Error error;
    auto bytes = FileManager::contentsOf(file, &error, kLargestFile);
    if (!bytes && error.code == EFBIG)
        throw Failure(ExitStatus::undecodableInput, file.string() + ": this is too large for an annotation");
    if (!bytes)
        throw Failure(ExitStatus::unreadableInput, error.localizedDescription());
    return *std::move(bytes);
}

std::string importNotes(Song& document, const Data& bytes, const ImportOptions& options) {
    NotePlacement placement;
    placement.followsBeats = options.by == "grid";
    if (!options.at.empty()) {
        placement.at = Position::make(options.at);
        if (!placement.at)
            throw Failure(ExitStatus::usage,
                          "--at " + options.at + ": this is not a valid position (" + Position::kForms + ")");
    }
    if (options.channel > 0)
        placement.channel = options.channel;
    try {
        return replaceNotes(document, MIDIFile(bytes), placement);
    } catch (const MIDIFileError& error) {
        throw Failure(ExitStatus::undecodableInput, options.input + ": " + error.what());
    } catch (const EditRefused& refusal) {
        throw Failure(ExitStatus::refusedEdit,
                      options.input + ": " + refusal.what() + "; nothing was changed");
    }
}

std::string importAnnotations(Song& document, const Data& bytes, const ImportOptions& options) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const auto given = [](int number) { return number > 0 ? std::optional(number) : std::nullopt; };
    const AnnotationKind kind = kImportedKinds.at(options.what);
    try {
        const TextTable table = kind == AnnotationKind::beats       ? parseNumbers(text)
                                : endingOf(options.input) == ".csv" ? parseCSV(text)
                                                                    : parseLab(text);
        return replaceAnnotations(document, kind, table,
                                  {given(options.beatsPerBar), given(options.firstDownbeat)});
    } catch (const BeatCountingError& error) {
        throw Failure(ExitStatus::usage, error.what());
    } catch (const TextTableError& error) {
        throw Failure(ExitStatus::undecodableInput,
                      options.input + ":" + std::to_string(error.line()) + ": " + error.what());
    }
}

void importIntoDocument(const CLI::App& command, const ImportOptions& options) {
    if (isSameFile(options.input, options.document))
        throw Failure(ExitStatus::usage,
                      options.input + ": this is the document itself; name the file to import from");
    const std::string ending = endingOf(options.input);
    const bool isMIDI = isMIDIEnding(ending);
    if (!isMIDI && ending != ".lab" && ending != ".csv" && ending != ".txt")
        throw Failure(ExitStatus::usage, options.input + ": an import ends in .mid, .lab, .csv or .txt");
    if (isMIDI)
        refuseOptions(command, options.input, {"--what"});
    else
        refuseOptions(command, options.input, {"--by", "--at", "--channel"});
    if (isMIDI || options.what != "beats")
        refuseOptions(command, options.input, {"--beats-per-bar", "--first-downbeat"});
    const Data bytes =
        contentsOf(options.input); // which may take its time, before others wait for the document
    changeDocument(options.document, {.isDryRun = options.isDryRun, .message = "Imported " + options.input},
                   [&](Song& song) {
                       return std::vector{isMIDI ? importNotes(song, bytes, options)
                                                 : importAnnotations(song, bytes, options)};
                   });
}

} // namespace

void addImportCommand(CLI::App& app) {
    const auto options = std::make_shared<ImportOptions>();
    auto* const command = app.add_subcommand(
        "import", "Replace a document's notes, beats, chords or sections by those of a file");
    command->add_option("document", options->document, "The document")->required()->type_name("FILE.tarn");
    command->add_option("input", options->input, "The file to import: .mid (notes), .lab, .csv or .txt")
        ->required()
        ->type_name("IN");
    command
        ->add_option("--what", options->what,
                     "What a .lab, .csv or .txt file holds: beats, chords or sections (chords)")
        ->check(CLI::IsMember(kImportedKinds).description(""))
        ->type_name("KIND");
    command
        ->add_option("--by", options->by,
                     "Where the notes of a .mid file are put: grid follows the song's beats, time the file's "
                     "own tempo (time)")
        ->check(CLI::IsMember({"grid", "time"}).description(""))
        ->type_name("grid|time");
    command
        ->add_option("--at", options->at,
                     "Where a .mid file begins in the song: 3:1, 0:24, @132300 (by grid bar 1, by time the "
                     "start)")
        ->type_name("POSITION");
    command
        ->add_option("--channel", options->channel,
                     "The only channel of a .mid file to take, 1 to 16 (all but 10, percussion)")
        ->check(CLI::Range(1, 16).description(""))
        ->type_name("N");
    command
        ->add_option("--beats-per-bar", options->beatsPerBar,
                     "How beats are counted that a list does not number (the document's metre)")
        ->check(CLI::Range(1, BeatCounting::kMostBeatsPerBar).description(""))
        ->type_name("N");
    command
        ->add_option("--first-downbeat", options->firstDownbeat,
                     "Which beat of such a list opens the first bar (as the document's bars do, or 1)")
        ->check(CLI::Range(1, 1'000'000'000).description(""))
        ->type_name("K");
    command->add_flag("--dry-run", options->isDryRun, "Say what would change and write nothing");
    command->footer("Example:\n"
                    "  tarn import song.tarn bass.mid --by grid --at 1:1\n"
                    "  tarn import song.tarn beats.txt --what beats --beats-per-bar 3 --first-downbeat 2\n"
                    "  tarn import song.tarn chords.lab");
    command->callback([options, command] { importIntoDocument(*command, *options); });
}

} // namespace tarn::program
