#include "Interchange/Formats/Formats.h"
#include "Interchange/GridPlaces.h"
#include "Interchange/MIDIFileWriter.h"
#include "Interchange/NoteImport.h"
#include "Platform/FileManager.h"
#include "Platform/PlainText.h"
#include "Song/CountedBeats.h"
#include "TarnFoundation/MIDIExport/MIDIExport.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <ostream>
#include <random>

namespace tarn::formats_detail {
namespace {

constexpr std::int64_t kTicksPerQuarter = 480;
constexpr double kLongestTempo = 0xFFFFFF; ///< microseconds per quarter note; 24 bits
constexpr double kMicroseconds = 1e6;
constexpr std::uint8_t kNotesChannel = 0;
constexpr std::uint8_t kNoteVelocity = 100;
constexpr std::uint8_t kChordVelocity = 72;
constexpr int kChordOctave = 4;
constexpr const char* kOtherTiming = "; export with --timing seconds";

std::string placeText(const Song& song, std::int64_t frame) {
    const SongPositions positions(song);
    const std::string name = positions.name(frame);
    const std::string time = positions.timeText(frame);
    return name == time ? time : name + " (" + time + ")";
}

/// For a pause between two beats that no tempo can follow.
[[noreturn]] void refusePause(const Song& song, std::int64_t from, std::int64_t to, double longest,
                              const std::string& beats) {
    throw FormatRefused("the pause from " + placeText(song, from) + " to " + placeText(song, to) +
                        " is too long: a MIDI tempo follows at most " +
                        decimalText(std::floor(longest * 100) / 100, 2) + " s between " + beats +
                        kOtherTiming);
}

/// The time of a file: how ticks follow frames, and the tempi and metres that say so.
struct MIDITime {
    struct Metre {
        std::int64_t tick = 0;
        std::size_t numerator = 4;
    };
    std::vector<std::pair<std::int64_t, std::uint32_t>>
        tempi; ///< microseconds per quarter note from a tick on
    std::vector<Metre> metres;
    std::vector<std::pair<std::int64_t, std::string_view>> marks; ///< of MIDIMark
    int denominator = 4;
    std::function<std::int64_t(std::int64_t)> tickOfFrame; ///< never negative
};

std::uint32_t tempoOf(double microsecondsPerQuarter) {
    if (!(microsecondsPerQuarter >= 0.5 && microsecondsPerQuarter <= kLongestTempo))
        throw FormatRefused(std::string("no MIDI tempo can follow the song's beats") + kOtherTiming);
    return static_cast<std::uint32_t>(std::max(1.0, std::round(microsecondsPerQuarter)));
}

/// A quarter note lasts so long throughout, and frames are counted in seconds.
MIDITime steadyTime(const Song& song, double secondsPerQuarter) {
    MIDITime time;
    time.tempi = {{0, tempoOf(secondsPerQuarter * kMicroseconds)}};
    time.tickOfFrame = [rate = song.recording.sampleRate, secondsPerQuarter](std::int64_t frame) {
        const double quarters = static_cast<double>(frame) / rate / secondsPerQuarter;
        return static_cast<std::int64_t>(std::round(std::max(0.0, quarters * kTicksPerQuarter)));
    };
    return time;
}

/// The bars as a file can have them: longer ones than a metre can count are several.
std::vector<Range<std::size_t>> writableBars(const BarLines& lines) {
    constexpr std::size_t kMostBeats = 255;
    std::vector<Range<std::size_t>> bars;
    for (std::size_t i = 0; i < lines.barCount(); ++i) {
        auto bar = lines.bar(i);
        for (; sizeOf(bar) > kMostBeats; bar.lower += kMostBeats)
            bars.push_back({bar.lower, bar.lower + kMostBeats});
        bars.push_back(bar);
    }
    return bars;
}

/// The beats of most bars.
std::size_t usualBarLength(const std::vector<Range<std::size_t>>& bars, std::size_t otherwise) {
    std::map<std::size_t, std::size_t> counts;
    for (const auto& bar : bars)
        ++counts[sizeOf(bar)];
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    return most == counts.end() ? otherwise : most->first;
}

/// Counted beats are beats of the file. Before the first one there are as many more as fit at its tempo, in
/// bars that end where the song's begin.
class BeatTime {
public:
    BeatTime(const Song& song, bool isFixed) : mSong(song), mPlaces(song) {
        const TimeSignature signature = song.notes->timeSignature();
        if (std::has_single_bit(signature.denominator) && signature.denominator <= 64)
            mTime.denominator = signature.denominator;
        const auto& beats = mPlaces.grid().locations();
        const auto before = static_cast<double>(beats[0]);
        if (beats[0] > 0)
            mLeadIn = std::max(1.0, std::round(before / static_cast<double>(beats[1] - beats[0])));
        addMetres(std::max<std::size_t>(signature.numerator, 1));
        addMarks();
        if (isFixed)
            mTime.marks.emplace_back(0, MIDIMark::kOneTempo);
        if (isFixed)
            mTime.tempi = {{0, tempoOf(microseconds(static_cast<double>(beats.back() - beats.front()) /
                                                    static_cast<double>(beats.size() - 1)))}};
        else
            addTempi();
        mTime.tickOfFrame = [places = mPlaces, leadIn = mLeadIn, before,
                             perBeat = static_cast<double>(ticksPerBeat())](std::int64_t frame) {
            const auto exact = static_cast<double>(frame);
            const double beat = exact < before ? exact / before * leadIn : leadIn + places.beats(exact);
            return static_cast<std::int64_t>(std::round(std::max(0.0, beat * perBeat)));
        };
    }

