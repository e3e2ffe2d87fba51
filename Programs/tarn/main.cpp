#include "AnalysisEngine/AnalysisEngine.h"
#include "Platform/Log.h"
#include "Platform/PlainText.h"
#include "Platform/ProcessInfo.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/ProgramCache.h"
#include "Programs/tarn/TerminalText.h"
#include "Song/SongError.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <span>
#include <string_view>

namespace {

int statusOf(tarn::program::ExitStatus status) {
    return static_cast<int>(status);
}

/// The messages of the library are for its developers: they appear when one of its debug switches is on, and
/// else only faults. What the decoders think of a file is hidden then too: they write it on C's standard
/// error each time that the file is opened. What of it matters to the user (a file that breaks off) the
/// commands say themselves.
void showMessagesToDevelopers() {
    if (tarn::ProcessInfo::hasEnvironmentVariable("KELP_MIR_DEBUG") ||
        tarn::ProcessInfo::hasEnvironmentVariable("TARN_NOTE_ENTRY_STORAGE_DEBUG")) {
        tarn::setLogLevel(tarn::LogLevel::debug);
        return;
    }
    tarn::setLogSink([](const tarn::LogMessage& message) {
        if (message.level == tarn::LogLevel::fault)
            std::cerr << "tarn: fault: " << message.text(false) << std::endl;
    });
    // The C++ streams have their own way to the same descriptors.
    std::ios::sync_with_stdio(false);
    if (std::FILE* const nowhere = std::fopen("/dev/null", "w"))
        stderr = nowhere;
}

/// The words of the command line.
using Words = std::span<char* const>;

/// A word that looks like an option and names a file.
std::optional<std::string> fileWithDash(Words words) {
    std::error_code error;
    for (const std::string_view word : words) {
        if (word.size() > 2 && word[0] == '-' && word[1] != '-' && std::filesystem::exists(word, error))
            return std::string(word);
    }
    return std::nullopt;
}

/// What is wrong with the command line, and what to do about it.
std::string usageReason(const CLI::App* app, const CLI::Error& error, Words words) {
    if (const auto file = fileWithDash(words))
        return *file + ": a name that begins with a dash reads like options; write ./" + *file;
    const auto commands = app->get_subcommands();
    const auto unexpected = commands.empty() ? app->remaining() : commands.front()->remaining();
    const std::string command = commands.empty() ? "" : commands.front()->get_name();
    if (command == "analyze" && !unexpected.empty() && !unexpected.front().starts_with('-')) {
        const std::string& word = unexpected.front();
        return word + (word.ends_with(".tarn")
                           ? ": the document is named with -o"
                           : ": one song at a time; analyse this one in a call of its own");
    }
    // A word that fits nowhere is reported before what is missing: most likely it was mistyped.
    const bool isMissingSomething = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (isMissingSomething && !unexpected.empty())
        return "The following argument was not expected: " + unexpected.front();
    return error.what();
}

/// One line with where to read on.
std::string usageLine(const CLI::App* app, const CLI::Error& error, Words words) {
    const auto commands = app->get_subcommands();
    const std::string command = commands.empty() ? "" : " " + commands.front()->get_name();
    return "tarn: " + tarn::onOneLine(usageReason(app, error, words)) + "; see 'tarn" + command +
           " --help'\n";
}

tarn::program::ExitStatus statusFor(tarn::SongError::Kind kind) {
    using tarn::program::ExitStatus;
    using Kind = tarn::SongError::Kind;
    switch (kind) {
    case Kind::missing:
    case Kind::unreadable:
        return ExitStatus::unreadableInput;
    case Kind::undecodable:
    case Kind::damaged:
    case Kind::unsupportedRecording:
        return ExitStatus::undecodableInput;
    case Kind::unsound:
    case Kind::otherRecording:
    case Kind::otherSampleRate:
        return ExitStatus::refusedEdit;
    case Kind::unwritable:
        return ExitStatus::unwritableOutput;
    case Kind::busy:
    case Kind::changed:
        return ExitStatus::busyDocument;
    }
    return ExitStatus::usage;
}

/// What to do about it, after the error's text.
const char* adviceFor(tarn::SongError::Kind kind) {
    using Kind = tarn::SongError::Kind;
    switch (kind) {
    case Kind::missing:
        return "; 'tarn analyze SONG' makes one";
    case Kind::undecodable:
        return "; this is not a tarn document, or a damaged one";
    case Kind::damaged:
        return "; 'tarn show --salvage' shows what can be read";
    case Kind::unsound:
        return "; such a document would not open again, and nothing was changed";
    case Kind::otherRecording:
        return "; name another document with -o, or pass --relink where it is the same song";
    case Kind::otherSampleRate:
        return "; name another document with -o";
    case Kind::unsupportedRecording:
        return "; name a WAV, AIFF, FLAC, Ogg, Opus or MP3 file that is whole";
    default:
        return "";
    }
}

/// The status of a command that went well, once what it printed has arrived.
int statusAfterOutput() {
    using namespace tarn::program;
    using tarn::onOneLine;
    if (std::cout.flush())
        return statusOf(ExitStatus::success);
    std::cerr << "tarn: standard output cannot be written; check the free space on the disk it goes to\n";
    return statusOf(ExitStatus::unwritableOutput);
}

} // namespace

int main(int argumentCount, char** arguments) {
    using namespace tarn::program;
    using tarn::onOneLine;
    showMessagesToDevelopers();
    const PrintableOutput output(std::cout);
    const PrintableOutput errors(std::cerr);
    useProgramCache();
    tarn::registerAnalysisEngine();
    CLI::App app("Learn songs from your own recordings: analyse, correct, draw and export them.", "tarn");
    app.set_version_flag("--version", TARN_VERSION);
    const Words words(arguments + std::min(argumentCount, 1), arguments + argumentCount);
    app.failure_message(
        [words](const CLI::App* failed, const CLI::Error& error) { return usageLine(failed, error, words); });
    app.require_subcommand(1);
    addAnalyzeCommand(app);
    addShowCommand(app);
    addEditCommand(app);
    addHistoryCommands(app);
    addExportCommand(app);
    addImportCommand(app);
    addDrawCommand(app);
    addChordsCommand(app);
    addCacheCommand(app);
    addOpenCommand(app);
    addRenderCommand(app);
    addCompleteCommand(app);
    try {
        app.parse(argumentCount, arguments);
        return statusAfterOutput();
    } catch (const CLI::ParseError& error) {
        const bool askedForHelp = error.get_exit_code() == 0;
        app.exit(error);
        return askedForHelp ? statusAfterOutput() : statusOf(ExitStatus::usage);
    } catch (const Failure& failure) {
        std::cerr << "tarn: " << onOneLine(failure.what()) << "\n";
        return statusOf(failure.status());
    } catch (const tarn::SongError& error) {
        std::cerr << "tarn: " << onOneLine(error.what()) << adviceFor(error.kind()) << "\n";
        return statusOf(statusFor(error.kind()));
    } catch (const std::exception& error) {
        std::cerr << "tarn: " << onOneLine(error.what()) << "\n";
        return EXIT_FAILURE;
    }
}
