#include "Tests/Platform/FileManagerTest.h"

#include "Platform/PathConversion.h"

#include <cerrno>
#include <cstdlib>
#include <ostream>

namespace tarn {

namespace fs = std::filesystem;

TEST_F(FileManagerTests, TheApplicationMayMoveTheCaches) {
    FileManager::setCachesDirectory("/moved");
    EXPECT_EQ(FileManager::cachesDirectory(), "/moved");
    FileManager::setCachesDirectory({});
    EXPECT_NE(FileManager::cachesDirectory(), "/moved");
}

TEST_F(FileManagerTests, ReadsWholeFilesOfAnySize) {
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 100'000U}) {
        const std::string text(size, 'x');
        ASSERT_TRUE(FileManager::write(bytesOf(text), file));
        const auto expected = bytesOf(text);
        EXPECT_TRUE(FileManager::contentsOf(file) == Data(expected.begin(), expected.end())) << size;
    }
}

TEST_F(FileManagerTests, TellsWhyAFileCannotBeRead) {
    const fs::path missing = folder.path() / "missing";
    writeText(file, "0123456789");
    EXPECT_TRUE(FileManager::isReadableFile(file));
    EXPECT_TRUE(FileManager::contentsOf(file, nullptr, 10));
    Error error;
    EXPECT_FALSE(FileManager::contentsOf(file, &error, 9));
    EXPECT_EQ(error.code, EFBIG);
    EXPECT_FALSE(FileManager::contentsOf(missing, &error));
    EXPECT_EQ(error.domain, FileManager::kFileErrorDomain);
    EXPECT_EQ(error.code, ENOENT);
    EXPECT_NE(error.localizedDescription().find(textOfPath(missing)), std::string::npos);
    EXPECT_FALSE(FileManager::contentsOf(folder.path(), &error));
    EXPECT_EQ(error.code, EISDIR);
    EXPECT_FALSE(FileManager::isReadableFile(missing, &error));
    EXPECT_EQ(error.code, ENOENT);
    EXPECT_FALSE(FileManager::isReadableFile(folder.path(), &error));
    EXPECT_EQ(error.code, EISDIR);
}

TEST_F(FileManagerTests, APathWithANULIsRefusedEverywhere) {
    fs::path path = file;
    path += fs::path::string_type(1, fs::path::value_type{});
    path += ".waveform";
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

TEST_F(FileManagerTests, NamesAreKeptInAnyScriptAndLength) {
    for (const std::string name : {"Größe ♯ 𝄞", "歌", "two words"}) {
        const fs::path named = folder.path() / pathOfText(name) / pathOfText(name);
        EXPECT_TRUE(FileManager::createDirectories(named.parent_path()));
        EXPECT_TRUE(FileManager::writeAtomically(bytesOf(name), named)) << name;
        EXPECT_EQ(textOf(named), name);
        EXPECT_TRUE(FileManager::contentsOf(named));
        EXPECT_TRUE(FileManager::isReadableFile(named));
        EXPECT_EQ(textOfPath(named.filename()), name);
        EXPECT_TRUE(genericTextOfPath(named).ends_with('/' + name + '/' + name));
    }
    const fs::path longNamed = folder.path() / (std::string(250, 'n') + ".mid"); // as long as a name may be
    for (const std::string text : {"a long first content", "second"}) {
        EXPECT_TRUE(FileManager::writeAtomically(bytesOf(text), longNamed));
        const auto bytes = FileManager::contentsOf(longNamed).value_or(Data());
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()), text);
    }
    EXPECT_EQ(folder.fileNames().size(), 4U);
}

TEST_F(FileManagerTests, AFailedAtomicWriteLeavesTheOldFileAndNothingElse) {
    writeText(file, "old");
    EXPECT_EQ(failure(folder.path() / "missing" / "file"), ENOENT);
    EXPECT_EQ(failure(folder.path()), EISDIR);
    EXPECT_EQ(failure(folder.path() / std::string(300, 'n')), ENAMETOOLONG);
}

TEST_F(FileManagerTests, WhatIsStreamedReplacesTheFileAsAWhole) {
    const std::string text(200'000, 'x'); // several blocks
    writeText(file, "old");
    EXPECT_TRUE(FileManager::streamAtomically(
        [&](std::ostream& stream) {
            stream << text << std::flush;
            EXPECT_EQ(textOf(file), "old");
            stream << "end";
        },
        file));
    EXPECT_EQ(textOf(file), text + "end");
    EXPECT_THROW(FileManager::streamAtomically(
                     [&](std::ostream& stream) {
                         stream << "half" << std::flush;
                         throw std::runtime_error("no more");
                     },
                     file),
                 std::runtime_error);
    EXPECT_EQ(textOf(file), text + "end");
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), fs::directory_iterator()), 1)
        << "nothing else is left in the folder";
}

TEST_F(FileManagerTests, AKilledSaveLeavesTheOldFileAndTheNextOneTidiesUp) {
    // The same in both processes, and another in every build.
    const fs::path killed = testing::TempDir() + "tarn-killed-save-" +
                            std::to_string(std::hash<std::string>()(textOfPath(fs::current_path())));
    fs::remove_all(killed);
    writeText(killed / "file", "old");
    EXPECT_EXIT(FileManager::streamAtomically(
                    [](std::ostream& stream) {
                        stream << std::string(100'000, 'x') << std::flush;
                        std::_Exit(7);
                    },
                    killed / "file"),
                testing::ExitedWithCode(7), "");
    const auto count = [&] {
        return std::distance(fs::directory_iterator(killed), fs::directory_iterator());
    };
    EXPECT_EQ(textOf(killed / "file"), "old");
    EXPECT_EQ(count(), 2);
    EXPECT_TRUE(FileManager::writeAtomically(bytesOf("new"), killed / "file"));
    EXPECT_EQ(textOf(killed / "file"), "new");
    EXPECT_EQ(count(), 1);
    fs::remove_all(killed);
}

} // namespace tarn