    [[nodiscard]] const MIDITime& time() const { return mTime; }

private:
    [[nodiscard]] std::int64_t ticksPerBeat() const { return kTicksPerQuarter * 4 / mTime.denominator; }
    [[nodiscard]] std::int64_t tickOfBeat(std::size_t beat) const {
        return (static_cast<std::int64_t>(mLeadIn) + static_cast<std::int64_t>(beat)) * ticksPerBeat();
    }
    /// Of a quarter note where a beat lasts so many frames.
    [[nodiscard]] double microseconds(double framesPerBeat) const {
        return framesPerBeat / mSong.recording.sampleRate * kMicroseconds * mTime.denominator / 4;
    }

    void addMetre(std::int64_t tick, std::size_t numerator) {
        if (mTime.metres.empty() || mTime.metres.back().numerator != numerator)
            mTime.metres.push_back({tick, numerator});
    }

    void addMetres(std::size_t numerator) {
        const BarLines& lines = mPlaces.grid().barLines();
        const auto bars = writableBars(lines);
        const std::size_t usual = usualBarLength(bars, numerator);
        if (bars.empty()) {
            addMetre(0, usual);
            return;
        }
        const std::size_t before = static_cast<std::size_t>(mLeadIn) + sizeOf(lines.pickup());
        if (before % usual != 0)
            addMetre(0, before % usual);
        if (before >= usual)
            addMetre(static_cast<std::int64_t>(before % usual) * ticksPerBeat(), usual);
        for (const auto& bar : bars)
            addMetre(tickOfBeat(bar.lower), sizeOf(bar));
    }

    void addMarks() {
        const BarLines& lines = mPlaces.grid().barLines();
        mTime.marks.emplace_back(tickOfBeat(0), MIDIMark::kFirstBeat);
        if (lines.barCount() > 0)
            mTime.marks.emplace_back(tickOfBeat(lines.bar(0).lower), MIDIMark::kFirstBar);
        mTime.marks.emplace_back(tickOfBeat(mPlaces.beatCount() - 1), MIDIMark::kLastBeat);
    }

