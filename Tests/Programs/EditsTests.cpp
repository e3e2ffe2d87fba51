#include "Programs/tarn/DocumentJSON.h"
#include "Programs/tarn/SongPositions.h"
#include "Tests/Programs/SongTexts.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace tarn::program {
namespace {

using test::chordsOf, test::gridOf, test::messageOf, test::notesOf, test::regionsOf, test::sampleSong,
    test::sectionsOf;
using SongRef = std::shared_ptr<Song>;

/// Performs edits as typed on a command line and returns the last report, or the reason of a refusal after
/// "refused: ".
std::string edit(const SongRef& song, const std::vector<std::string>& arguments) {
    std::vector<std::string> changes{""};
    const auto reason = messageOf<EditRefused>([&, edits = parseEdits(arguments)] {
        for (auto& change : applyEdits(*song, edits))
            changes.push_back(std::move(change));
    });
    return reason.empty() ? changes.back() : "refused: " + reason;
}

/// Performs edits, one to a line. After an arrow stands the report, or "refused" and a part of the reason;
/// without an arrow any report will do, but no refusal.
void expectEdits(const SongRef& song, const std::string& script) {
    for (const std::string& line : partsOf(script, '\n')) {
        const auto arrow = line.find(" -> ");
        const std::string expected = arrow == std::string::npos ? "" : line.substr(arrow + 4);
        const std::string report = edit(song, {line.substr(0, arrow)});
        const bool isRefused = report.starts_with("refused: ");
        EXPECT_EQ(isRefused, expected.starts_with("refused")) << line << "\n" << report;
        if (isRefused) {
            const auto part = expected.substr(std::min<std::size_t>(expected.size(), 9));
            EXPECT_NE(report.find(part), std::string::npos) << line << "\n" << report;
        } else if (arrow != std::string::npos) {
            EXPECT_EQ(report, expected) << line;
        }
    }
}

std::vector<std::int64_t> barsOf(const SongRef& song) {
    std::vector<std::int64_t> bars;
    for (const auto& beat : song->notes->beatEntries()) {
        if (beat->isDownbeat())
            bars.push_back(beat->location());
    }
    return bars;
}

std::int64_t frameOf(const SongRef& song, const std::string& text) {
    return SongPositions(*song).frame(Position::make(text).value());
}

} // namespace

TEST(SongPositionsTests, WhatPositionsMean) {
    const auto song = sampleSong();
    const std::pair<const char*, std::int64_t> cases[] = {
        {"1:1", 88200},
        {"3:1", 264600},
        {"3:4", 330750},
        {"8:4+", 782775},
        {"3:2+", 297675},
        {"3:2+1/4", 292163},
        {"3:2+.25", 292163},
        {"@132300", 132300},
        {"65.2s", 2875320},
        {"0:05.2", 229320},
        {"0:05s", 220500},
        {"3:2.5", 8048250},
        {"start", 0},
        {"end", 80 * 11025},
        {"0.5s", 22050},
        {"0:0.00001", 0},
        // A leading zero makes a time of what would be a beat; so do hours.
        {"0:24", 1058400},
        {"1:12", 72 * 44100}, // bar 1 has no such beat
        {"00:02", 88200},
        {"1:05", 2866500},
        {"10:00", 26460000},
        {"1:00:05.2", 158989320}};
    auto longSong = sampleSong();
    longSong->recording.frameCount = 1'000'000'000;
    for (const auto& [text, frame] : cases)
        EXPECT_EQ(frameOf(std::string_view(text) == "end" ? song : longSong, text), frame) << text;
    for (const auto& text : partsOf("|3|3:|:1|03:1|0:60|1:60.5|1:05+|1:5:05|1:60:05|1:00:5|1:-5.0|-1:1|3:1+1|"
                                    "3:1+x|3:1+1/0|@|@-1|@1.5|1e3s:|s|"
                                    "nans|infs|1:2:3|65.2|3:1 |@99999999999999999999|99999999999999999999:1",
                                    '|'))
        EXPECT_FALSE(Position::make(text)) << text;
    for (const char* text : {"0:1", "9:1", "3:0", "3:5", "@882001", "20.1s", "1e300s", "999999999999:0.5"})
        EXPECT_THROW((void)frameOf(song, text), EditRefused) << text;
    const SongPositions positions(*song);
    EXPECT_EQ(positions.name(330750), "3:4");
    EXPECT_EQ(positions.name(330751), "0:07.500");
    EXPECT_EQ(positions.name(0), "0:00.000");
    EXPECT_EQ(positions.name(-7), "@-7");
    EXPECT_EQ(positions.frameAfter(264600, {1.5, DistanceUnit::bars}), 264600 + 132300);
    EXPECT_EQ(positions.frameAfter(760725, {2, DistanceUnit::bars}), 760725 + 176400) << "beyond the grid";
    EXPECT_EQ(positions.frameAfter(0, {-1, DistanceUnit::beats}), -22050);
}

