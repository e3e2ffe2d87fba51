#include "Platform/FileManager.h"
#include "Platform/KeyedArchive.h"
#include "Tests/Programs/ProgramTest.h"
#include "Tests/Song/SongTexts.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace tarn::program {

using nlohmann::json;
using test::addChord;
using testing::HasSubstr;
using testing::Not;

namespace {

/// Expects these values at these places.
void expectValues(const json& printed, const std::string& values) {
    for (const auto& [place, value] : pairsOf(values))
        EXPECT_EQ(printed.at(json::json_pointer(place)), json::parse(value)) << place;
}

} // namespace

TEST_F(ProgramTest, showDrawsTheChartOfADocument) {
    saveSmallDocument();
    EXPECT_EQ(outputOf({"show", "small.tarn"}), R"(Recording  small.wav, 0:17, 44100 Hz
Tempo      120.0 BPM
Metre      4/4
Key        C major
Tuning     A4 = 442.0 Hz (+7.9 cents)
Bars       8

[Intro]
   1    0:00 | C / / /  | C / / /  |

[Song]
   3    0:04 | F / / /  | F / Am / | G / / /  | G / / /  |
   7    0:12 | C / / /  | C / / /  |

Regions
  Verse             bar 3 beat 1 (0:04.5) to bar 7 beat 1 (0:12.5)

Markers
  Solo              bar 5 beat 3 (0:09.5)
)");
}

TEST_F(ProgramTest, chartsAndPicturesFollowTheCapoUnlessTheyAreAtConcertPitch) {
    saveSmallDocument();
    ASSERT_EQ(tarn({"edit", "small.tarn", "capo=3"}).status, 0);
    const auto chart = outputOf({"show", "small.tarn"});
    EXPECT_THAT(chart, HasSubstr("\nKey        A major, recorded in C major\n"));
    EXPECT_THAT(chart, HasSubstr("\nCapo       3\n"));
    EXPECT_THAT(chart, HasSubstr("| A / / /"));
    const auto sounding = outputOf({"show", "small.tarn", "--concert"});
    EXPECT_THAT(sounding, HasSubstr("\nKey        C major\n"));
    EXPECT_THAT(sounding, Not(HasSubstr("Capo")));
    EXPECT_THAT(sounding, HasSubstr("| C / / /"));
    ASSERT_EQ(tarn({"draw", "small.tarn", "played.svg"}).status, 0);
    ASSERT_EQ(tarn({"draw", "small.tarn", "sounding.svg", "--concert"}).status, 0);
    EXPECT_THAT(read("played.svg"), HasSubstr(">A major   ·   Capo 3   ·"));
    EXPECT_THAT(read("sounding.svg"), HasSubstr(">C major   ·"));
}

TEST_F(ProgramTest, annotationsWithoutARecordingAreShownAndDrawn) {
    const auto song = test::sampleSong();
    const auto notes = KeyedArchiver::archivedData(song->notes);
    ASSERT_TRUE(FileManager::writeAtomically(notes, folder / "alone.tarn"));
    EXPECT_TRUE(outputOf({"show", "alone.tarn"}).starts_with("Recording  none, 0:17, 44100 Hz\n"));
    const auto drawn = tarn({"draw", "alone.tarn", "alone.html"});
    EXPECT_EQ(drawn.status, 0);
    EXPECT_EQ(drawn.errors, "");
    EXPECT_THAT(read("alone.html"), Not(HasSubstr("<audio")));
}

TEST_F(ProgramTest, theChartPutsChordsOnTheNearestBeatAndTellsPickupsAndWhatLiesOutsideTheBars) {
    const auto song = std::make_shared<Song>(Recording{"waltz.wav", 1000, 10000, "waltz"});
    song->notes->setTimeSignature(3, 4);
    // A pickup of one beat at 2000, then two bars of three; tatums every 250 frames.
    test::addBeats(*song, {.first = 2000, .spacing = 250, .count = 14, .perBar = 6, .pickup = 2});
    const std::pair<std::int64_t, const char*> chords[] = {{0, "N.C."},  {500, "Em"},  {1000, "B7"},
                                                           {2490, "C"},  {3249, "F"},  {3250, "G"},
                                                           {4900, "Dm"}, {5100, "E7"}, {9000, "A"}};
    for (const auto& [location, name] : chords)
        addChord(*song, location, name);
    Song::save(song, folder / "waltz.tarn");
    const auto chart = tarn({"show", "waltz.tarn"}).output;
    EXPECT_EQ(chart.substr(chart.find("\n\n") + 2), "        0:00 | Em        |\n"
                                                    "   0    0:02 | B7        | C F G     | G / Dm,E7 |\n"
                                                    "        0:09 | A         |\n");
}

