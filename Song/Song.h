#pragma once

#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"
#include "Song/AnalysisFacts.h"
#include "Song/Recording.h"
#include "Song/SongProperties.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace TARN_PUBLIC tarn {

/// A song: the annotations, the outline, and what identifies the recording. Kept in a file as one keyed
/// archive.
class Song : public SecureCoding {
public:
    explicit Song(Recording recordingToAnnotate);
    Song(Recording recordingToAnnotate, std::shared_ptr<TarnNoteEntryStorage> annotations,
         std::shared_ptr<TarnSongStructureStorage> outline);

    Recording recording;
    SongProperties properties;
    AnalysisFacts facts;
    const std::shared_ptr<TarnNoteEntryStorage> notes;
    const std::shared_ptr<TarnSongStructureStorage> structure;

    /// Reads a document. Throws SongError (missing, unreadable, undecodable).
    static std::shared_ptr<Song> open(const std::filesystem::path& file);
    /// Writes the document crash-safely, whatever the file held before; SongChange keeps the work of others.
    /// Throws SongError (unsound, unwritable, busy); the file is then as it was.
    static void save(const std::shared_ptr<const Song>& song, const std::filesystem::path& file);

    /// Why the song cannot be opened or saved, in words that follow its file's name; empty when it can. A
    /// song is sound when its rate, lengths, locations, metres and pitches are such that no operation of the
    /// program leaves what its arithmetic holds.
    [[nodiscard]] std::optional<std::string> unsoundness() const;

    /// Where the recording lies, seen from a document at `file`.
    [[nodiscard]] std::filesystem::path recordingFile(const std::filesystem::path& file) const;
    /// Seconds from the start of the recording.
    [[nodiscard]] double seconds(std::int64_t frame) const {
        return static_cast<double>(frame) / recording.sampleRate;
    }

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override;
};

} // namespace tarn
