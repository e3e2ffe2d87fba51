#include "Programs/tarn/Edits.h"
#include "Programs/tarn/SongPositions.h"
#include "Tests/Programs/SampleSong.h"

#include <gtest/gtest.h>

namespace tarn::program {
namespace {

using test::chordsOf, test::gridOf, test::sampleSong, test::sectionsOf;
using Song = std::shared_ptr<SongDocument>;

/// Performs edits as typed on a command line and answers the last report, or the reason of a refusal after
/// "refused: ".
std::string edit(const Song& song, const std::vector<std::string>& arguments) {
    const auto edits = parseEdits(arguments);
    try {
        const auto changes = applyEdits(*song, edits);
        return changes.empty() ? "" : changes.back();
    } catch (const EditRefused& refusal) {
        return "refused: " + std::string(refusal.what());
    }
}

std::string syntaxError(const std::vector<std::string>& arguments) {
    try {
        (void)parseEdits(arguments);
        return "";
    } catch (const EditSyntaxError& error) {
        return error.what();
    }
}

void expectRefused(const Song& song, const std::string& sentence, const std::string& reason) {
    const auto report = edit(song, {sentence});
    EXPECT_EQ(report.substr(0, 9), "refused: ") << sentence;
    EXPECT_NE(report.find(reason), std::string::npos) << report;
}

/// "Verse[88200,176400)".
std::string regionsOf(const Song& song) {
    std::string text;
    for (const auto& region : song->notes->regionEntries())
        text += (text.empty() ? "" : " ") + region->name().value_or("(none)") + "[" +
                std::to_string(region->location()) + "," + std::to_string(region->end()) + ")";
    return text;
}

std::vector<std::int64_t> barsOf(const Song& song) {
    std::vector<std::int64_t> bars;
    for (const auto& beat : song->notes->beatEntries()) {
        if (beat->isDownbeat())
            bars.push_back(beat->location());
    }
    return bars;
}

std::string notesOf(const Song& song) {
    std::string text;
    for (const auto& note : song->notes->noteEntries())
        text += (text.empty() ? "" : " ") + note->pitch()->description() + "@" +
                std::to_string(note->location()) + "+" + std::to_string(note->length());
    return text;
}

std::int64_t frameOf(const Song& song, const std::string& text) {
    const auto position = Position::make(text);
    EXPECT_TRUE(position.has_value()) << text;
    return position ? SongPositions(*song).frame(*position) : -1;
}

} // namespace

TEST(SongPositionsTests, WhatPositionsMean) {
    const auto song = sampleSong();
    const std::pair<const char*, std::int64_t> cases[] = {
        {"1:1", 88200},     {"3:1", 264600},     {"3:4", 330750},     {"8:4+", 782775},
        {"3:2+", 297675},   {"3:2+1/4", 292163}, {"3:2+.25", 292163}, {"@132300", 132300},
        {"65.2s", 2875320}, {"0:05.2", 229320},  {"0:05s", 220500},   {"3:2.5", 8048250},
        {"start", 0},       {"end", 80 * 11025}, {"0.5s", 22050},     {"0:0.00001", 0},
    };
    auto longSong = sampleSong();
    longSong->recording.frameCount = 1'000'000'000;
    for (const auto& [text, frame] : cases)
        EXPECT_EQ(frameOf(std::string_view(text) == "end" ? song : longSong, text), frame) << text;
    for (const char* text : {"",
                             "3",
                             "3:",
                             ":1",
                             "3:01",
                             "03:1",
                             "1:05",
                             "1:60.5",
                             "-1:1",
                             "3:1+1",
                             "3:1+x",
                             "3:1+1/0",
                             "@",
                             "@-1",
                             "@1.5",
                             "1e3s:",
                             "s",
                             "nans",
                             "infs",
                             "1:2:3",
                             "65.2",
                             "3:1 ",
                             "@99999999999999999999",
                             "99999999999999999999:1"}) {
        EXPECT_FALSE(Position::make(text)) << text; // 1:05 might be a beat or a time
    }
    for (const char* text : {"0:1", "9:1", "3:0", "3:5", "@882001", "20.1s", "1e300s", "999999999999:0.5"}) {
        const auto position = Position::make(text);
        ASSERT_TRUE(position) << text;
        EXPECT_THROW((void)SongPositions(*song).frame(*position), EditRefused) << text;
    }
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
        {"move 5", "'move 5' is no edit; 'tarn edit --help' lists them"},
        {"move-bar five to 3:1", "'five' is not the number of a bar, a whole number; write move-bar BAR to "
                                 "POSITION, as in 'move-bar 5 to 1:05.2'"},
        {"move-bar 5 at 3:1", "'to' is missing before 'at'"},
        {"move-bar 5 to 1:05", "'1:05' is no position"},
        {"move-bar 5 to", "a position is missing"},
        {"metre=3", "'3' is no metre"},
        {"metre=03/4", "is no metre"},
        {"metre=3/0", "is no metre"},
        {"metre=99/4", "is no metre"},
        {"key=H", "'H' is no key"},
        {"key=C7", "is no key"},
        {"key=Ebm minor", "is no key"},
        {"key=N.C.", "is no key"},
        {"add-region intro 1:1 to 2:1", "'intro' is not verse, chorus, bridge or region"},
        {"shift-region Verse by 1.5 beats", "regions move by whole beats and bars"},
        {"shift-region Verse by 1 mile", "'1 mile' is no length"},
        {"add-note E at 3:1 for 1 beat", "'E' is no note with its octave"},
        {"add-note E40 at 3:1 for 1 beat", "'E40' is no note"},
        {"add-note Cb-1 at 3:1 for 1 beat", "'Cb-1' is no note"},
        {"add-note E4 at 3:1 for 99999999999 beats", "is no length"},
        {"add-chord Hm at 3:1", "'Hm' is no chord"},
        {"remove-chord at 3:1 now", "'now' is too much"},
        {"add-section \"Verse at 3:1", "a quote does not end"},
        {"shift-downbeats 99999999999999999999", "is not a number of beats, a whole number"},
    };
    for (const auto& [sentence, part] : cases) {
        const std::string error = syntaxError({sentence});
        EXPECT_NE(error.find(part), std::string::npos) << sentence << ": " << error;
    }
}

