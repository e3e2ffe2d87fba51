#include "TarnFoundation/MIDIExport/MIDIExport.h"

#include "Platform/Bundle.h"
#include "Platform/PathConversion.h"
#include "Platform/ProcessInfo.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/TarnFoundation/UserEntries/DocumentFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <sstream>

namespace tarn {

namespace {

using namespace fixtures;
using Lines = Names;
using Notes = std::vector<MIDIExportNote>;

constexpr double kRate = 44100;
constexpr double kTick = 1.0 / 480;

/// One line for each event, as python3-mido reads the file: "track kind tick values"; a note's line has its
/// first and last tick, channel, key, velocity and release velocity. Without the ends of tracks.
constexpr const char* kReader = R"(
import sys, mido
for index, track in enumerate(mido.MidiFile(sys.argv[1]).tracks):
    tick = 0
    sounding = {}
    for m in track:
        tick += m.time
        if m.type == 'note_on':
            assert (m.channel, m.note) not in sounding
            sounding[m.channel, m.note] = (tick, m.velocity)
        elif m.type == 'note_off':
            start, velocity = sounding.pop((m.channel, m.note))
            print(index, 'note', start, tick, m.channel, m.note, velocity, m.velocity)
        elif m.type == 'program_change':
            print(index, m.type, tick, m.channel, m.program)
        elif m.type != 'end_of_track':
            values = [str(v) for k, v in m.dict().items() if k not in ('type', 'time')]
            print(index, m.type, tick, *values)
    assert not sounding
)";

struct MIDIExport : testing::Test {
    MIDIExport() { Bundle::framework().setPreferredLanguages({"en"}); }
    ~MIDIExport() override {
        setMusicSequenceFault(nullptr);
        EXPECT_EQ(liveMusicSequenceCount(), 0U);
        EXPECT_EQ(ProcessInfo::suddenTerminationDisableCount(), 0);
    }

    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "out.mid";
};

struct MIDIExportRead : MIDIExport {
    void SetUp() override {
        if (std::system("/usr/bin/python3 -c 'import mido' 2>/dev/null") != 0)
            GTEST_SKIP() << "python3-mido is not installed";
    }

    /// The lines of the exported file, sorted.
    Lines exported(const Document& document, const UserInfo& options) {
        document->exportToMIDIFile(file, kRate, options);
        const std::string script = textOfPath(folder.path() / "read.py"),
                          output = textOfPath(folder.path() / "lines");
        writeText(script, kReader);
        const std::string command = "/usr/bin/python3 " + script + ' ' + file.string() + " > " + output;
        EXPECT_EQ(std::system(command.c_str()), 0);
        Lines lines;
        std::istringstream text(textOf(output));
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        std::sort(lines.begin(), lines.end());
        return lines;
    }
};

template <typename... Values>
std::string line(const Values&... values) {
    std::ostringstream text;
    const char* separator = "";
    ((text << std::exchange(separator, " ") << values), ...);
    return text.str();
}

/// What the file says of a song, worked out once more from the song's description.
struct Song {
    struct Note {
        int midi;
        std::int64_t frame, length;
    };
    struct Chord {
        const char* name;
        int root; ///< pitch class
        std::vector<int> intervals;
        std::int64_t frame;
    };
    Locations beats;
    Positions downbeats;
    std::vector<Note> notes;
    TimeSignature signature = {4, 4};
    const char* key = "Bb";
    std::vector<Chord> chords = {{"N.C.", 0, {}, 0},
                                 {"C", 0, {0, 4, 7}, 30000},
                                 {"Am7", 9, {0, 3, 7, 10}, 90000},
                                 {"G7", 7, {0, 4, 7, 10}, 333333},
                                 {"C", 0, {0, 4, 7}, 400000},
                                 {"Em", 4, {0, 3, 7}, 500000}};

