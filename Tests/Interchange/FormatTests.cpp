#include "Interchange/Format.h"
#include "Interchange/MIDIFileReader.h"
#include "KELPMusic/KELPChordTable.h"
#include "Song/SongFile.h"
#include "TarnFoundation/MIDIExport/MIDIExport.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Song/SongTexts.h"

#include <gmock/gmock.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace tarn {
namespace {

using test::addChord, test::chordsOf, test::contentsOf, test::sectionsOf;
using testing::HasSubstr;

std::string written(const Song& song, std::string_view format, const FormatOptions& options = {}) {
    std::ostringstream out;
    writeSong(out, song, *formatNamed(format), {options, {}, {}});
    return out.str();
}

std::string readInto(Song& song, std::string_view format, const std::string& bytes,
                     const FormatOptions& options = {}) {
    return readIntoSong(song, std::as_bytes(std::span(bytes)), *formatNamed(format), {options});
}

std::shared_ptr<Song> copyOfSong(const std::shared_ptr<Song>& song) {
    return songFromBytes(archivedSong(song), "song.tarn");
}

/// Eight bars with something of every kind, not all of it on the beats; a pickup of a beat and a bar of
/// three.
std::shared_ptr<Song> fullSong() {
    const auto song = test::sampleSong();
    song->notes->shiftDownbeatsByOffset(2);
    song->properties.title = "Über \"alles\" & <mehr>";
    song->properties.artist = "Die {Band}";
    test::perform(*song,
                  "bar-beats 3 = 3|key=Eb|add-chord Ebmaj7/G at 1:1|add-chord Cm7 at 2:3+|"
                  "add-chord N.C. at 3:2|add-chord Ab at 4:1|add-chord F7b9 at 4:4|"
                  "add-chord Bb13sus4 at 5:2+1/4|add-section Intro at 1:1|add-section \"Verse, 2\" at 4:1|"
                  "add-region verse 3:1 to 7:1|add-region chorus Loud 7:1 to 7:3|"
                  "add-marker \"Solo; here\" at 5:3|add-note Eb4 at 2:1 for 1 beat|"
                  "add-note Eb4 at 2:2 for 1/2 beat|add-note G2 at 6:3+ for 3 beats");
    test::addTempo(*song, 120);
    return song;
}

/// Chords, notes, sections, regions and markers, most of them beside the beats.
void addContent(Song& song) {
    const char* const chords[] = {"C", "Am7/G", "Bb13sus4", "N.C.", "F7b9", "C", "G#m"};
    for (std::int64_t i = 0; i < 7; ++i)
        addChord(song, 3001 + i * 61007, chords[i]);
    test::perform(song, "add-note C4 at @30000 for 5000 frames|add-note E4 at @70001 for 9000 frames|"
                        "add-note G4 at @430000 for 11000 frames|add-section Intro at @0|"
                        "add-section \"Verse, 2\" at @200000|add-region verse @1000 to @199999|"
                        "add-region chorus Loud @200000 to @300000|add-marker \"Solo; here\" at @123456");
}

std::shared_ptr<Song> songInEighths(std::int64_t first, int perBar, int pickup) {
    const auto song = std::make_shared<Song>(Recording{"eighths.wav", 44100, 450000, "eighths"});
    song->notes->setTimeSignature(static_cast<std::uint8_t>(perBar), 8);
    test::addBeats(*song, {.first = first, .spacing = 9001, .count = 45, .perBar = perBar, .pickup = pickup});
    addContent(*song);
    return song;
}

struct NamedSong {
    const char* name;
    std::shared_ptr<Song> song;
};

std::vector<NamedSong> songsOfManyKinds() {
    const auto played = fullSong();
    played->properties.capo = 3;
    played->properties.transposition = -2;
    const auto sections = fullSong();
    for (const char* name : {"", "A] [B", " [x]", "1 0:00 | C |", "label=\"y\"", "{z}", "#"})
        (void)sections->structure->updateSection(
            sections->structure->createNewSection(400'000 +
                                                  100 * static_cast<std::int64_t>(std::strlen(name))),
            name, "verse");
    const auto withoutRecording = std::make_shared<Song>(Recording{"", 44100, 500'000, ""});
    test::addBeats(*withoutRecording, {.first = 30'000, .spacing = 11'025, .count = 40, .perBar = 8});
    addContent(*withoutRecording);
    const auto sharp = fullSong();
    sharp->notes->overrideGlobalKey(KELPKey::makeWithTonicChord(KELPChord::chordWithString("G#")));
    return {{"pickup", fullSong()},
            {"capo and transposition", played},
            {"6/8", songInEighths(9000, 6, 0)},
            {"7/8 with a pickup", songInEighths(1000, 7, 3)},
            {"beats before the recording", songInEighths(-30'000, 6, 2)},
            {"a single downbeat", songInEighths(5, 300, 1)},
            {"names of sections", sections},
            {"no recording, no metre, no tempo", withoutRecording},
            {"a key of many sharps", sharp}};
}

/// Takes away what an import is expected to bring back.
void removeAll(Song& song, std::string_view kinds) {
    auto& notes = *song.notes;
    const auto has = [&](const char* kind) { return kinds.find(kind) != std::string_view::npos; };
    if (has("chords"))
        notes.removeChordEntriesInArray(notes.chordEntries());
    if (has("notes"))
        notes.removeNoteEntriesInArray(notes.noteEntries());
    if (has("regions"))
        notes.removeRegionEntriesInArray(notes.regionEntries());
    if (has("markers"))
        notes.removeMarkerEntriesInArray(notes.markerEntries());
    if (has("beats"))
        notes.removeBeatEntriesInArray(notes.beatEntries());
    if (has("sections"))
        song.structure->removeSectionEntriesInArray(song.structure->sectionEntries());
}

struct Journey {
    const char* format;
    const char* kinds; ///< what the format brings back
    FormatOptions writing = {};
    FormatOptions reading = {};
};

std::vector<Journey> journeys() {
    std::vector<Journey> all{{"midi", "notes"},
                             {"midi", "notes", {}, {{"by", "grid"}}},
                             {"midi", "notes", {{"timing", "fixed"}}},
                             {"midi", "notes", {{"timing", "seconds"}}},
                             {"midi", "beats", {}, {{"what", "beats"}}},
                             {"jams", "beats chords sections"},
                             {"musicxml", "chords"},
                             {"musicxml", "chords", {{"concert", ""}}, {{"concert", ""}}},
                             {"chordpro", "chords sections"},
                             {"chart", "chords sections"}};
    for (const char* format : {"lab", "csv", "labels", "svl"})
        for (const char* kind : {"beats", "chords", "sections", "regions", "markers"})
            all.push_back({format, kind, {{"what", kind}}, {{"what", kind}}});
    return all;
}

} // namespace

TEST(Format, WhatIsReadBackIsWrittenTheSameAgain) {
    std::set<std::string_view> seen;
    for (const Journey& journey : journeys()) {
        seen.insert(journey.format);
        for (const auto& [name, song] : songsOfManyKinds()) {
            SCOPED_TRACE(std::string(journey.format) + " " + journey.kinds + ": " + name);
            const std::string first = written(*song, journey.format, journey.writing);
            const auto copy = copyOfSong(song);
            removeAll(*copy, journey.kinds);
            EXPECT_NE(readInto(*copy, journey.format, first, journey.reading), "");
            EXPECT_EQ(written(*copy, journey.format, journey.writing), first);
        }
    }
    for (const Format& format : formats())
        EXPECT_TRUE(!format.read || !format.write || seen.contains(format.name)) << format.name;
}

TEST(Format, NamesEndingsAndOptionsAreDistinctAndExplained) {
    std::set<std::string_view> names, endings;
    for (const Format& format : formats()) {
        SCOPED_TRACE(format.name);
        EXPECT_TRUE(names.insert(format.name).second);
        EXPECT_EQ(formatNamed(format.name), &format);
        EXPECT_FALSE(format.help.empty());
        EXPECT_EQ(format.write == nullptr, format.writes.empty());
        EXPECT_EQ(format.read == nullptr, format.reads.empty());
        for (const std::string_view ending : format.endings) {
            EXPECT_TRUE(endings.insert(ending).second) << ending;
            EXPECT_EQ(formatWithEnding(ending), &format);
        }
    }
    EXPECT_EQ(formatNamed("word"), nullptr);
    EXPECT_EQ(formatWithEnding(".doc"), nullptr);
}

TEST(Format, WhatItCannotBeToldIsRefused) {
    const auto song = fullSong();
    EXPECT_THROW((void)written(*song, "lab", {{"transpose", "2"}}), FormatOptionError);
    EXPECT_THROW((void)written(*song, "lab", {{"what", "notes"}}), FormatOptionError);
    EXPECT_THROW((void)written(*song, "midi", {{"transpose", "200"}}), FormatOptionError);
    EXPECT_THROW((void)written(*song, "midi", {{"transpose", "1.5"}}), FormatOptionError);
    EXPECT_THROW((void)readInto(*song, "midi", "", {{"at", "0:99:1"}}), FormatOptionError);
    EXPECT_THROW((void)readInto(*song, "lab", "0 1 C\n", {{"beats-per-bar", "3"}}), FormatOptionError);
    // Options that do not suit each other are known before there is a file.
    EXPECT_THROW(checkReadOptions(*formatNamed("midi"), {{"what", "beats"}, {"by", "grid"}}),
                 FormatOptionError);
    EXPECT_THROW(checkReadOptions(*formatNamed("csv"), {{"first-downbeat", "2"}}), FormatOptionError);
}

TEST(Format, BytesThatAreSomethingElseLeaveTheSongAsItIs) {
    for (const Format& format : formats()) {
        if (!format.read)
            continue;
        SCOPED_TRACE(format.name);
        for (const std::string bytes : {"", "oops\n", "{\"annotations\": [{\"namespace\": \"chord\"}]}",
                                        "<sv/>", "<score-partwise><part/></score-partwise>", "MThd"}) {
            const auto song = fullSong();
            const std::string before = contentsOf(*song);
            EXPECT_ANY_THROW((void)readInto(*song, format.name, bytes)) << bytes;
            EXPECT_EQ(contentsOf(*song), before);
        }
    }
    // A file that fails in its second part has not changed the first.
    const auto song = fullSong();
    const std::string before = contentsOf(*song);
    EXPECT_THROW((void)readInto(*song, "jams",
                                R"({"annotations": [{"namespace": "beat", "data": [
                                    {"time": 1, "duration": 0, "value": 1}, {"time": 2, "duration": 0, "value": 2}]},
                                    {"namespace": "chord", "data": [{"time": 0, "duration": 1, "value": "H"}]}]})"),
                 FormatError);
    EXPECT_EQ(contentsOf(*song), before);
    EXPECT_THROW((void)readInto(*song, "jams", std::string(100'000, '[')), FormatError);
    const Song nothing(song->recording);
    for (const char* format : {"musicxml", "chordpro"})
        EXPECT_THROW((void)written(nothing, format), FormatRefused);
}

TEST(MIDIFormat, BarsAndBeatsOfTheFileAreThoseOfTheRecording) {
    const auto song = fullSong();
    const std::string bytes = written(*song, "midi");
    const MIDIFile file(std::as_bytes(std::span(bytes)));
    // Two seconds, or four beats, lie before the pickup; bar 3 has three beats.
    std::vector<std::string> metres;
    for (const auto& metre : file.metres())
        metres.push_back(std::to_string(metre.numerator) + "/" + std::to_string(metre.denominator) + "@" +
                         std::to_string(metre.tick));
    EXPECT_THAT(metres, testing::ElementsAre("1/4@0", "4/4@480", "3/4@6240", "4/4@7680", "3/4@15360"));
    const SongPositions positions(*song);
    for (int bar = 1; bar <= 8; ++bar) {
        const std::uint64_t tick = 480ull * static_cast<std::uint64_t>(5 + 4 * (bar - 1) - (bar > 3 ? 1 : 0));
        EXPECT_NEAR(file.seconds(tick), song->seconds(positions.startOfBar(bar)), 2e-6) << bar;
    }
}

TEST(MIDIFormat, AnIndependentReaderFindsNamesNotesAndTheirTimes) {
    const auto song = fullSong();
    const TemporaryFolder folder;
    writeText(folder.path() / "song.mid", written(*song, "midi", {{"transpose", "-1"}}));
    writeText(folder.path() / "read.py", R"(
import sys, mido
file = mido.MidiFile(sys.argv[1])
tempi = []
for message in mido.merge_tracks(file.tracks):
    tempi.append(message)
now, tick, tempo = 0.0, 0, 500000
for message in tempi:
    now += mido.tick2second(message.time, file.ticks_per_beat, tempo)
    if message.type == 'set_tempo':
        tempo = message.tempo
    elif message.type in ('track_name', 'marker', 'cue_marker', 'text'):
        print(message.type, ascii(getattr(message, 'name', None) or message.text), round(now, 3))
    elif message.type == 'key_signature':
        print(message.type, message.key)
    elif message.type in ('note_on', 'note_off') and message.channel == 0:
        print(message.type, message.note, round(now, 3))
)");
    const std::string command = "/usr/bin/python3 '" + (folder.path() / "read.py").string() + "' '" +
                                (folder.path() / "song.mid").string() + "' > '" +
                                (folder.path() / "read.txt").string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string read = textOf(folder.path() / "read.txt");
    for (const char* line :
         {"key_signature D\n", "marker 'Intro' 2.5\n", "note_on 62 4.5\n", "note_off 62 4.999\n",
          "note_on 62 5.0\n", "text 'Dmaj7/F#' 2.5\n", "text 'Bm7' 5.75\n", "track_name 'Chords' 0.0\n"})
        EXPECT_THAT(read, HasSubstr(line));
}

TEST(MIDIFormat, TheClassicLayoutIsTheLibrarysFile) {
    const auto song = fullSong();
    const TemporaryFolder folder;
    ASSERT_TRUE(song->notes->exportToMIDIFileAtURL(
        folder.path() / "a.mid", song->recording.sampleRate,
        {{TarnNoteEntryStorageMIDIExportNotesOptionKey, true},
         {TarnNoteEntryStorageMIDIExportChordsOptionKey, true},
         {TarnNoteEntryStorageMIDITransposeAmountOptionKey, 2},
         {TarnNoteEntryStorageMIDITimingOptionKey, MIDIExportTiming::fixedTempo}},
        nullptr));
    EXPECT_EQ(written(*song, "midi", {{"layout", "classic"}, {"timing", "fixed"}, {"transpose", "2"}}),
              textOf(folder.path() / "a.mid"));
}

TEST(MIDIFormat, AnExportedFileIsReadBackAsTheSongItWas) {
    const auto song = fullSong();
    for (const char* timing : {"song", "fixed"}) {
        const std::string bytes = written(*song, "midi", {{"timing", timing}});
        for (const FormatOptions& options : {FormatOptions{}, FormatOptions{{"by", "grid"}}}) {
            const auto copy = copyOfSong(song);
            removeAll(*copy, "notes");
            EXPECT_EQ(readInto(*copy, "midi", bytes, options),
                      "3 notes replace 0; the track of chords was passed over (--channel 2 takes it)");
            EXPECT_EQ(test::notesOf(*copy), "Eb4@198450+22004 Eb4@220500+11025 G2@606375+66150")
                << timing << ": a repeated note is parted from the one before";
        }
    }
    const std::string classic = written(*song, "midi", {{"layout", "classic"}});
    EXPECT_THAT(readInto(*copyOfSong(song), "midi", classic), HasSubstr("3 notes replace 3; the track of"));
    const auto copy = copyOfSong(song);
    removeAll(*copy, "beats");
    EXPECT_EQ(readInto(*copy, "midi", written(*song, "midi"), {{"what", "beats"}}),
              "31 beats replace 0 (metre 4/4)");
    EXPECT_EQ(test::beatsOf(*copy), test::beatsOf(*song));
    EXPECT_THAT(test::messageOf<FormatRefused>([&] {
                    (void)readInto(*copy, "midi", written(*song, "midi", {{"timing", "seconds"}}),
                                   {{"what", "beats"}});
                }),
                HasSubstr("counts seconds, not beats"));
}

TEST(MIDIFormat, AShortFirstBarOfAnotherProgramIsAPickup) {
    // One quarter note of 1/4, then 4/4; a note in the pickup and one on the first bar.
    const char bytes[] = "MThd\0\0\0\6\0\0\0\1\0\x60MTrk\0\0\0\x21"
                         "\0\xFF\x58\4\1\2\x18\10\0\x90\x3C\1\x60\x80\x3C\0\0\xFF\x58\4\4\2\x18\10"
                         "\0\x90\x3E\1\x83\0\x80\x3E\0";
    const std::string file(bytes, sizeof bytes - 1);
    const auto song = test::sampleSong();
    (void)readInto(*song, "midi", file, {{"by", "grid"}});
    EXPECT_EQ(test::notesOf(*song), "C4@66150+22050 D4@88200+88200") << "bar 1 begins at 88200";
    EXPECT_EQ(readInto(*song, "midi", file, {{"what", "beats"}}), "5 beats replace 32 (metre 4/4)");
    EXPECT_EQ(test::beatsOf(*song), "0 11025 22050* 33075 44100 55125 66150 77175 88200 99225");
}

TEST(JAMSFormat, HoldsConfidencesAndWhoFoundWhat) {
    const auto song = fullSong();
    song->facts.engineVersion = "7";
    song->facts.overall["key"] = 0.5;
    song->facts.chords[song->notes->chordEntries()[1]->eventId()] = 0.25;
    const auto jams = nlohmann::json::parse(written(*song, "jams"));
    std::map<std::string, nlohmann::json> found;
    for (const auto& annotation : jams["annotations"])
        found[annotation["sandbox"]["content"]] = annotation;
    EXPECT_EQ(found["key"]["data"][0]["value"], "Eb:major");
    EXPECT_EQ(found["key"]["data"][0]["confidence"], 0.5);
    EXPECT_EQ(found["chords"]["namespace"], "chord");
    EXPECT_EQ(found["chords"]["data"][1]["value"], "Eb:maj7/3");
    EXPECT_EQ(found["chords"]["data"][1]["confidence"], nullptr);
    EXPECT_EQ(found["chords"]["data"][2]["confidence"], 0.25);
    EXPECT_EQ(found["chords"]["data"][2]["time"], 5.75);
    EXPECT_THAT(found["beats"]["annotation_metadata"]["annotation_tools"], HasSubstr("engine 7"));
    EXPECT_EQ(found["beats"]["data"][1]["value"], 1);
    EXPECT_EQ(jams["file_metadata"]["duration"], 20);
}

TEST(JAMSFormat, ReadsKeyTempoAndTheFirstOfSeveralAnnotations) {
    const auto song = fullSong();
    EXPECT_EQ(readInto(*song, "jams", R"({"annotations": [
        {"namespace": "key_mode", "data": [{"time": 0, "duration": 9, "value": "A:minor", "confidence": null}]},
        {"namespace": "tempo", "data": {"time": [0], "duration": [9], "value": [96.5], "confidence": [1]}},
        {"namespace": "segment_open", "data": [{"time": 1, "duration": 2, "value": "A"}]},
        {"namespace": "segment_open", "data": [{"time": 0, "duration": 2, "value": "B"}]}]})"),
              "1 sections replace 2 (the first of 2 annotations); key A minor; tempo 96.5");
    EXPECT_EQ(song->notes->globalKey()->description(), "A minor");
    EXPECT_EQ(sectionsOf(*song), "A/named:other@44100");
}

TEST(JAMSFormat, TitleAndArtistAreTheFiles) {
    const auto song = fullSong();
    EXPECT_EQ(readInto(*song, "jams",
                       R"({"annotations": [], "file_metadata": {"title": "So\nfar", "artist": ""}})"),
              "title 'So far'");
    EXPECT_EQ(song->properties.title, "So far");
    EXPECT_EQ(song->properties.artist, "Die {Band}");
}

TEST(JAMSFormat, TheSilenceAtTheStartKeepsItsConfidence) {
    const auto song = test::sampleSong();
    for (const auto& [frame, name] : {std::pair{0, "N.C."}, {88'200, "C"}, {176'400, "F"}})
        addChord(*song, frame, name);
    song->facts.chords[song->notes->chordEntries()[0]->eventId()] = 0.75;
    test::addTempo(*song, 120);
    song->record("Analysed");
    for (const char* format : {"jams", "lab", "musicxml", "chordpro", "chart"}) {
        const std::string first = written(*song, format);
        EXPECT_THAT(readInto(*song, format, first), HasSubstr("2 chords replace 2")) << format;
        song->record("Imported");
        EXPECT_EQ(written(*song, format), first);
        EXPECT_EQ(song->history.steps().size(), 1U) << format << ": nothing has changed";
    }
}

TEST(JAMSFormat, WhatAFileDoesNotKnowIsNoFault) {
    const auto song = fullSong();
    EXPECT_THROW((void)readInto(*song, "jams", R"({"annotations": [
        {"namespace": "chord", "data": []},
        {"namespace": "beat", "data": {"time": [], "duration": [], "value": []}}]})"),
                 FormatRefused);
    const auto read = [&](const std::string& space, const std::string& value) {
        return readInto(*song, "jams",
                        R"({"annotations": [{"namespace": ")" + space +
                            R"(", "data": [{"time": 0, "duration": 1, "value": )" + value + "}]}]}");
    };
    EXPECT_THAT(read("key_mode", R"("N")"), HasSubstr("the key stays"));
    EXPECT_EQ(song->notes->globalKey()->description(), "Eb major");
    EXPECT_THROW((void)read("key_mode", R"("H:minor")"), FormatError);
    EXPECT_THROW((void)read("tempo", "1e-300"), FormatError);
    EXPECT_EQ(test::messageOf<FormatError>([&] { (void)readInto(*song, "jams", "\xFF\xFE{"); }),
              "it is text in UTF-16; save it in UTF-8");
}

