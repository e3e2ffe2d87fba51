#pragma once

#include "Platform/ArchivedContent.h"
#include "Platform/Export.h"
#include "Song/AnalysisFacts.h"
#include "Song/Recording.h"
#include "Song/SongHistory.h"
#include "Song/SongProperties.h"
#include "Song/SongState.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace TARN_PUBLIC tarn {

namespace archive {
class SongDocument;
}

/// A song: the recording, the annotations, the outline, what the user and the analysis say of it, and its
/// history. Annotations are changed through their storages, with all notifications; `record` makes a step of
/// the history of what changed. Kept in a file as one keyed archive (docs/song-file.md).
class Song {
public:
    explicit Song(Recording recordingToAnnotate);
    Song(Recording recordingToAnnotate, std::shared_ptr<TarnNoteEntryStorage> annotations,
         std::shared_ptr<TarnSongStructureStorage> outline);
    Song(const Song&) = delete;
    Song& operator=(const Song&) = delete;

    Recording recording;
    SongProperties properties;
    AnalysisFacts facts;
    SongHistory history;
    /// How the song is practised, as the practice page keeps it: a JSON object, or empty. No part of the
    /// history.
    std::string practice;
    const std::shared_ptr<TarnNoteEntryStorage> notes;
    const std::shared_ptr<TarnSongStructureStorage> structure;

    /// Reads a song's file, or the archive of a TarnNoteEntryStorage, which is a song without a recording: it
    /// counts kFramesPerSecondWithoutRecording frames a second and ends with its last entry. Throws SongError
    /// (missing, unreadable, undecodable, damaged).
    static std::shared_ptr<Song> open(const std::filesystem::path& file);
    static constexpr double kFramesPerSecondWithoutRecording = 44100;

    struct Salvaged; ///< a song from a damaged file
    /// The same from a file that is damaged, or that another program edited: what cannot be read is left out.
    /// Throws SongError (missing, unreadable; undecodable where nothing can be read).
    static Salvaged salvage(const std::filesystem::path& file);

    /// Writes the song crash-safely, whatever the file held before; SongChange keeps the work of others. What
    /// has changed since the last step becomes a step with this message. Throws SongError (unsound,
    /// unwritable, busy); the file is then as it was.
    static void save(const std::shared_ptr<Song>& song, const std::filesystem::path& file,
                     const std::string& message = "Changed");

    /// Makes one step of the history of all that has changed since the last one, if anything has. Facts of
    /// the analysis about entries that are gone, and about kinds of entries that were changed, go too.
    void record(const std::string& message);
    /// Takes back the newest step and returns its message. What has changed since becomes a step first.
    /// `seen`, where given, is the newest step that the caller knows of. Throws SongHistoryError.
    std::string undo(std::optional<std::uint64_t> seen = std::nullopt);
    /// Makes the step again that was taken back last, likewise.
    std::string redo(std::optional<std::uint64_t> seen = std::nullopt);
    /// Why `undo` would be refused, in words that follow the step's message; nothing where it would not.
    [[nodiscard]] std::optional<std::string> obstacleToUndo() const;
    [[nodiscard]] std::optional<std::string> obstacleToRedo() const;

    /// Why the song cannot be opened or saved, in words that follow its file's name; empty when it can. A
    /// song is sound when its rate, lengths, locations, metres and pitches are such that no operation of the
    /// program overflows.
    [[nodiscard]] std::optional<std::string> unsoundness() const;

    /// Whether there is a recording that the song annotates.
    [[nodiscard]] bool hasRecording() const { return !recording.fileName.empty(); }
    /// Where the recording lies, seen from a document at `file`.
    [[nodiscard]] std::filesystem::path recordingFile(const std::filesystem::path& file) const;
    /// Seconds from the start of the recording.
    [[nodiscard]] double seconds(std::int64_t frame) const {
        return static_cast<double>(frame) / recording.sampleRate;
    }

private:
    friend class archive::SongDocument;
    friend Salvaged salvagedFromBytes(const Data& bytes, const std::filesystem::path& file);

    void markRecorded() { mRecorded = SongState(*this); }
    void forgetFactsOfChangedEntries();
    /// Returns how many there were.
    std::size_t removeUnsoundEntries();

    SongState mRecorded; ///< after the newest step
    std::int64_t mSchemaVersion;
    ArchivedContent mOfNewerEditions; ///< of the file's root object
};

struct Song::Salvaged {
    std::shared_ptr<Song> song;
    std::size_t faultCount = 0; ///< values that could not be read, or that no song can hold
    std::string firstFault;     ///< empty without any
    bool hasWrongChecksum = false;

    /// In words that follow the file's name; empty where nothing was wrong.
    [[nodiscard]] std::string description() const;
};

} // namespace tarn
