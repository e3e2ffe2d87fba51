#pragma once

#include "Platform/Export.h"
#include "Platform/FileLock.h"
#include "Song/Song.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace TARN_PUBLIC tarn {

enum class SongReading {
    whole,   ///< a damaged document is an error
    salvaged ///< what can be read of it is (Song::salvage)
};

/// One turn at changing the document in a file. It begins with the document as it is then and holds a lock
/// until its end, so that changes by several processes and threads are made one after another and none is
/// lost:
///
///     SongChange change("song.tarn");
///     edit(*change.song());
///     change.save(change.song());
///
/// The lock is advisory and lies on a file of its own beside the document, `.NAME.lock`, which goes with the
/// change. Programs that do not lock are noticed: what is saved replaces only what was read.
class SongChange {
public:
    /// How long a change waits for the one before. Changes take milliseconds, even on a slow disk.
    static constexpr std::chrono::milliseconds kPatience{15'000};

    /// Throws SongError: busy when the patience ended, unwritable where no lock can be made, unreadable,
    /// undecodable and damaged as Song::open. A missing file is not an error.
    explicit SongChange(const std::filesystem::path& file, std::chrono::milliseconds patience = kPatience,
                        SongReading reading = SongReading::whole);

    /// The document as it was when the change began; null when there was no file.
    [[nodiscard]] const std::shared_ptr<Song>& song() const { return mSong; }
    /// The same where there has to be one. Throws SongError (missing).
    [[nodiscard]] Song& existingSong() const;
    /// What was wrong with it, where it was salvaged.
    [[nodiscard]] const Song::Salvaged& salvaged() const { return mSalvaged; }
    /// The bytes that it was read from.
    [[nodiscard]] const std::optional<Data>& bytes() const { return mBytes; }

    /// Keeps the former document beside the file, as NAME~ or, where former ones lie there already, NAME~2,
    /// NAME~3 …; one that is kept already is not kept twice. Returns its path. Call only where there was a
    /// file. Throws SongError (unwritable).
    std::filesystem::path keepFormer() const;

    /// Writes the document crash-safely. What has changed since the last step of its history becomes a step
    /// with this message. Throws SongError (unsound, changed, unwritable); the file is then as
    /// it was, unless the text says that only its safety from a loss of power is in doubt.
    void save(const std::shared_ptr<Song>& song, const std::string& message = "Changed");

private:
    std::filesystem::path mFile;
    FileLock mLock;
    std::optional<Data> mBytes;
    std::shared_ptr<Song> mSong;
    Song::Salvaged mSalvaged;
};

} // namespace tarn
