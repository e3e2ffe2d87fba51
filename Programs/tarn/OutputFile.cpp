#include "Programs/tarn/OutputFile.h"

#include "Platform/FileManager.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/TextTable.h"

#include <iostream>
#include <span>

namespace tarn::program {
namespace {

/// The recording as a page at `page` names it: relative where that works.
std::string recordingSeenFrom(const std::filesystem::path& page, const std::filesystem::path& recording) {
    std::error_code error;
    const auto folder = std::filesystem::absolute(page, error).parent_path();
    const auto relative =
        std::filesystem::relative(std::filesystem::absolute(recording, error), folder, error);
    const auto text = (relative.empty() ? recording : relative).generic_u8string();
    return {text.begin(), text.end()};
}

} // namespace

std::string endingOf(const std::filesystem::path& file) {
    return lowerCased(file.extension().string());
}

void writeSongPicture(const SongDocument& document, const std::filesystem::path& file,
                      const std::filesystem::path& output, const PictureOptions& options) {
    const auto recording = document.recordingFile(file);
    const auto waveform = waveformForPicture(document, file);
    writeTextFile(endingOf(output) == ".html"
                      ? songPictureHTML(document, waveform, options, recordingSeenFrom(output, recording))
                      : songPictureSVG(document, waveform, options),
                  output);
    if (!waveform)
        std::cerr << "tarn: " << recording.string()
                  << ": the recording cannot be read; the picture has no waveform\n";
}

void writeMIDIFile(const SongDocument& document, const UserInfo& options,
                   const std::filesystem::path& output) {
    // The library's error says no more than that the file was not written.
    if (!document.notes->exportToMIDIFileAtURL(output, document.recording.sampleRate, options, nullptr))
        throw Failure(ExitStatus::unwritableOutput,
                      output.string() + ": the MIDI file cannot be written; look at the folder's permissions "
                                        "and the room on its disk");
}

void writeTextFile(const std::string& text, const std::filesystem::path& output) {
    Error error;
    if (!FileManager::writeAtomically(std::as_bytes(std::span(text)), output, &error))
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription());
}

} // namespace tarn::program
