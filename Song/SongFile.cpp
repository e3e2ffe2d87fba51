#include "Song/SongFile.h"

#include "Platform/FileManager.h"
#include "Platform/KeyedArchiveFile.h"
#include "Platform/PathConversion.h"
#include "Platform/SHA256.h"

#include <cerrno>
#include <span>
#include <system_error>

namespace tarn {
namespace {

constexpr std::size_t kLongestName = 240; ///< bytes; file systems allow 255, and the lock's is longer

std::filesystem::path lockFileOf(const std::filesystem::path& file) {
    const auto target = targetOfLinks(file);
    const std::string name = textOfPath(target.filename());
    const std::string known =
        name.size() <= kLongestName ? name : SHA256::hexDigestOf(std::as_bytes(std::span(name)));
    return target.parent_path() / pathOfText("." + known + ".lock");
}

} // namespace

std::optional<Data> readSongBytes(const std::filesystem::path& file) {
    Error error;
    auto bytes = FileManager::contentsOf(file, &error, kLargestArchive);
    if (!bytes && error.code != ENOENT)
        throw SongError(SongError::Kind::unreadable, error.localizedDescription());
    return bytes;
}

SongError missingSong(const std::filesystem::path& file) {
    return {SongError::Kind::missing, textOfPath(file) + ": there is no such document"};
}

std::shared_ptr<Song> songFromBytes(const Data& bytes, const std::filesystem::path& file) {
    const auto undecodable = [&](const std::string& reason) {
        return SongError(SongError::Kind::undecodable, textOfPath(file) + ": " + reason);
    };
    Error error;
    auto song = KeyedUnarchiver::unarchivedObject<Song>(bytes, &error);
    if (!song)
        throw undecodable(error.localizedDescription());
    if (const auto reason = song->unsoundness())
        throw undecodable(*reason);
    return song;
}

Data bytesOfSong(const std::shared_ptr<const Song>& song, const std::filesystem::path& file) {
    if (const auto reason = song->unsoundness())
        throw SongError(SongError::Kind::unsound, textOfPath(file) + ": " + *reason);
    return KeyedArchiver::archivedData(song);
}

void writeSongBytes(const Data& bytes, const std::filesystem::path& file) {
    Error error;
    if (!FileManager::writeAtomically(bytes, file, &error))
        throw SongError(SongError::Kind::unwritable, error.localizedDescription());
}

FileLock lockSongFile(const std::filesystem::path& file, std::chrono::milliseconds patience) {
    std::error_code ignored;
    if (std::filesystem::exists(file, ignored) && !std::filesystem::is_regular_file(file, ignored))
        throw SongError(SongError::Kind::unwritable,
                        textOfPath(file) + ": a document cannot be kept there; name an ordinary file");
    Error error;
    auto lock = FileLock::acquire(lockFileOf(file), patience, &error);
    if (lock)
        return std::move(*lock);
    if (error.code == ETIMEDOUT)
        throw SongError(SongError::Kind::busy,
                        textOfPath(file) + ": another process is changing the document; try again");
    throw SongError(SongError::Kind::unwritable, textOfPath(file) +
                                                     ": the document cannot be changed there (" +
                                                     error.localizedDescription() + ")");
}

std::filesystem::path targetOfLinks(const std::filesystem::path& file) {
    constexpr int kMostLinks = 40;
    std::error_code error;
    auto target = std::filesystem::absolute(file, error);
    for (int links = 0; links < kMostLinks; ++links) {
        const auto next = std::filesystem::read_symlink(target, error);
        if (error)
            break;
        target = target.parent_path() / next; // an absolute one replaces the whole path
    }
    const auto canonical = std::filesystem::weakly_canonical(target, error);
    return error ? target : canonical;
}

} // namespace tarn