    [[nodiscard]] Document document() const {
        const auto result = makeDocumentWithBeats(beats, downbeats);
        result->setTimeSignature(signature.numerator, signature.denominator);
        for (const Note& note : notes)
            addNote(*result, note.frame, static_cast<std::uint64_t>(note.length), note.midi);
        for (const Chord& chord : chords)
            addChord(*result, chord.frame, chord.name);
        if (key)
            addKey(*result, 0, key);
        return result;
    }

    /// By the export's own time base, which has its own tests.
    [[nodiscard]] Lines expected(int timing, int transpose, const char* transposedKey) const {
        Lines lines;
        const auto tick = [](double position) { return std::lround(position * 480); };
        const MIDIExportTimeline timeline(timing, true, true, kRate, *document());
        long last = 0; // equal tempos in a row are one
        for (const TempoEvent& event : timeline.tempoEvents) {
            const double microseconds = 60e6 / event.beatsPerMinute;
            if (std::exchange(last, static_cast<long>(microseconds)) != static_cast<long>(microseconds))
                lines.push_back(line(0, "set_tempo", tick(event.position), std::lround(microseconds)));
        }
        double lastBar = 4;
        for (const auto& [at, metre] : timeline.timeSignatureEvents) {
            lines.push_back(
                line(0, "time_signature", tick(at), int{metre.numerator}, int{metre.denominator}, 24, 8));
            lastBar = metre.numerator * 4.0 / metre.denominator;
        }

        const auto position = [&](std::int64_t frame) {
            return std::max(0.0, timeline.mapping(static_cast<double>(frame)));
        };
        const auto track = [&](int index, const char* name, Notes written) {
            lines.push_back(line(index, "track_name", 0, name));
            if (transposedKey)
                lines.push_back(line(index, "key_signature", 0, transposedKey));
            lines.push_back(line(index, "program_change", 0, index - 1, 0));
            for (const MIDIExportNote& note : written) {
                const long start = tick(note.position);
                const long end = tick(note.position + double{static_cast<float>(note.duration)});
                lines.push_back(
                    line(index, "note", start, std::max(end, start + 1), index - 1, int{note.pitch}, 127, 0));
            }
        };
        Notes single;
        for (const Note& note : notes) {
            const double start = position(note.frame);
            single.push_back({static_cast<std::uint8_t>(std::clamp(note.midi + transpose, 0, 127)), start,
                              position(note.frame + note.length) - start});
        }
        track(1, "Notes", single);
        Notes chordTones;
        for (std::size_t i = 0; i < chords.size(); ++i) {
            const double start = position(chords[i].frame);
            double end = start + lastBar;
            if (i + 1 < chords.size())
                end = position(chords[i + 1].frame);
            else if (!beats.empty() && start < position(beats.back()))
                end = position(beats.back());
            for (const int interval : chords[i].intervals) {
                // Where a tone sounds on from one chord to the next, it ends a tick before it is struck anew.
                const int pitch = 60 + ((chords[i].root + transpose) % 12 + 12) % 12 + interval;
                for (MIDIExportNote& earlier : chordTones) {
                    if (earlier.pitch == pitch && earlier.position + earlier.duration > start - kTick)
                        earlier.duration = start - kTick - earlier.position;
                }
                chordTones.push_back({static_cast<std::uint8_t>(pitch), start, end - start});
            }
        }
        track(2, "Chords", chordTones);
        std::sort(lines.begin(), lines.end());
        return lines;
    }
};

/// Beats at the given distance, give or take a seventh.
Locations unevenBeats(std::int64_t first, std::size_t count, std::int64_t distance, std::mt19937& random) {
    Locations beats{first};
    while (beats.size() < count)
        beats.push_back(beats.back() + distance +
                        static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(distance / 7)));
    return beats;
}

