#include "Tests/Platform/FileManagerTest.h"
#include "Tests/Platform/System.h"

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

using FileManagerPOSIXTests = FileManagerTests;

} // namespace

TEST_F(FileManagerPOSIXTests, SystemFoldersFollowTheDesktopConventions) {
    for (const char* xdg : {"/else", "", "relative", static_cast<const char*>(nullptr)}) {
        const EnvironmentVariable home("HOME", "/home/me"), cache("XDG_CACHE_HOME", xdg),
            config("XDG_CONFIG_HOME", xdg);
        const bool isUsed = xdg && *xdg == '/';
        EXPECT_EQ(FileManager::cachesDirectory(), isUsed ? "/else" : "/home/me/.cache");
        EXPECT_EQ(FileManager::configurationDirectory(), isUsed ? "/else" : "/home/me/.config");
    }
    const EnvironmentVariable home("HOME", nullptr), cache("XDG_CACHE_HOME", nullptr);
    EXPECT_TRUE(FileManager::cachesDirectory().is_absolute());
}

TEST_F(FileManagerPOSIXTests, ReadsPipesAndDevicesToABoundAndNeverWaitsForAWriter) {
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

    const char* const withoutSize = "/proc/self/status"; // its size reads as zero
    EXPECT_EQ(FileManager::contentsOf(withoutSize).value_or(Data()).empty(), !fs::exists(withoutSize));
    for (const fs::path& path : {pipe, fs::path("/dev/zero")}) {
        EXPECT_FALSE(FileManager::isReadableFile(path, &error));
        EXPECT_EQ(error.code, ENOTSUP) << path;
    }
}

TEST_F(FileManagerPOSIXTests, AtomicWritesKeepThePermissions) {
    const mode_t mask = ::umask(027);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("first"), file));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms{0640});
    ::chmod(file.c_str(), 0606);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("second"), file));
    ::umask(mask);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms{0606});
}

TEST_F(FileManagerPOSIXTests, AtomicWritesFollowSymbolicLinksAndKeepThem) {
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

TEST_F(FileManagerPOSIXTests, APipeIsWrittenInPlace) {
    const fs::path pipe = folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const int reader = ::open(pipe.c_str(), O_RDWR);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("through"), pipe));
    char buffer[16];
    EXPECT_EQ(::read(reader, buffer, sizeof buffer), 7);
    ::close(reader);
    EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST_F(FileManagerPOSIXTests, AFailedAtomicWriteLeavesTheOldFileAndNothingElse) {
    writeText(file, "old");
    fs::create_symlink("loop", folder.path() / "loop");
    EXPECT_EQ(failure(folder.path() / "loop"), ELOOP);

    // A disk that fills up in the middle of the file.
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{50'000, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_EQ(failure(file, false), EFBIG);
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

TEST_F(FileManagerPOSIXTests, AFolderThatCannotBeFlushedIsReportedOnceTheNewFileIsThere) {
    Error error;
    gFoldersCannotBeFlushed = true;
    EXPECT_FALSE(FileManager::writeAtomically(bytesOf("new"), file, &error));
    gFoldersCannotBeFlushed = false;
    EXPECT_EQ(error.code, EIO);
    EXPECT_EQ(textOf(file), "new");
    EXPECT_EQ(folder.fileNames(), std::set<std::string>{"file"});
}

TEST_F(FileManagerPOSIXTests, ADeviceThatTakesNothingEndsTheWrite) {
    Error error;
    gWritesNothing = true;
    EXPECT_FALSE(FileManager::write(bytesOf("text"), file, &error));
    EXPECT_EQ(error.code, EIO);
    EXPECT_FALSE(FileManager::streamAtomically([](std::ostream& stream) { stream << "text"; }, file, &error));
    gWritesNothing = false;
    EXPECT_EQ(error.code, EIO);
    EXPECT_EQ(textOf(file), "");
}

TEST_F(FileManagerPOSIXTests, ASaveRemovesWhatKilledSavesHaveLeft) {
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

TEST_F(FileManagerPOSIXTests, AWriteInPlaceReportsAFullDisk) {
    Error error;
    if (!fs::exists("/dev/full"))
        GTEST_SKIP() << "no device that is always full";
    EXPECT_FALSE(FileManager::write(bytesOf("text"), "/dev/full", &error));
    EXPECT_EQ(error.code, ENOSPC);
}

} // namespace tarn
