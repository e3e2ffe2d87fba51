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
using testing::ElementsAre;
using testing::IsEmpty;
using Lines = Names;
using ExportNotes = std::vector<MIDIExportNote>;

constexpr double kRate = 44100;
constexpr std::int64_t kSecond = 44100; ///< frames
constexpr double kTick = 1.0 / 480;     ///< quarter notes

/// The file as python3-mido reads it, an event a line: the track, the event, its tick, its values. A note's
/// line has its first and last tick. Without the ends of tracks.
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

// What a file holds. Positions are in ticks.

struct Note {
    long start = 0;
    long end = 0;
    int pitch = 0;
    int channel = 0;
    int velocity = 127;
    int releaseVelocity = 0;
    friend auto operator<=>(const Note&, const Note&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Note& note) {
        return out << "pitch " << note.pitch << " from " << note.start << " to " << note.end;
    }
};

struct Track {
    std::string name;
    std::string key;
    int channel = -1;
    int program = -1;
    std::vector<Note> notes;
};

struct Tempo {
    long tick = 0;
    long microsecondsPerQuarterNote = 0;
    friend bool operator==(const Tempo&, const Tempo&) = default;
};

struct Metre {
    long tick = 0;
    int numerator = 0;
    int denominator = 0;
    int clocksPerClick = 24;
    int thirtySecondsPerQuarterNote = 8;
    friend bool operator==(const Metre&, const Metre&) = default;
};

struct File {
    std::vector<Tempo> tempos;
    std::vector<Metre> metres;
    std::vector<Track> tracks;

    void take(std::istringstream line) {
        std::size_t index = 0;
        std::string event;
        long tick = 0;
        line >> index >> event >> tick;
        if (event == "set_tempo") {
            line >> tempos.emplace_back(Tempo{tick}).microsecondsPerQuarterNote;
        } else if (event == "time_signature") {
            Metre& metre = metres.emplace_back(Metre{tick});
            line >> metre.numerator >> metre.denominator >> metre.clocksPerClick >>
                metre.thirtySecondsPerQuarterNote;
        }
        EXPECT_EQ(index == 0, event == "set_tempo" || event == "time_signature") << event;
        if (index == 0)
            return;
        tracks.resize(std::max(tracks.size(), index));
        Track& track = tracks[index - 1];
        if (event == "note") {
            Note& note = track.notes.emplace_back(Note{tick});
            line >> note.end >> note.channel >> note.pitch >> note.velocity >> note.releaseVelocity;
            std::sort(track.notes.begin(), track.notes.end());
            return;
        }
        EXPECT_EQ(tick, 0) << event;
        if (event == "track_name")
            line >> track.name;
        else if (event == "key_signature")
            line >> track.key;
        else if (event == "program_change")
            line >> track.channel >> track.program;
        else
            ADD_FAILURE() << event;
    }
};

struct MIDIExportTests : testing::Test {
    MIDIExportTests() { Bundle::framework().setPreferredLanguages({"en"}); }
    ~MIDIExportTests() override {
        setMusicSequenceFault(nullptr);
        EXPECT_EQ(liveMusicSequenceCount(), 0U);
        EXPECT_EQ(ProcessInfo::suddenTerminationDisableCount(), 0);
    }

    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "out.mid";
    const Document document = makeDocument();
};

struct MIDIExportReadTests : MIDIExportTests {
    void SetUp() override {
        if (std::system("/usr/bin/python3 -c 'import mido' 2>/dev/null") != 0)
            GTEST_SKIP() << "python3-mido is not installed";
    }

