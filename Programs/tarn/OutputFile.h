#pragma once

#include "Pictures/SongPicture.h"
#include "Platform/Error.h"

#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>

namespace tarn::program {

/// The ending of a file's name in small letters: devices and other systems write `SONG.MID`.
[[nodiscard]] std::string endingOf(const std::filesystem::path& file);

/// Whether an ending is that of a Standard MIDI File.
[[nodiscard]] bool isMIDIEnding(std::string_view ending);

/// Whether two names, in whatever spelling and over whatever links, lead to one file, which need not exist.
[[nodiscard]] bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

/// Throws Failure (usage) where writing the output would overwrite one of the inputs: the document, the
/// recording.
void refuseOutputOverInputs(const std::filesystem::path& output,
                            std::initializer_list<std::filesystem::path> inputs);

/// Throws Failure (unwritableOutput) where it is plain, before any work, that the file cannot be written.
void checkWritable(const std::filesystem::path& file);

/// Writes the song's picture crash-safely: the page where `output` ends in .html, else the SVG document. A
/// recording that cannot be read leaves the picture without its waveform, which a line on standard error
/// tells. `file` is the document's. Throws Failure (unwritableOutput).
void writeSongPicture(const Song& document, const std::filesystem::path& file,
                      const std::filesystem::path& output, const PictureOptions& options);

/// Exports notes and chords crash-safely, as the library's options say. Throws Failure (unwritableOutput);
/// where the beats lie too far apart for a MIDI tempo, its line says where.
void writeMIDIFile(const Song& document, const UserInfo& options, const std::filesystem::path& output);

/// Writes text crash-safely. Throws Failure (unwritableOutput).
void writeTextFile(const std::string& text, const std::filesystem::path& output);

} // namespace tarn::program
