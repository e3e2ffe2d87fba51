#include "Platform/FileLock.h"

#include "Platform/FileManagerSystem.h"

#include <cerrno>
#include <thread>
#include <utility>

namespace tarn {

std::optional<FileLock> FileLock::acquire(const std::filesystem::path& file,
                                          std::chrono::milliseconds patience, Error* error) {
    constexpr std::chrono::milliseconds kPollInterval{5};
    if (!FileManager::detail::isUsable(file, error))
        return std::nullopt;
    const auto fail = [&](int code) {
        FileManager::detail::fail(error, code, file);
        return std::nullopt;
    };
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const auto [handle, reason] = tryLock(file);
        if (reason == 0)
            return FileLock(file, handle);
        if (reason != kHeldByAnother)
            return fail(reason);
        if (std::chrono::steady_clock::now() >= end)
            return fail(ETIMEDOUT);
        std::this_thread::sleep_for(kPollInterval);
    }
}

FileLock::FileLock(FileLock&& other) noexcept
    : mFile(std::move(other.mFile)), mHandle(std::exchange(other.mHandle, kNone)) {}

FileLock::~FileLock() {
    if (mHandle != kNone)
        unlock(mFile, mHandle);
}

} // namespace tarn
