#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/DispatchQueue.h"
#include "Platform/KeyedArchiveFile.h"
#include "TarnFoundation/Analysis/TarnMusicInformationRetrievalController.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include <csignal>
#include <functional>
#include <map>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarn {
namespace {

using Controller = TarnMusicInformationRetrievalController;
namespace fs = std::filesystem;

enum class Outcome { completed, killed, untraceable, failed };

/// Whether a process that stops at a system call is about to ask for memory, or has just been given some. How
/// often it asks depends on its heap, and so on what ran before the save.
bool isMemoryCall(pid_t process, bool& isInOne) {
    __ptrace_syscall_info info{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info);
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
        const auto number = static_cast<long>(info.entry.nr);
        isInOne = number == SYS_mmap || number == SYS_munmap || number == SYS_mremap ||
                  number == SYS_madvise || number == SYS_mprotect || number == SYS_brk;
    }
    return isInOne;
}

/// Saves in a process of its own, killed where it stops for the `stop`-th time: before or after one of its
/// system calls, not counting those for memory.
Outcome saveKilledAt(unsigned stop, const std::function<void()>& save) {
    constexpr int kUntraceable = 77;
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            ::_exit(kUntraceable);
        ::raise(SIGSTOP); // the counting begins here
        [&]() noexcept { save(); }();
        ::_exit(0); // without the leak check at the end, which cannot work in a traced process
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child)
        return Outcome::failed;
    if (!WIFSTOPPED(status))
        return WIFEXITED(status) && WEXITSTATUS(status) == kUntraceable ? Outcome::untraceable
                                                                        : Outcome::failed;
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    long signal = 0;
    bool isInMemoryCall = false;
    for (unsigned stops = 0; stops < stop;) {
        if (::ptrace(PTRACE_SYSCALL, child, nullptr, signal) != 0 || ::waitpid(child, &status, 0) != child)
            return Outcome::failed;
        if (!WIFSTOPPED(status))
            return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? Outcome::completed : Outcome::failed;
        const bool atSystemCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
        stops += atSystemCall && !isMemoryCall(child, isInMemoryCall) ? 1 : 0;
        signal = atSystemCall ? 0 : WSTOPSIG(status);
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    return Outcome::killed;
}

struct ChordDetection : DetectChordsOperation {
    std::optional<ChordDetectionResultArray> process(const Input&) override { return std::nullopt; }
};

struct SpectrogramComputation : KELPSpectrogramOperation {
    bool process(double) override { return true; }
};

/// Something that is saved, in two versions: 0 is there before, 1 is saved over it.
struct Saver {
    const char* what;
    fs::path file;
    std::function<void(int version)> save;
    /// For what is replaced in place, and may be found cut off: whether anything can be read from the file.
    std::function<bool()> isReadable = {};
};

} // namespace

class InterruptedSaveTests : public testing::Test {
protected:
    InterruptedSaveTests() {
        FileManager::setCachesDirectory(mFolder.path() / "caches");
        setLogSink([](const LogMessage&) {});
        for (const char* name : {"song", "export", "waveform"})
            fs::create_directory(mFolder.path() / name);
    }
    ~InterruptedSaveTests() override {
        setLogSink({});
        FileManager::setCachesDirectory({});
    }