TEST(MusicXMLFormat, EveryChordOfTheTableComesBack) {
    for (const auto& definition : gChords) {
        const auto song = test::sampleSong();
        const auto chord = KELPChord::chordWithRoot(*KELPNote::noteWithString("Eb"), definition.intervals,
                                                    KELPNote::noteWithString("A#"));
        addChord(*song, 88200, chord->string().c_str());
        const auto copy = test::sampleSong();
        (void)readInto(*copy, "musicxml", written(*song, "musicxml"));
        EXPECT_EQ(chordsOf(*copy), chord->string() + "@88200");
    }
}

TEST(MusicXMLFormat, IsAScoreInBarsThatXMLToolsRead) {
    const auto song = fullSong();
    song->properties.capo = 3;
    const std::string score = written(*song, "musicxml");
    EXPECT_THAT(score, HasSubstr("<measure number=\"0\" implicit=\"yes\">"));
    EXPECT_THAT(score, HasSubstr("<rehearsal>Verse, 2</rehearsal>"));
    EXPECT_THAT(score, HasSubstr("<work-title>Über \"alles\" &amp; &lt;mehr&gt;</work-title>"));
    EXPECT_THAT(score, HasSubstr("<fifths>0</fifths>")) << "Eb is fingered as C above the third fret";
    EXPECT_THAT(written(*song, "musicxml", {{"concert", ""}}), HasSubstr("<fifths>-3</fifths>"));
    const TemporaryFolder folder;
    for (const char* format : {"musicxml", "svl"}) {
        writeText(folder.path() / "a.xml", written(*song, format));
        const std::string check = "xmllint --noout --nonet '" + (folder.path() / "a.xml").string() + "'";
        EXPECT_EQ(std::system(check.c_str()), 0) << format;
    }
}

