#include "Platform/FileLock.h"

#include "Platform/FileWindows.h"

#include <cerrno>
#include <utility>
#include <windows.h>

namespace tarn {

std::pair<std::intptr_t, int> FileLock::tryLock(const std::filesystem::path& file) {
    const auto path = windows::systemPath(file);
    // A file that is just being removed denies access, too, for a moment.
    constexpr int kMostAttempts = 20;
    for (int attempt = 1;; ++attempt) {
        windows::File opened(::CreateFileW(path.c_str(), GENERIC_READ | DELETE, 0, nullptr, OPEN_ALWAYS,
                                           FILE_ATTRIBUTE_HIDDEN, nullptr));
        if (!opened.isOpen()) {
            const int code = windows::lastErrorNumber();
            if (code == EBUSY)
                return {kNone, kHeldByAnother};
            if (code != EACCES || attempt == kMostAttempts)
                return {kNone, code};
            ::Sleep(1);
            continue;
        }
        LARGE_INTEGER size{};
        if (!::GetFileSizeEx(opened.handle(), &size))
            return {kNone, windows::lastErrorNumber()};
        if (size.QuadPart != 0)
            return {kNone, EEXIST};
        return {reinterpret_cast<std::intptr_t>(opened.release()), 0};
    }
}

void FileLock::unlock(const std::filesystem::path&, std::intptr_t handle) {
    const windows::File opened(reinterpret_cast<void*>(handle));
    FILE_DISPOSITION_INFO removed{};
    removed.DeleteFile = TRUE;
    ::SetFileInformationByHandle(opened.handle(), FileDispositionInfo, &removed, sizeof removed);
}

} // namespace tarn