    [[nodiscard]] static std::shared_ptr<Waveform> waveform(int version) {
        auto result = std::make_shared<Waveform>(100'000 + version, 44100);
        for (int i = 0; i < 391; ++i)
            result->appendPoint({std::int8_t(-i % 50), std::int8_t(i % 60), std::int8_t(version)});
        result->finish();
        return result;
    }
    void saveChords(int version) const {
        ChordDetection operation;
        operation.setTopKResults({std::size_t(500 + version), {version, {{3, 0.5F}, {17, 0.25F}}}});
        Controller::writeCacheForChordDetectionOperation(operation, mController->cachedChordResultsURL());
    }
    [[nodiscard]] bool canReadChords() const {
        ChordDetection operation;
        Controller::readCacheForChordDetectionOperation(operation, mController->cachedChordResultsURL());
        return !operation.topKResults().empty();
    }
    void saveSpectrogram(int version) const {
        SpectrogramComputation operation;
        operation.setSpectrogram(std::make_shared<Spectrogram>(Spectrogram::Layout{512, 40, 25, 1, 33}));
        for (int i = 0; i < 40; ++i)
            operation.spectrogram()->appendColumn(std::vector<std::uint8_t>(25, std::uint8_t(i + version)));
        KELPSpectrogramOperationDelegate& delegate = *mController;
        delegate.spectrogramOperationDidEndProcessing(operation);
    }
    [[nodiscard]] bool canReadSpectrogram() const {
        return mController->readCacheFromURL<Spectrogram>(mController->cachedSpectrogramURL()) != nullptr;
    }

    [[nodiscard]] std::vector<Saver> savers() const {
        const auto in = [&](const char* name) { return mFolder.path() / name; };
        return {
            {"document", in("song/song.tarn"),
             [=, this](int version) { writeArchive(mDocuments[version], in("song/song.tarn")); }},
            {"MIDI file", in("export/song.mid"),
             [=, this](int version) {
                 mDocuments[version]->exportToMIDIFile(in("export/song.mid"), 44100, {{"timing", 1}});
             }},
            {"waveform cache", in("waveform/song.waveform"),
             [=](int version) { writeArchive(waveform(version), in("waveform/song.waveform")); }},
            {"chord cache", mController->cachedChordResultsURL(),
             [this](int version) { saveChords(version); }, [this] { return canReadChords(); }},
            {"spectrogram cache", mController->cachedSpectrogramURL(),
             [this](int version) { saveSpectrogram(version); }, [this] { return canReadSpectrogram(); }},
        };
    }

private:
    const TemporaryFolder mFolder;
    const fixtures::Document mDocuments[2] = {
        fixtures::makeDocumentWithBeats({0, 22050, 44100}, {0}),
        fixtures::makeDocumentWithBeats({0, 20000, 40000, 60000, 80000}, {0, 2})};
    const std::shared_ptr<Controller> mController =
        std::make_shared<Controller>("song.wav", "song", mDocuments[0]);
};

TEST_F(InterruptedSaveTests, LeavesTheOldFileOrTheNewOne) {
    for (const Saver& saver : savers()) {
        SCOPED_TRACE(saver.what);
        saver.save(1);
        const std::string whole = textOf(saver.file);
        saver.save(0);
        const std::string old = textOf(saver.file);
        ASSERT_FALSE(old.empty() || whole.empty() || old == whole);
        // What saves of an earlier process of this number have left.
        const std::string leftover = ".tarn-" + std::to_string(::getpid()) + '-';
        for (int i = 0; i < 10; ++i)
            writeText(saver.file.parent_path() / (leftover + std::to_string(i) + ".tmp"), "leftover");

        const auto temporaries = [&] { // but those leftovers
            int count = 0;
            for (const auto& entry : fs::directory_iterator(saver.file.parent_path())) {
                const std::string name = entry.path().filename().string();
                if (entry.path() == saver.file)
                    continue;
                EXPECT_TRUE(name.starts_with(".tarn-") && name.ends_with(".tmp")) << name;
                if (name.starts_with(leftover))
                    EXPECT_EQ(textOf(entry.path()), "leftover");
                else
                    ++count;
            }
            return count;
        };
        int temporariesAfterKills = 0;
        std::map<std::string, int> found; // after the kills
        Outcome outcome = Outcome::killed;
        for (unsigned stop = 1; outcome == Outcome::killed; ++stop) {
            SCOPED_TRACE(stop);
            writeText(saver.file, old);
            outcome = saveKilledAt(stop, [&] { saver.save(1); });
            if (outcome == Outcome::untraceable)
                GTEST_SKIP() << "the system lets no process be traced";
            ASSERT_NE(outcome, Outcome::failed);
            temporariesAfterKills += temporaries();
            const std::string text = textOf(saver.file);
            ++found[text == old ? "old" : text == whole ? "new" : "cut"];
            if (text != old && text != whole) {
                ASSERT_TRUE(saver.isReadable) << text.size() << " bytes are neither the old nor the new file";
                EXPECT_TRUE(whole.starts_with(text));
                EXPECT_FALSE(saver.isReadable());
            }
            saver.save(1);
            ASSERT_EQ(textOf(saver.file), whole);
        }
        EXPECT_EQ(outcome, Outcome::completed);
        // The kills came before, amid and after the replacement.
        EXPECT_GT(found["old"], 0);
        EXPECT_GT(found["new"], 0);
        EXPECT_EQ(found["cut"] > 0, saver.isReadable != nullptr);

        EXPECT_EQ(temporariesAfterKills > 0, !saver.isReadable);
        EXPECT_EQ(temporaries(), 0) << "the next save removes what the killed one has left";
    }
    MainQueue::runPending();
}

} // namespace tarn