    /// A tempo is a whole number of microseconds; what is rounded is made good by the next one, so that no
    /// beat is further from its place than a microsecond. That holds before the first and after the last beat
    /// too, where beats as long as the nearest ones go on.
    void addTempi() {
        const auto& beats = mPlaces.grid().locations();
        const std::size_t last = beats.size() - 1;
        addEvenBeats(0, static_cast<std::int64_t>(mLeadIn), time(0));
        for (std::size_t i = 0; i < last; ++i) {
            const double longest = kLongestTempo / kMicroseconds * quartersPerBeat();
            if (microseconds(static_cast<double>(beats[i + 1] - beats[i])) > kLongestTempo)
                refusePause(mSong, beats[i], beats[i + 1], longest, "counted beats");
            addTempo(tickOfBeat(i), time(i + 1), quartersPerBeat());
        }
        const double spacing = time(last) - time(last - 1);
        const double rest = mSong.seconds(mSong.recording.frameCount) * kMicroseconds - time(last);
        const double count = std::ceil(std::clamp(rest / spacing, 0.0, 1e9));
        addEvenBeats(tickOfBeat(last), static_cast<std::int64_t>(count), time(last) + count * spacing);
    }

    /// Of so many beats from the tick on, which end at a time, a tempo for each, or for each of many groups.
    void addEvenBeats(std::int64_t tick, std::int64_t count, double until) {
        constexpr std::int64_t kMostTempi = 10'000;
        const double begin = mNow;
        const std::int64_t group = count / kMostTempi + 1;
        for (std::int64_t i = 0; i < count; i += group) {
            const std::int64_t size = std::min(group, count - i);
            const double share = static_cast<double>(i + size) / static_cast<double>(count);
            addTempo(tick + i * ticksPerBeat(), begin + (until - begin) * share,
                     static_cast<double>(size) * quartersPerBeat());
        }
    }

    /// The tempo at which so many quarter notes end at a time.
    void addTempo(std::int64_t tick, double until, double quarters) {
        const double exact = (until - mNow) / quarters;
        const bool isLongestRounded = exact > kLongestTempo && exact < kLongestTempo + 1;
        const std::uint32_t tempo = tempoOf(isLongestRounded ? kLongestTempo : exact);
        mNow += tempo * quarters;
        if (mTime.tempi.empty() || mTime.tempi.back().second != tempo)
            mTime.tempi.emplace_back(tick, tempo);
    }

    [[nodiscard]] double time(std::size_t beat) const {
        return mSong.seconds(mPlaces.grid().locations()[beat]) * kMicroseconds;
    }
    [[nodiscard]] double quartersPerBeat() const { return 4.0 / mTime.denominator; }

    const Song& mSong;
    GridPlaces mPlaces;
    double mLeadIn = 0; ///< whole beats before the first counted one
    double mNow = 0;    ///< microseconds up to where the tempi reach
    MIDITime mTime;
};

MIDITime timeOf(const Song& song, const std::string& timing) {
    if (timing == "seconds") {
        MIDITime time = steadyTime(song, 1);
        time.marks.emplace_back(0, MIDIMark::kSeconds);
        return time;
    }
    if (countedBeats(song).size() >= 2)
        return BeatTime(song, timing == "fixed").time();
    const auto tempi = song.notes->tempoEntries();
    const double tempo = tempi.empty() ? 0 : static_cast<double>(tempi.front()->tempo());
    constexpr double kUsualTempo = 120;
    return steadyTime(song, 60 / (tempo >= 4 && tempo <= 1e6 ? tempo : kUsualTempo));
}

struct MIDISong {
    const Song& song;
    MIDITime time;
    int transposition = 0;
    KELPKeyRef key;

