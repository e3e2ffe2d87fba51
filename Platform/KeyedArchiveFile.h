#pragma once

#include "Platform/FileManager.h"
#include "Platform/KeyedArchive.h"

#include <cstdint>
#include <filesystem>
#include <memory>

/// Keyed archives as files.
namespace tarn {

/// The domain of a failure to open an archive file; the code is an ArchiveFileFailure.
inline constexpr const char* kArchiveFileErrorDomain = "TarnArchiveFileErrorDomain";

enum class ArchiveFileFailure : long {
    missing = 1,     ///< there is no such file
    unreadable = 2,  ///< it is there but cannot be read
    undecodable = 3, ///< its bytes are not an archive of the object asked for
};

/// Larger files are not opened: reading one takes a multiple of its size in memory. A document of a million
/// entries takes a tenth of this.
inline constexpr std::uintmax_t kLargestArchive = std::uintmax_t{1} << 30; // bytes

/// Saves the object crash-safely: at any moment the file is either the old or the new one, whole.
bool writeArchive(const std::shared_ptr<const SecureCoding>& object, const std::filesystem::path& file,
                  Error* error = nullptr);

/// The file's bytes, or nothing and a failure that is `missing` or `unreadable`.
std::optional<Data> readArchiveData(const std::filesystem::path& file, Error* error);
/// The failure of a file whose bytes do not decode, for the reason given.
Error undecodableArchiveError(const std::filesystem::path& file, const Error& reason);

/// Opens the file's object, of class T or a subclass. Nothing, and in `error` one of the failures above, when
/// it cannot.
template <typename T>
std::shared_ptr<T> readArchive(const std::filesystem::path& file, Error* error = nullptr) {
    const auto bytes = readArchiveData(file, error);
    if (!bytes)
        return nullptr;
    Error reason;
    auto object = KeyedUnarchiver::unarchivedObject<T>(*bytes, &reason);
    if (!object && error)
        *error = undecodableArchiveError(file, reason);
    return object;
}

} // namespace tarn
