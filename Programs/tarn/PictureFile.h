#pragma once

#include "Programs/tarn/SongPicture.h"

#include <filesystem>

namespace tarn::program {

/// Writes the song's picture crash-safely: the page where `output` ends in .html, else the SVG document. A
/// recording that cannot be read leaves the picture without its waveform, which a line on standard error
/// tells. `file` is the document's. Throws Failure (unwritableOutput).
void writeSongPicture(const SongDocument& document, const std::filesystem::path& file,
                      const std::filesystem::path& output, const PictureOptions& options);

/// Writes text crash-safely. Throws Failure (unwritableOutput).
void writeTextFile(const std::string& text, const std::filesystem::path& output);

} // namespace tarn::program