TEST(EditsTests, MetreAndBars) {
    const auto song = sampleSong();
    EXPECT_EQ(edit(song, {"metre=3/4"}), "metre 3/4 (was 4/4), 11 bars");
    EXPECT_EQ(barsOf(song)[1], 88200 + 6 * 11025);
    EXPECT_EQ(edit(sampleSong(), {"metre=6/8"}), "metre 6/8 (was 4/4), 11 bars");

    const auto moved = sampleSong();
    EXPECT_EQ(edit(moved, {"move-bar 2 to 4.1s"}), "bar 2 begins at @180810 (was @176400)");
    EXPECT_EQ(barsOf(moved)[1], 180810);
    EXPECT_EQ(moved->notes->beatEntries()[1]->location(), 88200 + 92610 / 8) << "the beats stay even";
    EXPECT_EQ(edit(moved, {"move-bar 8 to 15.9s"}), "bar 8 begins at @701190 (was @705600)");
    EXPECT_EQ(moved->notes->beatEntries().size(), 64u);
    EXPECT_LE(moved->notes->beatEntries().back()->location(), 782775) << "the last bar keeps its end";
    expectRefused(moved, "move-bar 2 to 3:1", "bar 2 must begin between 1:1 and 3:1");
    expectRefused(moved, "move-bar 2 to 1:1", "bar 2 must begin between 1:1 and 3:1");
    expectRefused(moved, "move-bar 2 to @264599", "no room left");
    expectRefused(moved, "move-bar 2 to @88207", "no room left");
    expectRefused(moved, "move-bar 9 to 3:1", "there is no bar 9; the song has 8");
    expectRefused(moved, "move-bar 0 to 3:1", "counted from 1");
    expectRefused(moved, "move-bar -3 to 3:1", "there is no bar -3");
    EXPECT_EQ(edit(moved, {"move-bar 1 to start"}), "bar 1 begins at @0 (was @88200)");

    const auto beats = sampleSong();
    EXPECT_EQ(edit(beats, {"bar-beats 7 = 5"}), "bar 7 has 5 beats (was 4)");
    EXPECT_EQ(frameOf(beats, "7:5"), 617400 + 8 * 8820);
    EXPECT_EQ(frameOf(beats, "8:1"), 705600);
    EXPECT_EQ(edit(beats, {"bar-beats 8 3"}), "bar 8 has 3 beats (was 4)");
    expectRefused(beats, "bar-beats 7 = 0", "1 to 64");
    expectRefused(beats, "bar-beats 7 = 65", "1 to 64");
    expectRefused(sampleSong(), "move-bar 3 to 99:1", "no bar 99");
}

