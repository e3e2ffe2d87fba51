#include "Platform/SHA256.h"
#include "Programs/demo/DemoSong.h"
#include "Tests/Platform/Texts.h"
#include "Tests/Programs/ProgramTest.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <span>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace tarn::program {

using nlohmann::json;

namespace {

demo::Song sixteenBars() {
    demo::Song song;
    song.tempo = 112;
    song.standardPitch = 432;
    song.chords = partsOf("G Em C D G Bm Am7 D7 G Em C D G Bm Am7 D7");
    return song;
}

demo::Song fourBars() {
    demo::Song song;
    song.chords = {"C", "F", "G", "C"};
    return song;
}

void record(const demo::Song& song, const std::filesystem::path& file, int channels = 1) {
    ASSERT_TRUE(demo::writeRecording(file, demo::render(song), song.sampleRate, channels)) << file;
}

/// The share of the true places that have a found one within 70 ms.
double shareFound(const std::vector<std::int64_t>& found, const std::vector<std::int64_t>& places, int rate) {
    const auto isFound = [&](std::int64_t place) {
        return std::any_of(found.begin(), found.end(), [&](std::int64_t f) {
            return std::abs(static_cast<double>(f - place)) <= 0.07 * rate;
        });
    };
    return static_cast<double>(std::count_if(places.begin(), places.end(), isFound)) /
           static_cast<double>(places.size());
}

/// The share of the bars in whose middle the chord that was found has the right root.
double shareOfRightRoots(const json& found, const demo::Song& song) {
    int right = 0;
    for (std::size_t bar = 0; bar < song.chords.size(); ++bar) {
        const auto middle = song.frameOfBeat(static_cast<std::int64_t>(bar) * song.beatsPerBar + 2);
        json root;
        for (const auto& chord : found["chords"]) {
            if (chord["location"] <= middle)
                root = chord["root"];
        }
        right += root == KELPChord::chordWithString(song.chords[bar])->root().value() ? 1 : 0;
    }
    return right / static_cast<double>(song.chords.size());
}

} // namespace

TEST_F(ProgramTest, analyzeFindsWhatIsTrueOfARecording) {
    const auto song = sixteenBars();
    std::filesystem::create_directory(folder / "Über uns");
    record(song, folder / "Über uns" / "mein Lied №1.wav", 2);
    const auto output = outputOf({"analyze", "Über uns/mein Lied №1.wav", "--json", "--midi",
                                  "Über uns/Notiz.mid", "--picture", "Über uns/Bild.svg"});
    EXPECT_EQ(filesIn("Über uns"),
              (std::vector<std::string>{"Bild.svg", "Notiz.mid", "mein Lied №1.tarn", "mein Lied №1.wav"}));
    EXPECT_EQ(read("Über uns/Notiz.mid").substr(0, 4), "MThd");
    EXPECT_NE(read("Über uns/Bild.svg").find("<svg"), std::string::npos);
    EXPECT_EQ(tarn({"show", "Über uns/mein Lied №1.tarn", "--json"}).output, output);
    EXPECT_EQ(outputOf({"draw", "Über uns/mein Lied №1.tarn", "drawn.svg"}), "drawn.svg\n");
    EXPECT_NE(read("drawn.svg").find("class=\"peaks\""), std::string::npos);

    const auto document = Song::open(folder / "Über uns/mein Lied №1.tarn");
    EXPECT_EQ(document->recording.fileName, "mein Lied №1.wav");
    EXPECT_EQ(document->recording.identifier.size(), 36u);

    const auto found = json::parse(output);
    EXPECT_EQ(found["frameCount"], song.frameCount());
    EXPECT_NEAR(found["tempo"], song.tempo, 1);
    EXPECT_NEAR(found["standardPitch"]["frequency"], song.standardPitch, 1);
    EXPECT_EQ(found["timeSignature"], json({{"numerator", 4}, {"denominator", 4}}));
    EXPECT_EQ(found["key"]["name"], "G");
    std::vector<std::int64_t> beats;
    for (std::int64_t beat = 0; beat < 64; ++beat)
        beats.push_back(song.frameOfBeat(beat));
    EXPECT_GE(shareFound(found["countedBeats"], beats, song.sampleRate), 0.9);
    EXPECT_GE(shareFound(beats, found["countedBeats"], song.sampleRate), 0.9);
    EXPECT_GE(shareOfRightRoots(found, song), 0.9);
}

