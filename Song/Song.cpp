#include "Song/Song.h"

#include "Platform/PathConversion.h"
#include "Song/SongChange.h"
#include "Song/SongError.h"
#include "Song/SongFile.h"

#include <algorithm>
#include <cstdlib>
#include <span>
#include <utility>

namespace tarn {
namespace {

// Beyond any recording, and short enough to be drawn; no sum or quotient of its frames leaves 64 bits.
constexpr double kLongestSong = 24 * 3600; // seconds
constexpr double kLeastSampleRate = 1;
constexpr double kGreatestSampleRate = 1e8;
constexpr std::int32_t kFarthestOctave = 100;

template <typename Entries>
bool areInReach(std::int64_t mostFrames, const Entries& entries) {
    return std::all_of(entries.begin(), entries.end(), [=](const auto& entry) {
        if constexpr (requires { entry->length(); }) {
            if (entry->length() > static_cast<std::uint64_t>(mostFrames))
                return false;
        }
        return entry->location() >= -mostFrames && entry->location() <= mostFrames;
    });
}

/// Empty where the document has none that can be used.
LoudnessEnvelope decodedEnvelope(KeyedUnarchiver& coder) {
    constexpr std::int64_t kLongestStretch = 1 << 12; // seconds, as a power of two; doubled 12 times at most
    const auto stretch = coder.decodeInt("loudnessStretchSeconds");
    const auto levels = coder.decodeData("loudnessLevels");
    if (!stretch || *stretch < 1 || *stretch > kLongestStretch || (*stretch & (*stretch - 1)) != 0 ||
        !levels || levels->size() % LoudnessEnvelope::kBandCount != 0)
        return {};
    LoudnessEnvelope envelope{static_cast<int>(*stretch), {}};
    envelope.levels.reserve(levels->size());
    for (const std::byte level : *levels)
        envelope.levels.push_back(static_cast<std::int8_t>(level));
    return envelope;
}

} // namespace

Song::Song(Recording recordingToAnnotate)
    : Song(std::move(recordingToAnnotate), std::make_shared<TarnNoteEntryStorage>(),
           std::make_shared<TarnSongStructureStorage>()) {}

Song::Song(Recording recordingToAnnotate, std::shared_ptr<TarnNoteEntryStorage> annotations,
           std::shared_ptr<TarnSongStructureStorage> outline)
    : recording(std::move(recordingToAnnotate)), notes(std::move(annotations)),
      structure(std::move(outline)) {}

std::shared_ptr<Song> Song::open(const std::filesystem::path& file) {
    const auto bytes = readSongBytes(file);
    if (!bytes)
        throw missingSong(file);
    return songFromBytes(*bytes, file);
}

void Song::save(const std::shared_ptr<const Song>& song, const std::filesystem::path& file) {
    const auto bytes = bytesOfSong(song, file);
    const FileLock lock = lockSongFile(file, SongChange::kPatience);
    writeSongBytes(bytes, file);
}

std::optional<std::string> Song::unsoundness() const {
    if (!(recording.sampleRate >= kLeastSampleRate) || !(recording.sampleRate <= kGreatestSampleRate))
        return "the recording's sample rate is not one of a song";
    const auto mostFrames = static_cast<std::int64_t>(kLongestSong * recording.sampleRate);
    if (recording.frameCount < 0 || recording.frameCount > mostFrames)
        return "the recording is longer than 24 hours";
    const std::pair<const char*, bool> kinds[] = {
        {"note", areInReach(mostFrames, notes->noteEntries())},
        {"chord", areInReach(mostFrames, notes->chordEntries())},
        {"beat", areInReach(mostFrames, notes->beatEntries())},
        {"region", areInReach(mostFrames, notes->regionEntries())},
        {"marker", areInReach(mostFrames, notes->markerEntries())},
        {"section", areInReach(mostFrames, structure->sectionEntries())}};
    for (const auto& [kind, isInReach] : kinds) {
        if (!isInReach)
            return std::string("a ") + kind +
                   " lies more than 24 hours from the start or is longer than that";
    }
    const auto signatures = notes->timeSignatureEntries();
    if (!std::all_of(signatures.begin(), signatures.end(),
                     [](const auto& entry) { return entry->numerator() > 0 && entry->denominator() > 0; }))
        return "a time signature has a zero";
    const auto noteEntries = notes->noteEntries();
    if (!std::all_of(noteEntries.begin(), noteEntries.end(), [](const auto& entry) {
            return !entry->pitch() || std::abs(std::int64_t{entry->pitch()->octave()}) <= kFarthestOctave;
        }))
        return "a note lies outside every octave";
    return std::nullopt;
}

std::filesystem::path Song::recordingFile(const std::filesystem::path& file) const {
    return file.parent_path() / pathOfText(recording.fileName);
}

const ClassDescription& Song::classDescription() {
    static const ClassDescription description{
        "TarnSongDocument", nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
            const auto fileName = coder.decodeString("fileName");
            const auto sampleRate = coder.decodeDouble("sampleRate");
            const auto frameCount = coder.decodeInt("frameCount");
            const auto identifier = coder.decodeString("identifier");
            const auto digest = coder.decodeString("contentDigest");
            LoudnessEnvelope envelope = decodedEnvelope(coder);
            auto annotations = coder.decodeObject<TarnNoteEntryStorage>("noteEntryStorage");
            auto outline = coder.decodeObject<TarnSongStructureStorage>("songStructureStorage");
            if (!fileName || !sampleRate || !frameCount || !identifier || !annotations || !outline)
                return nullptr;
            Recording described{*fileName,   *sampleRate,         *frameCount,
                                *identifier, digest.value_or(""), std::move(envelope)};
            return std::make_shared<Song>(std::move(described), std::move(annotations), std::move(outline));
        }};
    return description;
}

void Song::encodeWithCoder(KeyedArchiver& coder) const {
    coder.encodeString("fileName", recording.fileName);
    coder.encodeDouble("sampleRate", recording.sampleRate);
    coder.encodeInt("frameCount", recording.frameCount);
    coder.encodeString("identifier", recording.identifier);
    if (!recording.digest.empty())
        coder.encodeString("contentDigest", recording.digest);
    if (!recording.envelope.isEmpty()) {
        coder.encodeInt("loudnessStretchSeconds", recording.envelope.stretchSeconds);
        coder.encodeData("loudnessLevels", std::as_bytes(std::span(recording.envelope.levels)));
    }
    coder.encodeObject("noteEntryStorage", notes);
    coder.encodeObject("songStructureStorage", structure);
}

} // namespace tarn