TEST(EditsTests, Downbeats) {
    const auto song = sampleSong();
    EXPECT_EQ(edit(song, {"shift-downbeats 1"}), "downbeats moved; 8 bars, the first at @110250");
    EXPECT_EQ(edit(song, {"shift-downbeats -1"}), "downbeats moved; 8 bars, the first at @88200");
    (void)edit(song, {"shift-downbeats 1 eighth"});
    EXPECT_EQ(barsOf(song)[0], 99225);
    expectRefused(song, "shift-downbeats 40", "the song has only 32 beats");
    expectRefused(song, "shift-downbeats -9223372036854775808", "the song has only");

    const auto span = sampleSong();
    EXPECT_EQ(edit(span, {"offset-downbeats 1 from 3:1 to 5:1"}), "2 downbeats moved between 3:1 and 5:1");
    EXPECT_EQ(barsOf(span),
              (std::vector<std::int64_t>{88200, 176400, 286650, 374850, 441000, 529200, 617400, 705600}));
    expectRefused(span, "offset-downbeats 0 from 3:1 to 5:1", "would fall on another one");
    const auto again = sampleSong();
    expectRefused(again, "offset-downbeats 4 from 3:1 to 5:1", "would fall on another one");
    expectRefused(again, "offset-downbeats 9 from 3:1 to 5:1", "there are only 8 beats");
    expectRefused(again, "offset-downbeats 1 from 5:1 to 3:1", "no two beats");
    expectRefused(again, "offset-downbeats 1 from 3:2 to 3:4", "no bar begins");
    auto empty = std::make_shared<SongDocument>(Recording{"a", 44100, 44100, "a"});
    for (const char* sentence :
         {"shift-downbeats 1", "move-bar 1 to start", "bar-beats 1 3", "offset-downbeats 1 from start to end",
          "add-region verse at start", "add-note E4 at start for 1 beat"})
        expectRefused(empty, sentence, "");
    EXPECT_EQ(edit(empty, {"metre=3/4"}), "metre 3/4 (was 4/4), 0 bars");
}

TEST(EditsTests, KeyAndChords) {
    const auto song = sampleSong();
    EXPECT_EQ(edit(song, {"add-chord D#m at 1:1", "add-chord B/D# at 2:3", "add-chord N.C. at end"}),
              "chord N.C. at 0:20.000 added");
    EXPECT_EQ(edit(song, {"key=Ebm"}), "key Eb minor (was none), 2 chords respelled");
    EXPECT_EQ(chordsOf(*song), "Ebm@88200 Cb/Eb@220500 N.C.@882000");
    EXPECT_EQ(edit(song, {"key F# minor"}).substr(0, 12), "key F# minor");
    EXPECT_EQ(edit(song, {"change-chord at 2:4 to C:min7"}), "chord Cm7 at 2:3 (was B/D#)");
    EXPECT_EQ(edit(song, {"remove-chord at 2:1"}), "chord D#m at 1:1 removed");
    EXPECT_EQ(chordsOf(*song), "Cm7@220500 N.C.@882000");
    expectRefused(song, "add-chord G at 2:3", "Cm7 at 2:3 is there already; change-chord changes it");
    expectRefused(song, "remove-chord at 2:2", "no chord sounds at 2:2");
}

