#include "AnalysisEngine/AudioReader.h"
#include "Platform/UserDefaults.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/DocumentJSON.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/OutputFile.h"
#include "Programs/tarn/ProgramCache.h"
#include "Programs/tarn/ProgressDisplay.h"
#include "Programs/tarn/SongAnalysis.h"
#include "Programs/tarn/SongChart.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"
#include "TarnFoundation/Formatting/TarnUserDefaultsKeys.h"
#include "TarnFoundation/MIDIExport/MIDIExport.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>
#include <memory>
#include <random>

namespace tarn::program {

namespace {

constexpr std::size_t kListedChordCount = 8;

struct AnalyzeOptions {
    std::string song;
    std::string document; ///< empty: beside the song
    std::string midi;     ///< empty: none
    std::string picture;  ///< empty: none
    bool force = false;
    bool json = false;
};

/// While it lives, the first interrupt (Ctrl-C) is only noted; a second one ends the process at once.
class InterruptWatch {
public:
    InterruptWatch() {
        sIsInterrupted = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { sIsInterrupted = 1; };
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(SIGINT, &action, &mEarlier);
    }
    ~InterruptWatch() { sigaction(SIGINT, &mEarlier, nullptr); }
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

    [[nodiscard]] static bool isInterrupted() { return sIsInterrupted != 0; }

private:
    static inline volatile std::sig_atomic_t sIsInterrupted = 0;
    struct sigaction mEarlier {};
};

std::string newIdentifier() {
    std::random_device random;
    std::string identifier;
    for (const int length : {8, 4, 4, 4, 12}) {
        if (!identifier.empty())
            identifier += '-';
        for (int i = 0; i < length; ++i)
            identifier += "0123456789ABCDEF"[random() % 16];
    }
    return identifier;
}

bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
    std::error_code error;
    const auto canonical = [&](const std::filesystem::path& file) { // of a file that need not exist
        return std::filesystem::weakly_canonical(std::filesystem::absolute(file, error), error);
    };
    return canonical(a) == canonical(b);
}

/// The file by a name that it keeps: /dev/stdin and its like lead to another one in each process.
std::filesystem::path namedFile(const std::filesystem::path& given) {
    std::error_code error;
    if (!given.string().starts_with("/dev/") && !given.string().starts_with("/proc/"))
        return given;
    auto file = std::filesystem::canonical(given, error);
    return error ? given : file;
}

/// The song's name for a document that is kept in `documentFile`.
std::string songNameFrom(const std::filesystem::path& documentFile, const std::filesystem::path& song) {
    const auto absolute = std::filesystem::absolute(song).lexically_normal();
    auto name =
        absolute.lexically_relative(std::filesystem::absolute(documentFile).lexically_normal().parent_path());
    if (name.empty() || *name.begin() == "..")
        name = absolute;
    const auto text = name.u8string();
    return {text.begin(), text.end()};
}

/// The document in the file when there is one, or a new one for the recording.
std::shared_ptr<SongDocument> openOrMake(const std::filesystem::path& file, const AudioFacts& audio,
                                         const std::filesystem::path& song) {
    std::error_code error;
    if (!std::filesystem::exists(file, error))
        return std::make_shared<SongDocument>(
            Recording{songNameFrom(file, song), audio.sampleRate, audio.frameCount, newIdentifier()});
    if (!std::filesystem::is_regular_file(file, error)) // a device may never end, and is never a document
        throw Failure(ExitStatus::unwritableOutput,
                      file.string() + ": a document cannot be kept there; name an ordinary file");
    auto document = SongDocument::open(file);
    if (document->recording.sampleRate != audio.sampleRate ||
        document->recording.frameCount != audio.frameCount)
        throw Failure(ExitStatus::refusedEdit,
                      file.string() + ": this document belongs to another recording (" +
                          document->recording.fileName + "); name another document with -o");
    return document;
}

void printSummary(const SongDocument& document, const AudioFacts& audio, const AnalyzeOptions& options,
                  const std::filesystem::path& file) {
    std::cout << songFacts(document) << "Chords     " << firstChords(document, kListedChordCount) << "\n";
    if (audio.frameCount < audio.declaredFrames)
        std::cout << "Note       only the first " << formattedDuration(document.seconds(audio.frameCount))
                  << " of " << formattedDuration(document.seconds(audio.declaredFrames))
                  << " could be read\n";
    std::cout << "Document   " << file.string() << "\n";
    if (!options.midi.empty())
        std::cout << "MIDI file  " << options.midi << "\n";
    if (!options.picture.empty())
        std::cout << "Picture    " << options.picture << "\n";
}

void analyze(const AnalyzeOptions& options) {
    const std::filesystem::path song = namedFile(options.song);
    std::filesystem::path file(options.document);
    if (file.empty())
        file = std::filesystem::path(song).replace_extension(".tarn");
    if (!options.picture.empty() && endingOf(options.picture) != ".svg")
        throw Failure(ExitStatus::usage, options.picture + ": the picture's name has to end in .svg");

    if (!options.midi.empty() && !isMIDIEnding(endingOf(options.midi)))
        throw Failure(ExitStatus::usage, options.midi + ": the MIDI file's name has to end in .mid");
    // Whoever reads the output may stop reading; the document is worth more than the lines.
    std::signal(SIGPIPE, SIG_IGN);

    const InterruptWatch watch;
    const AudioFacts audio = readAudioFacts(song, &InterruptWatch::isInterrupted);
    checkWritable(file);
    for (const std::filesystem::path output : {options.midi, options.picture}) {
        if (output.empty())
            continue;
        checkWritable(output);
        if (isSameFile(output, song) || isSameFile(output, file))
            throw Failure(ExitStatus::usage,
                          output.string() + ": this is the song or its document; name another file");
    }
    const auto document = openOrMake(file, audio, song);
    if (options.force) {
        UserDefaults::standard().setVolatileValue(TarnUserDefaultsKeyForceMIRProcessing, "true");
        removeAnalysis(*document);
    }
    if (!isAnalyzed(*document)) {
        ProgressDisplay display(options.json);
        const std::string cacheName = cacheNameOf(song);
        markCacheUsed(cacheName);
        analyzeSong(
            *document, song, cacheName,
            [&](double fraction, const std::string& activity) { display.show(fraction, activity); },
            &InterruptWatch::isInterrupted);
        trimCache(kLargestCache); // what cannot be removed does not spoil the analysis
    }
    document->recording.fileName = songNameFrom(file, song);
    SongDocument::save(document, file);
    if (!options.midi.empty())
        writeMIDIFile(*document,
                      {{TarnNoteEntryStorageMIDIExportNotesOptionKey, true},
                       {TarnNoteEntryStorageMIDIExportChordsOptionKey, true}},
                      options.midi);
    if (!options.picture.empty())
        writeSongPicture(*document, file, options.picture, {});
    if (options.json)
        printJSON(*document);
    else
        printSummary(*document, audio, options, file);
}

} // namespace

void addAnalyzeCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "analyze", "Find a recording's tuning, key, tempo, bars and chords and keep them in a document");
    const auto options = std::make_shared<AnalyzeOptions>();
    command->add_option("song", options->song, "The recording: WAV, AIFF, FLAC, Ogg, Opus or MP3")
        ->required()
        ->type_name("SONG");
    command
        ->add_option(
            "-o", options->document,
            "The document (SONG with the ending .tarn); in one that exists, only what is missing is added")
        ->type_name("FILE.tarn");
    command->add_flag(
        "--force", options->force,
        "Find everything anew, in place of the document's chords, beats, metre, tempo, key and tuning");
    command->add_option("--midi", options->midi, "Also write notes and chords as a MIDI file")
        ->type_name("OUT.mid");
    command->add_option("--picture", options->picture, "Also draw the song")->type_name("OUT.svg");
    command->add_flag("--json", options->json, "Print the document as one JSON object instead of a summary");
    command->footer("Example:\n"
                    "  tarn analyze song.mp3 --midi song.mid --picture song.svg");
    command->callback([options] { analyze(*options); });
}

} // namespace tarn::program
