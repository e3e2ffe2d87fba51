#pragma once

#include "Song/Song.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace tarn::program {

/// What a run of the program left behind.
struct ProcessResult {
    int status = 0; ///< the exit status; 128 and the signal's number when a signal ended it
    std::string output;
    std::string errors;
};

/// Runs the program in a folder of its own, which also holds its caches and settings, and which goes with the
/// test.
class ProgramTest : public ::testing::Test {
protected:
    /// Runs `tarn` with these arguments in `folder` and waits for its end. `whileRunning` is called once with
    /// the process's identifier right after the start. Threads may run several at once.
    ProcessResult tarn(const std::vector<std::string>& arguments,
                       const std::function<void(int)>& whileRunning = {});
    /// Waits until the run under way has printed something.
    void waitForOutput() const {
        for (int tries = 0; tries < 10000 && read(".output").empty(); ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    /// The output of a run that succeeds and has no complaint.
    std::string outputOf(const std::vector<std::string>& arguments) {
        const auto run = tarn(arguments);
        EXPECT_TRUE(run.status == 0 && run.errors.empty()) << arguments.front() << ": " << run.errors;
        return run.output;
    }
    /// Expects this exit status, nothing on standard output, and one line on standard error that holds
    /// `part`.
    void expectFailure(const ProcessResult& run, int status, const std::string& part);

    [[nodiscard]] std::string read(const std::filesystem::path& file) const { return textOf(folder / file); }
    void write(const std::filesystem::path& file, const std::string& bytes) const {
        writeText(folder / file, bytes);
    }
    /// The names of the files in a folder, sorted, without caches and settings.
    [[nodiscard]] std::vector<std::string> filesIn(const std::filesystem::path& where) const;

    /// Saves a document of 8 bars of 4/4 at 120 beats per minute from frame 22050 on, at 44100 frames per
    /// second, with something of every kind.
    std::filesystem::path saveSmallDocument(const std::string& name = "small.tarn") const;

    const TemporaryFolder temporaryFolder;
    const std::filesystem::path& folder = temporaryFolder.path();

private:
    std::atomic<int> mRunning = 0;
    std::atomic<int> mExtraRuns = 0;
};

} // namespace tarn::program
