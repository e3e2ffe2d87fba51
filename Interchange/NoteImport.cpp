#include "Interchange/NoteImport.h"

#include "Interchange/AnnotationText.h"
#include "KELPMusic/KELPChordTable.h"
#include "KELPMusic/KELPKey.h"
#include "Platform/PlainText.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <vector>

namespace tarn {
namespace {

constexpr std::uint8_t kPercussionChannel = 9;
constexpr double kPulsesPerQuarterNote = 2; ///< as in the export: a stored beat is an eighth note

/// The frame, not rounded, at which a tick of the file sounds.
using FrameOfTick = std::function<double(std::uint64_t)>;

/// The frame at a place of the grid counted in pulses from its first one, continued along the first and the
/// last interval.
double frameOfPulse(const PulseGrid& grid, double pulse) {
    const auto interval = static_cast<std::size_t>(
        std::clamp(std::floor(pulse), 0.0, static_cast<double>(grid.frames.size() - 2)));
    return grid.frames[interval] +
           (pulse - static_cast<double>(interval)) * (grid.frames[interval + 1] - grid.frames[interval]);
}

FrameOfTick placementAlongBeats(const Song& document, const MIDIFile& file,
                                const std::optional<Position>& at) {
    auto grid = PulseGrid::make(document.notes->beatEntries());
    if (!grid)
        throw EditRefused("the song has no beats to follow; import with --by time");
    if (!file.hasQuarterNotes())
        throw EditRefused("the file counts seconds, not beats; import with --by time");
    const double start =
        at ? static_cast<double>(SongPositions(document).frame(*at)) : grid->frames[grid->originIndex()];
    const double origin =
        grid->positionOfFrame(start) * kPulsesPerQuarterNote + static_cast<double>(grid->originIndex());
    return [grid = *std::move(grid), origin, &file](std::uint64_t tick) {
        return frameOfPulse(grid, origin + file.quarterNotes(tick) * kPulsesPerQuarterNote);
    };
}

FrameOfTick placementByTime(const Song& document, const MIDIFile& file, const std::optional<Position>& at) {
    const double start = at ? static_cast<double>(SongPositions(document).frame(*at)) : 0;
    return [start, rate = document.recording.sampleRate, &file](std::uint64_t tick) {
        return start + file.seconds(tick) * rate;
    };
}

/// The name of each pitch class in the key; without a key the black ones are sharps.
std::array<KELPNote, 12> spellings(const KELPKeyRef& key) {
    std::array<KELPNote, 12> names;
    for (int value = 0; value < 12; ++value) {
        KELPNote note = KELPNote::noteWithValue(value);
        if (key)
            note =
                key->scaleNormalizedChord(KELPChord::chordWithRoot(note, gChords.front().intervals))->root();
        names[static_cast<std::size_t>(value)] = note;
    }
    return names;
}

} // namespace

std::string replaceNotes(Song& document, const MIDIFile& file, const NotePlacement& placement) {
    auto& storage = *document.notes;
    const FrameOfTick frameOfTick = placement.followsBeats ? placementAlongBeats(document, file, placement.at)
                                                           : placementByTime(document, file, placement.at);
    const auto names = spellings(storage.globalKey());
    const auto frameCount = static_cast<double>(document.recording.frameCount);
    std::vector<std::shared_ptr<TarnNoteEntry>> notes;
    std::size_t outside = 0;
    for (const MIDIFileNote& note : file.notes()) {
        if (placement.channel ? note.channel + 1 != *placement.channel : note.channel == kPercussionChannel)
            continue;
        const double start = std::round(frameOfTick(note.start));
        const double end = std::max(std::round(frameOfTick(note.end)), start + 1);
        if (!(start >= 0 && end <= frameCount)) {
            ++outside;
            continue;
        }
        const auto entry = storage.newNoteEntry();
        entry->setPitch(KELPPitch::pitchWithNoteAtSemitones(names[note.note % 12], note.note));
        entry->setLocation(static_cast<std::int64_t>(start));
        entry->setLength(static_cast<std::uint64_t>(end - start));
        entry->setChannel(note.channel);
        notes.push_back(entry);
    }
    if (notes.empty())
        throw EditRefused(outside > 0 ? "all of the file's notes would lie outside the recording"
                          : placement.channel
                              ? "the file has no notes on channel " + std::to_string(*placement.channel)
                              : "the file has no notes");
    const auto previous = storage.noteEntries();
    const std::size_t count = notes.size();
    storage.replaceNoteEntriesInArrayWithNoteEntriesInArray(previous, std::move(notes));
    std::string report = std::to_string(count) + " notes replace " + std::to_string(previous.size());
    if (outside > 0)
        report += "; " + std::to_string(outside) + " outside the recording were left out";
    return report;
}

std::string replaceBeatsByMetre(Song& document, const MIDIFile& file, const std::optional<Position>& at) {
    constexpr std::size_t kMostBeats = 1'000'000; // more than a day of music has
    constexpr double kShortestBeat = 0.02;        // seconds
    if (!file.hasQuarterNotes())
        throw FormatRefused("the file counts seconds, not beats");
    const auto& recording = document.recording;
    const double offset =
        at ? static_cast<double>(SongPositions(document).frame(*at)) / recording.sampleRate : 0;
    TextTable beats{{"time", "beat"}, {}};
    double previous = -1; // seconds
    for (std::size_t i = 0; i < file.metres().size(); ++i) {
        const MIDIFileMetre& metre = file.metres()[i];
        const std::uint64_t end = i + 1 < file.metres().size() ? file.metres()[i + 1].tick : file.end();
        const double ticksPerBeat = file.ticksPerNote(metre.denominator);
        for (std::size_t beat = 0;; ++beat) {
            const double tick = static_cast<double>(metre.tick) + static_cast<double>(beat) * ticksPerBeat;
            if (!(tick < static_cast<double>(end)))
                break;
            const double seconds = offset + file.seconds(static_cast<std::uint64_t>(tick));
            if (seconds * recording.sampleRate > static_cast<double>(recording.frameCount))
                break;
            if (previous >= 0 && seconds - previous < kShortestBeat)
                throw MIDIFileError("its beats lie too close together");
            if (beats.rows.size() == kMostBeats)
                throw MIDIFileError("it has too many beats");
            previous = seconds;
            const std::size_t number = beat % static_cast<std::size_t>(metre.numerator) + 1;
            beats.rows.push_back({beats.rows.size() + 1, {decimalText(seconds, 9), std::to_string(number)}});
        }
    }
    if (beats.rows.size() < 2)
        throw FormatRefused("the file has no beats within the recording");
    const bool countsEighths = file.metres().front().denominator >= 8;
    document.notes->setTimeSignature(
        static_cast<std::uint8_t>(std::min(file.metres().front().numerator, 255)), countsEighths ? 8 : 4);
    return replaceAnnotations(document, AnnotationKind::beats, beats);
}

} // namespace tarn
