#include "Platform/Log.h"
#include "Platform/ProcessInfo.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/ProgramCache.h"
#include "Song/SongError.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

namespace {

int statusOf(tarn::program::ExitStatus status) {
    return static_cast<int>(status);
}

/// The library's messages are for its developers: they appear when one of its debug switches is on.
void showLibraryMessagesToDevelopers() {
    if (tarn::ProcessInfo::hasEnvironmentVariable("KELP_MIR_DEBUG") ||
        tarn::ProcessInfo::hasEnvironmentVariable("TARN_NOTE_ENTRY_STORAGE_DEBUG"))
        tarn::setLogLevel(tarn::LogLevel::debug);
}

/// What is wrong with the command line and where to read on. A word that fits nowhere is told before what is
/// missing: it is most likely what was mistyped.
std::string usageLine(const CLI::App* app, const CLI::Error& error) {
    const auto commands = app->get_subcommands();
    const auto unexpected = commands.empty() ? app->remaining() : commands.front()->remaining();
    const bool isMissingSomething = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    const std::string reason = isMissingSomething && !unexpected.empty()
                                   ? "The following argument was not expected: " + unexpected.front()
                                   : error.what();
    const std::string command = commands.empty() ? "" : " " + commands.front()->get_name();
    return "tarn: " + reason + "; see 'tarn" + command + " --help'\n";
}

tarn::program::ExitStatus statusFor(tarn::SongError::Kind kind) {
    using tarn::program::ExitStatus;
    using Kind = tarn::SongError::Kind;
    switch (kind) {
    case Kind::missing:
    case Kind::unreadable:
        return ExitStatus::unreadableInput;
    case Kind::undecodable:
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
    if (std::cout.flush())
        return statusOf(ExitStatus::success);
    std::cerr << "tarn: standard output cannot be written; look at the room on the disk it goes to\n";
    return statusOf(ExitStatus::unwritableOutput);
}

} // namespace

int main(int argumentCount, char** arguments) {
    using namespace tarn::program;
    showLibraryMessagesToDevelopers();
    useProgramCache();
    CLI::App app("Learn songs from your own recordings: analyse, correct, draw and export them.", "tarn");
    app.set_version_flag("--version", TARN_VERSION);
    app.failure_message(usageLine);
    app.require_subcommand(1);
    addAnalyzeCommand(app);
    addShowCommand(app);
    addEditCommand(app);
    addExportCommand(app);
    addImportCommand(app);
    addDrawCommand(app);
    addChordsCommand(app);
    addCacheCommand(app);
    try {
        app.parse(argumentCount, arguments);
        return statusAfterOutput();
    } catch (const CLI::ParseError& error) {
        const bool askedForHelp = error.get_exit_code() == 0;
        app.exit(error);
        return askedForHelp ? statusAfterOutput() : statusOf(ExitStatus::usage);
    } catch (const Failure& failure) {
        std::cerr << "tarn: " << failure.what() << "\n";
        return statusOf(failure.status());
    } catch (const tarn::SongError& error) {
        std::cerr << "tarn: " << error.what() << adviceFor(error.kind()) << "\n";
        return statusOf(statusFor(error.kind()));
    } catch (const std::exception& error) {
        std::cerr << "tarn: " << error.what() << "\n";
        return EXIT_FAILURE;
    }
}