TEST(EditsTests, AddingRegions) {
    const auto song = sampleSong();
    EXPECT_EQ(edit(song, {"add-region verse 1:1 to 3:1"}), "region \"Verse\" from 1:1 to 3:1 added");
    EXPECT_EQ(edit(song, {"add-region chorus at 3:1"}), "region \"Chorus\" from 3:1 to 4:1 added")
        << "the bar behind a region's end is free";
    EXPECT_EQ(edit(song, {"add-region region \"Solo\" from 4:3 to end"}),
              "region \"Solo\" from 4:3 to 0:20.000 added");
    EXPECT_EQ(edit(song, {"add-region bridge at 4:2"}), "region \"Bridge\" from 4:1 to 4:3 added");
    EXPECT_NE(std::dynamic_pointer_cast<TarnBridgeRegionEntry>(song->notes->regionEntries()[2]), nullptr);
    expectRefused(song, "add-region verse 2:1 to 5:1", "the region \"Verse\" from 1:1 to 3:1 is in the way");
    expectRefused(song, "add-region verse at 4:1", "\"Bridge\" from 4:1 to 4:3 is there already");
    expectRefused(song, "add-region verse 3:1 to 3:1", "must end behind its start");
    expectRefused(song, "add-region verse at end", "the recording ends there");
    expectRefused(sampleSong(), "add-region verse at end", "the recording ends there");
    EXPECT_EQ(edit(song, {"rename-region Chorus to \"Chorus, first\""}),
              "region \"Chorus\" is called \"Chorus, first\"");
    EXPECT_EQ(edit(song, {"remove-region at 4:4"}), "region \"Solo\" from 4:3 to 0:20.000 removed");
    EXPECT_EQ(regionsOf(song), "Verse[88200,264600) Chorus, first[264600,352800) Bridge[352800,396900)");
}

TEST(EditsTests, MovingRegions) {
    const auto song = sampleSong();
    (void)edit(
        song, {"add-region verse 2:1 to 4:1", "add-region chorus 5:1 to 6:1", "add-region verse 7:1 to 8:1"});
    EXPECT_EQ(edit(song, {"adjust-region chorus end by 1 bar"}),
              "region \"Chorus\" from 5:1 to 7:1 (was 5:1 to 6:1)");
    EXPECT_EQ(edit(song, {"adjust-region Chorus end by -1 beat"}),
              "region \"Chorus\" from 5:1 to 6:4 (was 5:1 to 7:1)");
    EXPECT_EQ(edit(song, {"adjust-region Chorus start to @400000"}).substr(0, 30),
              "region \"Chorus\" from 0:09.070 ");
    EXPECT_EQ(edit(song, {"adjust-region Chorus start by 0 bars"}).substr(0, 27),
              "region \"Chorus\" from 5:1 to");
    expectRefused(song, "adjust-region Chorus end by 2 beats", "Another region is in the way; add clip");
    expectRefused(song, "adjust-region Verse end by 1 bar",
                  "there are 2 called \"Verse\" (at 2:1, 7:1); write Verse#2");
    expectRefused(song, "adjust-region Intro end by 1 bar", "there is no region \"Intro\"");
    expectRefused(song, "adjust-region Verse#3 end by 1 bar", "there is no region \"Verse#3\"");
    expectRefused(song, "adjust-region at 4:1 end by 1 bar", "there is no region at 4:1");
    expectRefused(song, "adjust-region Verse#1 end by -2 bars", "no length");
    expectRefused(song, "adjust-region Verse#1 end by -1 bar threshold 3s", "too short");
    expectRefused(song, "adjust-region Verse#1 start by -5s", "out of the recording");
    EXPECT_EQ(edit(song, {"shift-region at 2:3 by 1 bar"}),
              "region \"Verse\" from 3:1 to 5:1 (was 2:1 to 4:1)");
    expectRefused(song, "shift-region Verse#1 by 1 beat", "Another region is in the way");
    EXPECT_EQ(edit(song, {"shift-region Verse#1 by 1 beat clip"}),
              "region \"Verse\" from 3:2 to 5:1 (was 3:1 to 5:1)");
    EXPECT_EQ(edit(song, {"shift-region Verse#2 by -1 beat delete"}),
              "region \"Verse\" from 6:4 to 7:4 (was 7:1 to 8:1)");
    EXPECT_EQ(regionsOf(song), "Verse[286650,441000) Chorus[441000,595350) Verse[595350,683550)");
    EXPECT_EQ(edit(song, {"shift-region Verse#2 by -0.5s delete"}),
              "region \"Verse\" from 6:3 to 7:3 (was 6:4 to 7:4)");
    EXPECT_EQ(regionsOf(song), "Verse[286650,441000) Verse[573300,661500)") << "the neighbour went";
    expectRefused(song, "shift-region Verse#1 by 5s", "farther than the region is long");
    expectRefused(song, "shift-region Verse#2 by 9 bars", "leave the grid");
}