TEST_F(ProgramTest, analyzeWritesEighthsInCompoundMetre) {
    demo::Song song;
    song.tempo = 66;
    song.beatsPerBar = 2;
    song.partsPerBeat = 3;
    song.chords = partsOf("C Am F G C Em F G C Am F G C Em F G");
    record(song, folder / "song.wav");
    const auto found = json::parse(outputOf({"analyze", "song.wav", "--json"}));
    EXPECT_EQ(found["timeSignature"], json({{"numerator", 6}, {"denominator", 8}}));
    EXPECT_NEAR(found["tempo"], 66, 0.1);
    const double eighth = song.sampleRate * 60 / song.tempo / 3;
    ASSERT_GE(found["beats"].size(), 90u);
    std::vector<std::int64_t> downbeats, bars, counted;
    for (const auto& beat : found["beats"])
        if (beat["downbeat"])
            downbeats.push_back(beat["location"]);
    for (std::int64_t beat = 0; beat < 32; ++beat)
        (beat % 2 == 0 ? bars : counted).push_back(song.frameOfBeat(beat));
    counted.insert(counted.end(), bars.begin(), bars.end());
    EXPECT_GE(shareFound(downbeats, bars, song.sampleRate), 0.9);
    EXPECT_GE(shareFound(found["countedBeats"], counted, song.sampleRate), 0.9);
    EXPECT_GE(shareFound(counted, found["countedBeats"], song.sampleRate), 0.9);
    for (std::size_t i = 1; i + 1 < found["beats"].size(); ++i)
        EXPECT_NEAR(found["beats"][i]["location"].get<double>() -
                        found["beats"][i - 1]["location"].get<double>(),
                    eighth, 0.2 * eighth);

    // In a document that somebody has put into quarters, the same beats have two entries.
    const auto document = Song::open(folder / "song.tarn");
    document->notes->removeBeatEntriesInArray(document->notes->beatEntries());
    document->notes->setTimeSignature(2, 4);
    Song::save(document, folder / "song.tarn");
    const auto again = json::parse(outputOf({"analyze", "song.wav", "--json"}));
    EXPECT_EQ(again["timeSignature"], json({{"numerator", 2}, {"denominator", 4}}));
    EXPECT_NEAR(static_cast<double>(again["beats"].size()),
                2.0 / 3 * static_cast<double>(found["beats"].size()), 3);
    EXPECT_GE(shareFound(again["countedBeats"], counted, song.sampleRate), 0.9);
}