    File exported(const Document& song, const UserInfo& options) {
        song->exportToMIDIFile(file, kRate, options);
        const std::string script = textOfPath(folder.path() / "read.py"),
                          output = textOfPath(folder.path() / "lines");
        writeText(script, kReader);
        const std::string command = "/usr/bin/python3 " + script + ' ' + file.string() + " > " + output;
        EXPECT_EQ(std::system(command.c_str()), 0);
        File result;
        std::istringstream text(textOf(output));
        for (std::string line; std::getline(text, line);)
            result.take(std::istringstream(line));
        return result;
    }
    std::vector<Note> exportedNotes(const UserInfo& options = {}) {
        UserInfo all = options;
        all["exportNotes"] = true;
        return exported(document, all).tracks.at(0).notes;
    }
    std::vector<Note> exportedChords(const Document& song, const UserInfo& options = {}) {
        UserInfo all = options;
        all["exportChords"] = true;
        return exported(song, all).tracks.at(0).notes;
    }
};

Note chordTone(long start, long end, int pitch) {
    return {.start = start, .end = end, .pitch = pitch, .channel = 1};
}

/// Beats at the given distance, give or take a seventh.
Locations unevenBeats(std::int64_t first, std::size_t count, std::int64_t distance, std::mt19937& random) {
    Locations beats{first};
    while (beats.size() < count)
        beats.push_back(beats.back() + distance +
                        static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(distance / 7)));
    return beats;
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

// Tracks

TEST_F(MIDIExportReadTests, NotesAndChordsHaveATrackAndAChannelEach) {
    addNote(*document, kSecond, kSecond, 60);
    addChord(*document, 0, "C");
    const File read = exported(document, {{"exportNotes", true}, {"exportChords", true}});
    ASSERT_EQ(read.tracks.size(), 2U);
    EXPECT_EQ(read.tracks[0].name, "Notes");
    EXPECT_EQ(read.tracks[0].channel, 0);
    EXPECT_EQ(read.tracks[0].program, 0);
    EXPECT_THAT(read.tracks[0].notes, ElementsAre(Note{.start = 480, .end = 960, .pitch = 60}));
    EXPECT_EQ(read.tracks[1].name, "Chords");
    EXPECT_EQ(read.tracks[1].channel, 1);
    EXPECT_EQ(read.tracks[1].program, 0);
    EXPECT_THAT(read.tracks[1].notes,
                ElementsAre(chordTone(0, 1920, 60), chordTone(0, 1920, 64), chordTone(0, 1920, 67)));
}

TEST_F(MIDIExportReadTests, OnlyWhatTheOptionsAskForIsWritten) {
    addNote(*document, 0, kSecond, 60);
    addChord(*document, 0, "C");
    EXPECT_THAT(exported(document, {}).tracks, IsEmpty());
    EXPECT_THAT(exported(document, {{"exportNotes", 1}, {"exportChords", std::string("yes")}}).tracks,
                IsEmpty())
        << "only a Boolean counts";
    const File chords = exported(document, {{"exportNotes", false}, {"exportChords", true}});
    ASSERT_EQ(chords.tracks.size(), 1U);
    EXPECT_EQ(chords.tracks[0].name, "Chords");
}

TEST_F(MIDIExportReadTests, EveryTrackHasTheTransposedKey) {
    addKey(*document, 0, "Bb");
    const std::pair<int, const char*> keys[] = {{0, "Bb"}, {2, "C"}, {-3, "G"}, {24, "Bb"}};
    for (const auto& [transpose, key] : keys) {
        const File read = exported(
            document, {{"exportNotes", true}, {"exportChords", true}, {"transposeAmount", transpose}});
        ASSERT_EQ(read.tracks.size(), 2U);
        EXPECT_EQ(read.tracks[0].key, key) << transpose;
        EXPECT_EQ(read.tracks[1].key, key) << transpose;
    }
}

TEST_F(MIDIExportReadTests, TheFirstKeyMayBeMinorOrMissing) {
    const auto key = [&] { return exported(document, {{"exportNotes", true}}).tracks.at(0).key; };
    EXPECT_EQ(key(), "");
    addKey(*document, kSecond, "F#m");
    addKey(*document, 2 * kSecond, "C");
    EXPECT_EQ(key(), "F#m");
    addKey(*document, 0, "not a chord");
    EXPECT_EQ(key(), "");
}

// Notes

