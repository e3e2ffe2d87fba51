#pragma once

#include "Platform/Export.h"
#include "Platform/FileLock.h"
#include "Platform/KeyedArchive.h"
#include "Song/Song.h"
#include "Song/SongError.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

/// The steps of reading and writing a song's document, for Song and SongChange.
namespace TARN_PUBLIC tarn {

/// The file's bytes; empty when there is no such file. Throws SongError (unreadable).
[[nodiscard]] std::optional<Data> readSongBytes(const std::filesystem::path& file);
[[nodiscard]] SongError missingSong(const std::filesystem::path& file);
/// The song in the bytes of a file. Throws SongError (undecodable, damaged); the text says where a former
/// version lies beside the file.
[[nodiscard]] std::shared_ptr<Song> songFromBytes(const Data& bytes, const std::filesystem::path& file);
/// What can be read of a damaged one. Throws SongError (undecodable) where that is nothing.
[[nodiscard]] Song::Salvaged salvagedFromBytes(const Data& bytes, const std::filesystem::path& file);
/// What the file of the song holds. Throws SongError (unsound): what could not be opened is never saved.
[[nodiscard]] Data bytesOfSong(const std::shared_ptr<const Song>& song, const std::filesystem::path& file);
/// The same, unchecked.
[[nodiscard]] Data archivedSong(const std::shared_ptr<const Song>& song);
/// Replaces the file crash-safely. Throws SongError (unwritable).
void writeSongBytes(const Data& bytes, const std::filesystem::path& file);
/// Where the former version of that number, from 1, is kept beside the file: NAME~, NAME~2, NAME~3 …
[[nodiscard]] std::filesystem::path formerVersion(const std::filesystem::path& file, int number);
/// The file to which symbolic links lead from there; it need not exist.
[[nodiscard]] std::filesystem::path targetOfLinks(const std::filesystem::path& file);
/// The lock under which a document is changed. Throws SongError (busy when the patience ended, unwritable).
[[nodiscard]] FileLock lockSongFile(const std::filesystem::path& file, std::chrono::milliseconds patience);

} // namespace tarn
