#include "Platform/FileManager.h"

#include "Tests/Platform/TemporaryFolder.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
bool gWritesNothing = false;
bool gFoldersCannotBeFlushed = false;
} // namespace

// The system's functions, which fail on demand as devices do that no test can have.
extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t count) {
    return gWritesNothing ? 0 : ::syscall(SYS_write, descriptor, bytes, count);
}
extern "C" int fsync(int descriptor) {
    struct stat status {};
    if (gFoldersCannotBeFlushed && ::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

namespace tarn {

namespace {

namespace fs = std::filesystem;

constexpr uid_t kUnprivilegedUser = 65534;

struct FileManagerTest : testing::Test {
    const TemporaryFolder folder;
    const fs::path file = folder.path() / "file";
};

std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

} // namespace

TEST_F(FileManagerTest, systemFoldersFollowTheDesktopConventions) {
    for (const char* xdg : {"/else", "", "relative", static_cast<const char*>(nullptr)}) {
        const EnvironmentVariable home("HOME", "/home/me"), cache("XDG_CACHE_HOME", xdg),
            config("XDG_CONFIG_HOME", xdg);
        const bool isUsed = xdg && *xdg == '/';
        EXPECT_EQ(FileManager::cachesDirectory(), isUsed ? "/else" : "/home/me/.cache");
        EXPECT_EQ(FileManager::configurationDirectory(), isUsed ? "/else" : "/home/me/.config");
    }
    const EnvironmentVariable home("HOME", nullptr), cache("XDG_CACHE_HOME", nullptr);
    EXPECT_TRUE(FileManager::cachesDirectory().is_absolute());
    FileManager::setCachesDirectory("/moved");
    EXPECT_EQ(FileManager::cachesDirectory(), "/moved");
    FileManager::setCachesDirectory({});
    EXPECT_NE(FileManager::cachesDirectory(), "/moved");
}

TEST_F(FileManagerTest, readsWholeFilesOfAnySize) {
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 100'000U}) {
        const std::string text(size, 'x');
        ASSERT_TRUE(FileManager::write(bytesOf(text), file));
        const auto expected = bytesOf(text);
        EXPECT_TRUE(FileManager::contentsOf(file) == Data(expected.begin(), expected.end())) << size;
    }
    const char* const withoutSize = "/proc/self/status"; // its size reads as zero
    EXPECT_EQ(FileManager::contentsOf(withoutSize).value_or(Data()).empty(), !fs::exists(withoutSize));
}

TEST_F(FileManagerTest, tellsWhyAFileCannotBeRead) {
    Error error;
    EXPECT_FALSE(FileManager::contentsOf(folder.path() / "missing", &error));
    EXPECT_EQ(error.domain, FileManager::kFileErrorDomain);
    EXPECT_EQ(error.code, ENOENT);
    EXPECT_NE(error.localizedDescription().find((folder.path() / "missing").string()), std::string::npos);
    EXPECT_FALSE(FileManager::contentsOf(folder.path(), &error));
    EXPECT_EQ(error.code, EISDIR);
}

TEST_F(FileManagerTest, aPathWithANULIsRefusedEverywhere) {
    const fs::path path = file.string() + '\0' + ".waveform";
    const auto expectRefusal = [](const auto& use) {
        Error error;
        EXPECT_FALSE(use(&error));
        EXPECT_EQ(error.code, EINVAL);
    };
    expectRefusal([&](Error* error) { return FileManager::contentsOf(path, error).has_value(); });
    expectRefusal([&](Error* error) { return FileManager::isReadableFile(path, error); });
    expectRefusal([&](Error* error) { return FileManager::write({}, path, error); });
    expectRefusal([&](Error* error) { return FileManager::writeAtomically({}, path, error); });
    expectRefusal([&](Error* error) { return FileManager::canWriteAtomically(path, error); });
    expectRefusal([&](Error* error) { return FileManager::createDirectories(path, error); });
    EXPECT_TRUE(folder.fileNames().empty());
}

TEST_F(FileManagerTest, readsPipesAndDevicesToABoundAndNeverWaitsForAWriter) {
    const fs::path pipe = folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(FileManager::contentsOf(pipe), Data());
    Error error;
    EXPECT_FALSE(FileManager::contentsOf("/dev/zero", &error));
    EXPECT_EQ(error.code, EFBIG);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    EXPECT_EQ(::write(ends[1], "abc", 3), 3);
    ::close(ends[1]);
    const auto piped = FileManager::contentsOf("/dev/fd/" + std::to_string(ends[0]));
    EXPECT_EQ(piped.value_or(Data()).size(), 3U);
    ::close(ends[0]);

    writeText(file, "0123456789");
    EXPECT_TRUE(FileManager::contentsOf(file, &error, 10));
    EXPECT_FALSE(FileManager::contentsOf(file, &error, 9));
    EXPECT_EQ(error.code, EFBIG);

    EXPECT_TRUE(FileManager::isReadableFile(file));
    const std::pair<fs::path, int> others[] = {{folder.path() / "missing", ENOENT},
                                               {folder.path(), EISDIR},
                                               {pipe, ENOTSUP},
                                               {"/dev/zero", ENOTSUP}};
    for (const auto& [path, code] : others) {
        EXPECT_FALSE(FileManager::isReadableFile(path, &error));
        EXPECT_EQ(error.code, code) << path;
    }
}

TEST_F(FileManagerTest, atomicWritesReplaceTheContentAndKeepThePermissions) {
    const fs::path longNamed = folder.path() / (std::string(250, 'n') + ".mid"); // as long as a name may be
    const mode_t mask = ::umask(027);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("a long first content"), longNamed));
    EXPECT_EQ(fs::status(longNamed).permissions(), fs::perms{0640});
    ::chmod(longNamed.c_str(), 0606);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("second"), longNamed));
    ::umask(mask);
    EXPECT_EQ(fs::status(longNamed).permissions(), fs::perms{0606});
    EXPECT_EQ(textOf(longNamed), "second");
    EXPECT_EQ(folder.fileNames().size(), 1U);
}