TEST(MusicXMLFormat, TheTempoOfCompoundMetresCountsDottedQuarters) {
    const auto song = songInEighths(9000, 6, 0);
    EXPECT_THAT(written(*song, "jams"), HasSubstr("\"value\": 97.989")) << "60 * 44100 / (3 * 9001)";
    test::addTempo(*song, 98);
    const std::string score = written(*song, "musicxml");
    EXPECT_THAT(score, testing::ContainsRegex("<beat-unit-dot />[^<]*<per-minute>98.00<"));
    EXPECT_THAT(score, HasSubstr("<sound tempo=\"147.00\""));
}

TEST(MusicXMLFormat, MeasuresOfAnotherProgramMakeTheBars) {
    const auto song = test::sampleSong();
    const char* const score = R"(<!DOCTYPE score-partwise [<!ENTITY x SYSTEM "file:///etc/passwd">]>
<score-partwise><part id="P1">
<measure number="1"><attributes><divisions>2</divisions><time><beats>3</beats><beat-type>4</beat-type></time></attributes>
<harmony><root><root-step>G</root-step></root><kind>dominant</kind>
<degree><degree-value>9</degree-value><degree-alter>-1</degree-alter><degree-type>add</degree-type></degree></harmony>
<note><duration>2</duration></note>
<harmony><root><root-step>F</root-step><root-alter>1</root-alter></root><kind>half-diminished</kind></harmony>
<note><duration>4</duration></note></measure>
<measure number="2"><harmony><kind>none</kind><offset>3</offset></harmony><note><duration>6</duration></note></measure>
</part></score-partwise>)";
    EXPECT_EQ(readInto(*song, "musicxml", score), "3 chords replace 0; 2 bars follow the file's measures");
    EXPECT_EQ(chordsOf(*song), "G7b9@88200 F#m7b5@110250 N.C.@187425");
    EXPECT_EQ(SongPositions(*song).startOfBar(2), 88200 + 3 * 22050);
    EXPECT_EQ(SongPositions(*song).startOfBar(3), 88200 + 6 * 22050);
    const std::string wrong = std::string(score).replace(std::string(score).find("dominant"), 8, "unheard");
    EXPECT_THAT(readInto(*song, "musicxml", wrong), HasSubstr("measure 1: 'unheard' is not a kind of chord"));
    EXPECT_EQ(chordsOf(*song), "F#m7b5@110250 N.C.@187425");
}

