#include "Platform/PlainText.h"
#include "Programs/tarn/Commands.h"
#include "Programs/tarn/DocumentChange.h"
#include "Programs/tarn/Failure.h"
#include "Song/Song.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <ctime>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

namespace tarn::program {
namespace {

struct StepOptions {
    std::string document;
    std::optional<std::uint64_t> seen;
    bool isDryRun = false;
};

/// Changes the document by one of Song's undo and redo.
void takeStep(const StepOptions& options, const char* report,
              std::string (Song::*step)(std::optional<std::uint64_t>)) {
    try {
        changeDocument(options.document, {.isDryRun = options.isDryRun}, [&](Song& song) {
            return std::vector{std::string(report) + ": " + (song.*step)(options.seen)};
        });
    } catch (const SongHistoryError& error) {
        throw Failure(ExitStatus::refusedEdit,
                      options.document + ": " + error.what() + "; nothing was changed");
    }
}

/// "2026-11-22 10:31" in local time.
std::string timeText(std::int64_t time) {
    const auto seconds = static_cast<std::time_t>(time);
    std::tm local{};
    char text[32];
    if (!localtime_r(&seconds, &local) || std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local) == 0)
        return "?";
    return text;
}

struct ListOptions {
    std::string document;
    bool json = false;
};

void list(const ListOptions& options) {
    const auto song = Song::open(options.document);
    const SongHistory& history = song->history;
    const auto& steps = history.steps();
    const auto noteOn = [&](std::size_t i) -> std::string {
        const auto obstacle = i + 1 == history.doneCount() ? song->obstacleToUndo()
                              : i == history.doneCount()   ? song->obstacleToRedo()
                                                           : std::nullopt;
        return obstacle.value_or("");
    };
    if (options.json) {
        auto list = nlohmann::ordered_json::array();
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const std::string note = noteOn(i);
            list.push_back({{"step", steps[i].identifier},
                            {"time", steps[i].time},
                            {"message", printable(steps[i].message)},
                            {"done", i < history.doneCount()},
                            {"obstacle",
                             note.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(note)}});
        }
        std::cout << list.dump() << "\n";
        return;
    }
    if (steps.empty())
        std::cout << "No steps yet\n";
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const std::string note = noteOn(i);
        std::cout << steps[i].identifier << "\t" << timeText(steps[i].time) << "\t"
                  << (i < history.doneCount() ? "" : "(undone) ") << onOneLine(steps[i].message)
                  << (note.empty()
                          ? ""
                          : " (cannot be " + std::string(i < history.doneCount() ? "undone" : "redone") +
                                ": " + note + ")")
                  << "\n";
    }
}

CLI::App* addStepCommand(CLI::App& app, const char* name, const char* help, const char* report,
                         std::string (Song::*step)(std::optional<std::uint64_t>)) {
    const auto options = std::make_shared<StepOptions>();
    auto* const command = app.add_subcommand(name, help);
    command->add_option("document", options->document, "The document")->required()->type_name("FILE.tarn");
    command
        ->add_option("--seen", options->seen,
                     "The newest step that you know of, 0 for none; refuses where there is another")
        ->check(CLI::NonNegativeNumber.description(""))
        ->type_name("STEP");
    command->add_flag("--dry-run", options->isDryRun, "Say what would change and write nothing");
    command->callback([=] { takeStep(*options, report, step); });
    return command;
}

} // namespace

void addHistoryCommands(CLI::App& app) {
    addStepCommand(app, "undo", "Take back the newest change of a document", "undone", &Song::undo)
        ->footer("Example:\n  tarn undo song.tarn");
    addStepCommand(app, "redo", "Make the change again that was undone last", "redone", &Song::redo)
        ->footer("Example:\n  tarn redo song.tarn");
    const auto options = std::make_shared<ListOptions>();
    auto* const command = app.add_subcommand("history", "List the changes of a document, the oldest first");
    command->add_option("document", options->document, "The document")->required()->type_name("FILE.tarn");
    command->add_flag("--json", options->json, "Print a JSON array instead");
    command->footer("Example:\n  tarn history song.tarn");
    command->callback([options] { list(*options); });
}

} // namespace tarn::program