TEST_F(ProgramTest, analyzeAddsWhatIsMissingAndReplacesTheRestOnlyWhenForced) {
    record(sixteenBars(), folder / "song.wav");
    const auto first = outputOf({"analyze", "song.wav"});
    for (const char* line : {"Detecting chords\n", "\nTempo      11", "\nMetre      4/4\n",
                             "\nKey        G major\n", "\nTuning     A4 = 43", "\nBars       1",
                             "\nConfidence beats ", "\nChords     G Em C D", "\nDocument   song.tarn\n"})
        EXPECT_NE(first.find(line), std::string::npos) << line << first;

    ASSERT_EQ(tarn({"edit", "song.tarn", "change-chord at end to F#dim7", "add-marker at 1s"}).status, 0);
    auto document = Song::open(folder / "song.tarn");
    const auto chordCount = document->notes->chordEntries().size();
    document->notes->removeKeyEntriesInArray(document->notes->keyEntries());
    document->notes->removeBeatEntriesInArray(document->notes->beatEntries());
    document->notes->setTimeSignature(2, 4);
    Song::save(document, folder / "song.tarn");
    const auto identifier = document->recording.identifier;

    ASSERT_EQ(tarn({"analyze", "song.wav"}).status, 0);
    document = Song::open(folder / "song.tarn");
    EXPECT_EQ(document->recording.identifier, identifier);
    EXPECT_EQ(document->notes->chordEntries().back()->chord()->string(), "F#dim7");
    ASSERT_TRUE(document->notes->globalKey());
    EXPECT_EQ(document->notes->timeSignature(), (TimeSignature{2, 4}));
    // The bars follow the time signature that the document had.
    const auto beats = document->notes->beatEntries();
    const auto downbeatCount =
        std::count_if(beats.begin(), beats.end(), [](const auto& beat) { return beat->isDownbeat(); });
    EXPECT_NEAR(static_cast<double>(downbeatCount), 32, 2);

    const auto complete = read("song.tarn");
    ASSERT_EQ(tarn({"analyze", "song.wav"}).status, 0);
    EXPECT_EQ(read("song.tarn"), complete);

    EXPECT_NE(outputOf({"analyze", "song.wav", "--force"}).find("kept as song.tarn~\n"), std::string::npos);
    EXPECT_TRUE(read("song.tarn~") == complete);
    document = Song::open(folder / "song.tarn");
    EXPECT_EQ(document->notes->chordEntries().size(), chordCount);
    EXPECT_NE(document->notes->chordEntries().back()->chord()->string(), "F#dim7");
    EXPECT_EQ(document->notes->timeSignature(), (TimeSignature{4, 4}));
    EXPECT_EQ(document->notes->keyEntries().size(), 1u);
    EXPECT_EQ(document->notes->standardPitchEntries().size(), 1u);
    EXPECT_EQ(document->notes->tempoEntries().size(), 1u);
    EXPECT_EQ(document->notes->markerEntries().size(), 1u);

    // The whole analysis is one step.
    EXPECT_EQ(outputOf({"undo", "song.tarn"}), "undone: Analysed again\n");
    EXPECT_EQ(Song::open(folder / "song.tarn")->notes->chordEntries().back()->chord()->string(), "F#dim7");
    EXPECT_EQ(outputOf({"redo", "song.tarn"}), "redone: Analysed again\n");

    // Beats before the recording, as a count-in has them, say nothing about its chords.
    auto& notes = *document->notes;
    const auto earlier = notes.mutableCopiesOfUserEntriesInArray(notes.beatEntries());
    for (const auto& beat : earlier)
        beat->setLocation(beat->location() - 3 * 44100);
    notes.replaceBeatEntriesInArrayWithBeatEntriesInArray(notes.beatEntries(), earlier);
    notes.removeChordEntriesInArray(notes.chordEntries());
    Song::save(document, folder / "song.tarn");
    ASSERT_EQ(tarn({"analyze", "song.wav"}).status, 0);
    EXPECT_FALSE(Song::open(folder / "song.tarn")->notes->chordEntries().empty());
}

