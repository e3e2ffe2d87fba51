#include "Song/Song.h"

#include "Platform/PathConversion.h"
#include "Platform/PlainText.h"
#include "Song/SongArchive.h"
#include "Song/SongChange.h"
#include "Song/SongError.h"
#include "Song/SongFile.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tarn {
namespace {

// Beyond any recording, and short enough to be drawn; no sum or quotient of its frames leaves 64 bits.
constexpr double kLongestSong = 24 * 3600; // seconds
constexpr double kLeastSampleRate = 1;
constexpr double kGreatestSampleRate = 1e8;
constexpr std::int32_t kFarthestOctave = 100;

template <typename Entry>
bool isInReach(const Entry& entry, std::int64_t mostFrames) {
    if constexpr (requires { entry.length(); }) {
        if (entry.length() > static_cast<std::uint64_t>(mostFrames))
            return false;
    }
    return entry.location() >= -mostFrames && entry.location() <= mostFrames;
}

// What is wrong with an entry; null where nothing is.

constexpr const char* kFarAway = "lies more than 24 hours from the start or is longer than that";

template <typename Entry>
const char* faultOf(const Entry& entry, std::int64_t mostFrames) {
    return isInReach(entry, mostFrames) ? nullptr : kFarAway;
}

const char* faultOf(const TarnTimeSignatureEntry& entry, std::int64_t /*mostFrames*/) {
    return entry.numerator() > 0 && entry.denominator() > 0 ? nullptr : "has a zero";
}

const char* faultOf(const TarnNoteEntry& entry, std::int64_t mostFrames) {
    const bool isHigh = entry.pitch() && std::abs(std::int64_t{entry.pitch()->octave()}) > kFarthestOctave;
    return isHigh ? "lies outside every octave" : isInReach(entry, mostFrames) ? nullptr : kFarAway;
}

// These hold for the whole song wherever they lie.
const char* faultOf(const TarnTempoEntry& /*entry*/, std::int64_t /*mostFrames*/) {
    return nullptr;
}
const char* faultOf(const TarnKeyEntry& /*entry*/, std::int64_t /*mostFrames*/) {
    return nullptr;
}
const char* faultOf(const TarnStandardPitchEntry& /*entry*/, std::int64_t /*mostFrames*/) {
    return nullptr;
}
const char* faultOf(const TarnBoundsEntry& /*entry*/, std::int64_t /*mostFrames*/) {
    return nullptr;
}

std::int64_t mostFramesOf(const Recording& recording) {
    return static_cast<std::int64_t>(kLongestSong * recording.sampleRate);
}

/// Why no song can have the recording; null where one can.
const char* faultOf(const Recording& recording) {
    if (!(recording.sampleRate >= kLeastSampleRate) || !(recording.sampleRate <= kGreatestSampleRate))
        return "the recording's sample rate is not one of a song";
    if (recording.frameCount < 0 || recording.frameCount > mostFramesOf(recording))
        return "the recording is longer than 24 hours";
    return nullptr;
}

} // namespace

Song::Song(Recording recordingToAnnotate)
    : Song(std::move(recordingToAnnotate), std::make_shared<TarnNoteEntryStorage>(),
           std::make_shared<TarnSongStructureStorage>()) {}

Song::Song(Recording recordingToAnnotate, std::shared_ptr<TarnNoteEntryStorage> annotations,
           std::shared_ptr<TarnSongStructureStorage> outline)
    : recording(std::move(recordingToAnnotate)), notes(std::move(annotations)), structure(std::move(outline)),
      mSchemaVersion(archive::SongDocument::kSchemaVersion) {
    markRecorded();
}

std::shared_ptr<Song> Song::open(const std::filesystem::path& file) {
    const auto bytes = readSongBytes(file);
    if (!bytes)
        throw missingSong(file);
    return songFromBytes(*bytes, file);
}

Song::Salvaged Song::salvage(const std::filesystem::path& file) {
    const auto bytes = readSongBytes(file);
    if (!bytes)
        throw missingSong(file);
    return salvagedFromBytes(*bytes, file);
}

void Song::save(const std::shared_ptr<Song>& song, const std::filesystem::path& file,
                const std::string& message) {
    song->record(message);
    const auto bytes = bytesOfSong(song, file);
    const FileLock lock = lockSongFile(file, SongChange::kPatience);
    writeSongBytes(bytes, file);
}

std::optional<std::string> Song::unsoundness() const {
    if (const char* const fault = faultOf(recording))
        return fault;
    if (!properties.areWithinLimits())
        return "the capo or the transposition is beyond its limits";
    const std::int64_t mostFrames = mostFramesOf(recording);
    std::optional<std::string> reason;
    const auto check = [&](const auto& storage) {
        storage.forEachKind([&]<typename Kind>(Kind) {
            for (const auto& entry : storage.template entries<Kind>()) {
                if (const char* const fault = faultOf(*entry, mostFrames); fault && !reason)
                    reason = "a " + entryKindInWords(Kind::kName) + " " + fault;
            }
        });
    };
    check(*notes);
    check(*structure);
    return reason;
}

std::size_t Song::removeUnsoundEntries() {
    if (faultOf(recording))
        return 0;
    std::size_t removed = 0;
    const auto removeFrom = [&](auto& storage) {
        storage.forEachKind([&]<typename Kind>(Kind) {
            const auto entries = storage.template entries<Kind>();
            std::vector<std::shared_ptr<typename Kind::Entry>> unsound;
            for (const auto& entry : entries) {
                if (faultOf(*entry, mostFramesOf(recording)))
                    unsound.push_back(entry);
            }
            removed += unsound.size();
            if (!unsound.empty())
                storage.template remove<Kind>(std::move(unsound));
        });
    };
    removeFrom(*notes);
    removeFrom(*structure);
    markRecorded(); // they never were a part of a song
    return removed;
}

