#include "Tests/Programs/ProgramTest.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace tarn::program {

namespace {

std::filesystem::path newFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tarn-test-XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("no folder for the test can be made: " + name);
    return name;
}

/// Makes `descriptor` write to the file.
void redirect(int descriptor, const std::filesystem::path& file) {
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0)
        _exit(127);
    close(opened);
}

} // namespace

ProgramTest::ProgramTest() : folder(newFolder()) {}

ProgramTest::~ProgramTest() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

ProcessResult ProgramTest::tarn(const std::vector<std::string>& arguments,
                                const std::function<void(int)>& whileRunning) {
    const auto outputFile = folder / ".output";
    const auto errorFile = folder / ".errors";
    std::vector<std::string> words{TARN_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        redirect(STDOUT_FILENO, outputFile);
        redirect(STDERR_FILENO, errorFile);
        setenv("XDG_CACHE_HOME", (folder / ".caches").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (folder / ".settings").c_str(), 1);
        if (chdir(folder.c_str()) == 0)
            execv(TARN_PROGRAM, pointers.data());
        _exit(127);
    }
    if (whileRunning)
        whileRunning(child);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), read(outputFile),
            read(errorFile)};
}

void ProgramTest::expectFailure(const ProcessResult& run, int status, const std::string& part) {
    EXPECT_EQ(run.status, status) << run.errors;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_NE(run.errors.find(part), std::string::npos) << run.errors << "lacks: " << part;
}

std::string ProgramTest::read(const std::filesystem::path& file) const {
    std::ostringstream bytes;
    bytes << std::ifstream(folder / file, std::ios::binary).rdbuf();
    return bytes.str();
}

void ProgramTest::write(const std::filesystem::path& file, const std::string& bytes) const {
    std::ofstream(folder / file, std::ios::binary) << bytes;
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
    constexpr std::int64_t first = 22050, beat = 22050, bar = 4 * beat, end = first + 8 * bar;
    const auto song = std::make_shared<SongDocument>(Recording{"small.wav", 44100, end + 22050, "small"});
    auto& notes = *song->notes;
    notes.setTimeSignature(4, 4);
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    for (std::int64_t location = first; location < end; location += beat / 2) {
        beats.push_back(notes.newBeatEntry());
        beats.back()->setLocation(location);
        beats.back()->setDownbeat((location - first) % bar == 0);
    }
    notes.addBeatEntriesFromArray(beats);
    const auto tempo = notes.newTempoEntry();
    tempo->setTempo(120);
    notes.addTempoEntry(tempo);
    const auto pitch = notes.newStandardPitchEntry();
    pitch->setFrequency(442);
    notes.addStandardPitchEntry(pitch);
    notes.overrideGlobalKey(KELPKey::keyWithTonicChord(KELPChord::chordWithString("C")));
    const std::pair<const char*, std::int64_t> chords[] = {
        {"C", 0}, {"F", 2 * bar}, {"Am", 3 * bar + 2 * beat}, {"G", 4 * bar}, {"C", 6 * bar}};
    for (const auto& [chordName, offset] : chords) {
        const auto chord = notes.newChordEntry();
        chord->setLocation(first + offset);
        chord->setChord(KELPChord::chordWithString(chordName));
        notes.addChordEntry(chord);
    }
    const auto verse = notes.newVerseRegionEntry();
    verse->setRange({first + 2 * bar, static_cast<std::uint64_t>(4 * bar)});
    notes.addRegionEntry(verse);
    const auto marker = notes.newMarkerEntry();
    marker->setLocation(first + 4 * bar + 2 * beat);
    marker->setName("Solo");
    notes.addMarkerEntry(marker);
    const auto note = notes.newNoteEntry();
    note->setLocation(first + bar);
    note->setLength(beat);
    note->setPitch(KELPPitch::pitchWithNote(*KELPNote::noteWithString("E"), 4));
    notes.addNoteEntry(note);
    song->structure->renameSection(song->structure->createNewSection(first), "Intro");
    song->structure->renameSection(song->structure->createNewSection(first + 2 * bar), "Song");
    SongDocument::save(song, folder / name);
    return folder / name;
}

} // namespace tarn::program
