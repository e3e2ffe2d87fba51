#include "Programs/tarn/SongDocument.h"

#include "Platform/KeyedArchiveFile.h"
#include "Programs/tarn/Failure.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tarn::program {
namespace {

// Beyond any recording, and short enough to be drawn; no sum or quotient of its frames leaves 64 bits.
constexpr double kLongestSong = 24 * 3600; // seconds
constexpr double kLeastSampleRate = 1;
constexpr double kGreatestSampleRate = 1e8;
constexpr std::int32_t kFarthestOctave = 100;

bool isInReach(std::int64_t mostFrames, std::int64_t location, std::uint64_t length = 0) {
    return location >= -mostFrames && location <= mostFrames &&
           length <= static_cast<std::uint64_t>(mostFrames);
}

template <typename Entries>
bool areInReach(std::int64_t mostFrames, const Entries& entries) {
    return std::all_of(entries.begin(), entries.end(), [=](const auto& entry) {
        if constexpr (requires { entry->length(); })
            return isInReach(mostFrames, entry->location(), entry->length());
        else
            return isInReach(mostFrames, entry->location());
    });
}

/// Whether the entries could have been made by this program. The operations of a document stop the process
/// for what a damaged or forged one might hold.
bool isSound(const TarnNoteEntryStorage& notes, const TarnSongStructureStorage& structure,
             std::int64_t mostFrames) {
    const auto signatures = notes.timeSignatureEntries();
    const auto noteEntries = notes.noteEntries();
    return areInReach(mostFrames, noteEntries) && areInReach(mostFrames, notes.chordEntries()) &&
           areInReach(mostFrames, notes.beatEntries()) && areInReach(mostFrames, notes.regionEntries()) &&
           areInReach(mostFrames, notes.markerEntries()) &&
           areInReach(mostFrames, structure.sectionEntries()) &&
           std::all_of(
               signatures.begin(), signatures.end(),
               [](const auto& entry) { return entry->numerator() > 0 && entry->denominator() > 0; }) &&
           std::all_of(noteEntries.begin(), noteEntries.end(), [](const auto& entry) {
               return !entry->pitch() || std::abs(std::int64_t{entry->pitch()->octave()}) <= kFarthestOctave;
           });
}

} // namespace

SongDocument::SongDocument(Recording recordingToAnnotate)
    : SongDocument(std::move(recordingToAnnotate), std::make_shared<TarnNoteEntryStorage>(),
                   std::make_shared<TarnSongStructureStorage>()) {}

SongDocument::SongDocument(Recording recordingToAnnotate, std::shared_ptr<TarnNoteEntryStorage> annotations,
                           std::shared_ptr<TarnSongStructureStorage> outline)
    : recording(std::move(recordingToAnnotate)), notes(std::move(annotations)),
      structure(std::move(outline)) {}

std::shared_ptr<SongDocument> SongDocument::open(const std::filesystem::path& file) {
    Error error;
    auto document = readArchive<SongDocument>(file, &error);
    if (document)
        return document;
    if (error.code == static_cast<long>(ArchiveFileFailure::missing))
        throw Failure(ExitStatus::unreadableInput,
                      file.string() + ": there is no such document; 'tarn analyze SONG' makes one");
    if (error.code == static_cast<long>(ArchiveFileFailure::unreadable))
        throw Failure(ExitStatus::unreadableInput, error.localizedDescription());
    throw Failure(ExitStatus::undecodableInput,
                  error.localizedDescription() + "; this is no tarn document, or a damaged one");
}

void SongDocument::save(const std::shared_ptr<const SongDocument>& document,
                        const std::filesystem::path& file) {
    Error error;
    if (!writeArchive(document, file, &error))
        throw Failure(ExitStatus::unwritableOutput, error.localizedDescription());
}

std::filesystem::path SongDocument::recordingFile(const std::filesystem::path& file) const {
    return file.parent_path() /
           std::filesystem::path(std::u8string(recording.fileName.begin(), recording.fileName.end()));
}

const ClassDescription& SongDocument::classDescription() {
    static const ClassDescription description{
        "TarnSongDocument", nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
            const auto fileName = coder.decodeString("fileName");
            const auto sampleRate = coder.decodeDouble("sampleRate");
            const auto frameCount = coder.decodeInt("frameCount");
            const auto identifier = coder.decodeString("identifier");
            auto annotations = coder.decodeObject<TarnNoteEntryStorage>("noteEntryStorage");
            auto outline = coder.decodeObject<TarnSongStructureStorage>("songStructureStorage");
            if (!fileName || !sampleRate || !(*sampleRate >= kLeastSampleRate) ||
                !(*sampleRate <= kGreatestSampleRate) || !frameCount || *frameCount < 0 || !identifier ||
                !annotations || !outline)
                return nullptr;
            const auto mostFrames = static_cast<std::int64_t>(kLongestSong * *sampleRate);
            if (*frameCount > mostFrames || !isSound(*annotations, *outline, mostFrames))
                return nullptr;
            return std::make_shared<SongDocument>(Recording{*fileName, *sampleRate, *frameCount, *identifier},
                                                  std::move(annotations), std::move(outline));
        }};
    return description;
}

void SongDocument::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeString("fileName", recording.fileName);
    coder.encodeDouble("sampleRate", recording.sampleRate);
    coder.encodeInt("frameCount", recording.frameCount);
    coder.encodeString("identifier", recording.identifier);
    coder.encodeObject("noteEntryStorage", notes);
    coder.encodeObject("songStructureStorage", structure);
}

} // namespace tarn::program
