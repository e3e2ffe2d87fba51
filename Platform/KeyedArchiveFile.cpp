#include "Platform/KeyedArchiveFile.h"

#include <cerrno>

namespace tarn {

bool writeArchive(const std::shared_ptr<const SecureCoding>& object, const std::filesystem::path& file,
                  Error* error) {
    return FileManager::writeAtomically(KeyedArchiver::archivedData(object), file, error);
}

std::optional<Data> readArchiveData(const std::filesystem::path& file, Error* error) {
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
