#include "Platform/FileLock.h"

#include "Platform/PathConversion.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Platform/Threads.h"

#include <atomic>
#include <cerrno>

namespace tarn {

namespace {

using namespace std::chrono_literals;

struct FileLockConcurrencyTests : testing::Test {
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / pathOfText(".Größe ♯.lock");
};

} // namespace

TEST_F(FileLockConcurrencyTests, OneHolderAtATimeHasIt) {
    // Atomic because the thread sanitizer does not see that locks on files order threads.
    std::atomic<int> holders = 0, turns = 0;
    inThreads(4, [&](int) {
        for (int i = 0; i < 20; ++i) {
            const auto lock = FileLock::acquire(file, 60s);
            ASSERT_TRUE(lock);
            EXPECT_EQ(++holders, 1);
            ++turns;
            --holders;
        }
    });
    EXPECT_EQ(turns, 80);
    EXPECT_TRUE(folder.fileNames().empty()) << "it goes with its last holder";
}

TEST_F(FileLockConcurrencyTests, ItIsGivenUpWithItsHolderOnly) {
    Error error;
    auto first = FileLock::acquire(file, 0ms);
    ASSERT_TRUE(first);
    const std::optional<FileLock> moved(std::move(first));
    first.reset();
    EXPECT_FALSE(FileLock::acquire(file, 20ms, &error));
    EXPECT_EQ(error.code, ETIMEDOUT);
    EXPECT_TRUE(FileLock::acquire(folder.path() / "other", 0ms));
}

TEST_F(FileLockConcurrencyTests, WhatAnEndedProcessLeftIsTakenOverAndNobodysFileRemoved) {
    writeText(file, "");
    EXPECT_TRUE(FileLock::acquire(file, 0ms));
    EXPECT_TRUE(folder.fileNames().empty());
    Error error;
    writeText(file, "somebody's");
    EXPECT_FALSE(FileLock::acquire(file, 0ms, &error));
    EXPECT_EQ(error.code, EEXIST);
    EXPECT_EQ(textOf(file), "somebody's");
    EXPECT_FALSE(FileLock::acquire(folder.path() / "missing" / "lock", 0ms, &error));
    EXPECT_EQ(error.code, ENOENT);
}

} // namespace tarn