/// Random notes of which no two of one pitch come near each other.
std::vector<Song::Note> scatteredNotes(std::int64_t first, std::mt19937& random) {
    std::vector<Song::Note> notes;
    for (int i = 0; i < 160; ++i) {
        const auto length = static_cast<std::int64_t>(1 + random() % 40000);
        notes.push_back({20 + i * 7 % 80, first, length});
        first += static_cast<std::int64_t>(random() % 9000);
    }
    return notes;
}

/// Which call of a sequence operation fails, counted over all of them; what it was; the calls so far.
int gCallsBeforeFault = 0;
std::string gFailedOperation;
std::vector<std::string> gOperations;

MusicStatus failAfterSomeCalls(const char* operation) {
    const bool writes = std::string(operation) == "MusicSequenceFileCreate";
    EXPECT_EQ(ProcessInfo::suddenTerminationDisableCount(), writes ? 1 : 0) << operation;
    if (std::find(gOperations.begin(), gOperations.end(), operation) == gOperations.end())
        gOperations.emplace_back(operation);
    if (gCallsBeforeFault-- != 0 || std::string(operation) == "DisposeMusicSequence")
        return kMusicSuccess;
    gFailedOperation = operation;
    return -1;
}

} // namespace

TEST_F(MIDIExportRead, anIndependentReaderFindsWhatTheRulesGive) {
    std::mt19937 random(62);
    const Positions evenBars = {0, 8, 16, 24, 32, 40, 48};
    const Song songs[] = {
        {unevenBeats(25000, 52, 11000, random), evenBars, scatteredNotes(30000, random)},
        {unevenBeats(0, 52, 11000, random), evenBars, scatteredNotes(0, random)},
        // A pickup of three pulses, from the very start and from later on; changes of meter.
        {unevenBeats(900, 60, 12000, random), {3, 9, 15, 20, 25, 33, 41}, scatteredNotes(100, random)},
        {unevenBeats(70000, 60, 12000, random), {3, 11, 18, 25, 33}, scatteredNotes(10, random)},
        // No closed bar: the document's own signature; the last chord after the last beat.
        {unevenBeats(50000, 20, 11000, random), {5}, scatteredNotes(0, random), {7, 8}},
        {unevenBeats(50000, 20, 11000, random), {}, scatteredNotes(0, random), {3, 4}},
        {{}, {}, scatteredNotes(0, random)},
        {{4000}, {0}, scatteredNotes(0, random)},
        {unevenBeats(25000, 52, 11000, random), evenBars, scatteredNotes(30000, random), {4, 4}, nullptr},
        {unevenBeats(25000, 52, 11000, random), evenBars, {}, {4, 4}, "Bb", {}},
    };
    const std::pair<int, const char*> transpositions[] = {{0, "Bb"}, {2, "C"}, {-3, "G"}, {24, "Bb"}};
    int index = 0;
    for (const Song& song : songs) {
        const auto document = song.document();
        for (const int timing : {0, 1, 2}) {
            const auto& [transpose, key] = transpositions[index++ % 4];
            SCOPED_TRACE(testing::Message() << "song " << (index - 1) / 3 << ", timing " << timing);
            const Lines found = exported(document, {{"exportNotes", true},
                                                    {"exportChords", true},
                                                    {"timing", timing},
                                                    {"transposeAmount", transpose}});
            EXPECT_THAT(found,
                        testing::ContainerEq(song.expected(timing, transpose, song.key ? key : nullptr)));
        }
    }
}

