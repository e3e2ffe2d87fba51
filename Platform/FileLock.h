#pragma once

#include "Platform/Error.h"
#include "Platform/Export.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

namespace TARN_PUBLIC tarn {

/// An advisory lock held by one holder at a time, among all processes and threads that ask for it in this
/// way. It is an empty file that is made for the lock and removed with it; a file that is not empty belongs
/// to somebody else and is refused (EEXIST). What a process leaves when it ends is locked by nobody and is
/// taken over. A file system without locks gives one to everybody.
class FileLock {
public:
    /// Waits for the lock on `file` for at most `patience`. Nothing, with the reason in `error` (when
    /// given), when another holder kept it for so long (the code is ETIMEDOUT) or when the file cannot be
    /// made.
    static std::optional<FileLock> acquire(const std::filesystem::path& file,
                                           std::chrono::milliseconds patience, Error* error = nullptr);

    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&&) = delete;
    ~FileLock();

private:
    FileLock(std::filesystem::path file, std::intptr_t handle) : mFile(std::move(file)), mHandle(handle) {}

    /// The system's handle of the locked file, which is made where it is missing, and 0; or the reason why it
    /// cannot be had: the system's error, or kHeldByAnother.
    static std::pair<std::intptr_t, int> tryLock(const std::filesystem::path& file);
    static void unlock(const std::filesystem::path& file, std::intptr_t handle);
    static constexpr int kHeldByAnother = -1;

    std::filesystem::path mFile;
    std::intptr_t mHandle; ///< kNone after a move
    static constexpr std::intptr_t kNone = -1;
};

} // namespace tarn
