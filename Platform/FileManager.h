#pragma once

#include "Platform/Error.h"
#include "Platform/KeyedArchive.h"

#include <filesystem>
#include <optional>
#include <span>

namespace tarn {

/// Where files live and how they are read and written. Failures are reported in `error` (when given) with the
/// path in the description; the domain is kFileErrorDomain, the code the system's errno.
namespace FileManager {

inline constexpr const char* kFileErrorDomain = "TarnFileErrorDomain";

/// The user's caches directory by the convention of the system (XDG on Linux, Library/Caches on macOS, the
/// local application data on Windows), or the folder that the application has set. Not created by this call.
[[nodiscard]] std::filesystem::path cachesDirectory();
void setCachesDirectory(std::filesystem::path directory); ///< an empty path restores the system's

/// The user's configuration directory by the convention of the system.
[[nodiscard]] std::filesystem::path configurationDirectory();

/// The whole file, or nothing and a reason. Missing is told from unreadable by the error's code (ENOENT).
[[nodiscard]] std::optional<Data> contentsOf(const std::filesystem::path& file, Error* error = nullptr);

/// Writes in place: the file is truncated first, a failure may leave a part of the new content.
bool write(std::span<const std::byte> bytes, const std::filesystem::path& file, Error* error = nullptr);

/// Crash-safe: writes a temporary file beside the target, flushes it to the disk and renames it over the
/// target, so that at any moment the file is either the old or the new one, whole. A failure leaves the old
/// file untouched and no temporary file behind. A process that is killed amid it may leave its temporary
/// file, hidden and named ".tarn-PROCESS-NUMBER.tmp": nobody reads such a file or takes its name while it is
/// there, and it may be deleted once the process has ended. Keeps the permissions of an existing file;
/// follows a symbolic link to its target. A write-protected file is refused, as by an ordinary write. A pipe
/// or device is written in place. On Windows nothing is flushed: there the file is safe from a process that
/// is killed, but not from a loss of power.
bool writeAtomically(std::span<const std::byte> bytes, const std::filesystem::path& file,
                     Error* error = nullptr);

} // namespace FileManager

} // namespace tarn