TEST(EditSyntaxTests, SentencesInOneArgumentOrInWords) {
    const auto words = sampleSong();
    const auto sentences = sampleSong();
    (void)edit(words, {"metre=3/4", "add-section", "Verse 2", "at", "3:1", "color", "verse", "add-marker",
                       "Solo", "at", "2:1", "shift-downbeats", "-1"});
    (void)edit(sentences, {"metre 3/4", "add-section \"Verse 2\" at 3:1 color verse",
                           "add-marker 'Solo' at 2:1", "shift-downbeats -1 beat"});
    EXPECT_EQ(sectionsOf(*words), "Verse 2/named:verse@220500");
    EXPECT_EQ(sectionsOf(*sentences), sectionsOf(*words));
    EXPECT_EQ(gridOf(*words), gridOf(*sentences));
    EXPECT_EQ(edit(sampleSong(), {"metre", "=", "3/4"}), edit(sampleSong(), {"metre = 3/4"}));
    EXPECT_EQ(edit(sampleSong(), {"add-marker \"at\" at 2:1"}), "marker \"at\" added at 2:1");
}

TEST(EditSyntaxTests, WhatIsNoEditTellsTheForm) {
    const std::pair<const char*, const char*> cases[] = {
        {"move 5", "'move 5' is not an edit; 'tarn edit --help' lists them"},
        {"move-bar five to 3:1", "'five' is not the number of a bar, a whole number; write move-bar BAR to "
                                 "POSITION, as in 'move-bar 5 to 1:05.2'"},
        {"move-bar 5 at 3:1", "'to' is missing before 'at'"},
        {"move-bar 5 to 1:5:05", "'1:5:05' is not a valid position"},
        {"move-bar 5 to", "a position is missing"},
        {"metre=3", "'3' is not a valid metre"},
        {"metre=03/4", "is not a valid metre"},
        {"metre=3/0", "is not a valid metre"},
        {"metre=99/4", "is not a valid metre"},
        {"key=H", "'H' is not a valid key"},
        {"key=C7", "is not a valid key"},
        {"key=Ebm minor", "is not a valid key"},
        {"key=N.C.", "is not a valid key"},
        {"add-region intro 1:1 to 2:1", "'intro' is not verse, chorus, bridge or region"},
        {"shift-region Verse by 1.5 beats", "regions move by whole beats and bars"},
        {"shift-region Verse by 1 mile", "'1 mile' is not a valid length"},
        {"add-note E at 3:1 for 1 beat", "'E' is not a note with its octave"},
        {"add-note E40 at 3:1 for 1 beat", "'E40' is not a note"},
        {"add-note Cb-1 at 3:1 for 1 beat", "'Cb-1' is not a note"},
        {"add-note E4 at 3:1 for 99999999999 beats", "is not a valid length"},
        {"add-chord Hm at 3:1", "'Hm' is not a valid chord"},
        {"remove-chord at 3:1 now", "'now' is one word too many"},
        {"add-section \"Verse at 3:1", "a quote does not end"},
        {"shift-downbeats 99999999999999999999", "is not a number of beats, a whole number"}};
    for (const auto& [sentence, part] : cases) {
        const std::vector<std::string> arguments{sentence};
        const auto error = messageOf<EditSyntaxError>([&] { (void)parseEdits(arguments); });
        EXPECT_NE(error.find(part), std::string::npos) << sentence << ": " << error;
    }
}

