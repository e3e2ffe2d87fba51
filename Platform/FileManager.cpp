#include "Platform/FileManager.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#ifdef _WIN32
#include <fstream>
#include <process.h>
#else
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace tarn::FileManager {

namespace fs = std::filesystem;

namespace {

std::mutex gCachesDirectoryMutex;
fs::path& cachesDirectoryOverride() {
    static fs::path& directory = *new fs::path;
    return directory;
}

/// The folder that an environment variable names; a relative one does not count.
std::optional<fs::path> folderFromEnvironment(const char* variable) {
    const char* value = std::getenv(variable);
    if (!value || !fs::path(value).is_absolute())
        return std::nullopt;
    return fs::path(value);
}

#ifdef _WIN32
fs::path userFolder(const char* variable) {
    return folderFromEnvironment(variable).value_or(fs::temp_directory_path());
}
#else
fs::path homeDirectory() {
    if (const auto home = folderFromEnvironment("HOME"))
        return *home;
    passwd entry{};
    passwd* found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found && found->pw_dir)
        return found->pw_dir;
    return fs::temp_directory_path();
}
#endif

bool fail(Error* error, int code, const fs::path& file) {
    if (error)
        *error = Error(kFileErrorDomain, code, file.string() + ": " + std::generic_category().message(code));
    return false;
}

} // namespace

#if defined(_WIN32)
static fs::path systemCachesDirectory() {
    return userFolder("LOCALAPPDATA");
}
fs::path configurationDirectory() {
    return userFolder("APPDATA");
}
#elif defined(__APPLE__)
static fs::path systemCachesDirectory() {
    return homeDirectory() / "Library" / "Caches";
}
fs::path configurationDirectory() {
    return homeDirectory() / "Library" / "Preferences";
}
#else
static fs::path systemCachesDirectory() {
    const auto folder = folderFromEnvironment("XDG_CACHE_HOME");
    return folder ? *folder : homeDirectory() / ".cache";
}
fs::path configurationDirectory() {
    const auto folder = folderFromEnvironment("XDG_CONFIG_HOME");
    return folder ? *folder : homeDirectory() / ".config";
}
#endif

fs::path cachesDirectory() {
    const std::lock_guard lock(gCachesDirectoryMutex);
    return cachesDirectoryOverride().empty() ? systemCachesDirectory() : cachesDirectoryOverride();
}

void setCachesDirectory(fs::path directory) {
    const std::lock_guard lock(gCachesDirectoryMutex);
    cachesDirectoryOverride() = std::move(directory);
}

#ifdef _WIN32

std::optional<Data> contentsOf(const fs::path& file, Error* error) {
    std::error_code code;
    if (!fs::exists(file, code)) {
        fail(error, ENOENT, file);
        return std::nullopt;
    }
    std::ifstream stream(file, std::ios::binary);
    const auto size = fs::file_size(file, code);
    Data bytes(code ? 0 : static_cast<std::size_t>(size));
    if (code ||
        !stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        fail(error, EIO, file);
        return std::nullopt;
    }
    return bytes;
}

bool write(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    return stream ? true : fail(error, EIO, file);
}

bool writeAtomically(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    static std::atomic<unsigned> counter = 0;
    std::error_code code;
    const fs::path target = fs::exists(file, code) ? fs::canonical(file, code) : file;
    const fs::path temporary = target.parent_path() / (".tarn-" + std::to_string(::_getpid()) + '-' +
                                                       std::to_string(++counter) + ".tmp");
    bool written = write(bytes, temporary, error);
    if (written) {
        fs::rename(temporary, target, code);
        written = !code || fail(error, code.value(), file);
    }
    if (!written)
        fs::remove(temporary, code);
    return written;
}

#else

