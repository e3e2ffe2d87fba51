#pragma once

#include "Platform/Error.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

namespace tarn {

/// An advisory lock that one holder at a time has, among all processes and threads that ask for it in this
/// way. It is a file that is made for the lock and removed with it. What a process that ended leaves behind
/// is locked by nobody and is taken over. A file system that knows no locks gives one to everybody.
class FileLock {
public:
    /// Waits for the lock on `file` at the longest for `patience`. Nothing, with the reason in `error` (when
    /// given), when another holder kept it for so long (the code is ETIMEDOUT) or when the file cannot be
    /// made.
    static std::optional<FileLock> acquire(const std::filesystem::path& file,
                                           std::chrono::milliseconds patience, Error* error = nullptr);

    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&&) = delete;
    ~FileLock();

private:
    FileLock(std::filesystem::path file, std::intptr_t handle) : mFile(std::move(file)), mHandle(handle) {}

    std::filesystem::path mFile;
    std::intptr_t mHandle; ///< of the system; kNone after a move
    static constexpr std::intptr_t kNone = -1;
};

} // namespace tarn