TEST(EditsTests, MetreAndBars) {
    const auto song = sampleSong();
    expectEdits(song, "metre=3/4 -> metre 3/4 (was 4/4), 11 bars");
    EXPECT_EQ(barsOf(song)[1], 88200 + 6 * 11025);
    expectEdits(sampleSong(), "metre=6/8 -> metre 6/8 (was 4/4), 11 bars");

    const auto moved = sampleSong();
    expectEdits(moved, "move-bar 2 to 4.1s -> bar 2 begins at @180810 (was @176400)");
    EXPECT_EQ(barsOf(moved)[1], 180810);
    EXPECT_EQ(moved->notes->beatEntries()[1]->location(), 88200 + 92610 / 8) << "the beats stay even";
    expectEdits(moved, "move-bar 8 to 15.9s -> bar 8 begins at @701190 (was @705600)");
    EXPECT_EQ(moved->notes->beatEntries().size(), 64u);
    EXPECT_LE(moved->notes->beatEntries().back()->location(), 782775) << "the last bar keeps its end";
    expectEdits(moved, R"(move-bar 2 to 3:1 -> refused: bar 2 must begin between 1:1 and 3:1
move-bar 2 to 1:1 -> refused: bar 2 must begin between 1:1 and 3:1
move-bar 2 to @264599 -> refused: no room left
move-bar 2 to @88207 -> refused: no room left
move-bar 9 to 3:1 -> refused: there is no bar 9; the song has 8
move-bar 0 to 3:1 -> refused: counted from 1
move-bar -3 to 3:1 -> refused: there is no bar -3
move-bar 3 to 99:1 -> refused: no bar 99
move-bar 1 to start -> bar 1 begins at @0 (was @88200))");

    const auto beats = sampleSong();
    expectEdits(beats, "bar-beats 7 = 5 -> bar 7 has 5 beats (was 4)");
    EXPECT_EQ(frameOf(beats, "7:5"), 617400 + 8 * 8820);
    EXPECT_EQ(frameOf(beats, "8:1"), 705600);
    expectEdits(beats, R"(bar-beats 8 3 -> bar 8 has 3 beats (was 4)
bar-beats 7 = 0 -> refused: 1 to 64
bar-beats 7 = 65 -> refused: 1 to 64)");
}

TEST(EditsTests, Downbeats) {
    const auto song = sampleSong();
    expectEdits(song, R"(shift-downbeats 1 -> downbeats moved; 8 bars, the first at @110250
shift-downbeats -1 -> downbeats moved; 8 bars, the first at @88200
shift-downbeats 40 -> refused: the song has only 32 beats
shift-downbeats -9223372036854775808 -> refused: the song has only
shift-downbeats 1 eighth)");
    EXPECT_EQ(barsOf(song)[0], 99225);

    const auto span = sampleSong();
    expectEdits(span, R"(offset-downbeats 4 from 3:1 to 5:1 -> refused: would fall on another one
offset-downbeats 9 from 3:1 to 5:1 -> refused: there are only 8 beats
offset-downbeats 1 from 5:1 to 3:1 -> refused: no two beats
offset-downbeats 1 from 3:2 to 3:4 -> refused: no bar begins
offset-downbeats 1 from 3:1 to 5:1 -> 2 downbeats moved between 3:1 and 5:1
offset-downbeats 0 from 3:1 to 5:1 -> refused: would fall on another one)");
    EXPECT_EQ(barsOf(span),
              (std::vector<std::int64_t>{88200, 176400, 286650, 374850, 441000, 529200, 617400, 705600}));
    const auto empty = std::make_shared<Song>(Recording{"a", 44100, 44100, "a"});
    expectEdits(empty, R"(shift-downbeats 1 -> refused
move-bar 1 to start -> refused
bar-beats 1 3 -> refused
offset-downbeats 1 from start to end -> refused
add-region verse at start -> refused
add-note E4 at start for 1 beat -> refused
metre=3/4 -> metre 3/4 (was unknown), 0 bars)");
}

