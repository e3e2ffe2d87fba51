#include "Song/Edits/Edits.h"

#include "Song/SongPositions.h"
#include "Tests/Song/SongTexts.h"

#include <gmock/gmock.h>

namespace tarn {
namespace {

using test::chordsOf, test::beatsOf, test::frameOf, test::messageOf, test::notesOf, test::perform,
    test::regionsOf, test::sampleSong, test::sectionsOf;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;
using SongRef = std::shared_ptr<Song>;

/// What the last of these edits reports.
std::string report(const SongRef& song, const Arguments& arguments) {
    return applyEdits(*song, parseEdits(arguments)).back();
}
std::string report(const SongRef& song, const std::string& sentence) {
    return report(song, Arguments{sentence});
}

/// Why the edit is refused; empty where it is not.
std::string refusal(const SongRef& song, const std::string& sentence) {
    return messageOf<EditRefused>([&] { report(song, sentence); });
}

/// What is said of arguments that are not edits; empty where they are.
std::string syntaxError(const std::string& sentence) {
    return messageOf<EditSyntaxError>([&] { (void)parseEdits(Arguments{sentence}); });
}

std::vector<std::int64_t> barsOf(const SongRef& song) {
    std::vector<std::int64_t> bars;
    for (const auto& beat : song->notes->beatEntries()) {
        if (beat->isDownbeat())
            bars.push_back(beat->location());
    }
    return bars;
}

/// "Verse" in bars 2 and 3, "Chorus" in bar 5, another "Verse" in bar 7.
SongRef songWithRegions() {
    const auto song = sampleSong();
    perform(*song, "add-region verse 2:1 to 4:1|add-region chorus 5:1 to 6:1|add-region verse 7:1 to 8:1");
    return song;
}

} // namespace

// Sentences

TEST(Edits, ASentenceIsOneArgumentOrItsWords) {
    const auto words = sampleSong();
    const auto sentences = sampleSong();
    report(words, {"metre=3/4", "add-section", "Verse 2", "at", "3:1", "color", "verse", "add-marker", "Solo",
                   "at", "2:1", "shift-downbeats", "-1"});
    report(sentences, {"metre 3/4", "add-section \"Verse 2\" at 3:1 color verse", "add-marker 'Solo' at 2:1",
                       "shift-downbeats -1 beat"});
    EXPECT_EQ(sectionsOf(*words), "Verse 2/named:verse@220500");
    EXPECT_EQ(sectionsOf(*sentences), sectionsOf(*words));
    EXPECT_EQ(beatsOf(*words), beatsOf(*sentences));
}

TEST(Edits, AnEqualsSignMayStandBetweenBlanks) {
    EXPECT_EQ(report(sampleSong(), {"metre", "=", "3/4"}), report(sampleSong(), "metre=3/4"));
    EXPECT_EQ(report(sampleSong(), "metre = 3/4"), report(sampleSong(), "metre=3/4"));
}

TEST(Edits, AQuotedWordIsNeverAKeyword) {
    EXPECT_EQ(report(sampleSong(), "add-marker \"at\" at 2:1"), "marker \"at\" added at 2:1");
}

TEST(Edits, EveryExampleIsAnEdit) {
    for (const EditForm& form : editForms())
        EXPECT_EQ(parseEdits(Arguments{std::string(form.example)}).size(), 1u) << form.example;
}

TEST(Edits, AnUnknownVerbLeadsToTheHelp) {
    EXPECT_EQ(syntaxError("move 5"), "'move 5' is not an edit; 'tarn edit --help' lists them");
}

TEST(Edits, AWrongSentenceIsAnsweredWithItsFormAndAnExample) {
    EXPECT_EQ(syntaxError("move-bar five to 3:1"),
              "'move-bar five to 3:1': 'five' is not the number of a bar, a whole number; "
              "write move-bar BAR to POSITION, as in 'move-bar 5 to 1:05.2'");
}

TEST(Edits, MissingAndSuperfluousWordsAreNamed) {
    EXPECT_THAT(syntaxError("move-bar 5 at 3:1"), HasSubstr("'to' is missing before 'at'"));
    EXPECT_THAT(syntaxError("move-bar 5 to"), HasSubstr("a position is missing"));
    EXPECT_THAT(syntaxError("remove-chord at 3:1 now"), HasSubstr("'now' is one word too many"));
    EXPECT_THAT(syntaxError("add-section \"Verse at 3:1"), HasSubstr("a quote does not end"));
    EXPECT_THAT(syntaxError("title=\"The \"other\" one\""), HasSubstr("a quote ends within a word"));
    EXPECT_THAT(syntaxError("title=Rock 'n' Roll"), HasSubstr("quotes stand around the whole title"));
}

TEST(Edits, AMetreIsANumberOfQuartersOrEighths) {
    for (const char* metre : {"3", "03/4", "3/0", "99/4", "33/4", "0/4", "3/2"})
        EXPECT_THAT(syntaxError("metre=" + std::string(metre)), HasSubstr("is not a valid metre")) << metre;
}

TEST(Edits, AKeyIsANoteOfMajorOrMinor) {
    for (const char* key : {"H", "C7", "Ebm minor", "N.C.", "C/E"})
        EXPECT_THAT(syntaxError("key=" + std::string(key)), HasSubstr("is not a valid key")) << key;
}

TEST(Edits, EachKindOfWordIsNamed) {
    EXPECT_THAT(syntaxError("move-bar 5 to 1:5:05"), HasSubstr("'1:5:05' is not a valid position"));
    EXPECT_THAT(syntaxError("add-region intro 1:1 to 2:1"),
                HasSubstr("'intro' is not verse, chorus, bridge or region"));
    EXPECT_THAT(syntaxError("shift-region Verse by 1 mile"), HasSubstr("'1 mile' is not a valid length"));
    EXPECT_THAT(syntaxError("add-note E4 at 3:1 for 99999999999 beats"), HasSubstr("is not a valid length"));
    EXPECT_THAT(syntaxError("add-chord Hm at 3:1"), HasSubstr("'Hm' is not a valid chord"));
    EXPECT_THAT(syntaxError("shift-downbeats 99999999999999999999"),
                HasSubstr("is not a number of beats, a whole number"));
    for (const char* note : {"E", "E40", "Cb-1"}) {
        EXPECT_THAT(syntaxError("add-note " + std::string(note) + " at 3:1 for 1 beat"),
                    HasSubstr("'" + std::string(note) + "' is not a note with its octave"));
    }
}

TEST(Edits, RegionsMoveByWholeBeats) {
    EXPECT_THAT(syntaxError("shift-region Verse by 1.5 beats"),
                HasSubstr("regions move by whole beats and bars"));
}

TEST(Edits, OneRefusedEditKeepsNone) {
    const auto song = sampleSong();
    test::addChord(*song, 88200, "D#m");
    perform(*song, "add-section Intro at start|add-region verse 2:1 to 3:1");
    const auto before = test::contentsOf(*song);
    EXPECT_EQ(messageOf<EditRefused>([&] {
                  report(song, {"metre=3/4", "key=Ebm", "add-marker at 1:2", "add-note E4 at 2:1 for 1 beat",
                                "shift-region Verse by 1 beat", "rename-section Intro to Opening",
                                "remove-chord at 1:1", "add-section More at 2:1", "move-bar 99 to end"});
              }),
              "'move-bar 99 to end': there is no bar 99; the song has 11");
    EXPECT_EQ(test::contentsOf(*song), before);
}

// Metre and bars

TEST(Edits, AMetreSetsNewBarLines) {
    const auto song = sampleSong();
    EXPECT_EQ(report(song, "metre=3/4"), "metre 3/4 (was 4/4), 11 bars");
    EXPECT_EQ(barsOf(song)[1], 88200 + 6 * 11025);
    EXPECT_EQ(report(sampleSong(), "metre=6/8"), "metre 6/8 (was 4/4), 11 bars");
}

TEST(Edits, AMovedBarKeepsItsBeatsEven) {
    const auto song = sampleSong();
    EXPECT_EQ(report(song, "move-bar 2 to 4.1s"), "bar 2 begins at @180810 (was @176400)");
    EXPECT_EQ(barsOf(song)[1], 180810);
    EXPECT_EQ(song->notes->beatEntries()[1]->location(), 88200 + 92610 / 8);
    EXPECT_EQ(report(song, "move-bar 1 to start"), "bar 1 begins at @0 (was @88200)");
}

TEST(Edits, TheLastBarKeepsItsEndWhenItMoves) {
    const auto song = sampleSong();
    EXPECT_EQ(report(song, "move-bar 8 to 15.9s"), "bar 8 begins at @701190 (was @705600)");
    EXPECT_EQ(song->notes->beatEntries().size(), 64u);
    EXPECT_LE(song->notes->beatEntries().back()->location(), 782775);
}

TEST(Edits, ABarMovesOnlyBetweenItsNeighbours) {
    const auto song = sampleSong();
    for (const char* place : {"3:1", "1:1"}) {
        EXPECT_THAT(refusal(song, "move-bar 2 to " + std::string(place)),
                    HasSubstr("bar 2 must begin between 1:1 and 3:1"));
    }
    for (const char* place : {"@264599", "@88207"})
        EXPECT_THAT(refusal(song, "move-bar 2 to " + std::string(place)), HasSubstr("no room left"));
}

TEST(Edits, BarsThatTheSongDoesNotHaveAreRefused) {
    const auto song = sampleSong();
    EXPECT_THAT(refusal(song, "move-bar 9 to 3:1"), HasSubstr("there is no bar 9; the song has 8"));
    EXPECT_THAT(refusal(song, "move-bar 0 to 3:1"), HasSubstr("counted from 1"));
    EXPECT_THAT(refusal(song, "move-bar -3 to 3:1"), HasSubstr("there is no bar -3"));
    EXPECT_THAT(refusal(song, "move-bar 3 to 99:1"), HasSubstr("no bar 99"));
}

TEST(Edits, ABarIsFilledWithOtherBeats) {
    const auto song = sampleSong();
    EXPECT_EQ(report(song, "bar-beats 7 = 5"), "bar 7 has 5 beats (was 4)");
    EXPECT_EQ(frameOf(song, "7:5"), 617400 + 8 * 8820);
    EXPECT_EQ(frameOf(song, "8:1"), 705600);
    EXPECT_EQ(report(song, "bar-beats 8 3"), "bar 8 has 3 beats (was 4)");
    EXPECT_THAT(refusal(song, "bar-beats 7 = 0"), HasSubstr("1 to 64"));
    EXPECT_THAT(refusal(song, "bar-beats 7 = 65"), HasSubstr("1 to 64"));
}

TEST(Edits, DownbeatsShiftByBeatsOrEighths) {
    const auto song = sampleSong();
    EXPECT_EQ(report(song, "shift-downbeats 1"), "downbeats moved; 8 bars, the first at @110250");
    EXPECT_EQ(report(song, "shift-downbeats -1"), "downbeats moved; 8 bars, the first at @88200");
    EXPECT_THAT(refusal(song, "shift-downbeats 40"), HasSubstr("the song has only 32 beats"));
    EXPECT_THAT(refusal(song, "shift-downbeats -9223372036854775808"), HasSubstr("the song has only"));
    report(song, "shift-downbeats 1 eighth");
    EXPECT_EQ(barsOf(song)[0], 99225);
}

TEST(Edits, DownbeatsOfAStretchMoveAroundWithinIt) {
    const auto song = sampleSong();
    EXPECT_EQ(report(song, "offset-downbeats 1 from 3:1 to 5:1"), "2 downbeats moved between 3:1 and 5:1");
    EXPECT_EQ(barsOf(song),
              (std::vector<std::int64_t>{88200, 176400, 286650, 374850, 441000, 529200, 617400, 705600}));
}

TEST(Edits, DownbeatsOfAStretchNeverFallOnEachOther) {
    const auto song = sampleSong();
    EXPECT_THAT(refusal(song, "offset-downbeats 4 from 3:1 to 5:1"), HasSubstr("would fall on another one"));
    EXPECT_THAT(refusal(song, "offset-downbeats 0 from 3:1 to 5:1"), HasSubstr("would fall on another one"));
    EXPECT_THAT(refusal(song, "offset-downbeats 9 from 3:1 to 5:1"), HasSubstr("there are only 8 beats"));
    EXPECT_THAT(refusal(song, "offset-downbeats 1 from 5:1 to 3:1"), HasSubstr("no two beats"));
    EXPECT_THAT(refusal(song, "offset-downbeats 1 from 3:2 to 3:4"), HasSubstr("no bar begins"));
}

TEST(Edits, WithoutBeatsOnlyTheMetreCanBeSet) {
    const auto song = std::make_shared<Song>(Recording{"a", 44100, 44100, "a"});
    for (const char* sentence :
         {"shift-downbeats 1", "move-bar 1 to start", "bar-beats 1 3", "offset-downbeats 1 from start to end",
          "add-region verse at start", "add-note E4 at start for 1 beat"})
        EXPECT_NE(refusal(song, sentence), "") << sentence;
    EXPECT_EQ(report(song, "metre=3/4"), "metre 3/4 (was unknown), 0 bars");
}

// Key and chords

TEST(Edits, AKeyRespellsTheChords) {
    const auto song = sampleSong();
    perform(*song, "add-chord D#m at 1:1|add-chord B/D# at 2:3");
    EXPECT_EQ(report(song, "add-chord N.C. at end"), "chord N.C. at 0:20.000 added");
    EXPECT_EQ(report(song, "key=Ebm"), "key Eb minor (was none), 2 chords respelled");
    EXPECT_EQ(chordsOf(*song), "Ebm@88200 Cb/Eb@220500 N.C.@882000");
    EXPECT_EQ(report(song, "key F# minor"), "key F# minor (was Eb minor), 2 chords respelled");
}

TEST(Edits, AChordIsFoundWhereItSounds) {
    const auto song = sampleSong();
    perform(*song, "add-chord D#m at 1:1|add-chord B/D# at 2:3");
    EXPECT_EQ(report(song, "change-chord at 2:4 to C:min7"), "chord Cm7 at 2:3 (was B/D#)");
    EXPECT_EQ(report(song, "remove-chord at 2:1"), "chord D#m at 1:1 removed");
    EXPECT_EQ(chordsOf(*song), "Cm7@220500");
    EXPECT_THAT(refusal(song, "remove-chord at 2:2"), HasSubstr("no chord sounds at 2:2"));
}

TEST(Edits, OneChordBeginsAtAPlace) {
    const auto song = sampleSong();
    report(song, "add-chord Cm7 at 2:3");
    EXPECT_THAT(refusal(song, "add-chord G at 2:3"),
                HasSubstr("Cm7 at 2:3 is there already; change-chord changes it"));
}

// Regions

TEST(Edits, ARegionIsAddedBetweenPositionsOrInTheFreeSpaceOfABar) {
    const auto song = sampleSong();
    EXPECT_EQ(report(song, "add-region verse 1:1 to 3:1"), "region \"Verse\" from 1:1 to 3:1 added");
    EXPECT_EQ(report(song, "add-region chorus at 3:1"), "region \"Chorus\" from 3:1 to 4:1 added")
        << "the bar after a region's end is free";
    EXPECT_EQ(report(song, "add-region region \"Solo\" from 4:3 to end"),
              "region \"Solo\" from 4:3 to 0:20.000 added");
    EXPECT_EQ(report(song, "add-region bridge at 4:2"), "region \"Bridge\" from 4:1 to 4:3 added");
    EXPECT_NE(std::dynamic_pointer_cast<TarnBridgeRegionEntry>(song->notes->regionEntries()[2]), nullptr);
}

TEST(Edits, ARegionIsNotAddedWhereItFindsNoRoom) {
    const auto song = sampleSong();
    perform(*song, "add-region verse 1:1 to 3:1|add-region bridge 4:1 to 4:3");
    EXPECT_THAT(refusal(song, "add-region verse 2:1 to 5:1"),
                HasSubstr("the region \"Verse\" from 1:1 to 3:1 is in the way"));
    EXPECT_THAT(refusal(song, "add-region verse at 4:1"),
                HasSubstr("\"Bridge\" from 4:1 to 4:3 is there already"));
    EXPECT_THAT(refusal(song, "add-region verse 3:1 to 3:1"), HasSubstr("must end after its start"));
    EXPECT_THAT(refusal(song, "add-region verse at end"), HasSubstr("the recording ends there"));
    report(song, "add-region region 5:1 to end");
    EXPECT_THAT(refusal(song, "add-region verse at end"), HasSubstr("the recording ends there"));
}

TEST(Edits, ARegionIsRenamedAndRemoved) {
    const auto song = sampleSong();
    perform(*song, "add-region chorus 3:1 to 4:1|add-region verse 5:1 to 6:1");
    EXPECT_EQ(report(song, "rename-region Chorus to \"Chorus, first\""),
              "region \"Chorus\" is called \"Chorus, first\"");
    EXPECT_EQ(report(song, "remove-region at 5:4"), "region \"Verse\" from 5:1 to 6:1 removed");
    EXPECT_EQ(regionsOf(*song), "Chorus, first[264600,352800)");
}

TEST(Edits, RegionsAreFoundByNameNumberOrPlace) {
    const auto song = songWithRegions();
    EXPECT_EQ(report(song, "rename-region chorus to A"), "region \"Chorus\" is called \"A\"");
    EXPECT_EQ(report(song, "rename-region Verse#2 to B"), "region \"Verse\" is called \"B\"");
    EXPECT_EQ(report(song, "rename-region at 2:3 to C"), "region \"Verse\" is called \"C\"");
    EXPECT_EQ(regionsOf(*song), "C[176400,352800) A[441000,529200) B[617400,705600)");
}

TEST(Edits, ARegionThatIsNotFoundIsRefused) {
    const auto song = songWithRegions();
    EXPECT_THAT(refusal(song, "remove-region Verse"),
                HasSubstr("there are 2 called \"Verse\" (at 2:1, 7:1); write Verse#2"));
    EXPECT_THAT(refusal(song, "remove-region Intro"), HasSubstr("there is no region \"Intro\""));
    EXPECT_THAT(refusal(song, "remove-region Verse#3"), HasSubstr("there is no region \"Verse#3\""));
    EXPECT_THAT(refusal(song, "remove-region at 4:1"), HasSubstr("there is no region at 4:1"));
}

TEST(Edits, AnEndOfARegionMovesOverBarsAndBeats) {
    const auto song = songWithRegions();
    EXPECT_EQ(report(song, "adjust-region chorus end by 1 bar"),
              "region \"Chorus\" from 5:1 to 7:1 (was 5:1 to 6:1)");
    EXPECT_EQ(report(song, "adjust-region Chorus end by -1 beat"),
              "region \"Chorus\" from 5:1 to 6:4 (was 5:1 to 7:1)");
}

TEST(Edits, AnEndOfARegionMovesToAnyPositionAndSnapsBack) {
    const auto song = songWithRegions();
    EXPECT_EQ(report(song, "adjust-region Chorus start to @400000"),
              "region \"Chorus\" from 0:09.070 to 6:1 (was 5:1 to 6:1)");
    EXPECT_EQ(report(song, "adjust-region Chorus start by 0 bars"),
              "region \"Chorus\" from 5:1 to 6:1 (was 0:09.070 to 6:1)");
}

TEST(Edits, AnEndOfARegionIsRefusedABadPlace) {
    const auto song = songWithRegions();
    EXPECT_THAT(refusal(song, "adjust-region Chorus end by 5 beats"),
                HasSubstr("Another region is in the way; add clip"));
    EXPECT_THAT(refusal(song, "adjust-region Verse#1 end by -2 bars"), HasSubstr("no length"));
    EXPECT_THAT(refusal(song, "adjust-region Verse#1 end by -1 bar threshold 3s"), HasSubstr("too short"));
    EXPECT_THAT(refusal(song, "adjust-region Verse#1 start by -5s"), HasSubstr("out of the recording"));
}

TEST(Edits, ARegionShiftsByBarsBeatsOrSeconds) {
    const auto song = songWithRegions();
    EXPECT_EQ(report(song, "shift-region at 2:3 by 1 bar"),
              "region \"Verse\" from 3:1 to 5:1 (was 2:1 to 4:1)");
    EXPECT_EQ(report(song, "shift-region Verse#2 by -1 beat"),
              "region \"Verse\" from 6:4 to 7:4 (was 7:1 to 8:1)");
    EXPECT_EQ(report(song, "shift-region Verse#2 by -0.5s"),
              "region \"Verse\" from 6:3 to 7:3 (was 6:4 to 7:4)");
}

TEST(Edits, ARegionInTheWayStopsClipsOrGoes) {
    const auto song = songWithRegions();
    EXPECT_THAT(refusal(song, "shift-region Verse#1 by 5 beats"), HasSubstr("Another region is in the way"));
    EXPECT_EQ(report(song, "shift-region Verse#1 by 5 beats clip"),
              "region \"Verse\" from 3:2 to 5:1 (was 2:1 to 4:1)");
    EXPECT_EQ(report(song, "shift-region Verse#2 by -5 beats delete"),
              "region \"Verse\" from 5:4 to 6:4 (was 7:1 to 8:1); region \"Chorus\" removed");
    EXPECT_EQ(regionsOf(*song), "Verse[286650,441000) Verse[507150,595350)");
}

TEST(Edits, ARegionIsNotShiftedTooFar) {
    const auto song = songWithRegions();
    EXPECT_THAT(refusal(song, "shift-region Verse#1 by 5s"), HasSubstr("farther than the region is long"));
    EXPECT_THAT(refusal(song, "shift-region Verse#2 by 9 bars"), HasSubstr("leave the grid"));
}

// Sections and markers

TEST(Edits, SectionsAreAddedRenamedColouredAndRemoved) {
    const auto song = sampleSong();
    report(song, "add-section Intro at start");
    EXPECT_EQ(report(song, "add-section \"Verse 2\" at 3:1 color verse"),
              "section \"Verse 2\" (verse) added at 3:1");
    report(song, "rename-section intro to Opening");
    EXPECT_EQ(report(song, "color-section at 5:1 chorus"), "section \"Verse 2\" has the colour chorus");
    EXPECT_EQ(sectionsOf(*song), "Opening/named:other@0 Verse 2/named:chorus@264600");
    EXPECT_EQ(report(song, "remove-section Opening"), "section \"Opening\" removed");
    EXPECT_EQ(sectionsOf(*song), "Verse 2/named:chorus@264600");
}

TEST(Edits, SectionsThatAreNotThereAndOnesAtOnePlaceAreRefused) {
    const auto song = sampleSong();
    report(song, "add-section Verse at 3:1");
    EXPECT_THAT(refusal(song, "add-section Other at 3:1"), HasSubstr("\"Verse\" begins there already"));
    EXPECT_THAT(refusal(song, "remove-section Coda"), HasSubstr("there is no section \"Coda\""));
    EXPECT_THAT(refusal(song, "color-section at 2:1 verse"), HasSubstr("there is no section at 2:1"));
}

TEST(Edits, MarkersAreAddedWithANameOrWithoutAndRemoved) {
    const auto song = sampleSong();
    report(song, "add-marker Solo at 5:1");
    EXPECT_EQ(report(song, "add-marker at 6:1"), "marker added at 6:1");
    EXPECT_THAT(refusal(song, "add-marker again at 5:1"), HasSubstr("there is a marker at 5:1 already"));
    ASSERT_EQ(song->notes->markerEntries().size(), 2u);
    EXPECT_EQ(song->notes->markerEntries()[0]->name(), "Solo");
    EXPECT_EQ(report(song, "remove-marker at 6:1"), "marker at 6:1 removed");
    EXPECT_EQ(report(song, "remove-marker solo"), "marker at 5:1 removed");
}

// Notes

TEST(Edits, NotesAreAddedWithTheirLengths) {
    const auto song = sampleSong();
    report(song, "add-note E4 at 3:1 for 1 beat");
    EXPECT_EQ(report(song, "add-note Bb3 at 3:2+ for 1/2 beat"), "note Bb3 at 0:06.750 added");
    EXPECT_EQ(notesOf(*song), "E4@264600+22050 Bb3@297675+11025");
}

TEST(Edits, NotesAreFoundByTheirSoundWhereTheySound) {
    const auto song = sampleSong();
    perform(*song, "add-note E4 at 3:1 for 1 beat|add-note Bb3 at 3:2+ for 1/2 beat");
    EXPECT_EQ(report(song, "change-note Fb4 at 3:1+1/2 to F4"), "note F4 at 3:1 (was Fb4)");
    EXPECT_EQ(report(song, "remove-note A#3 at 3:2+"), "note Bb3 at 0:06.750 removed");
    EXPECT_EQ(notesOf(*song), "F4@264600+22050");
    EXPECT_THAT(refusal(song, "remove-note F4 at 3:2"),
                HasSubstr("no F4 sounds at 3:2; the nearest begins at @264600"));
}

TEST(Edits, NotesThatCannotBeAddedAreRefused) {
    const auto song = sampleSong();
    report(song, "add-note F4 at 3:1 for 1 beat");
    EXPECT_THAT(refusal(song, "add-note F4 at 3:1 for 300ms"), HasSubstr("F4 at 3:1 is there already"));
    EXPECT_THAT(refusal(song, "add-note G4 at 3:1 for 0 frames"), HasSubstr("must last"));
    EXPECT_THAT(refusal(song, "add-note G4 at 3:1 for 16s"), HasSubstr("end after the recording"));
}

// Tempo and single beats

TEST(Edits, HalfAndDoubleTempoAreInverse) {
    const auto song = sampleSong();
    const auto bars = barsOf(song);
    EXPECT_EQ(report(song, "half-tempo"), "half tempo: 60.0 BPM, 4 bars");
    EXPECT_EQ(frameOf(song, "2:2"), 88200 + 10 * 22050);
    EXPECT_EQ(report(song, "double-tempo"), "double tempo: 120.0 BPM, 8 bars");
    EXPECT_EQ(barsOf(song), bars);
    EXPECT_EQ(report(song, "double-tempo"), "double tempo: 240.0 BPM, 16 bars");
    EXPECT_EQ(frameOf(song, "2:1"), 88200 + 44100);
}

TEST(Edits, APickupIsHalvedFromTheFirstBarOn) {
    const auto song = sampleSong();
    report(song, "shift-downbeats 1");
    const auto first = barsOf(song).front();
    report(song, "half-tempo");
    EXPECT_EQ(barsOf(song).front(), first);
    EXPECT_EQ(song->notes->beatEntries().front()->location(), first) << "one beat before it has no partner";
}

TEST(Edits, ASongInTwoIsCountedInDottedBeatsAndBack) {
    const auto song = sampleSong(2);
    const auto bars = barsOf(song);
    EXPECT_EQ(report(song, "metre=6/8"), "metre 6/8 (was 2/4), each beat dotted, of three eighths");
    EXPECT_EQ(barsOf(song), bars);
    EXPECT_EQ(frameOf(song, "1:4"), 88200 + 22050) << "the second dotted beat";
    EXPECT_EQ(frameOf(song, "1:2"), 88200 + 7350);
    EXPECT_EQ(report(song, "metre=2/4"), "metre 2/4 (was 6/8), each beat of two eighths");
    EXPECT_EQ(barsOf(song), bars);
    EXPECT_EQ(frameOf(song, "1:2"), 88200 + 22050);
}

TEST(Edits, ANewMetreKeepsTheTempoOfTheBeatsThatStay) {
    const auto song = sampleSong();
    test::addTempo(*song, 120);
    EXPECT_EQ(report(song, "metre=3/4"), "metre 3/4 (was 4/4), 11 bars");
    EXPECT_EQ(report(song, "metre=6/8"), "metre 6/8 (was 3/4), 11 bars, 80.0 BPM");
    EXPECT_EQ(report(song, "metre=7/8"), "metre 7/8 (was 6/8), 10 bars, 120.0 BPM");
    EXPECT_EQ(song->notes->tempoEntries().front()->tempo(), 120.0F);
}

TEST(Edits, ATempoMakesAGridFromItsFirstBarOn) {
    const auto song = std::make_shared<Song>(Recording{"song.wav", 44100, 441000, "sample"});
    EXPECT_EQ(report(song, "tempo=100 from 0:01.3"), "tempo 100, bar 1 at @57330, 4 bars");
    EXPECT_EQ(barsOf(song).front(), 57330);
    EXPECT_EQ(frameOf(song, "2:1"), 57330 + 4 * 26460);
    EXPECT_EQ(song->notes->beatEntries().front()->location(), 57330 - 2 * 26460) << "pickup up to the start";
    EXPECT_EQ(song->notes->tempoEntries().front()->tempo(), 100.0F);
    report(song, "tempo=200");
    EXPECT_EQ(barsOf(song).front(), 57330) << "bar 1 stays where it is";
    EXPECT_THAT(syntaxError("tempo=5"), HasSubstr("10 to 1000"));
}

TEST(Edits, BeatsAreAddedRemovedAndMoved) {
    const auto song = sampleSong();
    report(song, "add-beat at 2:4+");
    EXPECT_EQ(frameOf(song, "2:5"), 176400 + 77175);
    EXPECT_EQ(refusal(song, "add-beat at 2:5"), "'add-beat at 2:5': there is a beat at 2:5 already");
    report(song, "remove-beat at 2:5");
    report(song, "move-beat 2:2 to @200000");
    EXPECT_EQ(frameOf(song, "2:2"), 200000);
    EXPECT_THAT(refusal(song, "move-beat 2:2 to 2:4"), HasSubstr("between its neighbours"));
    EXPECT_THAT(refusal(song, "remove-beat at 0:03.1"), HasSubstr("there is no beat"));
    report(song, "remove-beat at 3:1");
    EXPECT_EQ(frameOf(song, "3:1"), 264600 + 22050) << "the bar begins with its next beat";
}

TEST(Edits, TapsRebuildTheGridBetweenThem) {
    const auto song = sampleSong();
    const auto entries = song->notes->beatEntries();
    EXPECT_EQ(report(song, "tap-downbeats @180000 @280000 @352800"),
              "2 bars between @180000 and @352800; 120.0 BPM, 8 bars");
    EXPECT_EQ(frameOf(song, "2:1"), 180000);
    EXPECT_EQ(frameOf(song, "2:2"), 205000);
    EXPECT_EQ(frameOf(song, "3:1"), 280000);
    EXPECT_EQ(frameOf(song, "4:1"), 352800);
    EXPECT_EQ(frameOf(song, "4:2"), 374850);
    EXPECT_TRUE(song->notes->containsBeatEntry(entries.front())) << "what stays keeps its identifier";
    EXPECT_TRUE(song->notes->containsBeatEntry(entries.back()));
    EXPECT_THAT(refusal(song, "tap-downbeats 0:05 0:04"), HasSubstr("follow one another"));
}

TEST(Edits, ChordsThatSoundTheSameAreReplaced) {
    const auto song = sampleSong();
    perform(*song, "add-chord C#m7 at 1:1|add-chord Dbm7 at 2:1|add-chord C#m at 3:1");
    EXPECT_EQ(report(song, "replace-chords C#m7 by E/G#"), "2 chords C#m7 became E/G#");
    EXPECT_EQ(chordsOf(*song), "E/G#@88200 E/G#@176400 C#m@264600");
    EXPECT_THAT(refusal(song, "replace-chords F by G"), HasSubstr("there is no chord F"));
}

TEST(Edits, BarsAreCopiedWithTheirChords) {
    const auto song = sampleSong();
    perform(*song, "add-chord C at 1:1|add-chord F at 2:1|add-chord G at 2:3|add-chord Am at 5:1|"
                   "add-chord Dm at 6:2");
    EXPECT_EQ(report(song, "copy-bars 2 at 5"), "1 bar copied to bar 5, with 2 chords");
    EXPECT_EQ(chordsOf(*song), "C@88200 F@176400 G@220500 F@441000 G@485100 Am@529200 Dm@551250")
        << "what sounded after the bar goes on to sound";
    EXPECT_THAT(refusal(song, "copy-bars 2 to 4 at 7"), HasSubstr("only 8 bars"));
    EXPECT_THAT(refusal(song, "copy-bars 4 to 2 at 1"), HasSubstr("before"));
}

TEST(Edits, CopiedBarsBeginWithWhatSoundsAtTheirStart) {
    const auto song = sampleSong();
    perform(*song, "bar-beats 3 = 3|add-chord C at 1:1|add-chord G at 1:4|add-chord F at 3:2");
    report(song, "copy-bars 1 to 2 at 3");
    EXPECT_EQ(chordsOf(*song), "C@88200 G@154350 C@264600 G@352800 F@441000")
        << "bar 3 has no fourth beat; G goes on in bar 4 nevertheless, and F after it";
}

TEST(Edits, OneBeatMovesAloneAndSwungEighthsStay) {
    const auto song = sampleSong();
    auto& notes = *song->notes;
    const auto beats = notes.beatEntries();
    std::vector<std::shared_ptr<TarnBeatEntry>> swung = notes.mutableCopiesOfUserEntriesInArray(beats);
    for (std::size_t i = 1; i < swung.size(); i += 2)
        swung[i]->setLocation(swung[i]->location() + 3000);
    notes.replaceBeatEntriesInArrayWithBeatEntriesInArray(beats, swung);
    const auto before = notes.beatEntries();
    report(song, "move-beat 3:2 to @290000");
    std::size_t moved = 0;
    for (const auto& beat : before)
        moved += !notes.containsBeatEntry(beat);
    EXPECT_EQ(moved, 3u) << "the beat and the eighths beside it";
}

TEST(Edits, AGridWithoutMetreStaysWithoutOne) {
    const auto song = std::make_shared<Song>(Recording{"song.wav", 44100, 441000, "sample"});
    test::addBeats(*song, {.first = 0, .spacing = 22050, .count = 16, .perBar = 4});
    report(song, "move-beat 2:2 to @112000");
    EXPECT_TRUE(song->notes->timeSignatureEntries().empty());
    EXPECT_EQ(song->notes->beatEntries().size(), 16u);
}

TEST(Edits, TheTempoIsThatOfDottedBeatsInCompoundMetres) {
    const auto song = sampleSong(2);
    test::addTempo(*song, 120);
    const auto tempo = [&] { return song->notes->tempoEntries().front()->tempo(); };
    report(song, "metre=6/8");
    EXPECT_EQ(tempo(), 120.0F);
    report(song, "tempo=100");
    EXPECT_EQ(tempo(), 100.0F);
    report(song, "tap-downbeats 2:1 3:1");
    EXPECT_NEAR(tempo(), 100, 0.1);
}

TEST(Edits, PropertiesOfTheSongAreSet) {
    const auto song = sampleSong();
    EXPECT_EQ(report(song, "title=\"Blue in green\""), "title \"Blue in green\" (was \"\")");
    perform(*song, "artist=X|capo=3|transpose=-2");
    EXPECT_EQ(song->properties, (SongProperties{"Blue in green", "X", 3, -2}));
    EXPECT_THAT(syntaxError("capo=25"), HasSubstr("between 0 and 24"));
}

} // namespace tarn