TEST(ChordProFormat, IsASongSheetInGrids) {
    const auto song = test::sampleSong();
    song->properties = {"A {Song}", "", 2, 0};
    test::perform(*song, "key=D|add-chord D at 1:1|add-chord G at 2:3+|add-section Intro at 1:1|"
                         "add-section Verse at 6:1");
    EXPECT_EQ(written(*song, "chordpro"), "{title: A (Song)}\n{key: C}\n{capo: 2}\n{time: 4/4}\n\n"
                                          "{start_of_grid: label=\"Intro\"}\n"
                                          "| C . . . | C . . . . F . . | F . . . | F . . . |\n"
                                          "| F . . . |\n{end_of_grid}\n\n"
                                          "{start_of_grid: label=\"Verse\"}\n"
                                          "| F . . . | F . . . | F . . . |\n{end_of_grid}\n");
    EXPECT_THAT(written(*song, "chordpro", {{"concert", ""}}), HasSubstr("| D . . . | D . . . . G . . |"));
}

TEST(ChordProFormat, ReadsGridsOfOtherPrograms) {
    const auto song = test::sampleSong();
    EXPECT_EQ(
        readInto(
            *song, "chordpro",
            "{t:Song}\n[C]words of a song\n{soc}\n{sog: 1+4x2+4}\n# margin\nA || Am / / / |: C~G . | % :|\n"
            "|s dn up |\n{eog}\n"),
        "5 chords replace 0; 1 sections replace 0; repeats are not played out");
    EXPECT_EQ(chordsOf(*song), "Am@88200 C@176400 G@198450 C@264600 G@286650");
}

