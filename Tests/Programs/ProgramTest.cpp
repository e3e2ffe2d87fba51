#include "Tests/Programs/ProgramTest.h"

#include "Tests/Song/SongTexts.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarn::program {

namespace {

/// Makes `descriptor` write to the file.
void redirect(int descriptor, const std::filesystem::path& file) {
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0)
        _exit(127);
    close(opened);
}

} // namespace

ProcessResult ProgramTest::tarn(const std::vector<std::string>& arguments,
                                const std::function<void(int)>& whileRunning) {
    // Runs at one time have files of their own.
    const int others = mRunning++;
    const std::string number = others == 0 ? "" : std::to_string(++mExtraRuns);
    const auto output = folder / (".output" + number);
    const auto errors = folder / (".errors" + number);
    std::filesystem::remove(output); // of an earlier run, which must not pass for this one's
    std::vector<std::string> words{TARN_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        redirect(STDOUT_FILENO, output);
        redirect(STDERR_FILENO, errors);
        setenv("XDG_CACHE_HOME", (folder / ".caches").c_str(), 1);
        setenv("XDG_DATA_HOME", (folder / ".data").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (folder / ".settings").c_str(), 1);
        if (chdir(folder.c_str()) == 0)
            execv(TARN_PROGRAM, pointers.data());
        _exit(127);
    }
    if (whileRunning)
        whileRunning(child);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    --mRunning;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), read(output), read(errors)};
}

void ProgramTest::expectFailure(const ProcessResult& run, int status, const std::string& part) {
    EXPECT_EQ(run.status, status) << run.errors;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_NE(run.errors.find(part), std::string::npos) << run.errors << "lacks: " << part;
}

std::vector<std::string> ProgramTest::filesIn(const std::filesystem::path& where) const {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(folder / where)) {
        if (!file.path().filename().string().starts_with('.') || file.path().extension() == ".tmp")
            names.push_back(file.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::filesystem::path ProgramTest::saveSmallDocument(const std::string& name) const {
    const auto song = std::make_shared<Song>(Recording{"small.wav", 44100, 749700, "small"});
    song->notes->setTimeSignature(4, 4);
    test::addBeats(*song, {.first = 22050, .spacing = 11025, .count = 64, .perBar = 8});
    test::addTempo(*song, 120);
    const auto pitch = song->notes->newStandardPitchEntry();
    pitch->setFrequency(442);
    song->notes->addStandardPitchEntry(pitch);
    test::perform(*song, "key=C|add-chord C at 1:1|add-chord F at 3:1|add-chord Am at 4:3|add-chord G at 5:1|"
                         "add-chord C at 7:1|add-region verse 3:1 to 7:1|add-marker Solo at 5:3|"
                         "add-note E4 at 2:1 for 1 beat|add-section Intro at 1:1|add-section Song at 3:1");
    Song::save(song, folder / name);
    return folder / name;
}

} // namespace tarn::program
