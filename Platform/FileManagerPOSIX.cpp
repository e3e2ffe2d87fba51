#include "Platform/FileManager.h"

#include "Platform/FileManagerSystem.h"
#include "Platform/ProcessInfo.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#ifdef __linux__
#include <sys/xattr.h>
#endif
#include <optional>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tarn::FileManager {

namespace fs = std::filesystem;
using detail::fail;
using detail::isUsable;

namespace {

/// The folder that an environment variable names; a relative one does not count.
std::optional<fs::path> folderFromEnvironment(const char* variable) {
    const auto value = ProcessInfo::environmentVariable(variable);
    if (!value || !fs::path(*value).is_absolute())
        return std::nullopt;
    return fs::path(*value);
}

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

} // namespace

#ifdef __APPLE__
fs::path detail::systemCachesDirectory() {
    return homeDirectory() / "Library" / "Caches";
}
fs::path configurationDirectory() {
    return homeDirectory() / "Library" / "Preferences";
}
#else
fs::path detail::systemCachesDirectory() {
    const auto folder = folderFromEnvironment("XDG_CACHE_HOME");
    return folder ? *folder : homeDirectory() / ".cache";
}
fs::path configurationDirectory() {
    const auto folder = folderFromEnvironment("XDG_CONFIG_HOME");
    return folder ? *folder : homeDirectory() / ".config";
}
#endif

std::optional<std::pair<int, std::string>> detail::refusal(const fs::path&) {
    return std::nullopt; // every name is taken as it is
}

/// A save holds a lock on its file, which also tells in folders that several systems share; where there are
/// no locks, a save that takes seconds is told from a leftover by an hour.
bool detail::isAbandoned(const fs::path& file, int process) {
    constexpr std::chrono::hours kLeastAge{1};
    std::error_code unknown;
    const auto written = fs::last_write_time(file, unknown);
    if (unknown || !fs::is_regular_file(fs::symlink_status(file, unknown)))
        return false;
    // A file that a process has just made may not be locked yet; older ones without a lock are from an
    // earlier process of its number, as is usual where each container counts from 1.
    constexpr std::chrono::minutes kFresh{1};
    const bool isRunning = process == ::getpid() || ::kill(process, 0) == 0 || errno != ESRCH;
    if (isRunning && fs::file_time_type::clock::now() - written < kFresh)
        return false;
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor >= 0) {
        const int reason = ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
        ::close(descriptor);
        if (reason == 0 || reason == EWOULDBLOCK)
            return reason == 0;
    }
    return fs::file_time_type::clock::now() - written > kLeastAge;
}

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

detail::BlockReader readerOf(int descriptor) {
    return [descriptor](std::span<std::byte> block) {
        ssize_t count;
        do
            count = ::read(descriptor, block.data(), block.size());
        while (count < 0 && errno == EINTR);
        return std::pair(static_cast<std::size_t>(std::max<ssize_t>(count, 0)), count < 0 ? errno : 0);
    };
}

detail::BlockWriter writerTo(int descriptor) {
    return [descriptor](std::span<const std::byte> block) {
        while (!block.empty()) {
            const ssize_t count = ::write(descriptor, block.data(), block.size());
            if (count < 0 && errno != EINTR)
                return errno;
            if (count == 0) // No reason is given, and trying again might never end.
                return EIO;
            block = block.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        return 0;
    };
}

bool flush(int descriptor) {
#ifdef F_FULLFSYNC
    if (::fcntl(descriptor, F_FULLFSYNC) == 0)
        return true;
#endif
    // The user's file is not refused where the file system cannot flush.
    return ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOSYS || errno == ENOTSUP;
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
    int number;
    do {
        name = folder / detail::temporaryName(::getpid(), ++counter);
        number = openFile(name, O_WRONLY | O_CREAT | O_EXCL, mode);
    } while (number < 0 && errno == EEXIST);
    if (number >= 0)
        ::flock(number, LOCK_EX | LOCK_NB); // tells others that somebody writes to it
    return number;
}

/// What writeAtomically replaces or makes.
struct AtomicTarget {
    std::optional<struct stat> existing;
    // Of an ordinary file, once all symbolic links are followed:
    fs::path file;
    fs::path folder;

    /// Pipes and devices have no earlier content and must not be replaced.
    [[nodiscard]] bool isWrittenInPlace() const { return existing && !S_ISREG(existing->st_mode); }
};

/// Whether the process may read, write or enter the file; else errno says why not.
bool isPermitted(const fs::path& file, int how) {
    return ::faccessat(AT_FDCWD, file.c_str(), how, AT_EACCESS) == 0;
}

std::optional<AtomicTarget> atomicTarget(const fs::path& file, Error* error) {
    const auto refuse = [&](int code) {
        fail(error, code, file);
        return std::nullopt;
    };
    if (!isUsable(file, error))
        return std::nullopt;
    AtomicTarget target;
    struct stat status {};
    if (::stat(file.c_str(), &status) == 0)
        target.existing = status;
    else if (errno != ENOENT || file.empty())
        return refuse(errno);
    if (target.existing && S_ISDIR(status.st_mode))
        return refuse(EISDIR);
    // Renaming needs the folder's permission only.
    if (target.existing && !isPermitted(file, W_OK))
        return refuse(errno);
    if (target.isWrittenInPlace())
        return target;
    const auto followed = followedLinks(file);
    if (!followed)
        return refuse(errno);
    target.file = *followed;
    target.folder = followed->has_parent_path() ? followed->parent_path() : ".";
    if (!isPermitted(target.folder, W_OK | X_OK))
        return refuse(errno);
    return target;
}

} // namespace

