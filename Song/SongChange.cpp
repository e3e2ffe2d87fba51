#include "Song/SongChange.h"

#include "Platform/FileManager.h"
#include "Platform/PathConversion.h"
#include "Song/SongError.h"
#include "Song/SongFile.h"

#include <filesystem>
#include <string>

namespace tarn {

SongChange::SongChange(const std::filesystem::path& file, std::chrono::milliseconds patience,
                       SongReading reading)
    : mFile(file), mLock(lockSongFile(file, patience)), mBytes(readSongBytes(file)) {
    if (mBytes && reading == SongReading::salvaged)
        mSalvaged = salvagedFromBytes(*mBytes, file);
    if (mBytes)
        mSong = reading == SongReading::salvaged ? mSalvaged.song : songFromBytes(*mBytes, file);
}

Song& SongChange::existingSong() const {
    if (!mSong)
        throw missingSong(mFile);
    return *mSong;
}

std::filesystem::path SongChange::keepFormer() const {
    precondition(mBytes.has_value(), "There is no former document to keep");
    for (int number = 1;; ++number) {
        auto kept = formerVersion(mFile, number);
        std::error_code error;
        const auto status = std::filesystem::symlink_status(kept, error);
        if (std::filesystem::is_regular_file(status) && FileManager::contentsOf(kept) == mBytes)
            return kept;
        if (std::filesystem::exists(status))
            continue;
        // A second name for the file that the next save replaces: its owner and permissions stay.
        std::filesystem::create_hard_link(targetOfLinks(mFile), kept, error);
        Error reason;
        if (error && !FileManager::writeAtomically(*mBytes, kept, &reason)) // some file systems know no links
            throw SongError(SongError::Kind::unwritable, reason.localizedDescription());
        return kept;
    }
}

void SongChange::save(const std::shared_ptr<Song>& song, const std::string& message) {
    song->record(message);
    auto bytes = bytesOfSong(song, mFile);
    if (readSongBytes(mFile) != mBytes)
        throw SongError(SongError::Kind::changed, textOfPath(mFile) +
                                                      ": the document was changed meanwhile by a "
                                                      "program that does not wait; try again");
    writeSongBytes(bytes, mFile);
    mBytes = std::move(bytes);
}

} // namespace tarn
