#pragma once

#include "Song/Song.h"
#include "TarnFoundation/MIDIExport/MIDIExport.h"

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::program {

/// What an export asks for besides its file; each format reads what concerns it.
struct ExportRequest {
    std::filesystem::path document; ///< the document's file
    std::filesystem::path output;
    std::string what = "chords"; ///< of a table: one of exportedKinds()
    bool hasNotes = true;
    bool hasChords = true;
    std::string timing = "song"; ///< one of exportTimings()
    int transpose = 0;           ///< semitones
};

/// A format that a document can be written in. A new one is a row of the table in ExportFormats.cpp: help,
/// refusals and completions are made from it.
struct ExportFormat {
    std::vector<std::string_view> endings; ///< in small letters, the usual one first
    std::vector<const char*> options;      ///< those of the command line that mean something for it
    /// Writes the song crash-safely. Throws Failure.
    void (*write)(const Song& song, const ExportRequest& request);
};

[[nodiscard]] std::span<const ExportFormat> exportFormats();
/// The format that a file's ending names, or none.
[[nodiscard]] const ExportFormat* exportFormatOf(const std::filesystem::path& output);
/// ".mid, .lab, .csv, .svg or .html".
[[nodiscard]] std::string exportEndings();

/// The names that `what` and `timing` may have.
[[nodiscard]] std::vector<std::string> exportedKinds();
[[nodiscard]] std::vector<std::string> exportTimings();

} // namespace tarn::program
