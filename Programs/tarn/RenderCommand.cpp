#include "Platform/FileManager.h"
#include "PracticePage/PracticeRender.h"
#include "PracticePage/SongPlaces.h"
#include "PracticePage/SoundFormat.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/OutputFile.h"
#include "Song/CountedBeats.h"
#include "Song/SongAnalysis.h"
#include "Song/SongError.h"
#include "TarnFoundation/Formatting/TarnFormatting.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <iostream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace tarn::program {

namespace {

struct RenderOptions {
    std::string song;
    std::string output;
    double speed = 100;
    double pitch = 0;
    bool hasClick = false;
    int countIn = 0;
    std::string bars; ///< empty: all
};

struct OpenedSong {
    std::shared_ptr<Song> song;
    std::filesystem::path document;
    std::filesystem::path recording;
};

/// A song that was not analysed is nothing but its recording.
OpenedSong openSong(const std::filesystem::path& file) {
    if (endingOf(file) == ".tarn") {
        auto song = Song::open(file);
        auto recording = song->recordingFile(file);
        return {std::move(song), file, std::move(recording)};
    }
    const auto document = documentPlaceOf(file).file;
    std::error_code ignored;
    return {std::filesystem::exists(document, ignored) ? Song::open(document) : newSong(file), document,
            file};
}

/// The frames of "9" or "9-16", counted from 1. Throws Failure.
Range<std::int64_t> framesOfBars(const Song& song, const std::string& text) {
    const BeatGrid grid = countedBeats(song);
    const auto count = grid.barLines().barCount();
    const auto refuse = [&](const std::string& reason) -> Failure {
        return {ExitStatus::usage, "--bars " + text + ": " + reason};
    };
    const auto number = [&](const char* begin, const char* end) {
        std::size_t value = 0;
        const auto read = std::from_chars(begin, end, value);
        if (read.ec != std::errc() || read.ptr != end)
            throw refuse("name a bar or several, as in 9-16");
        return value;
    };
    const char* const end = text.data() + text.size();
    const char* const dash = std::find(text.data(), end, '-');
    const std::size_t first = number(text.data(), dash);
    const std::size_t last = dash == end ? first : number(dash + 1, end);
    if (first < 1 || last < first || last > count)
        throw refuse("the song has " + (count == 0 ? "no bars" : "the bars 1 to " + std::to_string(count)));
    return {grid.bar(first - 1, song.recording.frameCount).start,
            std::max(grid.bar(first - 1, song.recording.frameCount).start,
                     grid.bar(last - 1, song.recording.frameCount).end)};
}

void render(const RenderOptions& options) {
    if (endingOf(options.output) != ".wav")
        throw Failure(ExitStatus::usage, options.output + ": the sound's name has to end in .wav");
    const OpenedSong opened = openSong(options.song);
    const Song& song = *opened.song;
    refuseOutputOverInputs(options.output, {opened.document, opened.recording});
    checkWritable(options.output);
    PracticeRender wanted{{options.speed / 100, options.pitch}, 0, song.recording.frameCount};
    wanted.hasClick = options.hasClick;
    wanted.countInBars = options.countIn;
    if (!options.bars.empty()) {
        const auto frames = framesOfBars(song, options.bars);
        wanted.from = frames.lower;
        wanted.to = frames.upper;
    }
    if ((options.hasClick || options.countIn > 0) && countedBeats(song).isEmpty())
        throw Failure(ExitStatus::usage, options.song + ": no beats are known; 'tarn analyze' finds them");

    PracticeRecording recording(opened.recording, opened.document, true);
    std::string reason;
    if (!recording.check(song, {}))
        throw Failure(ExitStatus::undecodableInput, opened.recording.string() + ": " + *recording.reason());
    auto reader = recording.open(&reason);
    if (!reader)
        throw Failure(ExitStatus::undecodableInput, opened.recording.string() + ": " + reason);
    Error error;
    std::int64_t frames = 0;
    const bool isWritten = FileManager::streamAtomically(
        [&](std::ostream& out) { frames = writePracticeSound(out, song, std::move(reader), wanted); },
        options.output, &error);
    if (!isWritten)
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription());
    std::cout << options.output << ": "
              << formattedDuration(static_cast<double>(frames) / soundRateFor(song.recording.sampleRate))
              << "\n";
}

} // namespace

void addRenderCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "render", "Write a song's practice sound: slower or faster, transposed, with a click");
    const auto options = std::make_shared<RenderOptions>();
    command->add_option("song", options->song, "The document, or the recording that has one beside it")
        ->required()
        ->type_name("SONG");
    command->add_option("output", options->output, "The sound")->required()->type_name("OUT.wav");
    command
        ->add_option("--speed", options->speed,
                     "Per cent of the song's own, 25 to 200; the pitch stays (100)")
        ->check(CLI::Range(25.0, 200.0).description(""))
        ->type_name("PERCENT");
    command->add_option("--pitch", options->pitch, "Semitones higher, or lower below 0; the speed stays (0)")
        ->check(CLI::Range(-12.0, 12.0).description(""))
        ->type_name("N");
    command->add_flag("--click", options->hasClick,
                      "A click on each beat, with the first of each bar accented");
    command->add_option("--count-in", options->countIn, "Bars of clicks before the sound, 1 or 2 (0)")
        ->check(CLI::Range(0, 2).description(""))
        ->type_name("N");
    command->add_option("--bars", options->bars, "Only these bars, counted from 1")->type_name("FROM-TO");
    command->footer("Example:\n  tarn render song.tarn practice.wav --bars 9-16 --speed 70 --click");
    command->callback([options] { render(*options); });
}

} // namespace tarn::program
