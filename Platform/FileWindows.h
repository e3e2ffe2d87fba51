#pragma once

#include "Platform/Export.h"

#include <filesystem>

/// What the Windows parts of FileManager and FileLock share. Not for applications.
namespace TARN_PUBLIC tarn {
namespace windows {

/// The errno that says the same as the last error of the system.
int lastErrorNumber();

/// The path as the system's functions take it, also when it is longer than their old limit.
std::filesystem::path systemPath(const std::filesystem::path& path);

/// An open file; closed at the end of its life.
class File {
public:
    explicit File(void* handle) : mHandle(handle) {}
    ~File() { close(); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    [[nodiscard]] bool isOpen() const;
    [[nodiscard]] void* handle() const { return mHandle; }
    bool close();
    /// Hands over the handle; the caller closes it.
    void* release();

private:
    void* mHandle;
};

} // namespace windows
} // namespace tarn
