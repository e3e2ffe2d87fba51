#pragma once

#include "Platform/FileManager.h"

#include "Tests/Platform/TemporaryFolder.h"

namespace tarn {

struct FileManagerTests : testing::Test {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "file";

    static std::span<const std::byte> bytesOf(const std::string& text) {
        return std::as_bytes(std::span(text));
    }
    /// Expects that the file stays what it is when the target cannot be written, and returns the reason.
    int failure(const std::filesystem::path& target, bool isForeseen = true) const {
        const auto names = folder.fileNames();
        const auto before = textOf(file);
        Error error, foreseen;
        EXPECT_FALSE(FileManager::writeAtomically(bytesOf(std::string(100'000, 'x')), target, &error));
        EXPECT_EQ(FileManager::canWriteAtomically(target, &foreseen), !isForeseen);
        EXPECT_EQ(foreseen.code, isForeseen ? error.code : 0);
        EXPECT_EQ(textOf(file), before);
        EXPECT_EQ(folder.fileNames(), names);
        return static_cast<int>(error.code);
    }
};

} // namespace tarn