TEST_F(MIDIExportReadTests, ANoteNeverBeginsBeforeTheFile) {
    addNote(*document, -kSecond / 2, std::uint64_t{kSecond}, 60);
    addNote(*document, -kSecond, std::uint64_t{kSecond} / 2, 61);
    EXPECT_THAT(exportedNotes(), ElementsAre(Note{.start = 0, .end = 240, .pitch = 60}));
}

TEST_F(MIDIExportReadTests, ANoteWithALengthLastsATickAtLeast) {
    addNote(*document, kSecond, 0, 60);
    addNote(*document, kSecond, 1, 61);
    EXPECT_THAT(exportedNotes(), ElementsAre(Note{.start = 480, .end = 481, .pitch = 61}));
}

TEST_F(MIDIExportReadTests, TranspositionKeepsNotesWithinTheirRange) {
    addNote(*document, 0, 100, 20);
    addNote(*document, 0, 100, 110);
    const auto pitches = [&](int transpose) {
        const auto notes = exportedNotes({{"transposeAmount", transpose}});
        return std::pair(notes.at(0).pitch, notes.at(1).pitch);
    };
    EXPECT_EQ(pitches(3), std::pair(23, 113));
    EXPECT_EQ(pitches(24), std::pair(44, 127));
    EXPECT_EQ(pitches(-24), std::pair(0, 86));
}

TEST_F(MIDIExportReadTests, TheTranspositionIsAnIntegerOfAnyTypeUpToTheRangeOfAByte) {
    addNote(*document, 0, 100, 60);
    addKey(*document, 0, "A");
    const auto expectNote = [&](const std::any& transpose, int pitch, const char* key) {
        const File read = exported(document, {{"exportNotes", true}, {"transposeAmount", transpose}});
        EXPECT_EQ(read.tracks.at(0).notes.at(0).pitch, pitch);
        EXPECT_EQ(read.tracks.at(0).key, key);
    };
    expectNote(1, 61, "Bb");
    expectNote(std::uint64_t{1}, 61, "Bb");
    expectNote(300, 127, "E"); // 127 semitones
    expectNote(std::numeric_limits<std::uint64_t>::max(), 127, "E");
    expectNote(std::numeric_limits<std::int64_t>::min(), 0, "Db"); // -128 semitones
    for (const std::any& ignored : {std::any(), std::any(std::string("2")), std::any(2.0), std::any(true),
                                    std::any(MIDIExportTiming::fixedTempo)})
        expectNote(ignored, 60, "A");
}

// Chords

TEST_F(MIDIExportReadTests, AChordSoundsFromMiddleCUpUntilTheNextOne) {
    addChord(*document, kSecond, "N.C.");
    addChord(*document, 0, "Am7");
    EXPECT_THAT(exportedChords(document), ElementsAre(chordTone(0, 480, 69), chordTone(0, 480, 72),
                                                      chordTone(0, 480, 76), chordTone(0, 480, 79)));
    EXPECT_EQ(exportedChords(document, {{"transposeAmount", 3}}).at(0).pitch, 60) << "C minor seventh";
    EXPECT_EQ(exportedChords(document, {{"transposeAmount", -24}}).at(0).pitch, 69);
}

TEST_F(MIDIExportReadTests, AToneOfTwoChordsIsStruckAgainATickAfterItsEnd) {
    addChord(*document, 0, "C");
    addChord(*document, kSecond, "Em");
    addChord(*document, 2 * kSecond, "N.C.");
    EXPECT_THAT(exportedChords(document),
                ElementsAre(chordTone(0, 479, 64), chordTone(0, 479, 67), chordTone(0, 480, 60),
                            chordTone(480, 960, 64), chordTone(480, 960, 67), chordTone(480, 960, 71)));
}

TEST_F(MIDIExportReadTests, TheLastChordEndsWithTheLastBeat) {
    const auto song = makeDocumentWithBeats({0, kSecond / 2, 3 * kSecond});
    addChord(*song, kSecond, "C");
    EXPECT_EQ(exportedChords(song).at(0), chordTone(480, 3 * 480, 60));
}