TEST_F(MIDIExportRead, theTempoMapLeadsEveryNoteToItsTime) {
    std::mt19937 random(1962);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const auto first = static_cast<std::int64_t>(random() % 60000);
        const auto beats =
            unevenBeats(first, 200, 8000 + static_cast<std::int64_t>(random() % 30000), random);
        Positions downbeats;
        for (std::size_t k = random() % 9; k < beats.size(); k += 3 + random() % 6)
            downbeats.push_back(k);
        const auto document = makeDocumentWithBeats(beats, downbeats);
        constexpr std::int64_t kLate = 2205; // a twentieth of a second
        const std::int64_t anchor = first >= kLate ? first : beats[downbeats.front()];
        if (anchor < kLate)
            continue;
        Locations frames;
        for (std::int64_t frame = anchor; frame < beats.back() + 100000;
             frame += 1 + static_cast<std::int64_t>(random() % 50000)) {
            addNote(*document, frame, 200, static_cast<int>(20 + frames.size() % 80));
            frames.push_back(frame);
        }

        std::vector<std::pair<long, long>> tempos; // tick, microseconds per quarter note
        std::vector<long> starts;
        for (const std::string& event : exported(document, {{"exportNotes", true}, {"timing", 1}})) {
            std::istringstream text(event);
            std::string track, kind;
            long tick = 0, number = 0;
            text >> track >> kind >> tick >> number;
            if (kind == "set_tempo")
                tempos.emplace_back(tick, number);
            else if (kind == "note")
                starts.push_back(tick);
        }
        std::sort(tempos.begin(), tempos.end());
        std::sort(starts.begin(), starts.end());
        ASSERT_EQ(starts.size(), frames.size());
        ASSERT_EQ(tempos.front().first, 0);
        for (std::size_t i = 0; i < starts.size(); ++i) {
            double seconds = 0, secondsPerTick = 0;
            for (std::size_t k = 0; k < tempos.size() && tempos[k].first <= starts[i]; ++k) {
                const long end = k + 1 < tempos.size() ? std::min(tempos[k + 1].first, starts[i]) : starts[i];
                secondsPerTick = static_cast<double>(tempos[k].second) / 480e6;
                seconds += static_cast<double>(end - tempos[k].first) * secondsPerTick;
            }
            EXPECT_NEAR(seconds, static_cast<double>(frames[i]) / kRate, secondsPerTick) << frames[i];
        }
    }
}

TEST_F(MIDIExportRead, writesOnlyWhatTheOptionsAskFor) {
    const auto document = makeDocument();
    addNote(*document, 44100, 44100, 60);
    addChord(*document, 0, "C");
    addKey(*document, 0, "A");
    const Lines tempo = {"0 set_tempo 0 1000000"};
    const Lines chords = linesOf("0 set_tempo 0 1000000; 1 key_signature 0 A; 1 note 0 1920 1 60 127 0; "
                                 "1 note 0 1920 1 64 127 0; 1 note 0 1920 1 67 127 0; "
                                 "1 program_change 0 1 0; 1 track_name 0 Chords");
    EXPECT_EQ(exported(document, {}), tempo);
    EXPECT_EQ(exported(document, {{"exportNotes", 1}, {"exportChords", std::string("yes")}}), tempo);
    EXPECT_EQ(exported(document, {{"exportNotes", false}, {"exportChords", true}}), chords);
    const auto expectNote = [&](const std::any& transpose, const char* key, int midi) {
        EXPECT_EQ(exported(document, {{"exportNotes", true}, {"transposeAmount", transpose}}),
                  (Lines{tempo[0], line(1, "key_signature", 0, key), line(1, "note 480 960 0", midi, 127, 0),
                         "1 program_change 0 0 0", "1 track_name 0 Notes"}));
    };
    expectNote({}, "A", 60);
    expectNote(std::string("2"), "A", 60);
    expectNote(2.0, "A", 60);
    expectNote(true, "A", 60);
    expectNote(MIDIExportTiming::fixedTempo, "A", 60);
    expectNote(1, "Bb", 61);
    expectNote(std::uint64_t{1}, "Bb", 61);
    expectNote(300, "E", 127); // 127 semitones
    expectNote(std::numeric_limits<std::uint64_t>::max(), "E", 127);
    expectNote(std::numeric_limits<std::int64_t>::min(), "Db", 0); // -128 semitones
    // A timing of another type counts as seconds; its enumeration counts as its number.
    const auto song = makeDocumentWithBeats({0, 11025, 22050});
    EXPECT_EQ(exported(song, {{"timing", 2.0}}), tempo);
    EXPECT_EQ(exported(song, {{"timing", MIDIExportTiming::fixedTempo}}),
              (Lines{"0 set_tempo 0 500000", "0 time_signature 0 4 4 24 8"}));
}