bool isReadableFile(const fs::path& file, Error* error) {
    struct stat status {};
    if (!isUsable(file, error))
        return false;
    if (::stat(file.c_str(), &status) != 0)
        return fail(error, errno, file);
    if (S_ISDIR(status.st_mode))
        return fail(error, EISDIR, file);
    if (!S_ISREG(status.st_mode))
        return fail(error, ENOTSUP, file, "this is not an ordinary file");
    return isPermitted(file, R_OK) || fail(error, errno, file);
}

std::optional<Data> contentsOf(const fs::path& file, Error* error, std::uintmax_t largest) {
    if (!isUsable(file, error))
        return std::nullopt;
    // Without O_NONBLOCK, opening a named pipe would wait for somebody to write to it.
    const Descriptor descriptor(openFile(file, O_RDONLY | O_NONBLOCK));
    struct stat status {};
    if (!descriptor.isOpen() || ::fstat(descriptor.number(), &status) != 0) {
        fail(error, errno, file);
        return std::nullopt;
    }
    const bool isOrdinary = S_ISREG(status.st_mode);
    if (!isOrdinary)
        ::fcntl(descriptor.number(), F_SETFL, O_RDONLY); // reading may wait
    Data bytes;
    const int code = detail::readAll(readerOf(descriptor.number()),
                                     isOrdinary ? static_cast<std::uintmax_t>(status.st_size) : 0,
                                     isOrdinary ? largest : std::min(largest, kLargestStream), bytes);
    if (code != 0) {
        fail(error, code, file);
        return std::nullopt;
    }
    return bytes;
}

bool canWriteAtomically(const fs::path& file, Error* error) {
    return atomicTarget(file, error).has_value();
}

bool detail::writeInPlace(const Producer& produce, const fs::path& file, Error* error) {
    if (!isUsable(file, error))
        return false;
    Descriptor descriptor(openFile(file, O_WRONLY | O_CREAT | O_TRUNC, 0666));
    int code = descriptor.isOpen() ? produce(writerTo(descriptor.number())) : errno;
    if (code == 0 && !descriptor.close())
        code = errno;
    return code == 0 || fail(error, code, file);
}

namespace {

#ifdef __linux__
/// What `read` gives, which tells the size first; nothing where it fails.
template <typename Read>
std::optional<std::vector<char>> allOf(const Read& read) {
    const ssize_t size = read(nullptr, 0);
    if (size < 0)
        return std::nullopt;
    std::vector<char> bytes(static_cast<std::size_t>(size));
    if (size > 0) { // it may have changed since
        const ssize_t got = read(bytes.data(), bytes.size());
        if (got < 0)
            return std::nullopt;
        bytes.resize(static_cast<std::size_t>(got));
    }
    return bytes;
}

std::vector<std::string> namesIn(const std::optional<std::vector<char>>& list) {
    std::vector<std::string> names;
    for (auto name = list ? list->begin() : std::vector<char>::const_iterator();
         list && name != list->end();) {
        const auto end = std::find(name, list->end(), '\0');
        names.emplace_back(name, end);
        name = end == list->end() ? end : end + 1;
    }
    return names;
}
#endif

/// Gives the file the extended attributes of another one, access lists and tags of file managers, and no
/// others, as far as the file system and the rights of the process allow.
void takeOverExtendedAttributes([[maybe_unused]] const fs::path& from, [[maybe_unused]] int to) {
#ifdef __linux__
    const auto names =
        namesIn(allOf([&](char* list, std::size_t size) { return ::listxattr(from.c_str(), list, size); }));
    // A folder's default access list, which new files inherit, would add to the file's own.
    for (const std::string& name :
         namesIn(allOf([&](char*list, std::size_t size) { return ::flistxattr(to, list, size); }))) {
        if (std::find(names.begin(), names.end(), name) == names.end())
            ::fremovexattr(to, name.c_str());
    }
    for (const std::string& name : names) {
        const auto value = allOf([&](char* bytes, std::size_t size) {
            return ::getxattr(from.c_str(), name.c_str(), bytes, size);
        });
        if (value)
            ::fsetxattr(to, name.c_str(), value->data(), value->size(), 0);
    }
#endif
}

} // namespace

bool detail::replaceAtomically(const Producer& produce, const fs::path& file, Error* error) {
    const auto target = atomicTarget(file, error);
    if (!target)
        return false;
    if (target->isWrittenInPlace())
        return writeInPlace(produce, file, error);

    // A folder that may not be read cannot be flushed either.
    const Descriptor folder(openFile(target->folder, O_RDONLY | O_DIRECTORY));
    if (!folder.isOpen() && errno != EACCES)
        return fail(error, errno, file);
    fs::path temporary;
    Descriptor descriptor(openTemporary(target->folder, target->existing ? 0600 : 0666, temporary));
    if (!descriptor.isOpen())
        return fail(error, errno, file);
    if (const auto& existing = target->existing) {
        // The owner can only be kept by a privileged process; the others go on with their own.
        [[maybe_unused]] const int kept = ::fchown(descriptor.number(), existing->st_uid, existing->st_gid);
        takeOverExtendedAttributes(target->file, descriptor.number());
        ::fchmod(descriptor.number(), existing->st_mode & 0777);
    }
    int code = produce(writerTo(descriptor.number()));
    if (code == 0 && (!flush(descriptor.number()) || !descriptor.close() ||
                      std::rename(temporary.c_str(), target->file.c_str()) != 0))
        code = errno;
    if (code != 0) {
        ::unlink(temporary.c_str());
        return fail(error, code, file);
    }
    // The new file is in place, whole; now its name goes to the disk.
    if (folder.isOpen() && !flush(folder.number()))
        return fail(error, errno, file,
                    "the new file is in place, but a loss of power may bring the old one back (" +
                        std::generic_category().message(errno) + ")");
    removeLeftovers(target->folder);
    return true;
}

} // namespace tarn::FileManager
