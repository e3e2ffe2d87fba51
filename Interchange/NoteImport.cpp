#include "Interchange/NoteImport.h"

#include "Interchange/AnnotationText.h"
#include "Interchange/GridPlaces.h"
#include "Interchange/MIDIMeta.h"
#include "KELPMusic/KELPChordTable.h"
#include "KELPMusic/KELPKey.h"
#include "Platform/PlainText.h"
#include "Song/CountedBeats.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <vector>

namespace tarn {
namespace {

constexpr std::uint8_t kPercussionChannel = 9;
constexpr double kToleranceInSeconds = 0.05; ///< by which a note may begin before the recording

/// The frame, not rounded, at which a tick of the file sounds.
using FrameOfTick = std::function<double(std::uint64_t)>;

FrameOfTick placementAlongBeats(const Song& document, const MIDIFile& file,
                                const std::optional<Position>& at) {
    if (countedBeats(document).size() < 2)
        throw EditRefused("the song has no beats to follow; import with --by time");
    if (!file.hasQuarterNotes() || file.mark(MIDIMark::kSeconds))
        throw EditRefused("the file counts seconds, not beats; import with --by time");
    GridPlaces places(document);
    const BarLines& lines = places.grid().barLines();
    const double beatsPerQuarterNote = document.notes->timeSignature().denominator / 4.0;
    const double fileStart = file.quarterNotes(file.firstBar()) * beatsPerQuarterNote;
    const double songStart = at ? places.beats(static_cast<double>(SongPositions(document).frame(*at)))
                                : static_cast<double>(lines.barCount() > 0 ? lines.bar(0).lower : 0);
    const double offset = songStart - fileStart;
    // What an exported file has before the song's first beat lasts as long as that takes in the song.
    const double leadIn =
        file.quarterNotes(file.mark(MIDIMark::kFirstBeat).value_or(0)) * beatsPerQuarterNote;
    const auto firstFrame = static_cast<double>(places.grid().locations().front());
    const bool beginsTogether = leadIn > 0 && leadIn + offset == 0;
    return [=, places = std::move(places), &file](std::uint64_t tick) {
        const double beats = file.quarterNotes(tick) * beatsPerQuarterNote;
        if (beginsTogether && beats < leadIn)
            return beats / leadIn * firstFrame;
        return static_cast<double>(places.frame(offset + beats));
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
    const double earliest = -kToleranceInSeconds * document.recording.sampleRate;
    std::vector<std::shared_ptr<TarnNoteEntry>> notes;
    std::size_t outside = 0, cut = 0, ofChords = 0;
    for (const MIDIFileNote& note : file.notes()) {
        if (placement.channel ? note.channel + 1 != *placement.channel : note.channel == kPercussionChannel)
            continue;
        if (!placement.channel && note.channel == kChordsChannel &&
            file.trackName(note.track) == kTrackOfChords) {
            ++ofChords;
            continue;
        }
        double start = std::round(frameOfTick(note.start));
        const double end = std::max(std::round(frameOfTick(note.end)), start + 1);
        if (!(start >= earliest && start < frameCount && end > 0)) {
            ++outside;
            continue;
        }
        start = std::max(start, 0.0);
        cut += end > frameCount + std::abs(earliest);
        const auto entry = storage.newNoteEntry();
        entry->setPitch(KELPPitch::pitchWithNoteAtSemitones(names[note.note % 12], note.note));
        entry->setLocation(static_cast<std::int64_t>(start));
        entry->setLength(static_cast<std::uint64_t>(std::min(end, frameCount) - start));
        entry->setChannel(note.channel);
        notes.push_back(entry);
    }
    if (notes.empty())
        throw EditRefused(outside > 0 ? "all of the file's notes would lie outside the recording"
                          : placement.channel
                              ? "the file has no notes on channel " + std::to_string(*placement.channel)
                          : ofChords > 0 ? "the file has no notes but those of its track of chords; "
                                           "--channel 2 takes them"
                                         : "the file has no notes");
    const auto previous = storage.noteEntries();
    const std::size_t count = notes.size();
    storage.replaceNoteEntriesInArrayWithNoteEntriesInArray(previous, std::move(notes));
    std::string report = std::to_string(count) + " notes replace " + std::to_string(previous.size());
    if (cut > 0)
        report += "; " + std::to_string(cut) + " were cut at the recording's end";
    if (ofChords > 0)
        report += "; the track of chords was passed over (--channel 2 takes it)";
    if (outside > 0)
        report += "; " + std::to_string(outside) + " outside the recording were left out";
    return report;
}

std::string replaceBeatsByMetre(Song& document, const MIDIFile& file, const std::optional<Position>& at) {
    constexpr std::size_t kMostBeats = 1'000'000; // more than a day of music has
    if (!file.hasQuarterNotes() || file.mark(MIDIMark::kSeconds))
        throw FormatRefused("the file counts seconds, not beats");
    const auto& recording = document.recording;
    const double offset =
        at ? static_cast<double>(SongPositions(document).frame(*at)) / recording.sampleRate : 0;
    // In an exported file beats and bars are the song's from one mark to the other.
    const auto firstBeat = file.mark(MIDIMark::kFirstBeat);
    const auto lastBeat = file.mark(MIDIMark::kLastBeat);
    const bool hasBars = !firstBeat || file.mark(MIDIMark::kFirstBar);
    const std::uint64_t firstBar = file.firstBar();
    TextTable beats{{"time", "beat"}, {}};
    bool opensBar = false; // anywhere
    double previous = -1;  // frames
    for (std::size_t i = 0; i < file.metres().size(); ++i) {
        const MIDIFileMetre& metre = file.metres()[i];
        const std::uint64_t end = i + 1 < file.metres().size() ? file.metres()[i + 1].tick : file.end();
        const double ticksPerBeat = file.ticksPerNote(metre.denominator);
        const double skipped =
            (static_cast<double>(firstBeat.value_or(0)) - static_cast<double>(metre.tick)) / ticksPerBeat;
        for (auto beat = static_cast<std::size_t>(std::max(std::ceil(skipped), 0.0));; ++beat) {
            const double exact = static_cast<double>(metre.tick) + static_cast<double>(beat) * ticksPerBeat;
            const auto tick = static_cast<std::uint64_t>(exact);
            // A last beat may stand where the file ends.
            const bool isIn = exact < static_cast<double>(end) ||
                              (lastBeat && tick == file.end() && i + 1 == file.metres().size());
            if (!isIn || (lastBeat && tick > *lastBeat))
                break;
            const double seconds = offset + file.seconds(tick);
            const double frame = std::round(seconds * recording.sampleRate);
            if (frame > static_cast<double>(recording.frameCount))
                break;
            if (previous >= 0 && frame <= previous)
                throw MIDIFileError("its beats lie too close together");
            if (beats.rows.size() == kMostBeats)
                throw MIDIFileError("it has too many beats");
            previous = frame;
            const std::size_t number =
                !hasBars || tick < firstBar ? 0 : beat % static_cast<std::size_t>(metre.numerator) + 1;
            opensBar = opensBar || number == 1;
            beats.rows.push_back({beats.rows.size() + 1, {decimalText(seconds, 9), std::to_string(number)}});
        }
    }
    if (beats.rows.size() < 2)
        throw FormatRefused("the file has no beats within the recording");
    for (TextRow& row : beats.rows)
        row.fields[1] = opensBar ? row.fields[1] : "0";
    const auto ruling = std::find_if(file.metres().rbegin(), file.metres().rend(),
                                     [&](const MIDIFileMetre& metre) { return metre.tick <= firstBar; });
    document.notes->setTimeSignature(static_cast<std::uint8_t>(std::min(ruling->numerator, 255)),
                                     static_cast<std::uint8_t>(ruling->denominator));
    return replaceAnnotations(document, AnnotationKind::beats, beats);
}

} // namespace tarn