TEST_F(MIDIExportReadTests, AChordAfterTheLastBeatLastsABar) {
    const auto lengthInTicks = [&](const Document& song, int timing) {
        addChord(*song, 10 * kSecond, "C");
        const Note tone = exportedChords(song, {{"timing", timing}}).at(0);
        return tone.end - tone.start;
    };
    const Locations beats{0, kSecond, 2 * kSecond, 3 * kSecond, 4 * kSecond, 5 * kSecond, 6 * kSecond};
    EXPECT_EQ(lengthInTicks(makeDocumentWithBeats(beats), 0), 4 * 480) << "no bars: four quarter notes";
    EXPECT_EQ(lengthInTicks(makeDocumentWithBeats(beats, {0, 2, 5}), 1), 3 * 240) << "the last closed bar's";
    const auto withoutClosedBar = makeDocumentWithBeats(beats, {5});
    withoutClosedBar->setTimeSignature(7, 8);
    EXPECT_EQ(lengthInTicks(withoutClosedBar, 2), 7 * 240) << "the document's own";
}

// Time

TEST_F(MIDIExportReadTests, InSecondsAQuarterNoteLastsOneWhateverTheBeats) {
    const auto song = makeDocumentWithBeats({0, kSecond / 4, kSecond / 2});
    for (const std::any& timing : {std::any(), std::any(0), std::any(3), std::any(2.0)}) {
        const File read = exported(song, {{"timing", timing}});
        EXPECT_EQ(read.tempos, (std::vector<Tempo>{{.tick = 0, .microsecondsPerQuarterNote = 1'000'000}}));
        EXPECT_EQ(read.metres, std::vector<Metre>{});
    }
}