std::string Song::Salvaged::description() const {
    if (faultCount > 0)
        return std::to_string(faultCount) + (faultCount == 1 ? " value" : " values") +
               " could not be read, the first because: " + firstFault;
    return hasWrongChecksum ? "everything could be read, but the checksum is wrong" : "";
}

std::filesystem::path Song::recordingFile(const std::filesystem::path& file) const {
    return file.parent_path() / pathOfText(recording.fileName);
}

namespace {

/// The identifiers of the beats of each bar, in order, by that of its downbeat.
std::map<std::uint64_t, std::vector<std::uint64_t>> barsOf(const EntryList<TarnBeatEntry>& stored) {
    std::vector<std::shared_ptr<TarnBeatEntry>> beats = stored.copy();
    std::ranges::stable_sort(beats, {}, [](const auto& beat) { return beat->location(); });
    std::map<std::uint64_t, std::vector<std::uint64_t>> bars;
    std::vector<std::uint64_t>* bar = nullptr;
    for (const auto& beat : beats) {
        if (beat->isDownbeat())
            bar = &bars[beat->eventId()];
        if (bar)
            bar->push_back(beat->eventId());
    }
    return bars;
}

} // namespace

void Song::forgetFactsOfChangedEntries() {
    const auto keepThose = [](std::map<std::uint64_t, double>& confidences, const auto& entries) {
        if (confidences.empty())
            return;
        std::unordered_set<std::uint64_t> present;
        for (const auto& entry : entries)
            present.insert(entry->eventId());
        std::erase_if(confidences, [&](const auto& fact) { return !present.contains(fact.first); });
    };
    keepThose(facts.chords, notes->chordEntries());
    keepThose(facts.bars, notes->beatEntries());
    const SongState state(*this);
    if (!facts.bars.empty() && facts.bars == mRecorded.facts().bars &&
        !state.hasSameEntriesAs<BeatKind>(mRecorded)) {
        const auto former = barsOf(mRecorded.entries<BeatKind>());
        const auto present = barsOf(state.entries<BeatKind>());
        std::erase_if(facts.bars, [&](const auto& fact) {
            const auto before = former.find(fact.first);
            const auto now = present.find(fact.first);
            return before == former.end() || now == present.end() || before->second != now->second;
        });
    }
    // What an analysis has just found has a confidence of its own.
    NoteEntryKinds::forEach([&]<typename Kind>(Kind) {
        const auto fact = facts.overall.find(Kind::kName);
        const auto former = mRecorded.facts().overall.find(Kind::kName);
        if (fact != facts.overall.end() && former != mRecorded.facts().overall.end() &&
            fact->second == former->second && !state.hasSameEntriesAs<Kind>(mRecorded))
            facts.overall.erase(fact);
    });
}

void Song::record(const std::string& message) {
    forgetFactsOfChangedEntries();
    SongState state(*this);
    if (auto difference = SongDifference::between(mRecorded, state))
        history.add(onOneLine(message), *std::move(difference));
    mRecorded = std::move(state);
}

namespace {

using Direction = SongDifference::Direction;

/// The step, which can be taken back or made again as far as the caller knows the song.
const SongStep& checkedStep(const Song& song, Direction direction, std::optional<std::uint64_t> seen) {
    using Kind = SongHistoryError::Kind;
    const bool isBack = direction == Direction::back;
    const SongStep* const newest = song.history.newest();
    const SongStep* const step = isBack ? newest : song.history.next();
    if (seen && *seen != (newest ? newest->identifier : 0))
        throw SongHistoryError(Kind::outdated, "the song has been changed since; look at its history again");
    if (!step)
        throw SongHistoryError(Kind::nothing,
                               isBack ? "there is nothing to undo" : "there is nothing to redo");
    if (const auto obstacle = SongDifference::obstacle(song, step->difference, direction))
        throw SongHistoryError(Kind::doesNotFit, "'" + step->message + "' cannot be " +
                                                     (isBack ? "undone" : "redone") + ": " + *obstacle);
    return *step;
}

/// Refuses where the song could not be opened again, and leaves it as it was.
void applySoundly(Song& song, const SongStep& step, Direction direction) {
    SongDifference::apply(song, step.difference, direction);
    const auto reason = song.unsoundness();
    if (!reason)
        return;
    SongDifference::apply(song, step.difference,
                          direction == Direction::back ? Direction::forth : Direction::back);
    throw SongHistoryError(SongHistoryError::Kind::doesNotFit,
                           "'" + step.message + "' cannot be taken back or made again: " + *reason);
}

} // namespace

std::string Song::undo(std::optional<std::uint64_t> seen) {
    record("Changed");
    const SongStep& step = checkedStep(*this, Direction::back, seen);
    applySoundly(*this, step, Direction::back);
    std::string message = step.message;
    history.takeBack();
    markRecorded();
    return message;
}

std::string Song::redo(std::optional<std::uint64_t> seen) {
    record("Changed");
    const SongStep& step = checkedStep(*this, Direction::forth, seen);
    applySoundly(*this, step, Direction::forth);
    std::string message = step.message;
    history.makeAgain();
    markRecorded();
    return message;
}

std::optional<std::string> Song::obstacleToUndo() const {
    const SongStep* const step = history.newest();
    return step ? SongDifference::obstacle(*this, step->difference, Direction::back)
                : std::optional<std::string>("there is no step");
}

std::optional<std::string> Song::obstacleToRedo() const {
    const SongStep* const step = history.next();
    return step ? SongDifference::obstacle(*this, step->difference, Direction::forth)
                : std::optional<std::string>("there is no step");
}

} // namespace tarn