TEST_F(MIDIExport, cleansNotesOfOnePitch) {
    const auto eps = kTick;
    const auto expectCleaned = [](const char* what, const Notes& notes, const Notes& cleaned) {
        EXPECT_EQ(cleanedMIDIExportNotes(notes), cleaned) << what;
    };
    expectCleaned("no duration", {{60, 1, 0}, {60, 2, -1}, {60, 3, 1}}, {{60, 3, 1}});
    expectCleaned("repeated onset: the longer at one position", {{60, 1, 1}, {60, 1, 2}}, {{60, 1, 2}});
    expectCleaned("repeated onset: the earlier one", {{60, 1.001, 5}, {60, 1, 2}}, {{60, 1, 2}});
    expectCleaned("exactly a tick apart", {{60, 0, 1}, {60, eps, 1}}, {{60, 0, 1}});
    expectCleaned("compared with the kept note, not the dropped one",
                  {{60, 0, 1}, {60, 0.8 * eps, 1}, {60, 1.6 * eps, 1}},
                  {{60, 0, 1.6 * eps - eps}, {60, 1.6 * eps, 1}});
    expectCleaned("overlap", {{60, 0, 2}, {60, 1, 2}}, {{60, 0, 1 - eps}, {60, 1, 2}});
    expectCleaned("touching", {{60, 0, 1}, {60, 1, 1}}, {{60, 0, 1 - eps}, {60, 1, 1}});
    expectCleaned("apart by a tick", {{60, 0, 1 - 2 * eps}, {60, 1, 1}}, {{60, 0, 1 - 2 * eps}, {60, 1, 1}});
    expectCleaned("other pitches stay", {{61, 0, 2}, {60, 0, 2}, {62, 0, 2}},
                  {{60, 0, 2}, {61, 0, 2}, {62, 0, 2}});
    expectCleaned("by position, then pitch", {{70, 1, 1}, {50, 2, 1}, {60, 0, 1}, {40, 1, 1}},
                  {{60, 0, 1}, {40, 1, 1}, {70, 1, 1}, {50, 2, 1}});
}

TEST_F(MIDIExport, everyRefusedOperationEndsTheExportWithItsError) {
    const auto document = makeDocumentWithBeats({0, 10000, 20000, 30000, 40000}, {0, 2, 4});
    addNote(*document, 0, 10000, 60);
    addChord(*document, 0, "C");
    addKey(*document, 0, "A");
    const UserInfo options{{"exportNotes", true}, {"exportChords", true}, {"timing", 1}};
    const char* const noTrack = "Could not create music sequence track.";
    // In the order of their first calls.
    const std::vector<std::pair<std::string, const char*>> operations = {
        {"NewMusicSequence", "Could not create music sequence object."},
        {"MusicSequenceGetTempoTrack", "Could not get tempo track."},
        {"MusicTrackNewExtendedTempoEvent", "Could not get tempo track."},
        {"MusicTrackNewMetaEvent", noTrack},
        {"MusicSequenceNewTrack", noTrack},
        {"MusicTrackNewMIDIChannelEvent", noTrack},
        {"MusicTrackNewMIDINoteEvent", noTrack},
        {"MusicSequenceFileCreate", "Could not create music sequence output file."}};
    const std::map<std::string, std::string> texts(operations.begin(), operations.end());
    writeText(file, "earlier");
    setMusicSequenceFault(failAfterSomeCalls);
    std::set<std::string> failed;
    for (int calls = 0;; ++calls) {
        gCallsBeforeFault = calls;
        gFailedOperation.clear();
        gOperations.clear();
        Error error;
        const bool succeeded = document->exportToMIDIFileAtURL(file, kRate, options, &error);
        EXPECT_EQ(liveMusicSequenceCount(), 0U);
        EXPECT_EQ(ProcessInfo::suddenTerminationDisableCount(), 0);
        if (succeeded)
            break;
        SCOPED_TRACE(gFailedOperation);
        failed.insert(gFailedOperation);
        EXPECT_EQ(error.domain, "TarnMIDIFileExporterDomain");
        EXPECT_EQ(error.code, -1);
        EXPECT_EQ(error.userInfo.size(), 1U);
        EXPECT_EQ(error.localizedDescription(), texts.at(gFailedOperation));
        EXPECT_EQ(textOf(file), "earlier");
        ASSERT_EQ(folder.fileNames(), std::set<std::string>{"out.mid"});
    }
    EXPECT_EQ(failed.size(), texts.size());
    EXPECT_EQ(textOf(file).substr(0, 4), "MThd");
    Lines called;
    for (const auto& [operation, text] : operations)
        called.push_back(operation);
    called.emplace_back("DisposeMusicSequence");
    EXPECT_EQ(gOperations, called);
}