TEST_F(MIDIExportReadTests, AFixedTempoIsWrittenWithTheMetre) {
    const auto song = makeDocumentWithBeats({0, kSecond / 4, kSecond / 2});
    for (const std::any& timing : {std::any(2), std::any(MIDIExportTiming::fixedTempo)}) {
        const File read = exported(song, {{"timing", timing}});
        EXPECT_EQ(read.tempos, (std::vector<Tempo>{{.tick = 0, .microsecondsPerQuarterNote = 500'000}}));
        EXPECT_EQ(read.metres, (std::vector<Metre>{{.tick = 0, .numerator = 4, .denominator = 4}}));
    }
}

TEST_F(MIDIExportReadTests, TheSongsTemposAndMetresAreWrittenWhereTheyChange) {
    const auto song = makeDocumentWithBeats(
        {0, 11025, 22050, 33075, 44100, 55125, 66150, 88200, 110250, 132300}, {0, 4, 7, 9});
    const File read = exported(song, {{"timing", 1}});
    EXPECT_EQ(read.tempos, (std::vector<Tempo>{{.tick = 0, .microsecondsPerQuarterNote = 500'000},
                                               {.tick = 6 * 240, .microsecondsPerQuarterNote = 1'000'000}}));
    EXPECT_EQ(read.metres, (std::vector<Metre>{{.tick = 0, .numerator = 2, .denominator = 4},
                                               {.tick = 4 * 240, .numerator = 3, .denominator = 8},
                                               {.tick = 7 * 240, .numerator = 1, .denominator = 4}}));
}

TEST_F(MIDIExportReadTests, InEveryTimingNotesLieWhereTheTimelinePutsThem) {
    std::mt19937 random(62);
    const auto tick = [](double position) { return std::lround(std::max(0.0, position) * 480); };
    const Positions bars[] = {{0, 8, 16, 24, 32}, {3, 9, 15, 20, 25, 33}, {5}, {}};
    for (const std::int64_t firstBeat : {0, 900, 25000, 70000}) {
        for (const int timing : {0, 1, 2}) {
            const Positions& downbeats = bars[random() % 4];
            SCOPED_TRACE(testing::Message() << "beats from " << firstBeat << ", timing " << timing);
            const auto song = makeDocumentWithBeats(unevenBeats(firstBeat, 40, 11000, random), downbeats);
            Locations frames; // of notes of different pitch
            for (int pitch = 20; pitch < 120; ++pitch) {
                frames.push_back(static_cast<std::int64_t>(random() % 500000));
                addNote(*song, frames.back(), 2000, pitch);
            }
            const MIDIExportTimeline timeline(timing, true, false, kRate, *song);
            auto notes = exported(song, {{"exportNotes", true}, {"timing", timing}}).tracks.at(0).notes;
            ASSERT_EQ(notes.size(), frames.size());
            for (const Note& note : notes) {
                const auto frame = static_cast<double>(frames.at(static_cast<std::size_t>(note.pitch - 20)));
                EXPECT_EQ(note.start, tick(timeline.mapping(frame))) << frame;
                EXPECT_NEAR(note.end, tick(timeline.mapping(frame + 2000)), 1) << frame;
            }
        }
    }
}

TEST_F(MIDIExportReadTests, TheTempoMapLeadsEveryNoteToItsTime) {
    std::mt19937 random(1962);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const auto first = static_cast<std::int64_t>(random() % 60000);
        const auto beats =
            unevenBeats(first, 200, 8000 + static_cast<std::int64_t>(random() % 30000), random);
        Positions downbeats;
        for (std::size_t k = random() % 9; k < beats.size(); k += 3 + random() % 6)
            downbeats.push_back(k);
        const auto song = makeDocumentWithBeats(beats, downbeats);
        constexpr std::int64_t kLate = 2205; // a twentieth of a second
        const std::int64_t anchor = first >= kLate ? first : beats[downbeats.front()];
        if (anchor < kLate)
            continue;
        Locations frames;
        for (std::int64_t frame = anchor; frame < beats.back() + 100000;
             frame += 1 + static_cast<std::int64_t>(random() % 50000)) {
            addNote(*song, frame, 200, static_cast<int>(20 + frames.size() % 80));
            frames.push_back(frame);
        }

        const File read = exported(song, {{"exportNotes", true}, {"timing", 1}});
        const auto& tempos = read.tempos;
        const auto& notes = read.tracks.at(0).notes;
        ASSERT_EQ(notes.size(), frames.size());
        ASSERT_EQ(tempos.front().tick, 0);
        for (std::size_t i = 0; i < notes.size(); ++i) {
            const long start = notes[i].start;
            double seconds = 0, secondsPerTick = 0;
            for (std::size_t k = 0; k < tempos.size() && tempos[k].tick <= start; ++k) {
                const long end = k + 1 < tempos.size() ? std::min(tempos[k + 1].tick, start) : start;
                secondsPerTick = static_cast<double>(tempos[k].microsecondsPerQuarterNote) / 480e6;
                seconds += static_cast<double>(end - tempos[k].tick) * secondsPerTick;
            }
            EXPECT_NEAR(seconds, static_cast<double>(frames[i]) / kRate, secondsPerTick) << frames[i];
        }
    }
}

// Notes of one pitch

TEST_F(MIDIExportTests, NotesWithoutDurationAreLeftOut) {
    EXPECT_EQ(cleanedMIDIExportNotes({{60, 1, 0}, {60, 2, -1}, {60, 3, 1}}), (ExportNotes{{60, 3, 1}}));
}

TEST_F(MIDIExportTests, OfNotesThatBeginTogetherTheLongestStays) {
    EXPECT_EQ(cleanedMIDIExportNotes({{60, 1, 1}, {60, 1, 2}}), (ExportNotes{{60, 1, 2}}));
}

TEST_F(MIDIExportTests, OfNotesThatBeginWithinATickTheFirstStays) {
    EXPECT_EQ(cleanedMIDIExportNotes({{60, 1.001, 5}, {60, 1, 2}}), (ExportNotes{{60, 1, 2}}));
    EXPECT_EQ(cleanedMIDIExportNotes({{60, 0, 1}, {60, kTick, 1}}), (ExportNotes{{60, 0, 1}}));
    // The tick counts from the note that stays, not from one that was left out.
    EXPECT_EQ(cleanedMIDIExportNotes({{60, 0, 1}, {60, 0.8 * kTick, 1}, {60, 1.6 * kTick, 1}}),
              (ExportNotes{{60, 0, 1.6 * kTick - kTick}, {60, 1.6 * kTick, 1}}));
}

TEST_F(MIDIExportTests, ANoteEndsATickBeforeTheNextOne) {
    EXPECT_EQ(cleanedMIDIExportNotes({{60, 0, 2}, {60, 1, 2}}), (ExportNotes{{60, 0, 1 - kTick}, {60, 1, 2}}))
        << "overlapping";
    EXPECT_EQ(cleanedMIDIExportNotes({{60, 0, 1}, {60, 1, 1}}), (ExportNotes{{60, 0, 1 - kTick}, {60, 1, 1}}))
        << "touching";
    const ExportNotes apart{{60, 0, 1 - 2 * kTick}, {60, 1, 1}};
    EXPECT_EQ(cleanedMIDIExportNotes(apart), apart);
}

TEST_F(MIDIExportTests, OtherPitchesAreLeftAlone) {
    EXPECT_EQ(cleanedMIDIExportNotes({{61, 0, 2}, {60, 0, 2}, {62, 0, 2}}),
              (ExportNotes{{60, 0, 2}, {61, 0, 2}, {62, 0, 2}}));
}

TEST_F(MIDIExportTests, NotesAreSortedByPositionThenPitch) {
    EXPECT_EQ(cleanedMIDIExportNotes({{70, 1, 1}, {50, 2, 1}, {60, 0, 1}, {40, 1, 1}}),
              (ExportNotes{{60, 0, 1}, {40, 1, 1}, {70, 1, 1}, {50, 2, 1}}));
}

// Refusals

TEST_F(MIDIExportTests, EveryRefusedOperationEndsTheExportWithItsError) {
    addBeats(*document, {0, 10000, 20000, 30000, 40000}, {0, 2, 4});
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

TEST_F(MIDIExportTests, TheSampleRateIsCheckedBeforeAnythingElse) {
    gOperations.clear();
    setMusicSequenceFault(failAfterSomeCalls);
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

TEST_F(MIDIExportTests, AFileThatCannotBeWrittenLeavesTheEarlierOne) {
    Error error;
    EXPECT_FALSE(document->exportToMIDIFileAtURL(folder.path() / "missing" / "out.mid", kRate, {}, &error));
    EXPECT_EQ(error.localizedDescription(), "Could not create music sequence output file.");
    EXPECT_TRUE(folder.fileNames().empty());
}

TEST_F(MIDIExportTests, ANoteThatIsTooLateForTheFileLeavesTheEarlierFile) {
    writeText(file, "earlier");
    addNote(*document, std::int64_t{1} << 60, std::uint64_t{1} << 50, 60);
    Error error;
    EXPECT_FALSE(document->exportToMIDIFileAtURL(file, kRate, {{"exportNotes", true}}, &error));
    EXPECT_EQ(error.localizedDescription(), "Could not create music sequence output file.");
    EXPECT_EQ(textOf(file), "earlier");
}

TEST_F(MIDIExportTests, ATempoSlowerThanTheFileCanHoldIsRefused) {
    addBeats(*document, {0, 10 * kSecond}); // 3 quarter notes per minute
    Error error;
    EXPECT_FALSE(document->exportToMIDIFileAtURL(file, kRate, {{"timing", 2}}, &error));
    EXPECT_EQ(error.localizedDescription(), "Could not get tempo track.");
}

TEST_F(MIDIExportTests, AbortsOverWhatCannotBeExpressed) {
    addBeats(*document, {0, 22050});
    document->setTimeSignature(4, 0);
    EXPECT_DEATH(document->exportToMIDIFile(file, kRate, {{"timing", 1}}), "no power of two");
    const auto overflowing = makeDocument();
    addNote(*overflowing, kGreatest, 1, 60);
    EXPECT_DEATH(overflowing->exportToMIDIFile(file, kRate, {{"exportNotes", true}}), "overflow");
}

} // namespace tarn
