#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>

namespace tarn::program {

/// The ending of a file's name in small letters: devices and other systems write `SONG.MID`.
[[nodiscard]] std::string endingOf(const std::filesystem::path& file);

/// Whether two names, in whatever spelling and over whatever links, lead to one file, which need not exist.
[[nodiscard]] bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

/// Throws Failure (usage) where writing the output would overwrite one of the inputs: the document, the
/// recording.
void refuseOutputOverInputs(const std::filesystem::path& output,
                            std::initializer_list<std::filesystem::path> inputs);

/// Throws Failure (unwritableOutput) where it is plain, before any work, that the file cannot be written.
void checkWritable(const std::filesystem::path& file);

} // namespace tarn::program