TEST_F(MIDIExport, theSampleRateIsCheckedBeforeAnythingElse) {
    gOperations.clear();
    setMusicSequenceFault(failAfterSomeCalls);
    const auto document = makeDocument();
    for (const double rate : {0.0, -1.0, -0.0, std::numeric_limits<double>::quiet_NaN()}) {
        Error error;
        EXPECT_FALSE(document->exportToMIDIFileAtURL(file, rate, {}, &error));
        EXPECT_EQ(error.localizedDescription(), "Could not determine the sample rate of the song.");
        EXPECT_FALSE(document->exportToMIDIFileAtURL(file, rate, {}, nullptr));
        EXPECT_THROW(document->exportToMIDIFile(file, rate, {}), Error);
    }
    EXPECT_TRUE(gOperations.empty());
    EXPECT_TRUE(folder.fileNames().empty());
}

TEST_F(MIDIExport, aFileThatCannotBeWrittenLeavesTheEarlierOne) {
    const auto document = makeDocument();
    Error error;
    EXPECT_FALSE(document->exportToMIDIFileAtURL(folder.path() / "missing" / "out.mid", kRate, {}, &error));
    EXPECT_EQ(error.localizedDescription(), "Could not create music sequence output file.");
    // A note so late that the file cannot hold its position.
    writeText(file, "earlier");
    addNote(*document, std::int64_t{1} << 60, std::uint64_t{1} << 50, 60);
    EXPECT_FALSE(document->exportToMIDIFileAtURL(file, kRate, {{"exportNotes", true}}, &error));
    EXPECT_EQ(error.localizedDescription(), "Could not create music sequence output file.");
    EXPECT_EQ(textOf(file), "earlier");
}

TEST_F(MIDIExport, aTempoSlowerThanTheFileCanHoldIsRefused) {
    const auto document = makeDocumentWithBeats({0, 44100 * 10}); // 3 quarter notes per minute
    Error error;
    EXPECT_FALSE(document->exportToMIDIFileAtURL(file, kRate, {{"timing", 2}}, &error));
    EXPECT_EQ(error.localizedDescription(), "Could not get tempo track.");
}

TEST_F(MIDIExport, stopsOnWhatCannotBeExpressed) {
    const auto document = makeDocumentWithBeats({0, 22050});
    document->setTimeSignature(4, 0);
    EXPECT_DEATH(document->exportToMIDIFile(file, kRate, {{"timing", 1}}), "no power of two");
    const auto overflowing = makeDocument();
    addNote(*overflowing, kGreatest, 1, 60);
    EXPECT_DEATH(overflowing->exportToMIDIFile(file, kRate, {{"exportNotes", true}}), "overflow");
}

} // namespace tarn
