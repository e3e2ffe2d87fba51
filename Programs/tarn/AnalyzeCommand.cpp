#include "Interchange/DocumentJSON.h"
#include "Interchange/SongChart.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/FormatCommands.h"
#include "Programs/tarn/InterruptWatch.h"
#include "Programs/tarn/OutputFile.h"
#include "Programs/tarn/ProgramCache.h"
#include "Programs/tarn/ProgressDisplay.h"
#include "Song/SongAnalysis.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>
#include <memory>

namespace tarn::program {

namespace {

constexpr std::size_t kListedChordCount = 8;

struct AnalyzeOptions {
    std::string song;
    std::string document; ///< empty: beside the song
    std::string midi;     ///< empty: none
    std::string picture;  ///< empty: none
    bool force = false;
    bool relink = false;
    bool json = false;
};

/// The file by a name that it keeps: /dev/stdin and its like lead to another one in each process.
std::filesystem::path namedFile(const std::filesystem::path& given) {
    std::error_code error;
    if (!given.string().starts_with("/dev/") && !given.string().starts_with("/proc/"))
        return given;
    auto file = std::filesystem::canonical(given, error);
    return error ? given : file;
}

/// What the user should know besides the result.
std::vector<std::string> notesOn(const SongAnalysisOutcome& outcome) {
    const Song& song = *outcome.song;
    const RecordingFacts& audio = outcome.recording;
    std::vector<std::string> notes;
    if (audio.frameCount < audio.declaredFrames)
        notes.push_back("only the first " + formattedDuration(song.seconds(audio.frameCount)) + " of " +
                        formattedDuration(song.seconds(audio.declaredFrames)) + " could be read");
    if (outcome.wasEncodedAgain)
        notes.emplace_back(
            "the file was encoded or tagged again since the document was made; it sounds the same");
    for (const std::string& kind : outcome.keptKinds)
        notes.push_back(kind + " entries that were changed during the analysis are kept as they are");
    if (outcome.former)
        notes.push_back("the former document is kept as " + outcome.former->string());
    return notes;
}

void printSummary(const SongAnalysisOutcome& outcome, const AnalyzeOptions& options,
                  const std::filesystem::path& file) {
    std::cout << songFacts(*outcome.song) << "Chords     " << firstChords(*outcome.song, kListedChordCount)
              << "\n";
    for (const std::string& note : notesOn(outcome))
        std::cout << "Note       " << note << "\n";
    std::cout << "Document   " << file.string() << "\n";
    if (!options.midi.empty())
        std::cout << "MIDI file  " << options.midi << "\n";
    if (!options.picture.empty())
        std::cout << "Picture    " << options.picture << "\n";
}

SongAnalysisOutcome analyzeWithProgress(const std::filesystem::path& song,
                                        const std::filesystem::path& document,
                                        const AnalyzeOptions& options) {
    const InterruptWatch watch;
    ProgressDisplay display(options.json);
    try {
        return analyzeIntoDocument(
            song, document,
            {options.force,
             options.relink,
             [&](double fraction, const std::string& activity) { display.show(fraction, activity); },
             &InterruptWatch::isInterrupted,
             {}});
    } catch (const SongAnalysisCancelled&) {
        throw Failure(ExitStatus::cancelled,
                      song.string() + ": the analysis was cancelled; nothing was written");
    }
}

void analyze(const AnalyzeOptions& options) {
    const std::filesystem::path song = namedFile(options.song);
    std::filesystem::path file(options.document);
    if (file.empty())
        file = std::filesystem::path(song).replace_extension(".tarn");
    const Format& picture = *formatNamed("svg");
    const Format& midi = *formatNamed("midi");
    if (!options.picture.empty() && formatWithEnding(endingOf(options.picture)) != &picture)
        throw Failure(ExitStatus::usage, options.picture + ": the picture's name has to end in .svg");
    if (!options.midi.empty() && formatWithEnding(endingOf(options.midi)) != &midi)
        throw Failure(ExitStatus::usage, options.midi + ": the MIDI file's name has to end in .mid");
    // Whoever reads the output may stop reading; the document is worth more than the lines.
    std::signal(SIGPIPE, SIG_IGN);

    checkWritable(file);
    for (const std::filesystem::path output : {options.midi, options.picture}) {
        if (output.empty())
            continue;
        checkWritable(output);
        refuseOutputOverInputs(output, {song, file});
    }
    const SongAnalysisOutcome outcome = analyzeWithProgress(song, file, options);
    markCacheUsed(outcome.recording.digest);
    trimCache(kLargestCache); // what cannot be removed does not spoil the analysis
    if (!options.midi.empty())
        writeSongFile(*outcome.song, file, midi, {}, options.midi);
    if (!options.picture.empty())
        writeSongFile(*outcome.song, file, picture, {}, options.picture);
    if (options.json) {
        printJSON(*outcome.song);
        for (const std::string& note : notesOn(outcome))
            std::cerr << "tarn: " << note << "\n";
    } else {
        printSummary(outcome, options, file);
    }
}

} // namespace

void addAnalyzeCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "analyze", "Find a recording's tuning, key, tempo, bars and chords and keep them in a document");
    const auto options = std::make_shared<AnalyzeOptions>();
    command
        ->add_option("song", options->song,
                     "The recording: WAV, AIFF, FLAC, Ogg, Opus or MP3; with ffmpeg also M4A, WMA and films")
        ->required()
        ->type_name("SONG");
    command
        ->add_option(
            "-o", options->document,
            "The document (SONG with the ending .tarn); in one that exists, only what is missing is added")
        ->type_name("FILE.tarn");
    command->add_flag(
        "--force", options->force,
        "Find everything again, in place of the document's chords, beats, metre, tempo, key and tuning; the "
        "former document is kept as FILE.tarn~");
    command->add_flag(
        "--relink", options->relink,
        "Accept a recording that sounds different as the document's: another mix or master of the "
        "same song, as long and at the same speed");
    command->add_option("--midi", options->midi, "Also write notes and chords as a MIDI file")
        ->type_name("OUT.mid");
    command->add_option("--picture", options->picture, "Also draw the song")->type_name("OUT.svg");
    command->add_flag("--json", options->json, "Print the document as one JSON object instead of a summary");
    command->footer("Example:\n"
                    "  tarn analyze song.mp3 --midi song.mid --picture song.svg");
    command->callback([options] { analyze(*options); });
}

} // namespace tarn::program
