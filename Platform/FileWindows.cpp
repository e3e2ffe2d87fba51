#include "Platform/FileWindows.h"

#include <cerrno>
#include <string>
#include <utility>
#include <windows.h>

namespace tarn::windows {

int lastErrorNumber() {
    switch (::GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
        return ENOENT;
    case ERROR_DIRECTORY:
        return ENOTDIR;
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_INVALID_PARAMETER:
        return EINVAL;
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_BUFFER_OVERFLOW:
        return ENAMETOOLONG;
    case ERROR_ACCESS_DENIED:
    case ERROR_NETWORK_ACCESS_DENIED:
    case ERROR_PRIVILEGE_NOT_HELD:
        return EACCES;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
        return EBUSY;
    case ERROR_WRITE_PROTECT:
        return EROFS;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return EEXIST;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return ENOSPC;
    case ERROR_FILE_TOO_LARGE:
        return EFBIG;
    case ERROR_TOO_MANY_OPEN_FILES:
        return EMFILE;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
        return ENOMEM;
    case ERROR_CANT_RESOLVE_FILENAME:
        return ELOOP;
    default:
        return EIO;
    }
}

std::filesystem::path systemPath(const std::filesystem::path& path) {
    // Folders end 12 units earlier than files, and a temporary file's name may be longer than its target's.
    constexpr std::size_t kLongestPlain = MAX_PATH - 64;
    const std::wstring& text = path.native();
    if (text.size() < kLongestPlain || text.starts_with(L"\\\\?\\") || text.starts_with(L"\\\\.\\"))
        return path;
    std::wstring absolute(::GetFullPathNameW(text.c_str(), 0, nullptr, nullptr), L'\0');
    absolute.resize(
        ::GetFullPathNameW(text.c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr));
    if (absolute.empty())
        return path;
    return absolute.starts_with(L"\\\\") ? L"\\\\?\\UNC" + absolute.substr(1) : L"\\\\?\\" + absolute;
}

bool File::isOpen() const {
    return mHandle && mHandle != INVALID_HANDLE_VALUE;
}

bool File::close() {
    return !isOpen() || ::CloseHandle(release());
}

void* File::release() {
    return std::exchange(mHandle, INVALID_HANDLE_VALUE);
}

} // namespace tarn::windows
