#include "Platform/FileManager.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/DocumentChange.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/FormatCommands.h"
#include "Programs/tarn/OutputFile.h"
#include "Song/SongPositions.h"

#include <cerrno>
#include <memory>

namespace tarn::program {
namespace {

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

std::string importInto(Song& song, const Data& bytes, const Format& format, const FormatOptions& options,
                       const std::string& input) {
    const auto refused = [&](const std::exception& refusal) {
        return Failure(ExitStatus::refusedEdit, input + ": " + refusal.what() + "; nothing was changed");
    };
    try {
        return readIntoSong(song, bytes, format, {options});
    } catch (const FormatError& error) {
        const std::string line = error.line() > 0 ? ":" + std::to_string(error.line()) : "";
        throw Failure(ExitStatus::undecodableInput, input + line + ": " + error.what());
    } catch (const FormatOptionError& error) {
        throw Failure(ExitStatus::usage, error.what());
    } catch (const FormatRefused& refusal) {
        throw refused(refusal);
    } catch (const EditRefused& refusal) {
        throw refused(refusal);
    }
}

} // namespace

void addImportCommand(CLI::App& app) {
    struct Options {
        std::string document;
        std::string input;
        bool isDryRun = false;
        std::unique_ptr<FormatArguments> arguments;
    };
    const auto options = std::make_shared<Options>();
    auto* const command = app.add_subcommand(
        "import", "Replace a document's notes, beats, chords or sections by those of a file");
    command->add_option("document", options->document, "The document")->required()->type_name("FILE.tarn");
    command
        ->add_option("input", options->input,
                     "The file to import; its ending says what: " + endingsFor(FormatDirection::reading))
        ->required()
        ->type_name("IN");
    options->arguments = std::make_unique<FormatArguments>(*command, FormatDirection::reading);
    command->add_flag("--dry-run", options->isDryRun, "Say what would change and write nothing");
    command->footer("Example:\n"
                    "  tarn import song.tarn bass.mid --by grid --at 1:1\n"
                    "  tarn import song.tarn beats.txt --what beats --beats-per-bar 3 --first-downbeat 2\n"
                    "  tarn import song.tarn chords.lab");
    command->callback([options] {
        const std::string& input = options->input;
        if (isSameFile(input, options->document))
            throw Failure(ExitStatus::usage,
                          input + ": this is the document itself; name the file to import from");
        const Format& format = options->arguments->formatOf(input, "an import");
        const FormatOptions given = options->arguments->given(format, input);
        const Data bytes = contentsOf(input); // which may take its time, before others wait for the document
        changeDocument(
            options->document, {.isDryRun = options->isDryRun, .message = "Imported " + input},
            [&](Song& song) { return std::vector{importInto(song, bytes, format, given, input)}; });
    });
}

} // namespace tarn::program