TEST_F(FileManagerTest, atomicWritesFollowSymbolicLinksAndKeepThem) {
    const fs::path real = folder.path() / "real";
    fs::create_directory(real);
    fs::create_symlink("real/target", folder.path() / "inner");
    fs::create_symlink(folder.path() / "inner", folder.path() / "outer");
    for (const std::string text : {"made through a dangling link", "replaced"}) {
        EXPECT_TRUE(FileManager::writeAtomically(bytesOf(text), folder.path() / "outer"));
        EXPECT_EQ(textOf(real / "target"), text);
    }
    EXPECT_TRUE(fs::is_symlink(folder.path() / "outer") && fs::is_symlink(folder.path() / "inner"));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(real / "target")));
}

TEST_F(FileManagerTest, aPipeIsWrittenInPlace) {
    const fs::path pipe = folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const int reader = ::open(pipe.c_str(), O_RDWR);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("through"), pipe));
    char buffer[16];
    EXPECT_EQ(::read(reader, buffer, sizeof buffer), 7);
    ::close(reader);
    EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST_F(FileManagerTest, aFailedAtomicWriteLeavesTheOldFileAndNothingElse) {
    writeText(file, "old");
    fs::create_symlink("loop", folder.path() / "loop");
    const auto before = folder.fileNames();
    const std::string large(100'000, 'x');
    const auto failure = [&](const fs::path& target) {
        Error error, foreseen;
        EXPECT_FALSE(FileManager::writeAtomically(bytesOf(large), target, &error)) << target;
        EXPECT_EQ(FileManager::canWriteAtomically(target, &foreseen), error.code == EFBIG);
        EXPECT_EQ(foreseen.code, error.code == EFBIG ? 0 : error.code);
        EXPECT_EQ(textOf(file), "old");
        EXPECT_EQ(folder.fileNames(), before);
        return error.code;
    };

    EXPECT_EQ(failure(folder.path() / "missing" / "file"), ENOENT);
    EXPECT_EQ(failure(folder.path() / "loop"), ELOOP);
    EXPECT_EQ(failure(folder.path()), EISDIR);
    EXPECT_EQ(failure(folder.path() / std::string(300, 'n')), ENAMETOOLONG);

    // A disk that fills up in the middle of the file.
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{50'000, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_EQ(failure(file), EFBIG);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, handler);

    // A folder that nobody may write to; the superuser takes another identity for it.
    const uid_t self = ::geteuid();
    ::chmod(folder.path().c_str(), 0555);
    if (self == 0 && ::seteuid(kUnprivilegedUser) != 0)
        GTEST_SKIP() << "the superuser of this system has no other identity";
    EXPECT_EQ(failure(file), EACCES);
    EXPECT_EQ(::seteuid(self), 0);
    ::chmod(folder.path().c_str(), 0777);

    ::chmod(file.c_str(), 0444);
    EXPECT_EQ(::seteuid(self == 0 ? kUnprivilegedUser : self), 0);
    EXPECT_EQ(failure(file), EACCES);
    EXPECT_EQ(::seteuid(self), 0);
}

TEST_F(FileManagerTest, aFolderThatCannotBeFlushedIsReportedOnceTheNewFileIsThere) {
    Error error;
    gFoldersCannotBeFlushed = true;
    EXPECT_FALSE(FileManager::writeAtomically(bytesOf("new"), file, &error));
    gFoldersCannotBeFlushed = false;
    EXPECT_EQ(error.code, EIO);
    EXPECT_EQ(textOf(file), "new");
    EXPECT_EQ(folder.fileNames(), std::set<std::string>{"file"});
}

TEST_F(FileManagerTest, aDeviceThatTakesNothingEndsTheWrite) {
    Error error;
    gWritesNothing = true;
    EXPECT_FALSE(FileManager::write(bytesOf("text"), file, &error));
    gWritesNothing = false;
    EXPECT_EQ(error.code, EIO);
}

TEST_F(FileManagerTest, whatIsStreamedReplacesTheFileAsAWhole) {
    const std::string text(200'000, 'x'); // several blocks
    writeText(file, "old");
    Error error;
    EXPECT_TRUE(FileManager::streamAtomically([&](std::ostream& stream) { stream << text << "end"; }, file));
    EXPECT_EQ(textOf(file), text + "end");
    gWritesNothing = true;
    EXPECT_FALSE(FileManager::streamAtomically([&](std::ostream& stream) { stream << text; }, file, &error));
    gWritesNothing = false;
    EXPECT_EQ(error.code, EIO);
    EXPECT_EQ(textOf(file), text + "end");
}

TEST_F(FileManagerTest, aSaveRemovesWhatKilledSavesHaveLeft) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    const auto nameFor = [](pid_t process) { return ".tarn-" + std::to_string(process) + "-1.tmp"; };
    const std::string ended = nameFor(child), own = nameFor(::getpid()), running = nameFor(::getppid());
    const std::string inUseElsewhere = ".tarn-" + std::to_string(child) + "-2.tmp";
    const std::string ownInUse = ".tarn-" + std::to_string(::getpid()) + "-999999.tmp";
    const std::string similar = ".tarn-0" + std::to_string(child) + "-1.tmp";
    for (const std::string& name : {ended, own, running, inUseElsewhere, ownInUse, similar, ended + "x"})
        writeText(folder.path() / name, "left");
    fs::last_write_time(folder.path() / own, fs::file_time_type::clock::now() - std::chrono::hours(2));
    const int descriptor = ::open((folder.path() / inUseElsewhere).c_str(), O_RDONLY);
    ASSERT_EQ(::flock(descriptor, LOCK_EX), 0);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("new"), file));
    EXPECT_EQ(folder.fileNames(),
              (std::set<std::string>{"file", running, inUseElsewhere, ownInUse, similar, ended + "x"}));
    ::close(descriptor);
}

TEST_F(FileManagerTest, aWriteInPlaceReportsAFullDisk) {
    Error error;
    if (!fs::exists("/dev/full"))
        GTEST_SKIP() << "no device that is always full";
    EXPECT_FALSE(FileManager::write(bytesOf("text"), "/dev/full", &error));
    EXPECT_EQ(error.code, ENOSPC);
}

} // namespace tarn