TEST(EditsTests, KeyAndChords) {
    const auto song = sampleSong();
    expectEdits(song, R"(add-chord D#m at 1:1
add-chord B/D# at 2:3
add-chord N.C. at end -> chord N.C. at 0:20.000 added
key=Ebm -> key Eb minor (was none), 2 chords respelled)");
    EXPECT_EQ(chordsOf(*song), "Ebm@88200 Cb/Eb@220500 N.C.@882000");
    expectEdits(song, R"(key F# minor -> key F# minor (was Eb minor), 2 chords respelled
change-chord at 2:4 to C:min7 -> chord Cm7 at 2:3 (was B/D#)
remove-chord at 2:1 -> chord D#m at 1:1 removed
add-chord G at 2:3 -> refused: Cm7 at 2:3 is there already; change-chord changes it
remove-chord at 2:2 -> refused: no chord sounds at 2:2)");
    EXPECT_EQ(chordsOf(*song), "Cm7@220500 N.C.@882000");
}

TEST(EditsTests, AddingRegions) {
    const auto song = sampleSong();
    // The bar after a region's end is free.
    expectEdits(song, R"(add-region verse at end -> refused: the recording ends there
add-region verse 1:1 to 3:1 -> region "Verse" from 1:1 to 3:1 added
add-region chorus at 3:1 -> region "Chorus" from 3:1 to 4:1 added
add-region region "Solo" from 4:3 to end -> region "Solo" from 4:3 to 0:20.000 added
add-region bridge at 4:2 -> region "Bridge" from 4:1 to 4:3 added)");
    EXPECT_NE(std::dynamic_pointer_cast<TarnBridgeRegionEntry>(song->notes->regionEntries()[2]), nullptr);
    expectEdits(song,
                R"(add-region verse 2:1 to 5:1 -> refused: the region "Verse" from 1:1 to 3:1 is in the way
add-region verse at 4:1 -> refused: "Bridge" from 4:1 to 4:3 is there already
add-region verse 3:1 to 3:1 -> refused: must end after its start
add-region verse at end -> refused: the recording ends there
rename-region Chorus to "Chorus, first" -> region "Chorus" is called "Chorus, first"
remove-region at 4:4 -> region "Solo" from 4:3 to 0:20.000 removed)");
    EXPECT_EQ(regionsOf(*song), "Verse[88200,264600) Chorus, first[264600,352800) Bridge[352800,396900)");
}

TEST(EditsTests, MovingRegions) {
    const auto song = sampleSong();
    expectEdits(song, R"(add-region verse 2:1 to 4:1
add-region chorus 5:1 to 6:1
add-region verse 7:1 to 8:1
adjust-region chorus end by 1 bar -> region "Chorus" from 5:1 to 7:1 (was 5:1 to 6:1)
adjust-region Chorus end by -1 beat -> region "Chorus" from 5:1 to 6:4 (was 5:1 to 7:1)
adjust-region Chorus start to @400000 -> region "Chorus" from 0:09.070 to 6:4 (was 5:1 to 6:4)
adjust-region Chorus start by 0 bars -> region "Chorus" from 5:1 to 6:4 (was 0:09.070 to 6:4)
adjust-region Chorus end by 2 beats -> refused: Another region is in the way; add clip
adjust-region Verse end by 1 bar -> refused: there are 2 called "Verse" (at 2:1, 7:1); write Verse#2
adjust-region Intro end by 1 bar -> refused: there is no region "Intro"
adjust-region Verse#3 end by 1 bar -> refused: there is no region "Verse#3"
adjust-region at 4:1 end by 1 bar -> refused: there is no region at 4:1
adjust-region Verse#1 end by -2 bars -> refused: no length
adjust-region Verse#1 end by -1 bar threshold 3s -> refused: too short
adjust-region Verse#1 start by -5s -> refused: out of the recording
shift-region at 2:3 by 1 bar -> region "Verse" from 3:1 to 5:1 (was 2:1 to 4:1)
shift-region Verse#1 by 1 beat -> refused: Another region is in the way
shift-region Verse#1 by 1 beat clip -> region "Verse" from 3:2 to 5:1 (was 3:1 to 5:1)
shift-region Verse#2 by -1 beat delete -> region "Verse" from 6:4 to 7:4 (was 7:1 to 8:1))");
    EXPECT_EQ(regionsOf(*song), "Verse[286650,441000) Chorus[441000,595350) Verse[595350,683550)");
    expectEdits(
        song,
        R"(shift-region Verse#2 by -0.5s delete -> region "Verse" from 6:3 to 7:3 (was 6:4 to 7:4); region "Chorus" removed
shift-region Verse#1 by 5s -> refused: farther than the region is long
shift-region Verse#2 by 9 bars -> refused: leave the grid)");
    EXPECT_EQ(regionsOf(*song), "Verse[286650,441000) Verse[573300,661500)") << "the neighbour went";
}

TEST(EditsTests, SectionsMarkersAndNotes) {
    const auto song = sampleSong();
    expectEdits(song, R"(add-section Intro at start
add-section "Verse 2" at 3:1 color verse -> section "Verse 2" (verse) added at 3:1
add-section Other at 3:1 -> refused: "Verse 2" begins there already
rename-section intro to Opening
color-section at 5:1 chorus -> section "Verse 2" has the colour chorus
remove-section Coda -> refused: there is no section "Coda")");
    EXPECT_EQ(sectionsOf(*song), "Opening/named:other@0 Verse 2/named:chorus@264600");
    expectEdits(song, R"(remove-section Opening -> section "Opening" removed
color-section at 2:1 verse -> refused: there is no section at 2:1
add-marker Solo at 5:1
add-marker at 6:1 -> marker added at 6:1
add-marker again at 5:1 -> refused: there is a marker at 5:1 already)");
    ASSERT_EQ(song->notes->markerEntries().size(), 2u);
    EXPECT_EQ(song->notes->markerEntries()[0]->name(), "Solo");
    expectEdits(song, R"(remove-marker at 6:1
remove-marker solo -> marker at 5:1 removed
add-note E4 at 3:1 for 1 beat
add-note Bb3 at 3:2+ for 1/2 beat -> note Bb3 at 0:06.750 added)");
    EXPECT_EQ(notesOf(*song), "E4@264600+22050 Bb3@297675+11025");
    expectEdits(song, R"(change-note Fb4 at 3:1+1/2 to F4 -> note F4 at 3:1 (was Fb4)
remove-note A#3 at 3:2+ -> note Bb3 at 0:06.750 removed
remove-note F4 at 3:2 -> refused: no F4 sounds at 3:2; the nearest begins at @264600
add-note F4 at 3:1 for 300ms -> refused: F4 at 3:1 is there already
add-note G4 at 3:1 for 0 frames -> refused: must last
add-note G4 at 3:1 for 16s -> refused: end after the recording)");
    EXPECT_EQ(notesOf(*song), "F4@264600+22050");
}

TEST(EditsTests, OneRefusedEditKeepsNone) {
    const auto song = sampleSong();
    test::addChord(*song, "D#m", 88200);
    test::perform(*song, "add-section Intro at start|add-region verse 2:1 to 3:1");
    const auto before = documentJSON(*song);
    const auto report =
        edit(song, {"metre=3/4", "key=Ebm", "add-marker at 1:2", "add-note E4 at 2:1 for 1 beat",
                    "shift-region Verse by 1 beat", "rename-section Intro to Opening", "remove-chord at 1:1",
                    "add-section More at 2:1", "move-bar 99 to end"});
    EXPECT_EQ(report, "refused: 'move-bar 99 to end': there is no bar 99; the song has 11");
    EXPECT_EQ(documentJSON(*song), before);
}

TEST(EditsTests, EveryExampleIsAnEdit) {
    for (const EditForm& form : editForms())
        EXPECT_EQ(parseEdits(std::vector{std::string(form.example)}).size(), 1u) << form.example;
}

} // namespace tarn::program