TEST(ChordProFormat, BarLinesMayTouchTheChords) {
    const auto song = test::sampleSong();
    (void)readInto(*song, "chordpro", "{sog}\n|A . . .|Bm . . . |C . . .||\n{eog}\n");
    EXPECT_EQ(chordsOf(*song), "A@88200 Bm@176400 C@264600");
}

namespace {

/// A score of measures of 4/4 with these contents; attributes come first of all.
std::string scoreOf(const std::vector<std::string>& measures, const std::string& attributes = "") {
    std::string score = "<score-partwise><part>";
    for (const std::string& content : measures)
        score += "<measure><attributes><divisions> 2\n</divisions>" + attributes +
                 "<time><beats>3+1</beats><beat-type>4</beat-type></time></attributes>" + content +
                 "<note><duration>8</duration></note></measure>";
    return score + "</part></score-partwise>";
}

std::string harmonyOf(const std::string& root, const std::string& rest) {
    return "<harmony><root><root-step> " + root + " </root-step></root>" + rest + "</harmony>";
}

} // namespace

TEST(MusicXMLFormat, ATransposingPartIsReadAsItSounds) {
    const std::string score =
        scoreOf({harmonyOf("D", "<kind>minor</kind>")}, "<transpose><chromatic>-2</chromatic></transpose>");
    const auto song = test::sampleSong();
    song->properties.capo = 5; // which is not the file's
    (void)readInto(*song, "musicxml", score);
    EXPECT_EQ(chordsOf(*song), "Cm@88200");
    (void)readInto(*song, "musicxml", score, {{"concert", ""}});
    EXPECT_EQ(chordsOf(*song), "Dm@88200");
    EXPECT_THAT(written(*song, "musicxml"),
                HasSubstr("<chromatic>5</chromatic>")); // fingered above the fifth fret
}

