#include "Platform/FileManager.h"

#include "Platform/FileManagerSystem.h"
#include "Platform/FileWindows.h"
#include "Platform/PathConversion.h"
#include "Platform/ProcessInfo.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <system_error>
#include <windows.h>

namespace tarn::FileManager {

namespace fs = std::filesystem;
using detail::fail;
using detail::isUsable;
using windows::lastErrorNumber;
using windows::systemPath;

namespace {

/// The folder that an environment variable names, or the one for temporary files; a relative one does not
/// count.
fs::path folderFromEnvironment(const char* variable) {
    const fs::path folder = pathOfText(ProcessInfo::environmentVariable(variable).value_or(""));
    return folder.is_absolute() ? folder : fs::temp_directory_path();
}

bool isDeviceName(std::wstring_view name) {
    std::wstring stem(name.substr(0, name.find(L'.')));
    stem.resize(stem.find_last_not_of(L' ') + 1);
    for (wchar_t& c : stem)
        c = c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
    for (const std::wstring_view device : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"}) {
        if (stem == device)
            return true;
    }
    return stem.size() == 4 && (stem.starts_with(L"COM") || stem.starts_with(L"LPT")) &&
           std::wstring_view(L"0123456789\u00B9\u00B2\u00B3").find(stem[3]) != std::wstring_view::npos;
}

std::optional<std::pair<int, std::string>> refusalOfName(const std::wstring& name) {
    constexpr std::size_t kLongestName = 255;
    if (name.empty() || name == L"." || name == L"..")
        return std::nullopt;
    if (name.size() > kLongestName)
        return std::pair(ENAMETOOLONG, std::generic_category().message(ENAMETOOLONG));
    const auto isRefused = [](wchar_t c) {
        return c < 0x20 || std::wstring_view(L"<>:\"|?*").find(c) != std::wstring_view::npos;
    };
    if (std::any_of(name.begin(), name.end(), isRefused))
        return std::pair(EINVAL, std::string("names cannot hold control characters or any of <>:\"|?*"));
    if (name.back() == L'.' || name.back() == L' ')
        return std::pair(EINVAL, std::string("names cannot end with a period or a blank"));
    if (isDeviceName(name))
        return std::pair(EINVAL, std::string("this is the name of a device"));
    return std::nullopt;
}

/// The attributes of the file, or INVALID_FILE_ATTRIBUTES and the system's error.
DWORD attributesOf(const fs::path& file) {
    return ::GetFileAttributesW(systemPath(file).c_str());
}

HANDLE openForReading(const fs::path& file, DWORD sharing) {
    return ::CreateFileW(systemPath(file).c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING,
                         FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
}

detail::BlockWriter writerTo(HANDLE file) {
    return [file](std::span<const std::byte> block) {
        while (!block.empty()) {
            constexpr std::size_t kMost = 1 << 30;
            DWORD count = 0;
            if (!::WriteFile(file, block.data(), static_cast<DWORD>(std::min(block.size(), kMost)), &count,
                             nullptr))
                return lastErrorNumber();
            if (count == 0)
                return EIO;
            block = block.subspan(count);
        }
        return 0;
    };
}

detail::BlockReader readerOf(HANDLE file) {
    return [file](std::span<std::byte> block) {
        constexpr std::size_t kMost = 1 << 30;
        DWORD count = 0;
        if (::ReadFile(file, block.data(), static_cast<DWORD>(std::min(block.size(), kMost)), &count,
                       nullptr))
            return std::pair(std::size_t{count}, 0);
        const bool isAtEnd = ::GetLastError() == ERROR_BROKEN_PIPE; // its writer has closed it
        return std::pair(std::size_t{0}, isAtEnd ? 0 : lastErrorNumber());
    };
}

/// What writeAtomically replaces or makes, once symbolic links are followed.
struct AtomicTarget {
    fs::path file;
    fs::path folder;
    DWORD attributes; ///< of the existing file, else INVALID_FILE_ATTRIBUTES
};

/// The file that the last component of the path stands for.
std::optional<fs::path> followedLink(const fs::path& file) {
    const windows::File opened(openForReading(file, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE));
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size = ::GetFinalPathNameByHandleW(opened.handle(), path.data(),
                                                       static_cast<DWORD>(path.size()), FILE_NAME_NORMALIZED);
        if (size == 0)
            return std::nullopt;
        const bool isWhole = size < path.size();
        path.resize(size);
        if (isWhole)
            return path;
    }
}

std::optional<AtomicTarget> atomicTarget(const fs::path& file, Error* error) {
    const auto refuse = [&](int code) {
        fail(error, code, file);
        return std::nullopt;
    };
    if (!isUsable(file, error))
        return std::nullopt;
    AtomicTarget target{file, {}, attributesOf(file)};
    const bool exists = target.attributes != INVALID_FILE_ATTRIBUTES;
    if (!exists && (file.empty() || ::GetLastError() != ERROR_FILE_NOT_FOUND))
        return refuse(lastErrorNumber());
    if (exists && (target.attributes & FILE_ATTRIBUTE_DIRECTORY))
        return refuse(EISDIR);
    if (exists && (target.attributes & FILE_ATTRIBUTE_READONLY))
        return refuse(EACCES);
    if (exists && (target.attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
        const auto followed = followedLink(file);
        if (!followed)
            return refuse(lastErrorNumber());
        target.file = *followed;
        target.attributes = attributesOf(target.file);
    }
    target.folder = target.file.has_parent_path() ? target.file.parent_path() : fs::path(".");
    return target;
}

/// A new file of a name that nobody else uses, in the folder; `name` is set to its path. Others cannot open
/// it.
HANDLE openTemporary(const AtomicTarget& target, fs::path& name) {
    constexpr DWORD kKept =
        FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
    static std::atomic<unsigned> counter = 0;
    const DWORD kept = target.attributes == INVALID_FILE_ATTRIBUTES ? 0 : target.attributes & kKept;
    HANDLE file;
    do {
        name = target.folder / detail::temporaryName(static_cast<int>(::GetCurrentProcessId()), ++counter);
        file = ::CreateFileW(systemPath(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                             FILE_ATTRIBUTE_ARCHIVE | kept, nullptr);
    } while (file == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_FILE_EXISTS);
    return file;
}

bool flush(HANDLE file) {
    // The user's file is not refused where the file system cannot flush.
    return ::FlushFileBuffers(file) || ::GetLastError() == ERROR_INVALID_FUNCTION ||
           ::GetLastError() == ERROR_NOT_SUPPORTED;
}

/// Puts one file in the place of another, on the disk too. Those who look at each new or changed file, such
/// as virus scanners and indexers, hinder this for moments.
int moveOver(const fs::path& source, const fs::path& target) {
    constexpr int kMostAttempts = 50;
    for (int attempt = 1;; ++attempt) {
        if (::MoveFileExW(systemPath(source).c_str(), systemPath(target).c_str(),
                          MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            return 0;
        const int code = lastErrorNumber();
        if ((code != EACCES && code != EBUSY) || attempt == kMostAttempts)
            return code;
        ::Sleep(10);
    }
}

} // namespace

fs::path detail::systemCachesDirectory() {
    return folderFromEnvironment("LOCALAPPDATA");
}
fs::path configurationDirectory() {
    return folderFromEnvironment("APPDATA");
}

std::optional<std::pair<int, std::string>> detail::refusal(const fs::path& file) {
    // The system cuts names off, opens devices instead, or takes what comes after a colon for a part of the
    // file.
    if (file.native().starts_with(L"\\\\?\\")) // takes every name as it is
        return std::nullopt;
    for (const fs::path& name : file.relative_path()) {
        if (auto reason = refusalOfName(name.native()))
            return reason;
    }
    return std::nullopt;
}

/// A save lets nobody else open its file.
bool detail::isAbandoned(const fs::path& file, int process) {
    // While a save puts its file in place the file is not open.
    constexpr std::chrono::minutes kFresh{1};
    std::error_code unknown;
    const auto written = fs::last_write_time(file, unknown);
    const DWORD attributes = attributesOf(file);
    if (unknown || attributes == INVALID_FILE_ATTRIBUTES ||
        (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)))
        return false;
    const windows::File running(::OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(process)));
    const bool hasEnded = running.isOpen() ? ::WaitForSingleObject(running.handle(), 0) == WAIT_OBJECT_0
                                           : ::GetLastError() == ERROR_INVALID_PARAMETER;
    if (!hasEnded && fs::file_time_type::clock::now() - written < kFresh)
        return false;
    return windows::File(openForReading(file, 0)).isOpen();
}

bool isReadableFile(const fs::path& file, Error* error) {
    if (!isUsable(file, error))
        return false;
    if (file.native().starts_with(L"\\\\.\\"))
        return fail(error, ENOTSUP, file, "this is not an ordinary file");
    const DWORD attributes = attributesOf(file);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return fail(error, lastErrorNumber(), file);
    return !(attributes & FILE_ATTRIBUTE_DIRECTORY) || fail(error, EISDIR, file);
}

std::optional<Data> contentsOf(const fs::path& file, Error* error, std::uintmax_t largest) {
    if (!isUsable(file, error))
        return std::nullopt;
    const auto refuse = [&](int code) {
        fail(error, code, file);
        return std::nullopt;
    };
    const DWORD attributes = attributesOf(file);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return refuse(EISDIR);
    const windows::File opened(openForReading(file, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE));
    if (!opened.isOpen())
        return refuse(lastErrorNumber());
    const bool isOrdinary = ::GetFileType(opened.handle()) == FILE_TYPE_DISK;
    LARGE_INTEGER size{};
    if (isOrdinary && !::GetFileSizeEx(opened.handle(), &size))
        return refuse(lastErrorNumber());
    Data bytes;
    const int code = detail::readAll(readerOf(opened.handle()), static_cast<std::uintmax_t>(size.QuadPart),
                                     isOrdinary ? largest : std::min(largest, kLargestStream), bytes);
    if (code != 0)
        return refuse(code);
    return bytes;
}

bool canWriteAtomically(const fs::path& file, Error* error) {
    const auto target = atomicTarget(file, error);
    if (!target)
        return false;
    const DWORD attributes = attributesOf(target->folder);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return fail(error, lastErrorNumber(), file);
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) || fail(error, ENOTDIR, file);
}

bool detail::writeInPlace(const Producer& produce, const fs::path& file, Error* error) {
    if (!isUsable(file, error))
        return false;
    if (const DWORD attributes = attributesOf(file);
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return fail(error, EISDIR, file);
    windows::File opened(::CreateFileW(systemPath(file).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                       CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    int code = opened.isOpen() ? produce(writerTo(opened.handle())) : lastErrorNumber();
    if (code == 0 && !opened.close())
        code = lastErrorNumber();
    return code == 0 || fail(error, code, file);
}

bool detail::replaceAtomically(const Producer& produce, const fs::path& file, Error* error) {
    const auto target = atomicTarget(file, error);
    if (!target)
        return false;
    fs::path temporary;
    windows::File opened(openTemporary(*target, temporary));
    if (!opened.isOpen())
        return fail(error, lastErrorNumber(), file);
    int code = produce(writerTo(opened.handle()));
    if (code == 0 && (!flush(opened.handle()) || !opened.close()))
        code = lastErrorNumber();
    opened.close();
    if (code == 0)
        code = moveOver(temporary, target->file);
    if (code != 0) {
        ::DeleteFileW(systemPath(temporary).c_str());
        return fail(error, code, file);
    }
    removeLeftovers(target->folder);
    return true;
}

} // namespace tarn::FileManager
