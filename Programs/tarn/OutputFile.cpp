#include "Programs/tarn/OutputFile.h"

#include "Platform/FileManager.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/ProgramCache.h"
#include "Programs/tarn/TextTable.h"
#include "TarnFoundation/MIDIExport/MIDIExport.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <span>
#include <unistd.h>

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

bool followsBeats(const UserInfo& options) {
    const auto timing = options.find(TarnNoteEntryStorageMIDITimingOptionKey);
    return timing != options.end() &&
           std::any_cast<MIDIExportTiming>(timing->second) == MIDIExportTiming::followSongTempo;
}

/// Whether a quarter note, two stored beats, lasts longer somewhere than a MIDI file's tempo can say.
bool hasBeatBeyondTempo(const Song& document) {
    constexpr double kLongestQuarter = 0xFFFFFF / 1e6; // seconds; tempos are 24-bit numbers of microseconds
    const auto beats = document.notes->beatEntries();
    return std::adjacent_find(beats.begin(), beats.end(), [&](const auto& beat, const auto& next) {
               return 2 * document.seconds(next->location() - beat->location()) > kLongestQuarter;
           }) != beats.end();
}

} // namespace

std::string endingOf(const std::filesystem::path& file) {
    return lowerCased(file.extension().string());
}

bool isMIDIEnding(std::string_view ending) {
    return ending == ".mid" || ending == ".midi";
}

void checkWritable(const std::filesystem::path& file) {
    Error error;
    if (FileManager::canWriteAtomically(file, &error))
        return;
    const auto folder = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    std::error_code unknown;
    std::string reason;
    if (error.code == EISDIR)
        reason = "this is a folder; name a file in it";
    else if (error.code == ELOOP)
        reason = "its symbolic links go round in a circle; name another file";
    else if (!std::filesystem::is_directory(folder, unknown))
        reason = "there is no folder " + folder.string() + "; make it, or name a file elsewhere";
    else if (std::filesystem::exists(file, unknown) && access(file.c_str(), W_OK) != 0)
        reason = "the file is write-protected; change its permissions, or name another file";
    else if (error.code == EACCES || error.code == EROFS)
        reason = "the folder cannot be written to; look at its permissions, or name a file elsewhere";
    else
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription() + "; name another file");
    throw Failure(ExitStatus::unwritableOutput, file.string() + ": " + reason);
}

void writeSongPicture(const Song& document, const std::filesystem::path& file,
                      const std::filesystem::path& output, const PictureOptions& options) {
    const auto recording = document.recordingFile(file);
    const std::string cacheName = cacheNameOf(recording);
    markCacheUsed(cacheName);
    const auto waveform = waveformForPicture(document, file, cacheName);
    writeTextFile(endingOf(output) == ".html"
                      ? songPictureHTML(document, waveform, options, recordingSeenFrom(output, recording))
                      : songPictureSVG(document, waveform, options),
                  output);
    if (!waveform)
        std::cerr << "tarn: " << recording.string()
                  << ": the recording cannot be read; the picture has no waveform\n";
}

void writeMIDIFile(const Song& document, const UserInfo& options, const std::filesystem::path& output) {
    checkWritable(output);
    if (document.notes->exportToMIDIFileAtURL(output, document.recording.sampleRate, options, nullptr))
        return;
    if (followsBeats(options) && hasBeatBeyondTempo(document))
        throw Failure(ExitStatus::unwritableOutput,
                      output.string() +
                          ": two beats lie so far apart that no MIDI tempo follows them; export "
                          "with --timing fixed or --timing seconds");
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
