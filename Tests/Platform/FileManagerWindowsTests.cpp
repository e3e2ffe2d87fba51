#include "Platform/PathConversion.h"
#include "Tests/Platform/FileManagerTest.h"
#include "Tests/Platform/System.h"

#include <cerrno>
#include <chrono>
#include <windows.h>

namespace tarn {

namespace {

namespace fs = std::filesystem;

using FileManagerWindowsTests = FileManagerTests;

/// Opens the file in a way that others must put up with, for the time of `work`.
template <typename Work>
void whileOpen(const fs::path& file, DWORD access, DWORD sharing, const Work& work) {
    const HANDLE handle = ::CreateFileW(file.c_str(), access, sharing, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE);
    work();
    ::CloseHandle(handle);
}

} // namespace

TEST_F(FileManagerWindowsTests, SystemFoldersFollowTheDesktopConventions) {
    const EnvironmentVariable caches("LOCALAPPDATA", "C:\\Users\\Jörg ♯\\Local"),
        configuration("APPDATA", "relative");
    EXPECT_EQ(textOfPath(FileManager::cachesDirectory()), "C:\\Users\\Jörg ♯\\Local");
    EXPECT_EQ(FileManager::configurationDirectory(), fs::temp_directory_path());
}

TEST_F(FileManagerWindowsTests, NamesThatReachOtherFilesAreRefused) {
    for (const char* name : {"CON", "nul.tarn", "Com1", "LPT¹.txt", "aux .mid", "file:stream", "a?",
                             "tab\there", "period.", "blank ", "b*", "NUL/inner"}) {
        SCOPED_TRACE(name);
        const fs::path path = folder.path() / pathOfText(name);
        Error error;
        EXPECT_EQ(failure(path), EINVAL);
        EXPECT_FALSE(FileManager::write(bytesOf("text"), path, &error));
        EXPECT_FALSE(FileManager::contentsOf(path, &error));
        EXPECT_EQ(error.code, EINVAL);
    }
    for (const char* name : {"CONE", "COM", "COM10", "com1x.mid", ".hidden", "a..b", "console.txt"})
        EXPECT_TRUE(FileManager::writeAtomically(bytesOf("text"), folder.path() / name)) << name;
}

TEST_F(FileManagerWindowsTests, NamesOfHalfASurrogatePairAreReadAndTold) {
    fs::path path = folder.path() / L"half \xD834";
    Error error;
    EXPECT_FALSE(FileManager::contentsOf(path, &error));
    EXPECT_EQ(error.code, ENOENT);
    EXPECT_EQ(textOfPath(path.filename()), "half \uFFFD");
    EXPECT_EQ(textOfPath(L"\xD834\xDD1E\xDD1E"), "\U0001D11E\uFFFD");
    EXPECT_EQ(pathOfText("\U0001D11E\xFF"), fs::path(L"\xD834\xDD1E\xFFFD"));
}

TEST_F(FileManagerWindowsTests, AWriteProtectedFileIsRefused) {
    writeText(file, "old");
    ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(failure(file), EACCES);
    ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("new"), file));
    EXPECT_EQ(textOf(file), "new");
}

TEST_F(FileManagerWindowsTests, AtomicWritesKeepTheAttributes) {
    writeText(file, "old");
    ::SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_HIDDEN);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("new"), file));
    EXPECT_TRUE(::GetFileAttributesW(file.c_str()) & FILE_ATTRIBUTE_HIDDEN);
}

TEST_F(FileManagerWindowsTests, AFileThatAnotherKeepsOpenIsNotReplaced) {
    writeText(file, "old");
    whileOpen(file, GENERIC_READ, FILE_SHARE_READ, [&] {
        EXPECT_NE(failure(file, false), 0);
        EXPECT_TRUE(FileManager::contentsOf(file));
    });
    whileOpen(file, GENERIC_READ, 0, [&] {
        Error error;
        EXPECT_FALSE(FileManager::contentsOf(file, &error));
        EXPECT_EQ(error.code, EBUSY);
    });
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("new"), file));
}

TEST_F(FileManagerWindowsTests, ASaveRemovesWhatKilledSavesHaveLeft) {
    const auto nameFor = [](unsigned long process) {
        return ".tarn-" + std::to_string(process) + "-999999.tmp";
    };
    const std::string ended = nameFor(0x7FFFFFF0), own = nameFor(::GetCurrentProcessId());
    const std::string inUse = nameFor(0x7FFFFFF4),
                      old = ".tarn-" + std::to_string(::GetCurrentProcessId()) + "-1.tmp";
    for (const std::string& name : {ended, own, inUse, old, ended + "x"})
        writeText(folder.path() / name, "left");
    fs::last_write_time(folder.path() / old, fs::file_time_type::clock::now() - std::chrono::hours(2));
    whileOpen(folder.path() / inUse, GENERIC_WRITE, 0,
              [&] { EXPECT_TRUE(FileManager::writeAtomically(bytesOf("new"), file)); });
    EXPECT_EQ(folder.fileNames(), (std::set<std::string>{"file", own, inUse, ended + "x"}));
}

} // namespace tarn
