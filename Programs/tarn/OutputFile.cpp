#include "Programs/tarn/OutputFile.h"

#include "Platform/FileManager.h"
#include "Platform/PlainText.h"
#include "Programs/tarn/Failure.h"
#include "Programs/tarn/ProgramCache.h"
#include "Song/SongPositions.h"
#include "Song/SongWaveform.h"
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

/// Which stretch between two beats lasts longer than the slowest tempo of a MIDI file can say; empty where
/// none does. A quarter note is two stored beats.
std::string pauseBeyondTempo(const Song& document) {
    constexpr double kLongestQuarter = 0xFFFFFF / 1e6; // seconds; tempos are 24-bit numbers of microseconds
    const auto beats = document.notes->beatEntries();
    const auto isTooLong = [&](const auto& beat, const auto& next) {
        return 2 * document.seconds(next->location() - beat->location()) > kLongestQuarter;
    };
    const auto beat = std::adjacent_find(beats.begin(), beats.end(), isTooLong);
    if (beat == beats.end())
        return "";
    const SongPositions positions(document);
    const auto place = [&](std::int64_t frame) {
        const auto name = positions.name(frame);
        const auto time = positions.timeText(frame);
        return name == time ? time : name + " (" + time + ")";
    };
    return "from " + place((*beat)->location()) + " to " + place((*(beat + 1))->location());
}

/// Whether a MIDI file can say all tempos of an export.
bool hasWritableTempos(const Song& document, const UserInfo& options) {
    const auto timing = options.find(TarnNoteEntryStorageMIDITimingOptionKey);
    if (timing == options.end())
        return true;
    const auto mode = static_cast<std::int64_t>(std::any_cast<MIDIExportTiming>(timing->second));
    const MIDIExportTimeline timeline(mode, true, true, document.recording.sampleRate, *document.notes);
    return std::all_of(timeline.tempoEvents.begin(), timeline.tempoEvents.end(), [](const TempoEvent& event) {
        const double microseconds = 60e6 / event.beatsPerMinute;
        return microseconds >= 1 && microseconds <= 0xFFFFFF;
    });
}

} // namespace

std::string endingOf(const std::filesystem::path& file) {
    return lowerCased(file.extension().string());
}

bool isMIDIEnding(std::string_view ending) {
    return ending == ".mid" || ending == ".midi";
}

bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
    std::error_code error;
    if (std::filesystem::equivalent(a, b, error)) // also hard links
        return true;
    const auto canonical = [&](const std::filesystem::path& file) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(file, error), error);
    };
    return canonical(a) == canonical(b);
}

void refuseOutputOverInputs(const std::filesystem::path& output,
                            std::initializer_list<std::filesystem::path> inputs) {
    for (const std::filesystem::path& input : inputs) {
        if (isSameFile(output, input))
            throw Failure(ExitStatus::usage,
                          output.string() + ": this is the song or its document; name another file");
    }
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
        reason = "its symbolic links form a circle; name another file";
    else if (!std::filesystem::is_directory(folder, unknown))
        reason = "there is no folder " + folder.string() + "; make it, or name a file elsewhere";
    else if (std::filesystem::exists(file, unknown) && access(file.c_str(), W_OK) != 0)
        reason = "the file is write-protected; change its permissions, or name another file";
    else if (error.code == EACCES || error.code == EROFS)
        reason = "the folder cannot be written to; check its permissions, or name a file elsewhere";
    else
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription() + "; name another file");
    throw Failure(ExitStatus::unwritableOutput, file.string() + ": " + reason);
}

void writeSongPicture(const Song& document, const std::filesystem::path& file,
                      const std::filesystem::path& output, const PictureOptions& options) {
    checkWritable(output);
    const auto recording = document.recordingFile(file);
    const std::string cacheName = cacheNameOf(recording);
    markCacheUsed(cacheName);
    const auto waveform = waveformOfRecording(recording, cacheName);
    Error error;
    const auto produce = [&](std::ostream& out) {
        if (endingOf(output) == ".html")
            writeSongPictureHTML(out, document, waveform, options, recordingSeenFrom(output, recording));
        else
            writeSongPictureSVG(out, document, waveform, options);
    };
    if (!FileManager::streamAtomically(produce, output, &error))
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription());
    if (!waveform)
        std::cerr << "tarn: " << onOneLine(recording.string())
                  << ": the recording cannot be read; the picture has no waveform\n";
}

void writeMIDIFile(const Song& document, const UserInfo& options, const std::filesystem::path& output) {
    checkWritable(output);
    if (document.notes->exportToMIDIFileAtURL(output, document.recording.sampleRate, options, nullptr))
        return;
    if (hasWritableTempos(document, options))
        throw Failure(ExitStatus::unwritableOutput,
                      output.string() + ": the MIDI file cannot be written; check the folder's permissions "
                                        "and the free space on its disk");
    const std::string pause = pauseBeyondTempo(document);
    throw Failure(ExitStatus::unwritableOutput,
                  output.string() + ": " +
                      (pause.empty() ? "no MIDI tempo can follow the song's beats"
                                     : "the pause " + pause +
                                           " is too long: a MIDI tempo follows at most 8.38 s between "
                                           "beats of the grid") +
                      "; export with --timing seconds");
}

void writeTextFile(const std::string& text, const std::filesystem::path& output) {
    checkWritable(output);
    Error error;
    if (!FileManager::writeAtomically(std::as_bytes(std::span(text)), output, &error))
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription());
}

} // namespace tarn::program
