#include "Platform/FileManager.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#ifdef _WIN32
#include <fstream>
#include <process.h>
#else
#include <csignal>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
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

bool fail(Error* error, int code, const fs::path& file, const std::string& reason) {
    if (error)
        *error = Error(kFileErrorDomain, code, file.string() + ": " + reason);
    return false;
}
bool fail(Error* error, int code, const fs::path& file) {
    return fail(error, code, file, std::generic_category().message(code));
}

/// Whether the system would read the path to its end.
bool isWhole(const fs::path& file, Error* error) {
    const auto& text = file.native();
    const auto end = text.find(fs::path::value_type{});
    return end == text.npos || fail(error, EINVAL, text.substr(0, end), "the path goes on after a NUL");
}

/// The name that the process gives its temporary file of that number.
std::string temporaryName(int process, unsigned number) {
    return ".tarn-" + std::to_string(process) + '-' + std::to_string(number) + ".tmp";
}

/// The process that has given a temporary file its name; nothing for any other name.
std::optional<int> processNamedBy(const std::string& name) {
    const auto numberAfter = [&name](auto& number, std::size_t start) {
        if (start < name.size())
            start = static_cast<std::size_t>(
                std::from_chars(name.data() + start, name.data() + name.size(), number).ptr - name.data());
        return start;
    };
    int process = 0;
    unsigned number = 0;
    const std::size_t separator = numberAfter(process, std::string_view(".tarn-").size());
    numberAfter(number, separator + 1);
    return process > 0 && name == temporaryName(process, number) ? std::optional(process) : std::nullopt;
}

