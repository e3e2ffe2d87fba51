#pragma once

namespace CLI {
class App;
}

/// The program's commands. Each function adds one command with its options, help and example to the command
/// line; the command runs when the command line names it, and ends by returning or by throwing Failure.
namespace tarn::program {

void addAnalyzeCommand(CLI::App& app);
void addShowCommand(CLI::App& app);
void addEditCommand(CLI::App& app);
void addExportCommand(CLI::App& app);
void addImportCommand(CLI::App& app);
void addDrawCommand(CLI::App& app);
void addChordsCommand(CLI::App& app);
void addCacheCommand(CLI::App& app);
void addHistoryCommands(CLI::App& app); ///< undo, redo and history
void addOpenCommand(CLI::App& app);
void addRenderCommand(CLI::App& app);
void addCompleteCommand(CLI::App& app);

} // namespace tarn::program