    [[nodiscard]] KELPChordRef moved(const KELPChordRef& chord) const {
        if (!chord || transposition == 0)
            return chord;
        const auto result = chord->chordWithOffset(transposition);
        return key ? key->scaleNormalizedChord(result) : result;
    }
};

MIDITrack conductorTrack(const MIDISong& midi) {
    const Song& song = midi.song;
    MIDITrack track;
    const std::string name = song.properties.title.empty()
                                 ? std::filesystem::path(song.recording.fileName).stem().string()
                                 : song.properties.title;
    track.addText(0, MIDIMeta::kTrackName, onOneLine(name));
    if (midi.key)
        track.addMeta(0, MIDIMeta::kKeySignature,
                      {static_cast<std::uint8_t>(midi.key->tonicChord()->midiKeyValue()),
                       static_cast<std::uint8_t>(midi.key->isMinor() ? 1 : 0)});
    const auto power =
        static_cast<std::uint8_t>(std::countr_zero(static_cast<unsigned>(midi.time.denominator)));
    for (const auto& [tick, numerator] : midi.time.metres) {
        const bool isCompound = midi.time.denominator == 8 && numerator % 3 == 0 && numerator > 3;
        const int clocks = isCompound ? 36 : std::max(24 * 4 / midi.time.denominator, 1);
        track.addMeta(tick, MIDIMeta::kTimeSignature,
                      {static_cast<std::uint8_t>(std::min<std::size_t>(numerator, 255)), power,
                       static_cast<std::uint8_t>(clocks), 8});
    }
    for (const auto& [tick, tempo] : midi.time.tempi)
        track.addMeta(tick, MIDIMeta::kTempo,
                      {static_cast<std::uint8_t>(tempo >> 16), static_cast<std::uint8_t>(tempo >> 8),
                       static_cast<std::uint8_t>(tempo)});
    for (const auto& [tick, mark] : midi.time.marks)
        track.addText(tick, MIDIMeta::kText, mark);
    for (const auto& section : song.structure->sectionEntries())
        track.addText(midi.time.tickOfFrame(section->location()), MIDIMeta::kMarker,
                      onOneLine(section->name().value_or("")));
    for (const auto& marker : song.notes->markerEntries())
        track.addText(midi.time.tickOfFrame(marker->location()), MIDIMeta::kCuePoint,
                      onOneLine(marker->name().value_or("")));
    track.endAt(midi.time.tickOfFrame(song.recording.frameCount));
    return track;
}

/// Adds notes that may overlap or repeat.
void addCleaned(MIDITrack& track, std::vector<MIDIExportNote> notes, std::uint8_t channel,
                std::uint8_t velocity) {
    const auto ticks = [](double quarters) {
        return static_cast<std::int64_t>(std::round(quarters * kTicksPerQuarter));
    };
    const auto cleaned = cleanedMIDIExportNotes(std::move(notes));
    for (const auto& note : cleaned) {
        const std::int64_t start = ticks(note.position);
        const std::int64_t end = ticks(note.position + note.duration);
        if (start < end)
            track.addNote(start, end, channel, note.pitch, velocity);
    }
}

MIDIExportNote noteBetween(std::int64_t start, std::int64_t end, std::uint8_t pitch) {
    return {pitch, static_cast<double>(start) / kTicksPerQuarter,
            static_cast<double>(end - start) / kTicksPerQuarter};
}

MIDITrack noteTrack(const MIDISong& midi) {
    MIDITrack track;
    track.addText(0, MIDIMeta::kTrackName, "Notes");
    track.addProgram(0, kNotesChannel, 0);
    std::vector<MIDIExportNote> notes;
    for (const auto& note : midi.song.notes->noteEntries()) {
        const auto end = tryCast<std::int64_t>(note->length()).then([&](std::int64_t length) {
            return tryAdd(note->location(), length);
        });
        if (!note->pitch() || !end.value())
            continue;
        if (note->location() >= midi.song.recording.frameCount)
            continue;
        const std::int64_t start = midi.time.tickOfFrame(note->location());
        const std::int64_t last = std::min(*end.value(), midi.song.recording.frameCount);
        const auto pitch = std::clamp<std::int64_t>(note->pitch()->semitones() + midi.transposition, 0, 127);
        notes.push_back(noteBetween(start, std::max(midi.time.tickOfFrame(last), start + 1),
                                    static_cast<std::uint8_t>(pitch)));
    }
    addCleaned(track, std::move(notes), kNotesChannel, kNoteVelocity);
    return track;
}

MIDITrack chordTrack(const MIDISong& midi) {
    MIDITrack track;
    track.addText(0, MIDIMeta::kTrackName, kTrackOfChords);
    track.addProgram(0, kChordsChannel, 0);
    std::vector<MIDIExportNote> notes;
    const auto chords = midi.song.notes->chordEntries();
    const auto tick = [&](std::int64_t frame) { return midi.time.tickOfFrame(frame); };
    for (std::size_t i = 0; i < chords.size(); ++i) {
        const std::int64_t start = tick(chords[i]->location());
        const std::int64_t end =
            tick(i + 1 < chords.size() ? chords[i + 1]->location() : midi.song.recording.frameCount);
        const auto chord = midi.moved(chords[i]->chord());
        if (i + 1 < chords.size() && start >= end)
            continue; // another one takes its place
        track.addText(start, MIDIMeta::kText, chord ? chord->string() : KELPChord::noChord()->string());
        if (!chord)
            continue;
        for (const auto& pitch : chord->pitchesAtOctave(kChordOctave))
            notes.push_back(noteBetween(start, end, pitch->midiNote()));
    }
    addCleaned(track, std::move(notes), kChordsChannel, kChordVelocity);
    return track;
}

void writeBars(std::ostream& out, const Song& song, const FormatOptions& options) {
    MIDISong midi{song, timeOf(song, options.text("timing", "song")),
                  options.wholeNumber("transpose").value_or(0), song.notes->globalKey()};
    if (midi.key && midi.transposition != 0)
        midi.key = KELPKey::makeWithTonicChord(midi.key->tonicChord()->chordWithOffset(midi.transposition));
    std::vector<MIDITrack> tracks{conductorTrack(midi)};
    if (!options.has("no-notes"))
        tracks.push_back(noteTrack(midi));
    if (!options.has("no-chords"))
        tracks.push_back(chordTrack(midi));
    writeMIDIFile(out, tracks, kTicksPerQuarter);
}

/// Which stretch between two stored beats lasts longer than the slowest tempo can say; a quarter note is two
/// of them.
void refuseClassicPause(const Song& song) {
    const auto beats = song.notes->beatEntries();
    const auto isTooLong = [&](const auto& beat, const auto& next) {
        return 2 * song.seconds(next->location() - beat->location()) > kLongestTempo / kMicroseconds;
    };
    const auto beat = std::adjacent_find(beats.begin(), beats.end(), isTooLong);
    if (beat != beats.end())
        refusePause(song, (*beat)->location(), (*(beat + 1))->location(), kLongestTempo / kMicroseconds / 2,
                    "beats of the grid");
    throw FormatRefused(std::string("no MIDI tempo can follow the song's beats") + kOtherTiming);
}

std::filesystem::path newScratchName() {
    std::random_device random;
    return std::filesystem::temp_directory_path() /
           ("tarn-" + std::to_string(random()) + std::to_string(random()) + ".mid");
}

/// A file that is there for as long as this is.
class ScratchFile {
public:
    ScratchFile() : mPath(newScratchName()) {}
    ~ScratchFile() {
        std::error_code ignored;
        std::filesystem::remove(mPath, ignored);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return mPath; }

private:
    std::filesystem::path mPath;
};

/// The file of TarnNoteEntryStorage::exportToMIDIFile, byte for byte.
void writeClassic(std::ostream& out, const Song& song, const FormatOptions& given) {
    static const std::map<std::string, MIDIExportTiming> kTimings{{"song", MIDIExportTiming::followSongTempo},
                                                                  {"fixed", MIDIExportTiming::fixedTempo},
                                                                  {"seconds", MIDIExportTiming::seconds}};
    const MIDIExportTiming timing = kTimings.at(given.text("timing", "song"));
    const UserInfo options{
        {TarnNoteEntryStorageMIDIExportNotesOptionKey, !given.has("no-notes")},
        {TarnNoteEntryStorageMIDIExportChordsOptionKey, !given.has("no-chords")},
        {TarnNoteEntryStorageMIDITransposeAmountOptionKey, given.wholeNumber("transpose").value_or(0)},
        {TarnNoteEntryStorageMIDITimingOptionKey, timing},
    };
    const auto timeline = MIDIExportTimeline::tryMake(static_cast<std::int64_t>(timing), true, true,
                                                      song.recording.sampleRate, *song.notes);
    const bool hasWritableTempi =
        timeline &&
        std::all_of(timeline->tempoEvents.begin(), timeline->tempoEvents.end(), [](const auto& event) {
            const double microseconds = 60e6 / event.beatsPerMinute;
            return microseconds >= 1 && microseconds <= kLongestTempo;
        });
    if (!hasWritableTempi)
        refuseClassicPause(song);
    const ScratchFile file;
    if (!song.notes->tryExportToMIDIFile(file.path(), song.recording.sampleRate, options))
        throw FormatRefused("the song has places that no MIDI file can hold");
    Error error;
    const auto bytes = FileManager::contentsOf(file.path(), &error);
    if (!bytes)
        throw error;
    out.write(reinterpret_cast<const char*>(bytes->data()), static_cast<std::streamsize>(bytes->size()));
}

void writeMIDI(std::ostream& out, const Song& song, const WriteRequest& request) {
    if (request.options.text("layout", "bars") == "classic")
        writeClassic(out, song, request.options);
    else
        writeBars(out, song, request.options);
}

std::optional<Position> beginningIn(const FormatOptions& options) {
    if (!options.has("at"))
        return std::nullopt;
    const std::string text = options.text("at");
    auto position = Position::make(text);
    if (!position)
        throw FormatOptionError("--at " + shortened(text) + ": this is not a valid position (" +
                                Position::kForms + ")");
    return position;
}

bool areBeatsTaken(const FormatOptions& options) {
    return options.text("what", "notes") == "beats";
}

void checkTaking(const FormatOptions& options) {
    (void)beginningIn(options);
    for (const char* option : {"by", "channel"}) {
        if (areBeatsTaken(options) && options.has(option))
            throw FormatOptionError("--" + std::string(option) + " means nothing with --what beats");
    }
}

std::string readMIDI(Song& song, std::span<const std::byte> bytes, const ReadRequest& request) {
    const FormatOptions& options = request.options;
    const MIDIFile file(bytes);
    if (areBeatsTaken(options))
        return replaceBeatsByMetre(song, file, beginningIn(options));
    NotePlacement placement;
    placement.at = beginningIn(options);
    placement.followsBeats =
        options.has("by") ? options.text("by") == "grid" : file.mark(MIDIMark::kOneTempo).has_value();
    placement.channel = options.wholeNumber("channel");
    return replaceNotes(song, file, placement);
}

} // namespace

Format midi() {
    Format format;
    format.name = "midi";
    format.endings = {".mid", ".midi"};
    format.help = "A Standard MIDI File";
    format.writes = "notes, chords, bars and beats, key, sections and markers";
    format.reads = "notes, or beats by the tempo and the metre";
    format.writeOptions = {
        {"timing",
         "TIMING",
         "The tempo: song follows every beat, fixed keeps one, seconds makes a quarter note last one second",
         {"fixed", "seconds", "song"},
         "song"},
        {"layout",
         "LAYOUT",
         "bars: counted beats are beats; classic: every beat of the grid is an eighth note",
         {"bars", "classic"},
         "bars"},
        {"no-notes", "", "Leave the notes out"},
        {"no-chords", "", "Leave the chords out"},
        {"transpose", "N", "Semitones up (negative: down)", {}, "0", FormatOption::Limits{-127, 127}},
    };
    format.readOptions = {
        {"what", "KIND", "What is taken of the file", {"notes", "beats"}, "notes"},
        {"by",
         "grid|time",
         "Where notes are put: grid follows the song's beats, time the file's own tempo (time, but grid for "
         "what was exported with --timing fixed)",
         {"grid", "time"}},
        {"at", "POSITION",
         "Where in the song the file's first bar (by grid) or its beginning (by time) is put: 3:1, 0:24, "
         "@132300 (by grid bar 1, by time the start)"},
        {"channel",
         "N",
         "The only channel to take, 1 to 16 (all but 10, percussion, and an exported track of chords)",
         {},
         {},
         FormatOption::Limits{1, 16}},
    };
    format.write = writeMIDI;
    format.checkReadOptions = checkTaking;
    format.read = readMIDI;
    return format;
}

} // namespace tarn::formats_detail