namespace {

/// An open file; closed at the end of its life.
class Descriptor {
public:
    explicit Descriptor(int number) : mNumber(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] bool isOpen() const { return mNumber >= 0; }
    [[nodiscard]] int number() const { return mNumber; }
    /// Closing can report a failure to write (quota, network file systems).
    bool close() { return mNumber < 0 || ::close(std::exchange(mNumber, -1)) == 0 || errno == EINTR; }

private:
    int mNumber;
};

int openFile(const fs::path& file, int flags, mode_t mode = 0) {
    int number;
    do
        number = ::open(file.c_str(), flags | O_CLOEXEC, mode);
    while (number < 0 && errno == EINTR);
    return number;
}

bool writeAll(int descriptor, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

bool flush(int descriptor) {
#ifdef F_FULLFSYNC
    if (::fcntl(descriptor, F_FULLFSYNC) == 0)
        return true;
#endif
    // A file system that knows no flushing is no reason to refuse the user's file.
    return ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOSYS;
}

/// Follows symbolic links in the last component, to a file that need not exist; errno is ELOOP when they go
/// round.
std::optional<fs::path> followedLinks(fs::path file) {
    for (int links = 0; links < 40; ++links) {
        std::error_code code;
        const fs::path next = fs::read_symlink(file, code);
        if (code)
            return file;
        file = file.parent_path() / next; // An absolute target replaces the whole path.
    }
    errno = ELOOP;
    return std::nullopt;
}

/// A new file of a name that nobody else uses, in the folder; `name` is set to its path.
int openTemporary(const fs::path& folder, mode_t mode, fs::path& name) {
    static std::atomic<unsigned> counter = 0;
    const std::string prefix = ".tarn-" + std::to_string(::getpid()) + '-';
    int number;
    do {
        name = folder / (prefix + std::to_string(++counter) + ".tmp");
        number = openFile(name, O_WRONLY | O_CREAT | O_EXCL, mode);
    } while (number < 0 && errno == EEXIST);
    return number;
}

} // namespace

std::optional<Data> contentsOf(const fs::path& file, Error* error) {
    const Descriptor descriptor(openFile(file, O_RDONLY));
    struct stat status {};
    if (!descriptor.isOpen() || ::fstat(descriptor.number(), &status) != 0) {
        fail(error, errno, file);
        return std::nullopt;
    }
    // The size is a hint only: the file may grow meanwhile, and devices have none. One byte more finds the
    // end of an ordinary file without growing the buffer.
    constexpr std::size_t kSmallestBuffer = 4096;
    try {
        Data bytes;
        std::size_t used = 0;
        bytes.resize(std::max(kSmallestBuffer, static_cast<std::size_t>(status.st_size) + 1));
        for (;;) {
            if (used == bytes.size())
                bytes.resize(bytes.size() * 2);
            const ssize_t count = ::read(descriptor.number(), bytes.data() + used, bytes.size() - used);
            if (count == 0)
                break;
            if (count > 0) {
                used += static_cast<std::size_t>(count);
            } else if (errno != EINTR) {
                fail(error, errno, file);
                return std::nullopt;
            }
        }
        bytes.resize(used);
        return bytes;
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    fail(error, ENOMEM, file);
    return std::nullopt;
}

bool write(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    Descriptor descriptor(openFile(file, O_WRONLY | O_CREAT | O_TRUNC, 0666));
    const bool written = descriptor.isOpen() && writeAll(descriptor.number(), bytes) && descriptor.close();
    return written || fail(error, errno, file);
}

bool writeAtomically(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    struct stat existing {};
    const bool exists = ::stat(file.c_str(), &existing) == 0;
    if (exists && !S_ISREG(existing.st_mode))
        return write(bytes, file, error); // A pipe or device has no earlier content and must not be replaced.

    const auto target = followedLinks(file);
    if (!target)
        return fail(error, errno, file);
    // Renaming needs the folder's permission only.
    if (exists && ::access(target->c_str(), W_OK) != 0)
        return fail(error, errno, file);
    const fs::path folder = target->has_parent_path() ? target->parent_path() : fs::path(".");
    fs::path temporary;
    Descriptor descriptor(openTemporary(folder, exists ? 0600 : 0666, temporary));
    if (!descriptor.isOpen())
        return fail(error, errno, file);
    if (exists) {
        // The owner can only be kept by a privileged process; the others go on with their own.
        [[maybe_unused]] const int kept = ::fchown(descriptor.number(), existing.st_uid, existing.st_gid);
        ::fchmod(descriptor.number(), existing.st_mode & 0777);
    }
    if (!writeAll(descriptor.number(), bytes) || !flush(descriptor.number()) || !descriptor.close() ||
        std::rename(temporary.c_str(), target->c_str()) != 0) {
        const int code = errno;
        ::unlink(temporary.c_str());
        return fail(error, code, file);
    }
    // The new file is in place, whole; flushing its folder only hurries the new name to the disk.
    const Descriptor directory(openFile(folder, O_RDONLY | O_DIRECTORY));
    if (directory.isOpen())
        flush(directory.number());
    return true;
}

#endif

} // namespace tarn::FileManager
