#include "Platform/FileLock.h"

#include "Platform/FileManager.h"

#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace tarn {
namespace {

constexpr int kHeldByAnother = -1; ///< instead of the system's error

#ifdef _WIN32

/// The handle of the lock's file, or the reason why it is not to be had. No second handle is given while one
/// is open, and the file goes with it.
std::pair<std::intptr_t, int> tryLock(const std::filesystem::path& file) {
    const HANDLE handle = ::CreateFileW(file.c_str(), GENERIC_READ | DELETE, 0, nullptr, OPEN_ALWAYS,
                                        FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (handle != INVALID_HANDLE_VALUE)
        return {reinterpret_cast<std::intptr_t>(handle), 0};
    const DWORD reason = ::GetLastError();
    // A file that is about to be deleted denies access.
    std::error_code ignored;
    if (reason == ERROR_SHARING_VIOLATION ||
        (reason == ERROR_ACCESS_DENIED && std::filesystem::is_regular_file(file, ignored)))
        return {-1, kHeldByAnother};
    const auto condition =
        std::error_code(static_cast<int>(reason), std::system_category()).default_error_condition();
    return {-1, condition.category() == std::generic_category() ? condition.value() : EIO};
}

void unlock(const std::filesystem::path&, std::intptr_t handle) {
    ::CloseHandle(reinterpret_cast<HANDLE>(handle));
}

#else

/// Whether the descriptor's file is the one that lies under the name: its holder may have removed it.
bool isStillThere(int descriptor, const std::filesystem::path& file) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(descriptor, &opened) == 0 && ::lstat(file.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

/// A descriptor of the lock's file, which is made where it is missing; -1 and errno where that fails.
int openLockFile(const std::filesystem::path& file) {
    constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    // Network file systems lock only what can be written.
    int descriptor = ::open(file.c_str(), O_RDWR | kFlags);
    if (descriptor < 0 && (errno == EACCES || errno == EROFS))
        descriptor = ::open(file.c_str(), O_RDONLY | kFlags);
    if (descriptor < 0 && errno == ENOENT) {
        descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | kFlags, 0666);
        // Others who may write in the folder lock it too, whatever the user's mask is. It holds nothing.
        if (descriptor >= 0)
            ::fchmod(descriptor, 0666);
    }
    return descriptor;
}

/// The descriptor of the locked file, or the reason why it is not to be had.
std::pair<std::intptr_t, int> tryLock(const std::filesystem::path& file) {
    const int descriptor = openLockFile(file);
    if (descriptor < 0) // another holder may have made the file in between
        return {-1, errno == EINTR || errno == EEXIST ? kHeldByAnother : errno};
    struct stat status {};
    int reason = 0;
    if (::fstat(descriptor, &status) == 0 && (!S_ISREG(status.st_mode) || status.st_size != 0))
        reason = EEXIST; // somebody's file, which is not to be removed
    else if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0)
        reason = errno;
    switch (reason) {
    case 0:
        if (isStillThere(descriptor, file))
            return {descriptor, 0};
        reason = kHeldByAnother;
        break;
    case ENOSYS: // no locks on this file system
    case EOPNOTSUPP:
    case EINVAL:
    case EBADF:
        return {descriptor, 0};
    case EWOULDBLOCK:
    case EINTR:
    case EACCES:
        reason = kHeldByAnother;
        break;
    default:
        break;
    }
    ::close(descriptor);
    return {-1, reason};
}

void unlock(const std::filesystem::path& file, std::intptr_t handle) {
    // Removed while it is locked: whoever opened it meanwhile finds that it has gone and makes a new one.
    const auto descriptor = static_cast<int>(handle);
    if (isStillThere(descriptor, file))
        ::unlink(file.c_str());
    ::close(descriptor);
}

#endif

} // namespace

std::optional<FileLock> FileLock::acquire(const std::filesystem::path& file,
                                          std::chrono::milliseconds patience, Error* error) {
    constexpr std::chrono::milliseconds kPollInterval{5};
    const auto fail = [&](int code) {
        if (error)
            *error = Error(FileManager::kFileErrorDomain, code,
                           file.string() + ": " + std::generic_category().message(code));
        return std::nullopt;
    };
    using Character = std::filesystem::path::value_type;
    if (file.native().find(Character{}) != std::filesystem::path::string_type::npos)
        return fail(EINVAL);
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