TEST(EditsTests, SectionsAndMarkers) {
    const auto song = sampleSong();
    EXPECT_EQ(edit(song, {"add-section Intro at start", "add-section \"Verse 2\" at 3:1 color verse"}),
              "section \"Verse 2\" (verse) added at 3:1");
    expectRefused(song, "add-section Other at 3:1", "\"Verse 2\" begins there already");
    EXPECT_EQ(edit(song, {"rename-section intro to Opening", "color-section at 5:1 chorus"}),
              "section \"Verse 2\" has the colour chorus");
    EXPECT_EQ(sectionsOf(*song), "Opening/named:other@0 Verse 2/named:chorus@264600");
    expectRefused(song, "remove-section Coda", "there is no section \"Coda\"");
    EXPECT_EQ(edit(song, {"remove-section Opening"}), "section \"Opening\" removed");
    expectRefused(song, "color-section at 2:1 verse", "there is no section at 2:1");

    EXPECT_EQ(edit(song, {"add-marker Solo at 5:1", "add-marker at 6:1"}), "marker added at 6:1");
    ASSERT_EQ(song->notes->markerEntries().size(), 2u);
    EXPECT_EQ(song->notes->markerEntries()[0]->name(), "Solo");
    expectRefused(song, "add-marker again at 5:1", "there is a marker at 5:1 already");
    EXPECT_EQ(edit(song, {"remove-marker at 6:1", "remove-marker solo"}), "marker at 5:1 removed");
}

TEST(EditsTests, Notes) {
    const auto song = sampleSong();
    EXPECT_EQ(edit(song, {"add-note E4 at 3:1 for 1 beat", "add-note Bb3 at 3:2+ for 1/2 beat"}),
              "note Bb3 at 0:06.750 added");
    EXPECT_EQ(notesOf(song), "E4@264600+22050 Bb3@297675+11025");
    EXPECT_EQ(edit(song, {"change-note Fb4 at 3:1+1/2 to F4"}), "note F4 at 3:1 (was Fb4)");
    EXPECT_EQ(edit(song, {"remove-note A#3 at 3:2+"}), "note Bb3 at 0:06.750 removed");
    expectRefused(song, "remove-note F4 at 3:2", "no F4 sounds at 3:2; the nearest begins at @264600");
    expectRefused(song, "add-note F4 at 3:1 for 300ms", "F4 at 3:1 is there already");
    expectRefused(song, "add-note G4 at 3:1 for 0 frames", "must last");
    expectRefused(song, "add-note G4 at 3:1 for 16s", "end behind the recording");
    EXPECT_EQ(notesOf(song), "F4@264600+22050");
}

TEST(EditsTests, OneRefusedEditKeepsNone) {
    const auto song = sampleSong();
    test::addChord(*song, "D#m", 88200);
    (void)edit(song, {"add-section Intro at start", "add-region verse 2:1 to 3:1"});
    const auto grid = song->notes->beatEntries().copy();
    const auto report =
        edit(song, {"metre=3/4", "key=Ebm", "add-marker at 1:2", "add-note E4 at 2:1 for 1 beat",
                    "shift-region Verse by 1 beat", "rename-section Intro to Opening", "remove-chord at 1:1",
                    "add-section More at 2:1", "move-bar 99 to end"});
    EXPECT_EQ(report, "refused: 'move-bar 99 to end': there is no bar 99; the song has 11");
    EXPECT_EQ(song->notes->beatEntries().copy(), grid);
    EXPECT_EQ(song->notes->timeSignature().numerator, 4);
    EXPECT_EQ(song->notes->globalKey(), nullptr);
    EXPECT_EQ(chordsOf(*song), "D#m@88200");
    EXPECT_EQ(sectionsOf(*song), "Intro/named:other@0");
    EXPECT_EQ(regionsOf(song), "Verse[176400,264600)");
    EXPECT_TRUE(song->notes->markerEntries().empty());
    EXPECT_TRUE(song->notes->noteEntries().empty());
}

TEST(EditsTests, EveryExampleIsAnEdit) {
    for (const EditForm& form : editForms())
        EXPECT_EQ(parseEdits(std::vector{std::string(form.example)}).size(), 1u) << form.example;
}

} // namespace tarn::program