TEST_F(ProgramTest, theChartOfADocumentWithoutBarsListsTimes) {
    const auto song = std::make_shared<Song>(Recording{"free.wav", 1000, 90000, "free"});
    addChord(*song, 61500, "Bb7");
    song->structure->renameSection(song->structure->createNewSection(2000), "Ru\n\x1b[1mbato");
    song->notes->insertMarkerEntry(100)->setName("B");
    song->notes->insertMarkerEntry(200)->setName("Größe");
    Song::save(song, folder / "free.tarn");
    EXPECT_EQ(tarn({"show", "free.tarn"}).output, R"(Recording  free.wav, 1:30, 1000 Hz
Tempo      unknown
Metre      unknown
Key        unknown
Tuning     unknown
Bars       unknown

Sections
     0:02.0  Ru  [1mbato

Chords
     1:01.5  Bb7

Markers
  B                 0:00.1
  Größe             0:00.2
)");
}

TEST_F(ProgramTest, entriesThatShareAnIdentifierAreShownAndEditedLikeOthers) {
    const auto song = std::make_shared<Song>(Recording{"twins.wav", 1000, 16000, "twins"});
    song->notes->setTimeSignature(2, 4);
    std::vector<std::shared_ptr<TarnBeatEntry>> beats;
    std::vector<std::shared_ptr<TarnChordEntry>> chords;
    for (int i = 0; i < 16; ++i) {
        beats.push_back(std::make_shared<TarnBeatEntry>(1));
        beats.back()->setLocation(1000 * i);
        beats.back()->setDownbeat(i % 4 == 0);
        chords.push_back(std::make_shared<TarnChordEntry>(1));
        chords.back()->setLocation(1000 * i);
        chords.back()->setChord(KELPChord::chordWithString(i % 8 == 0 ? "C" : "F"));
    }
    song->notes->addBeatEntriesFromArray(beats);
    song->notes->addChordEntriesFromArray({chords[0], chords[4]});
    Song::save(song, folder / "twins.tarn");
    EXPECT_NE(outputOf({"show", "twins.tarn"}).find("| C / | F / | F / | F / |"), std::string::npos);
    EXPECT_EQ(
        outputOf({"edit", "twins.tarn", "move-bar 3 to 8.2s", "bar-beats 2 = 3", "remove-chord at 1:1"}),
        "bar 3 begins at @8200 (was @8000)\nbar 2 has 3 beats (was 2)\nchord C at 1:1 removed\n");
    EXPECT_NE(outputOf({"show", "twins.tarn"}).find("| / /   | F / / | F /   | F /   |"), std::string::npos);
}

TEST_F(ProgramTest, namesDoNotSteerTheTerminal) {
    const std::string name = "a\x1b[2J\xC2\x9B\xE2\x80\xAE\xFF"
                             "\xC3\xA9";
    const auto song = std::make_shared<Song>(Recording{name + ".wav", 1000, 1000, "a"});
    song->notes->insertMarkerEntry(100)->setName(name);
    Song::save(song, folder / "a.tarn");
    const std::string clean = "a [2J  \xEF\xBF\xBD\xC3\xA9";
    const auto chart = outputOf({"show", "a.tarn"});
    EXPECT_NE(chart.find(clean + ".wav"), std::string::npos) << chart;
    EXPECT_NE(chart.find("  " + clean), std::string::npos) << chart;
    EXPECT_EQ(outputOf({"edit", "a.tarn", "add-section \"" + name + "\" at start", "--dry-run"}),
              "section \"" + clean + "\" (other) added at start\ndry run: a.tarn is unchanged\n");
    EXPECT_NE(tarn({"draw", "a.tarn", "a.svg"}).errors.find(clean + ".wav: "), std::string::npos);
    expectFailure(tarn({"show", name + "\n.tarn"}), 3, clean + " .tarn: ");
    expectFailure(tarn({"show", "a.tarn", name}), 2, clean);
    const auto printed = outputOf({"show", "a.tarn", "--json"});
    EXPECT_EQ(printed.find_first_of("\x1b\x9b"), std::string::npos);
    EXPECT_EQ(json::parse(printed)["markers"][0]["name"], "a\x1b[2J\xC2\x9B\xE2\x80\xAE\xEF\xBF\xBD\xC3\xA9");
}

TEST_F(ProgramTest, showPrintsTheWholeDocumentAsJSON) {
    saveSmallDocument();
    const auto song = json::parse(outputOf({"show", "small.tarn", "--json"}));
    EXPECT_EQ(song["beats"].size(), 64u);
    EXPECT_EQ(song["countedBeats"].size(), 32u);
    EXPECT_EQ(song["chords"].size(), 5u);
    expectValues(song,
                 R"(/sampleRate=44100 /frameCount=749700 /standardPitch={"frequency":442.0} )"
                 R"(/key={"name":"C","root":0,"minor":false} /tempo=120.0 )"
                 R"(/timeSignature={"numerator":4,"denominator":4} /countedBeats/1=44100 )"
                 R"(/beats/8={"id":9,"location":110250,"downbeat":true,"seconds":2.5} /chords/2/name="Am" )"
                 R"(/chords/2/root=9 /chords/2/bass=9 /chords/2/intervals=[0,3,7] )"
                 R"(/regions/0/kind="verse" /regions/0/name="Verse" /regions/0/length=352800 )"
                 R"(/sections/1/name="Song" /sections/1/color="named:other" /markers/0/name="Solo" )"
                 R"(/notes/0/name="E4" /notes/0/pitchClass=4)");
}

TEST_F(ProgramTest, jsonTellsTheBeatsThatListenersCountAmongEighths) {
    const auto countedIn = [&](std::uint8_t numerator, int count, int pickup) {
        const auto song = std::make_shared<Song>(Recording{"a.wav", 1000, 100, "a"});
        song->notes->setTimeSignature(numerator, 8);
        test::addBeats(*song,
                       {.first = 0, .spacing = 1, .count = count, .perBar = numerator, .pickup = pickup});
        Song::save(song, folder / "eighths.tarn");
        return json::parse(outputOf({"show", "eighths.tarn", "--json"}))["countedBeats"];
    };
    EXPECT_EQ(countedIn(6, 14, 1), json({1, 4, 7, 10, 13}));
    EXPECT_EQ(countedIn(12, 16, 3), json({0, 3, 6, 9, 12, 15}));
    EXPECT_EQ(countedIn(7, 16, 2), json({0, 2, 4, 6, 9, 11, 13}));
    EXPECT_EQ(countedIn(5, 10, 0), json({0, 2, 5, 7}));
    EXPECT_EQ(countedIn(3, 6, 0), json({0, 3}));
}

TEST_F(ProgramTest, jsonSaysNullForWhatIsUnknownAndPrintsShortNumbers) {
    const auto song = std::make_shared<Song>(Recording{"a.wav", 11025.5, 10, "a"});
    for (const char* name : {"N.C.", "C/E", "F#m7b5"})
        addChord(*song, 0, name);
    test::addTempo(*song, 119.97f);
    song->notes->addRegionEntry(song->notes->newRegionEntry());
    Song::save(song, folder / "a.tarn");
    const auto run = tarn({"show", "a.tarn", "--json"});
    EXPECT_NE(run.output.find("\"tempo\":119.97,"), std::string::npos) << run.output;
    expectValues(json::parse(run.output),
                 R"(/sampleRate=11025.5 /standardPitch=null /key=null /timeSignature=null )"
                 R"(/chords/0/root=null /chords/0/bass=null /chords/1/bass=4 /chords/2/intervals=[0,3,6,10] )"
                 R"(/regions/0/kind="region" /regions/0/name=null)");
}

TEST_F(ProgramTest, showNamesTheDocumentThatItCannotOpen) {
    expectFailure(tarn({"show", "missing.tarn"}), 3, "missing.tarn");
    write("text.tarn", "no archive");
    expectFailure(tarn({"show", "text.tarn"}), 4, "text.tarn");
    saveSmallDocument();
    const std::string whole = read("small.tarn");
    write("cut.tarn", whole.substr(0, whole.size() / 2));
    expectFailure(tarn({"show", "cut.tarn"}), 4, "cut.tarn");
    std::filesystem::create_directory(folder / "folder.tarn");
    expectFailure(tarn({"show", "folder.tarn"}), 3, "folder.tarn");
}

TEST_F(ProgramTest, aWrongCommandLineHasAnExitStatusOfItsOwn) {
    for (const char* line : {"", "sing", "show", "show a.tarn --loud", "chords", "chords C D",
                             "draw a.tarn a.svg --width nan"}) {
        const auto run = tarn(partsOf(line));
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_NE(run.errors, "");
    }
    write("-dash.mp3", "");
    expectFailure(tarn({"analyze", "-dash.mp3"}), 2, "write ./-dash.mp3");
    expectFailure(tarn({"analyze", "a.mp3", "b.mp3"}), 2, "b.mp3: one song at a time");
}

TEST_F(ProgramTest, chordsListsWhatATextMayMean) {
    const auto chords = outputOf({"chords", "F#m7"});
    EXPECT_TRUE(chords.starts_with("F#m7 ")) << chords;
    EXPECT_NE(chords.find("F# A C# E\n"), std::string::npos) << chords;
    EXPECT_EQ(tarn({"chords", "G/"}).output, "G/B   B G D\nG/D   D G B\n");
    EXPECT_EQ(outputOf({"chords", "C/g"}), "C/G   G C E\n");
    EXPECT_EQ(outputOf({"chords", "N.C."}), "N.C.   no chord\n");
    expectFailure(tarn({"chords", "x"}), 2, "'x'");
}

TEST_F(ProgramTest, cacheKeepsWhatWasUsedLastAndTouchesNothingElse) {
    const std::string first(64, 'a'), second(64, 'b'), third(64, 'c');
    const std::string caches = ".caches/tarn/Tarn/";
    const std::string others[] = {".caches/Tarn/Waveforms/" + first + ".waveform", // an application's
                                  caches + "Waveforms/" + first + ".spectrogram",
                                  caches + "Waveforms/song.waveform", caches + "keep"};
    for (const auto& file : others)
        write(file, "kept");
    const std::string files[] = {"Waveforms/" + first + ".waveform", "Waveforms/" + second + ".waveform",
                                 "Chords/" + third + ".chordScores"};
    int age = 3;
    for (const auto& file : files) {
        write(caches + file, std::string(1500, 'x'));
        std::filesystem::last_write_time(folder / (caches + file),
                                         std::filesystem::file_time_type::clock::now() -
                                             std::chrono::hours(age--));
    }
    const auto left = [&] {
        return std::count_if(std::begin(files), std::end(files),
                             [&](const auto& file) { return !read(caches + file).empty(); });
    };
    const auto told = outputOf({"cache"});
    EXPECT_NE(told.find(caches + "Waveforms  2 files, 3.0 kB\n"), std::string::npos) << told;
    EXPECT_EQ(tarn({"cache", "--max-size", "4500"}).status, 0);
    EXPECT_EQ(left(), 3);
    EXPECT_EQ(tarn({"cache", "--max-size", "3kB"}).status, 0);
    EXPECT_EQ(left(), 2);
    EXPECT_EQ(read(caches + files[0]), "");
    EXPECT_EQ(tarn({"cache", "--clear"}).status, 0);
    EXPECT_EQ(left(), 0);
    for (const auto& file : others)
        EXPECT_EQ(read(file), "kept") << file;
}

} // namespace tarn::program