TEST_F(ProgramTest, aDocumentBelongsToARecordingByItsSound) {
    auto other = fourBars();
    other.chords = {"D", "Em", "A", "Bm"};
    record(fourBars(), folder / "song.wav");
    record(fourBars(), folder / "song.flac");
    record(other, folder / "other.wav");
    ASSERT_EQ(read("song.wav").size(), read("other.wav").size());
    std::filesystem::copy(folder / "song.wav", folder / "renamed.wav");

    // A document of an older program, which knows the recording by rate and length alone.
    const auto old = std::make_shared<Song>(Recording{"song.wav", 44100, fourBars().frameCount(), "old"});
    Song::save(old, folder / "song.tarn");
    outputOf({"analyze", "song.wav"});
    EXPECT_EQ(Song::open(folder / "song.tarn")->recording.digest.size(), 64u);

    const auto analyzed = read("song.tarn");
    expectFailure(tarn({"analyze", "other.wav", "-o", "song.tarn"}), 5, "another recording (song.wav)");
    EXPECT_TRUE(read("song.tarn") == analyzed);
    EXPECT_EQ(outputOf({"analyze", "renamed.wav", "-o", "song.tarn"}).find("encoded"), std::string::npos);
    EXPECT_NE(outputOf({"analyze", "song.flac", "-o", "song.tarn"}).find("encoded or tagged again"),
              std::string::npos);
    EXPECT_EQ(Song::open(folder / "song.tarn")->recording.fileName, "song.flac");
    outputOf({"analyze", "other.wav", "-o", "song.tarn", "--relink"});
    EXPECT_EQ(Song::open(folder / "song.tarn")->recording.fileName, "other.wav");
    EXPECT_EQ(json::parse(outputOf({"show", "song.tarn", "--json"}))["chords"][0]["name"], "C");
}

TEST_F(ProgramTest, editsDuringAnAnalysisAreKept) {
    record(sixteenBars(), folder / "song.wav");
    outputOf({"analyze", "song.wav"});
    outputOf({"edit", "song.tarn", "remove-chord at 1:1"});
    std::thread editor;
    const auto run = tarn({"analyze", "song.wav", "--force"}, [&](int) {
        editor = std::thread([&] {
            waitForOutput(); // until then it may not have read the document
            outputOf(
                {"edit", "song.tarn", "change-chord at 2:1 to F#dim7", "add-marker Here at 1s", "metre=3/4"});
        });
    });
    editor.join();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("Note       chord entries"), std::string::npos) << run.output;
    const auto found = json::parse(outputOf({"show", "song.tarn", "--json"}));
    EXPECT_EQ(found["markers"].size(), 1u);
    EXPECT_EQ(found["timeSignature"]["numerator"], 3);
    const auto bars = std::count_if(found["beats"].begin(), found["beats"].end(),
                                    [](const json& beat) { return beat["downbeat"]; });
    EXPECT_EQ(bars, static_cast<std::int64_t>(found["beats"].size() + 5) / 6)
        << "bars of the metre that was kept";
    const auto& chords = found["chords"];
    EXPECT_TRUE(std::any_of(chords.begin(), chords.end(),
                            [](const json& chord) { return chord["name"] == "F#dim7"; }));
}

TEST_F(ProgramTest, analyzeReadsEveryFormatAndRate) {
    // 48 kHz is a rate that every format has.
    const std::tuple<const char*, int, int> cases[] = {
        {"a.wav", 48000, 2},  {"b.aiff", 48000, 2}, {"c.flac", 48000, 2}, {"d.ogg", 48000, 2},
        {"e.opus", 48000, 2}, {"f.mp3", 48000, 2},  {"low.wav", 8000, 1}, {"high.wav", 96000, 6}};
    for (const auto& [name, rate, channels] : cases) {
        auto song = fourBars();
        song.sampleRate = rate;
        record(song, folder / name, channels);
        const auto found = json::parse(outputOf({"analyze", name, "--json"}));
        EXPECT_EQ(found["sampleRate"], rate) << name;
        EXPECT_NEAR(found["frameCount"], static_cast<double>(song.frameCount()), 3000) << name;
        EXPECT_NEAR(found["standardPitch"]["frequency"], 440, 1) << name;
        EXPECT_GE(shareOfRightRoots(found, song), 0.75) << name;
    }
}

