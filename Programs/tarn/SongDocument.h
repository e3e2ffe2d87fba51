#pragma once

#include "Platform/KeyedArchive.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"
#include "TarnFoundation/UserEntries/TarnSongStructureStorage.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace tarn::program {

/// What identifies the recording that a document annotates.
struct Recording {
    std::string
        fileName; ///< relative to the document's folder when it lies there or below, else absolute; UTF-8
    double sampleRate = 0; ///< frames per second, above 0
    std::int64_t frameCount = 0;
    std::string identifier; ///< names the song's cache files
};

/// The program's document: one keyed archive with the annotations, the outline, and what identifies the
/// recording.
class SongDocument : public SecureCoding {
public:
    explicit SongDocument(Recording recordingToAnnotate);
    SongDocument(Recording recordingToAnnotate, std::shared_ptr<TarnNoteEntryStorage> annotations,
                 std::shared_ptr<TarnSongStructureStorage> outline);

    Recording recording;
    const std::shared_ptr<TarnNoteEntryStorage> notes;
    const std::shared_ptr<TarnSongStructureStorage> structure;

    /// Throws Failure (unreadableInput or undecodableInput).
    static std::shared_ptr<SongDocument> open(const std::filesystem::path& file);
    /// Crash-safe. Throws Failure (unwritableOutput); the file is then as it was.
    static void save(const std::shared_ptr<const SongDocument>& document, const std::filesystem::path& file);

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

} // namespace tarn::program
