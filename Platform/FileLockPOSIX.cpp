#include "Platform/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn {
namespace {

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

} // namespace

std::pair<std::intptr_t, int> FileLock::tryLock(const std::filesystem::path& file) {
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

void FileLock::unlock(const std::filesystem::path& file, std::intptr_t handle) {
    // Removed while it is locked: whoever opened it meanwhile finds that it has gone and makes a new one.
    const auto descriptor = static_cast<int>(handle);
    if (isStillThere(descriptor, file))
        ::unlink(file.c_str());
    ::close(descriptor);
}

} // namespace tarn