TEST_F(ProgramTest, unusualRecordingsGiveDocumentsOfWhatCanBeHeard) {
    ASSERT_TRUE(demo::writeRecording(folder / "silent.wav", std::vector<float>(441000), 44100));
    record(fourBars(), folder / "whole.flac");
    const std::string whole = read("whole.flac");
    write("broken off.flac", whole.substr(0, whole.size() / 2));

    const auto silence = json::parse(outputOf({"analyze", "silent.wav", "--json"}));
    EXPECT_TRUE(silence["tempo"].is_null() && silence["timeSignature"].is_null() && silence["key"].is_null());
    EXPECT_EQ(silence["beats"], json::array());
    const auto brokenOff = tarn({"analyze", "broken off.flac"});
    EXPECT_EQ(brokenOff.status, 0) << brokenOff.errors;
    EXPECT_NE(brokenOff.output.find("could be read\n"), std::string::npos) << brokenOff.output;
}

TEST_F(ProgramTest, analyzeNamesTheFileThatIsNotARecording) {
    std::filesystem::create_directory(folder / "folder.wav");
    write("text.wav", "Dear diary, today I learned a song.\n");
    write("empty.wav", "");
    ASSERT_TRUE(demo::writeRecording(folder / "nothing.wav", {}, 44100));
    const auto before = filesIn(".");
    expectFailure(tarn({"analyze", "missing.wav"}), 3, "missing.wav");
    expectFailure(tarn({"analyze", "folder.wav"}), 3, "folder.wav");
    for (const char* name : {"text.wav", "empty.wav", "nothing.wav"})
        expectFailure(tarn({"analyze", name}), 4, name);
    EXPECT_EQ(filesIn("."), before);
}

TEST_F(ProgramTest, analyzeLeavesAloneWhatIsNotItsDocument) {
    record(fourBars(), folder / "song.wav");
    saveSmallDocument("small.tarn");
    write("damaged.tarn", read("small.tarn").substr(0, 500));
    std::filesystem::create_directory(folder / "folder.tarn");
    std::filesystem::create_symlink("loop.tarn", folder / "loop.tarn");
    const std::pair<const char*, int> documents[] = {
        {"small.tarn", 5}, {"damaged.tarn", 4}, {"song.wav", 4}, {"folder.tarn", 6},
        {"/dev/null", 6},  {"no/song.tarn", 6}, {"loop.tarn", 6}};
    for (const auto& [document, status] : documents) {
        const auto before = read(document);
        expectFailure(tarn({"analyze", "song.wav", "-o", document}), status, document);
        EXPECT_EQ(read(document), before);
    }
    const auto recording = read("song.wav");
    expectFailure(tarn({"analyze", "song.wav", "--midi", "./song.wav"}), 2, "song.wav");
    expectFailure(tarn({"analyze", "song.wav", "--midi", "./song.tarn"}), 2, "song.tarn");
    expectFailure(tarn({"analyze", "song.wav", "--picture", "no/song.svg"}), 6, "no/song.svg");
    expectFailure(tarn({"analyze", "song.wav", "--picture", "song.png"}), 2, "song.png");
    expectFailure(tarn({"analyze", "song.wav", "--midi", "a.svg", "--picture", "./a.svg"}), 2, "a.svg");
    EXPECT_EQ(read("song.wav"), recording);
    EXPECT_FALSE(std::filesystem::exists(folder / "song.tarn"));
}

TEST_F(ProgramTest, whatIsNotAnOrdinaryFileIsRefusedAtOnce) {
    ASSERT_EQ(mkfifo((folder / "small.wav").c_str(), 0600), 0); // that nobody writes to
    expectFailure(tarn({"analyze", "small.wav"}), 3, "small.wav: a recording has to be an ordinary file");
    expectFailure(tarn({"show", "small.wav"}), 4, "small.wav");
    expectFailure(tarn({"show", "/dev/zero"}), 3, "/dev/zero");
    saveSmallDocument();
    const auto drawn = tarn({"draw", "small.tarn", "small.svg"});
    EXPECT_EQ(drawn.status, 0);
    EXPECT_NE(drawn.errors.find("the recording cannot be read"), std::string::npos) << drawn.errors;
}

