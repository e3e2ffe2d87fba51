#include "Platform/FileManager.h"

#include "Tests/Platform/TemporaryFolder.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

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
        Error error;
        EXPECT_FALSE(FileManager::writeAtomically(bytesOf(large), target, &error)) << target;
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
    ::chmod(folder.path().c_str(), 0755);
}

TEST_F(FileManagerTest, aWriteInPlaceReportsAFullDisk) {
    Error error;
    if (!fs::exists("/dev/full"))
        GTEST_SKIP() << "no device that is always full";
    EXPECT_FALSE(FileManager::write(bytesOf("text"), "/dev/full", &error));
    EXPECT_EQ(error.code, ENOSPC);
}

} // namespace tarn
