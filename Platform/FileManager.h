#pragma once

#include "Platform/Error.h"
#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <limits>
#include <optional>
#include <span>

namespace TARN_PUBLIC tarn {

/// Where files live and how they are read and written. Failures are reported in `error` (when given) with the
/// path in the description; the domain is kFileErrorDomain, the code the system's errno. A path that holds a
/// NUL is refused everywhere (EINVAL): the system would cut it off there and reach another file.
namespace FileManager {

inline constexpr const char* kFileErrorDomain = "TarnFileErrorDomain";

/// The user's caches directory by the convention of the system (XDG on Linux, Library/Caches on macOS, the
/// local application data on Windows), or the folder that the application has set. Not created by this call.
[[nodiscard]] std::filesystem::path cachesDirectory();
void setCachesDirectory(std::filesystem::path directory); ///< an empty path restores the system's

/// The user's configuration directory by the convention of the system.
[[nodiscard]] std::filesystem::path configurationDirectory();

/// Makes the folder and those that it lies in, as far as they are missing.
bool createDirectories(const std::filesystem::path& folder, Error* error = nullptr);

/// Whether the file is an ordinary one that may be read: one that has an end and can be read more than once.
/// Missing is ENOENT, a folder EISDIR, a pipe or device ENOTSUP. Nothing is opened, so nothing waits.
bool isReadableFile(const std::filesystem::path& file, Error* error = nullptr);

/// How much is read of what is not an ordinary file, and so may have no end.
inline constexpr std::uintmax_t kLargestStream = 64 << 20; // bytes

/// The whole file, or nothing and a reason: missing is ENOENT, longer than `largest` bytes EFBIG. A pipe or
/// device is read to its end, and refused when that does not come within kLargestStream. A named pipe that
/// nobody has open for writing is empty.
[[nodiscard]] std::optional<Data>
contentsOf(const std::filesystem::path& file, Error* error = nullptr,
           std::uintmax_t largest = std::numeric_limits<std::uintmax_t>::max());

/// Writes in place: the file is truncated first, a failure may leave a part of the new content.
bool write(std::span<const std::byte> bytes, const std::filesystem::path& file, Error* error = nullptr);

/// Crash-safe: writes a temporary file beside the target, flushes it to the disk and renames it over the
/// target, so that at any moment the file is either the old or the new one, whole. A failure leaves the old
/// file untouched and no temporary file beside it, with one exception: when only the flush of the folder
/// fails, which comes last, the new file is there, and a loss of power may bring the old one back. Keeps the
/// permissions of an existing file; follows a symbolic link to its target. A write-protected file is refused,
/// as by an ordinary write. A pipe or device is written in place. A folder that may be written but not read
/// is not flushed. On Windows the file is flushed and the rename written through.
///
/// A process that is killed while it writes may leave its temporary file, hidden and named
/// ".tarn-PROCESS-NUMBER.tmp". Nobody reads such a file or takes its name while it is there; the next
/// success in the folder calls removeLeftovers.
bool writeAtomically(std::span<const std::byte> bytes, const std::filesystem::path& file,
                     Error* error = nullptr);
/// As writeAtomically, with what `produce` writes to the stream, of which no more than a block is in memory
/// at a time.
bool streamAtomically(const std::function<void(std::ostream&)>& produce, const std::filesystem::path& file,
                      Error* error = nullptr);

/// Whether writeAtomically would succeed, as far as can be told beforehand: false, with the reason that it
/// would give, when the file's folder is missing (ENOENT) or cannot be written to, when the file is a folder
/// (EISDIR) or write-protected, or when its symbolic links form a loop (ELOOP).
bool canWriteAtomically(const std::filesystem::path& file, Error* error = nullptr);

/// Removes the temporary files in the folder that killed calls of writeAtomically have left: those that
/// nobody has locked or, where there are no locks, written to for an hour. Nothing else is touched, and what
/// cannot be removed stays.
void removeLeftovers(const std::filesystem::path& folder);

} // namespace FileManager

} // namespace tarn