TEST_F(ProgramTest, standardInputMayBeARecordingOrADocument) {
    record(fourBars(), folder / "song.wav");
    const auto withInput = [&](const char* file, const std::vector<std::string>& arguments) {
        const int before = dup(STDIN_FILENO);
        const int opened = open((folder / file).c_str(), O_RDONLY);
        dup2(opened, STDIN_FILENO);
        close(opened);
        const auto output = outputOf(arguments);
        dup2(before, STDIN_FILENO);
        close(before);
        return output;
    };
    const auto found = withInput("song.wav", {"analyze", "/dev/stdin", "--json"});
    EXPECT_EQ(Song::open(folder / "song.tarn")->recording.fileName, "song.wav");
    EXPECT_EQ(withInput("song.tarn", {"show", "/dev/stdin", "--json"}), found);
}

TEST_F(ProgramTest, cachesAreNamedByTheRecordingWhateverTheDocumentSays) {
    record(fourBars(), folder / "song.wav");
    const auto document =
        std::make_shared<Song>(Recording{"song.wav", 44100, fourBars().frameCount(), "../../../../precious"});
    Song::save(document, folder / "song.tarn");
    write("precious.waveform", "kept");
    outputOf({"analyze", "song.wav"});
    EXPECT_EQ(read("precious.waveform"), "kept");
    const std::string wave = read("song.wav");
    const auto name = SHA256::hexDigestOf(std::as_bytes(std::span(wave)));
    EXPECT_EQ(filesIn(".caches"), std::vector<std::string>{"tarn"});
    EXPECT_EQ(filesIn(".caches/tarn/Tarn/Waveforms"), std::vector<std::string>{name + ".waveform"});
    EXPECT_EQ(filesIn(".caches/tarn/Tarn/Chords"), std::vector<std::string>{name + ".chordScores"});
}

TEST_F(ProgramTest, aFullDiskLeavesTheDocumentAsItWas) {
    const auto disk = folder / "disk";
    std::filesystem::create_directory(disk);
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=32k") != 0)
        GTEST_SKIP() << "no small disk can be mounted";
    record(fourBars(), folder / "song.wav");
    // A document of the recording with nothing but a marker, and no room for more.
    const auto document =
        std::make_shared<Song>(Recording{"../song.wav", 44100, fourBars().frameCount(), "kept"});
    document->notes->insertMarkerEntry(1000);
    Song::save(document, disk / "kept.tarn");
    std::ofstream(disk / "rest") << std::string(32768, 'x');
    const auto before = read("disk/kept.tarn");
    for (const char* name : {"disk/new.tarn", "disk/kept.tarn"})
        expectFailure(tarn({"analyze", "song.wav", "--json", "-o", name}), 6, name);
    expectFailure(tarn({"analyze", "song.wav", "--json", "--midi", "disk/song.mid"}), 6, "disk/song.mid");
    EXPECT_EQ(read("disk/kept.tarn"), before);
    EXPECT_EQ(filesIn("disk"), (std::vector<std::string>{"kept.tarn", "rest"}));
    EXPECT_EQ(umount(disk.c_str()), 0);
}

TEST_F(ProgramTest, anInterruptCancelsTheAnalysisAndWritesNothing) {
    std::vector<float> samples = demo::render(fourBars());
    const std::vector<float> once = samples;
    while (samples.size() < 300u * 44100) // long enough not to end before the interrupt
        samples.insert(samples.end(), once.begin(), once.end());
    ASSERT_TRUE(demo::writeRecording(folder / "long.wav", samples, 44100));
    const auto run = tarn({"analyze", "long.wav"}, [&](int process) {
        waitForOutput();
        EXPECT_EQ(kill(process, SIGINT), 0);
    });
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.errors, "tarn: long.wav: the analysis was cancelled; nothing was written\n");
    EXPECT_EQ(filesIn("."), std::vector<std::string>{"long.wav"});
}

} // namespace tarn::program