/// Whether nobody writes to the temporary file of that process any more. A save holds a lock on its file,
/// which also tells in folders that several systems share; where there are no locks, a save that takes
/// seconds is told from a leftover by an hour.
bool isAbandoned(const fs::path& file, int process) {
    constexpr std::chrono::hours kLeastAge{1};
    std::error_code unknown;
    const auto written = fs::last_write_time(file, unknown);
    if (unknown || !fs::is_regular_file(fs::symlink_status(file, unknown)))
        return false;
#ifndef _WIN32
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
#else
    (void)process; // a file that is in use cannot be removed there
#endif
    return fs::file_time_type::clock::now() - written > kLeastAge;
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

bool createDirectories(const fs::path& folder, Error* error) {
    if (!isWhole(folder, error))
        return false;
    std::error_code code;
    fs::create_directories(folder, code);
    return !code || fail(error, code.value(), folder);
}

void removeLeftovers(const fs::path& folder) {
    if (!isWhole(folder, nullptr))
        return;
    std::error_code ended;
    for (fs::directory_iterator entry(folder, ended), end; !ended && entry != end; entry.increment(ended)) {
        const auto process = processNamedBy(entry->path().filename().string());
        std::error_code gone;
        if (process && isAbandoned(entry->path(), *process))
            fs::remove(entry->path(), gone);
    }
}

#ifdef _WIN32

bool isReadableFile(const fs::path& file, Error* error) {
    if (!isWhole(file, error))
        return false;
    std::error_code code;
    const auto status = fs::status(file, code);
    return fs::is_regular_file(status) || fail(error,
                                               !fs::exists(status)        ? ENOENT
                                               : fs::is_directory(status) ? EISDIR
                                                                          : ENOTSUP,
                                               file);
}

std::optional<Data> contentsOf(const fs::path& file, Error* error, std::uintmax_t largest) {
    if (!isWhole(file, error))
        return std::nullopt;
    std::error_code code;
    if (!fs::exists(file, code)) {
        fail(error, ENOENT, file);
        return std::nullopt;
    }
    std::ifstream stream(file, std::ios::binary);
    const auto size = fs::file_size(file, code);
    if (!code && size > largest) {
        fail(error, EFBIG, file);
        return std::nullopt;
    }
    Data bytes(code ? 0 : static_cast<std::size_t>(size));
    if (code ||
        !stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        fail(error, EIO, file);
        return std::nullopt;
    }
    return bytes;
}

bool write(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    if (!isWhole(file, error))
        return false;
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    return stream ? true : fail(error, EIO, file);
}

bool canWriteAtomically(const fs::path& file, Error* error) {
    if (!isWhole(file, error))
        return false;
    std::error_code code;
    if (fs::is_directory(file, code))
        return fail(error, EISDIR, file);
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    return fs::is_directory(folder, code) || fail(error, ENOENT, file);
}

bool streamAtomically(const std::function<void(std::ostream&)>& produce, const fs::path& file, Error* error) {
    if (!canWriteAtomically(file, error))
        return false;
    static std::atomic<unsigned> counter = 0;
    std::error_code code;
    const fs::path target = fs::exists(file, code) ? fs::canonical(file, code) : file;
    const fs::path temporary = target.parent_path() / temporaryName(::_getpid(), ++counter);
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    produce(stream);
    stream.close();
    bool written = stream ? true : fail(error, EIO, file);
    if (written) {
        fs::rename(temporary, target, code);
        written = !code || fail(error, code.value(), file);
    }
    if (written)
        removeLeftovers(target.has_parent_path() ? target.parent_path() : fs::path("."));
    else
        fs::remove(temporary, code);
    return written;
}

bool writeAtomically(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    return streamAtomically(
        [bytes](std::ostream& stream) {
            stream.write(reinterpret_cast<const char*>(bytes.data()),
                         static_cast<std::streamsize>(bytes.size()));
        },
        file, error);
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
        if (count == 0) { // No reason is given, and trying again might never end.
            errno = EIO;
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return true;
}

/// Passes what is written to a stream on to a descriptor, block by block.
class DescriptorBuffer : public std::streambuf {
public:
    explicit DescriptorBuffer(int descriptor) : mDescriptor(descriptor) { restart(); }
    /// The system's error code of the first write that failed; 0 for none.
    [[nodiscard]] int failure() const { return mFailure; }

protected:
    int_type overflow(int_type character) override {
        if (sync() != 0)
            return traits_type::eof();
        if (!traits_type::eq_int_type(character, traits_type::eof()))
            sputc(traits_type::to_char_type(character));
        return traits_type::not_eof(character);
    }
    int sync() override {
        const auto pending = std::as_bytes(std::span(pbase(), pptr()));
        if (mFailure == 0 && !writeAll(mDescriptor, pending))
            mFailure = errno;
        restart();
        return mFailure == 0 ? 0 : -1;
    }

private:
    void restart() { setp(mBlock.data(), mBlock.data() + mBlock.size()); }

    int mDescriptor;
    int mFailure = 0;
    std::array<char, 1 << 16> mBlock;
};

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
        name = folder / temporaryName(::getpid(), ++counter);
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
    if (!isWhole(file, error))
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

/// Reads what is open to its end. Returns the system's error code, 0 for none.
int readAll(int descriptor, std::uintmax_t sizeHint, std::uintmax_t largest, Data& bytes) {
    // The size is a hint only: the file may grow meanwhile, and devices have none. One byte more finds the
    // end of an ordinary file without growing the buffer.
    constexpr std::uintmax_t kSmallestBuffer = 4096;
    if (sizeHint > largest)
        return EFBIG;
    try {
        std::size_t used = 0;
        bytes.resize(static_cast<std::size_t>(std::max(kSmallestBuffer, sizeHint + 1)));
        for (;;) {
            if (used == bytes.size())
                bytes.resize(bytes.size() * 2);
            const ssize_t count = ::read(descriptor, bytes.data() + used, bytes.size() - used);
            if (count == 0)
                break;
            if (count < 0 && errno != EINTR)
                return errno;
            used += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
            if (used > largest)
                return EFBIG;
        }
        bytes.resize(used);
        return 0;
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    return ENOMEM;
}

} // namespace

bool isReadableFile(const fs::path& file, Error* error) {
    struct stat status {};
    if (!isWhole(file, error))
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
    if (!isWhole(file, error))
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
    const int code =
        readAll(descriptor.number(), isOrdinary ? static_cast<std::uintmax_t>(status.st_size) : 0,
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

static bool fillInPlace(const std::function<bool(int)>& fill, const fs::path& file, Error* error) {
    if (!isWhole(file, error))
        return false;
    Descriptor descriptor(openFile(file, O_WRONLY | O_CREAT | O_TRUNC, 0666));
    const bool written = descriptor.isOpen() && fill(descriptor.number()) && descriptor.close();
    return written || fail(error, errno, file);
}

bool write(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    return fillInPlace([bytes](int descriptor) { return writeAll(descriptor, bytes); }, file, error);
}

/// As writeAtomically, with what `fill` writes to the descriptor; it returns false and sets errno on failure.
static bool replaceAtomically(const std::function<bool(int)>& fill, const fs::path& file, Error* error) {
    const auto target = atomicTarget(file, error);
    if (!target)
        return false;
    if (target->isWrittenInPlace())
        return fillInPlace(fill, file, error);

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
        ::fchmod(descriptor.number(), existing->st_mode & 0777);
    }
    if (!fill(descriptor.number()) || !flush(descriptor.number()) || !descriptor.close() ||
        std::rename(temporary.c_str(), target->file.c_str()) != 0) {
        const int code = errno;
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

bool writeAtomically(std::span<const std::byte> bytes, const fs::path& file, Error* error) {
    return replaceAtomically([bytes](int descriptor) { return writeAll(descriptor, bytes); }, file, error);
}

bool streamAtomically(const std::function<void(std::ostream&)>& produce, const fs::path& file, Error* error) {
    return replaceAtomically(
        [&produce](int descriptor) {
            DescriptorBuffer buffer(descriptor);
            std::ostream stream(&buffer);
            produce(stream);
            stream.flush();
            errno = buffer.failure();
            return buffer.failure() == 0;
        },
        file, error);
}

#endif

} // namespace tarn::FileManager
