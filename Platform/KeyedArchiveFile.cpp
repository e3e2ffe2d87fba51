#include "Platform/KeyedArchiveFile.h"

#include <cerrno>

namespace tarn {

bool writeArchive(const std::shared_ptr<const SecureCoding>& object, const std::filesystem::path& file,
                  Error* error) {
    return FileManager::writeAtomically(KeyedArchiver::archivedData(object), file, error);
}

std::optional<Data> readArchiveData(const std::filesystem::path& file, Error* error) {
    // A million entries take a tenth of this. Reading takes a multiple of it in memory.
    constexpr std::uintmax_t kLargestArchive = std::uintmax_t{1} << 30; // bytes
    Error reason;
    auto bytes = FileManager::contentsOf(file, &reason, kLargestArchive);
    if (!bytes && error) {
        const auto failure =
            reason.code == ENOENT ? ArchiveFileFailure::missing : ArchiveFileFailure::unreadable;
        *error = Error(kArchiveFileErrorDomain, static_cast<long>(failure), reason.localizedDescription());
    }
    return bytes;
}

Error undecodableArchiveError(const std::filesystem::path& file, const Error& reason) {
    return {kArchiveFileErrorDomain, static_cast<long>(ArchiveFileFailure::undecodable),
            file.string() + ": " + reason.localizedDescription()};
}

} // namespace tarn
