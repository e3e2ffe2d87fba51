#include "Tests/Platform/Threads.h"
#include "Tests/Programs/ProgramTest.h"
#include "Tests/Song/SongTexts.h"

#include <gmock/gmock.h>

namespace tarn::program {

using testing::HasSubstr;
using testing::StartsWith;

TEST_F(ProgramTest, twentyEditsAtOnceAreAllMade) {
    saveSmallDocument();
    const auto markers = [&] { return Song::open(folder / "small.tarn")->notes->markerEntries().size(); };
    const auto before = markers();
    inThreads(20, [&](int i) {
        outputOf({"edit", "small.tarn", "add-marker Mark at @" + std::to_string(100'000 + i)});
    });
    EXPECT_EQ(markers(), before + 20);
}

TEST_F(ProgramTest, anEditThatCannotBeOpenedAgainIsRefused) {
    constexpr std::int64_t kDay = 86400L * 4000;
    const auto song = std::make_shared<Song>(Recording{"a.wav", 4000, kDay, "a"});
    test::addBeats(*song, {.first = kDay - 39 * 1000, .spacing = 1000, .count = 40, .perBar = 8});
    song->notes->setTimeSignature(4, 4);
    Song::save(song, folder / "long.tarn");
    const auto before = read("long.tarn");
    expectFailure(tarn({"edit", "long.tarn", "bar-beats 5 = 9"}), 5, "24 hours");
    EXPECT_TRUE(read("long.tarn") == before);
}

TEST_F(ProgramTest, editKeepsAllEditsOfACallOrNone) {
    saveSmallDocument();
    const auto before = read("small.tarn");
    EXPECT_EQ(tarn({"edit", "small.tarn", "--dry-run", "key=Eb"}).status, 0);
    EXPECT_EQ(read("small.tarn"), before);
    expectFailure(tarn({"edit", "small.tarn", "key=Eb", "remove-marker Nobody"}), 5, "small.tarn");
    expectFailure(tarn({"edit", "small.tarn", "key=Eb", "add-marker at 0:99:1"}), 2, "tarn: ");
    expectFailure(tarn({"edit", "missing.tarn", "key=Eb"}), 3, "missing.tarn");
    EXPECT_EQ(read("small.tarn"), before);
    (void)outputOf({"edit", "small.tarn", "key=F", "add-chord", "A#7", "at", "8:3"});
    const auto chart = tarn({"show", "small.tarn"}).output;
    EXPECT_THAT(chart, HasSubstr("F major"));
    EXPECT_THAT(chart, HasSubstr("| C / A#7 / |"));
}

TEST_F(ProgramTest, exportWritesWhatTheEndingSaysAndImportReadsItBack) {
    saveSmallDocument();
    const std::pair<const char*, const char*> files[] = {{"out.mid", "MThd"},
                                                         {"out.lab", "0.000000\t0.500000\tN\n"},
                                                         {"out.csv", "start,end,label"},
                                                         {"out.jams", "{"},
                                                         {"out.json", "{\"sampleRate\""},
                                                         {"out.musicxml", "<?xml"},
                                                         {"out.cho", "{key: C}\n"},
                                                         {"out.txt", "0.000000\t0.500000\tN.C.\n"},
                                                         {"out.svl", "<?xml"},
                                                         {"out.svg", "<"},
                                                         {"out.html", "<!"},
                                                         {"OUT.MID", "MThd"}};
    for (const auto& [file, beginning] : files) {
        EXPECT_EQ(tarn({"export", "small.tarn", file}).status, 0) << file;
        EXPECT_THAT(read(file), StartsWith(beginning)) << file;
        expectFailure(tarn({"export", "small.tarn", std::string("no/") + file}), 6, file);
        expectFailure(tarn({"export", "missing.tarn", file}), 3, "missing.tarn");
    }
    expectFailure(tarn({"export", "small.tarn", "out.doc"}), 2, "out.doc");
    std::filesystem::create_directory(folder / "folder.mid");
    expectFailure(tarn({"export", "small.tarn", "folder.mid"}), 6, "this is a folder");

    const auto chart = tarn({"show", "small.tarn"}).output;
    ASSERT_EQ(tarn({"edit", "small.tarn", "remove-chord at 1:1"}).status, 0);
    ASSERT_NE(tarn({"show", "small.tarn"}).output, chart);
    (void)outputOf({"import", "small.tarn", "out.lab"});
    EXPECT_EQ(tarn({"show", "small.tarn"}).output, chart);

    const auto before = read("small.tarn");
    write("broken.mid", read("out.mid").substr(0, 30));
    write("broken.lab", "one two three\n");
    expectFailure(tarn({"import", "small.tarn", "broken.mid"}), 4, "broken.mid");
    expectFailure(tarn({"import", "small.tarn", "broken.lab"}), 4, "broken.lab");
    expectFailure(tarn({"import", "small.tarn", "missing.lab"}), 3, "missing.lab");
    // An option that means nothing for the file is refused, not passed over.
    expectFailure(tarn({"import", "small.tarn", "out.mid", "--what", "chords"}), 2, "--what");
    expectFailure(tarn({"import", "small.tarn", "out.lab", "--at", "2:1"}), 2, "--at");
    expectFailure(tarn({"import", "small.tarn", "missing.mid", "--what", "beats", "--channel", "2"}), 2,
                  "--channel means nothing");
    expectFailure(tarn({"export", "small.tarn", "out.mid", "--what", "beats"}), 2, "--what");
    expectFailure(tarn({"export", "small.tarn", "out.lab", "--transpose", "2"}), 2, "--transpose");
    EXPECT_EQ(read("small.tarn"), before);
}

TEST_F(ProgramTest, aMIDITempoThatCannotFollowTheBeatsIsNotReportedAsAFullDisk) {
    const auto song = std::make_shared<Song>(Recording{"slow.wav", 1000, 60000, "slow"});
    test::addBeats(*song, {.first = 0, .spacing = 8400, .count = 4, .perBar = 8});
    Song::save(song, folder / "slow.tarn");
    expectFailure(tarn({"export", "slow.tarn", "slow.mid", "--layout", "classic"}), 6,
                  "the pause from 1:1 (0:00.000) to 1:2 (0:08.400) is too long: a MIDI tempo follows at most "
                  "8.38 s between beats of the grid; export with --timing seconds");
    EXPECT_EQ(tarn({"export", "slow.tarn", "slow.mid", "--layout", "classic", "--timing", "seconds"}).status,
              0);
    EXPECT_EQ(tarn({"export", "slow.tarn", "slow.mid"}).status, 0) << "a counted beat is a quarter note";
    const auto slower = std::make_shared<Song>(Recording{"slow.wav", 1000, 90000, "slow"});
    test::addBeats(*slower, {.first = 0, .spacing = 17000, .count = 4, .perBar = 8});
    Song::save(slower, folder / "slow.tarn");
    expectFailure(tarn({"export", "slow.tarn", "slow.mid"}), 6,
                  "a MIDI tempo follows at most 16.77 s between counted beats; export with --timing seconds");
}

TEST_F(ProgramTest, noOutputOverwritesTheDocumentOrTheRecording) {
    const auto document = saveSmallDocument("doc.csv");
    write("small.wav", "the recording");
    std::filesystem::create_symlink("doc.csv", folder / "link.csv");
    std::filesystem::create_hard_link(document, folder / "hard.svg");
    std::filesystem::create_hard_link(folder / "small.wav", folder / "sound.html");
    const auto before = read("doc.csv");
    for (const char* output : {"doc.csv", "./doc.csv", "link.csv", "hard.svg", "sound.html"})
        expectFailure(tarn({"export", "doc.csv", output}), 2, "this is the song or its document");
    expectFailure(tarn({"draw", "hard.svg", "hard.svg"}), 2, "this is the song or its document");
    expectFailure(tarn({"import", "doc.csv", "link.csv"}), 2, "this is the document itself");
    EXPECT_EQ(read("doc.csv"), before);
    EXPECT_EQ(read("small.wav"), "the recording");
}

TEST_F(ProgramTest, drawDrawsWithoutTheRecordingButSaysSo) {
    saveSmallDocument();
    for (const char* file : {"song.svg", "song.html"}) {
        const auto run = tarn({"draw", "small.tarn", file, "--seconds-per-row", "8"});
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_THAT(run.errors, HasSubstr("small.wav"));
        EXPECT_THAT(read(file), HasSubstr("<svg"));
    }
    EXPECT_EQ(tarn({"draw", "small.tarn", "picture", "--format", "svg"}).status, 0);
    EXPECT_THAT(read("picture"), StartsWith("<svg"));
    std::filesystem::create_directory(folder / "folder.svg");
    EXPECT_EQ(tarn({"draw", "small.tarn", "folder.svg"}).status, 6);
    expectFailure(tarn({"draw", "small.tarn", "song.png"}), 2, "song.png");
    expectFailure(tarn({"draw", "missing.tarn", "song.svg"}), 3, "missing.tarn");
}

} // namespace tarn::program