TEST(MusicXMLFormat, AChordThatCannotBeReadIsLeftOutAndTold) {
    const auto song = test::sampleSong();
    EXPECT_EQ(
        readInto(*song, "musicxml",
                 scoreOf({harmonyOf("C", "<kind> major\n</kind>"), harmonyOf("F", "<kind>foo</kind>"),
                          harmonyOf("G", "<kind text='7'>foo</kind>"),
                          "<harmony><root><root-step>A</root-step></root><kind>minor</kind>"
                          "<root><root-step>D</root-step></root><kind>major</kind></harmony>"})),
        "3 chords replace 0; 1 chords that cannot be read were left out (measure 2: 'foo' is not a kind "
        "of chord that can be read); of several chords in one place the first was taken, 1 times");
    EXPECT_EQ(chordsOf(*song), "C@88200 G7@264600 Am@352800");
    EXPECT_EQ(
        test::messageOf<FormatError>([&] {
            (void)readInto(*song, "musicxml", scoreOf({"", "<forward><duration>x</duration></forward>"}));
        }),
        "measure 2: 'x' is not a valid <duration>");
}

TEST(MusicXMLFormat, APickupThatTheSongLacksIsAddedBeforeItsFirstBeat) {
    const auto pickup = fullSong();
    pickup->notes->shiftDownbeatsByOffset(2); // of two beats
    const std::string score = written(*pickup, "musicxml", {{"concert", ""}});
    const auto song = test::sampleSong();
    EXPECT_THAT(readInto(*song, "musicxml", score),
                HasSubstr("2 beats were added before bar 1 for the pickup"));
    EXPECT_EQ(test::beatsOf(*song).substr(0, 36), "44100 55125 66150 77175 88200* 99225");
    const auto atStart = std::make_shared<Song>(Recording{"a.wav", 44100, 400'000, "a"});
    atStart->notes->setTimeSignature(4, 4);
    test::addBeats(*atStart, {.first = 0, .spacing = 11025, .count = 32, .perBar = 8});
    EXPECT_THAT(readInto(*atStart, "musicxml", score), testing::Not(HasSubstr("were added")));
}

TEST(MusicXMLFormat, KeysOfManySharpsAreWrittenUnderTheirOtherName) {
    const auto song = test::sampleSong();
    song->notes->overrideGlobalKey(KELPKey::makeWithTonicChord(KELPChord::chordWithString("G#")));
    addChord(*song, 88200, "D#");
    const std::string score = written(*song, "musicxml");
    EXPECT_THAT(score, HasSubstr("<fifths>-4</fifths>"));
    EXPECT_THAT(score, HasSubstr("<root-step>E</root-step>")) << "as Eb, not as D#";
}

TEST(MusicXMLFormat, ChordsMayStandInAnyPartAndAreNotLostWithoutOne) {
    const auto song = test::sampleSong();
    const std::string measure =
        "<measure number='1'><attributes><divisions>1</divisions><time><beats>4</beats>"
        "<beat-type>4</beat-type></time></attributes>%<note><duration>4</duration>"
        "</note></measure>";
    const auto score = [&](const std::string& harmony) {
        const std::size_t place = measure.find('%');
        const auto partWith = [&](const std::string& symbols) {
            return "<part>" + std::string(measure).replace(place, 1, symbols) + "</part>";
        };
        return "<score-partwise>" + partWith("") + partWith(harmony) + "</score-partwise>";
    };
    (void)readInto(*song, "musicxml",
                   score("<harmony><root><root-step>C</root-step></root><kind>major</kind></harmony>"));
    EXPECT_EQ(chordsOf(*song), "C@88200");
    EXPECT_THAT(readInto(*song, "musicxml", score("")), HasSubstr("the chords stay"));
    EXPECT_EQ(chordsOf(*song), "C@88200");
}

TEST(ChordProFormat, CapoAndKeyOfTheFileHold) {
    const auto song = test::sampleSong();
    EXPECT_EQ(readInto(*song, "chordpro", "{capo: 2}\n{key: G}\n{sog}\n| G . Em . | C~D |\n{eog}\n"),
              "4 chords replace 0; capo 2; key A major");
    EXPECT_EQ(chordsOf(*song), "A@88200 F#m@132300 D@176400 E@220500");
    EXPECT_EQ(song->properties.capo, 2);
    EXPECT_EQ(readInto(*song, "chordpro", "{transpose: +1}\n{sog}\n| G |\n{eog}\n"), "1 chords replace 4");
    EXPECT_EQ(chordsOf(*song), "Ab@88200") << "a file without a capo has none";
    EXPECT_THAT(test::messageOf<FormatError>(
                    [&] { (void)readInto(*song, "chordpro", "{capo: II}\n{sog}\n| G |\n{eog}\n"); }),
                HasSubstr("'II' is not a valid {capo}"));
}

TEST(ChordProFormat, SignsBesideChordsAreNotChords) {
    const auto song = test::sampleSong();
    EXPECT_THAT(readInto(*song, "chordpro",
                         "{start_of_intro}\n{start_of_grid-guitar: 4x4}\n"
                         "| C . % . | Am . . *break | % . . . | %% . . . | . . . . | [*let ring] G . . |\n"
                         "{end_of_grid-guitar}\n{start_of_verse-!piano label='One \"two\"'}\n"
                         "{sog}\n| F |\n{eog}\n"),
                HasSubstr("4 chords replace 0; 2 sections replace 0"));
    EXPECT_EQ(chordsOf(*song), "C@88200 Am@176400 G@551250 F@617400");
    EXPECT_THAT(sectionsOf(*song), testing::StartsWith("Intro/named:other@88200 One \"two\"/"));
}

TEST(ChordProFormat, SaysWhatIsMissing) {
    const auto song = test::sampleSong();
    const auto error = [&](const char* text) {
        return test::messageOf<FormatError>([&] { (void)readInto(*song, "chordpro", text); });
    };
    EXPECT_THAT(error("[C]words\n"), HasSubstr("do not say where bars begin"));
    EXPECT_EQ(error("{sog}\n| C | Hm |\n"), "'Hm' is not a valid chord");
    EXPECT_EQ(error("{sog}\n| % |\n"), "there is no bar to repeat");
}

TEST(ChartFormat, KeyAndChordsAreThoseThatArePlayed) {
    const auto song = fullSong();
    song->properties.capo = 3;
    EXPECT_THAT(written(*song, "chart"), testing::AllOf(HasSubstr("Key        C major"), HasSubstr("Cmaj7/E"),
                                                        HasSubstr("Capo       3")));
    EXPECT_THAT(written(*song, "chart", {{"concert", ""}}),
                testing::AllOf(HasSubstr("Key        Eb major"), HasSubstr("Ebmaj7/G"),
                               testing::Not(HasSubstr("Capo"))));
}

TEST(ChartFormat, ChordsOutsideTheBarsComeBackAndNamesAreNoRows) {
    const auto song = test::sampleSong();
    for (const auto& [frame, name] :
         {std::pair{0, "C"}, {10'000, "F"}, {44'100, "G"}, {88'200, "Am"}, {850'000, "D"}, {870'000, "E"}})
        addChord(*song, frame, name);
    song->notes->insertMarkerEntry(176'400);
    song->notes->markerEntries()[0]->setName("1 0:02 | Bb |");
    const std::string chart = written(*song, "chart");
    const auto copy = copyOfSong(song);
    removeAll(*copy, "chords");
    EXPECT_EQ(readInto(*copy, "chart", chart), "6 chords replace 0, 5 of them outside the bars");
    EXPECT_EQ(written(*copy, "chart"), chart);
}

TEST(LabelsFormat, ReadsWhatAudacityWrites) {
    const auto song = test::sampleSong();
    EXPECT_EQ(readInto(*song, "labels",
                       "1.000000\t2.000000\tIntro\n\\\t100.0\t200.0\n2.5\t4.0\t5 bars of verse\n",
                       {{"what", "regions"}}),
              "2 regions replace 0");
    EXPECT_EQ(test::regionsOf(*song), "Intro[44100,88200) 5 bars of verse[110250,176400)");
    EXPECT_EQ(readInto(*song, "labels", "1.000000\t1.000000\n2.000000\t2.000000\n", {{"what", "beats"}}),
              "2 beats replace 32 (metre 4/4); assumed: 4 beats to a bar (the document's metre) and bar 1 at "
              "beat 2 of the list (the document's downbeats)");
    EXPECT_EQ(readInto(*song, "labels", "1.5\n3\n", {{"what", "markers"}}), "2 markers replace 0");
}

TEST(SVLFormat, LayersOfOtherRatesKeepTheirTimes) {
    const auto song = test::sampleSong();
    EXPECT_EQ(
        readInto(*song, "svl",
                 R"(<sv><data><model id="3" sampleRate="22050" type="sparse" dimensions="1" dataset="2"/>
<dataset id="2" dimensions="1"><point frame="22050" label="1.1"/><point frame="33075" label="1.2"/>
<point frame="44100" label="2.1"/></dataset></data></sv>)",
                 {{"what", "beats"}}),
        "3 beats replace 32 (metre 2/4)");
    EXPECT_EQ(test::beatsOf(*song), "44100* 55125 66150 77175 88200* 99225");
}

} // namespace tarn
