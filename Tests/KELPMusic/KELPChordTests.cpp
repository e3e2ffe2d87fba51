#include "KELPMusic/KELPChord.h"
#include "KELPMusic/KELPChordTable.h"
#include "Tests/Platform/Texts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <set>

namespace tarn {
namespace {

KELPChordRef chord(std::string_view text) {
    auto parsed = KELPChord::chordWithString(text);
    EXPECT_TRUE(parsed) << text;
    return parsed;
}

std::string voicing(const KELPChord& chord, int octave) {
    std::string names;
    for (const auto& pitch : chord.pitchesAtOctave(octave))
        names += (names.empty() ? "" : ",") + pitch->description();
    return names;
}

TEST(KELPChordTableTests, EveryNameBelongsToOneRowAndThePrintedOneIsSearchable) {
    std::set<std::string_view> allNames;
    std::set<KELPChordIntervals> records;
    std::size_t count = 0;
    for (const auto& row : gChords) {
        const auto names = row.typedNames();
        EXPECT_EQ(std::count(names.begin(), names.end(), row.name), 1) << row.name;
        EXPECT_TRUE(std::is_sorted(row.intervals.begin(),
                                   std::find(row.intervals.begin() + 1, row.intervals.end(), 0)));
        records.insert(row.intervals);
        for (const auto name : names) {
            allNames.insert(name);
            EXPECT_FALSE(name.starts_with('#') || name.starts_with('b')) << name;
            EXPECT_EQ(name.find('/'), std::string_view::npos) << name;
        }
        count += names.size();
    }
    EXPECT_EQ(allNames.size(), count);
    EXPECT_EQ(records.size(), gChords.size());
}

TEST(KELPChordTests, EveryNameOnEveryRootRoundTrips) {
    for (const auto& row : gChords) {
        for (const auto root : kNamedNoteEntries) {
            const std::string printed = std::string(root).append(row.name);
            for (const auto name : row.typedNames()) {
                const auto parsed = chord(std::string(root).append(name));
                ASSERT_TRUE(parsed);
                EXPECT_EQ(parsed->string(), printed) << name;
                EXPECT_EQ(parsed->chordIntervals(), row.intervals) << printed;
            }
            const auto inverted = chord(printed + "/Bb");
            ASSERT_TRUE(inverted);
            EXPECT_EQ(inverted->string(), printed + "/Bb");
            EXPECT_EQ(*inverted->chordWithOffset(12), *inverted) << printed;
            EXPECT_EQ(*inverted->chordWithOffset(-24), *inverted) << printed;
        }
    }
}

TEST(KELPChordTests, TextsThatPeopleType) {
    const auto texts = pairsOf(
        "c=C bb=Bb bbm7=Bbm7 b7=B7 CM7=Cmaj7 Cm7=Cm7 CM=C CMAJ7=Cmaj7 cMin7=Cm7 CSUS4=Csus4 DDIM=Ddim "
        "D♭maj7=Dbmaj7 C7♯9=C7#9 F♯ø=F#m7b5 FØ7=Fm7b5 C∆7=Cmaj7 C6/9=C69 C6/9/E=C69/E am/g=Am/G "
        "D/F♯=D/F# Cb5=Cb5 G-7b5=Gm7b5 C7+=C7#5 Co=Cdim Bbb7/Ab=Bbb7/Ab C+maj7=Cmaj7#5 Ealt=E7alt "
        "NC=N.C. n.c.=N.C. CmM7=Cm(maj7)");
    for (const auto& [text, name] : texts) {
        const auto parsed = chord(text);
        EXPECT_EQ(parsed ? parsed->string() : "nothing", name) << text;
    }
    // An M whose case alone tells major from minor is never guessed at.
    for (const char* text :
         {"",    "/",    "H",    "x",      "Cx",    "C ", "C/",    "/C",   "C/H",       "C//G",      "C/E/G",
          "C7/", "Cfoo", "Cmm7", "CMadd9", "CM7B5", "N",  "C\xFF", "\xFF", "C\xE2\x99", "C/\xC0\x80"})
        EXPECT_FALSE(KELPChord::chordWithString(text)) << text;
    EXPECT_FALSE(KELPChord::chordWithString(std::string_view("C\0m", 3)));
}

TEST(KELPChordTests, HostileTextsGiveAChordThatRoundTripsOrNothing) {
    std::mt19937 random(7);
    const std::string_view pieces[] = {"C", "b",    "#",    "m", "M",   "7",   "/",   "maj",
                                       "♭", "\xE2", "\xFF", "(", "6/9", "sus", "N.C."};
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (auto length = random() % 6; length > 0; --length)
            text += pieces[random() % std::size(pieces)];
        if (const auto parsed = KELPChord::chordWithString(text)) {
            ASSERT_EQ(*chord(parsed->string()), *parsed) << text;
        }
    }
    EXPECT_FALSE(KELPChord::chordWithString("C" + std::string(1 << 20, '/')));
}

TEST(KELPChordTests, VoicingsAreSpelledAsChordTonesWithTheBassBelow) {
    const auto cases = pairsOf(
        "C@4=C4,E4,G4 C/E@4=E3,C4,E4,G4 C/C@4=C3,C4,E4,G4 C/B@4=B3,C4,E4,G4 C/B#@4=B#2,C4,E4,G4 "
        "Ab/Cb@4=Cb4,Ab4,C5,Eb5 Abm@3=Ab3,Cb4,Eb4 B@3=B3,D#4,F#4 D#@4=D#4,F##4,A#4 Cdim7@4=C4,Eb4,Gb4,Bbb4 "
        "Cm6@4=C4,Eb4,G4,A4 Caug@4=C4,E4,G#4 Bb7#9@4=Bb4,D5,F5,Ab5,C#6 A13#11@3=A3,C#4,E4,G4,B4,D#5,F#5 "
        "F7b13@4=F4,A4,C5,Eb5,Db6");
    for (const auto& [name, notes] : cases) {
        const auto parts = partsOf(name, '@');
        EXPECT_EQ(voicing(*chord(parts[0]), std::stoi(parts[1])), notes) << name;
    }
    EXPECT_TRUE(KELPChord::noChord()->pitchesAtOctave(4).empty());
    EXPECT_DEATH((void)chord("B")->pitchesAtOctave(INT_MAX), "out of range");

    for (const auto& row : gChords) {
        for (const auto root : kNamedNoteEntries) {
            const auto parsed = chord(std::string(root).append(row.name));
            std::bitset<12> sounding;
            std::int64_t previous = -1;
            for (const auto& pitch : parsed->pitchesAtOctave(4)) {
                EXPECT_GT(pitch->semitones(), previous) << parsed->string();
                previous = pitch->semitones();
                sounding.set(static_cast<std::size_t>(previous % 12));
                EXPECT_EQ(parsed->toneWithValue(pitch->note().value()), pitch->note()) << parsed->string();
            }
            EXPECT_EQ(sounding, parsed->pitchClasses()) << parsed->string();
        }
    }
}

TEST(KELPChordTests, TranspositionNamesTonicsAsMusiciansDo) {
    const std::tuple<const char*, int, const char*> cases[] = {
        {"C", 1, "Db"},         {"Cm", 1, "C#m"},    {"C", 3, "Eb"},       {"Am", 6, "Ebm"},
        {"C", 6, "F#"},         {"Gm7", 1, "G#m7"},  {"C/E", 1, "Db/F"},   {"C/E", -1, "B/D#"},
        {"Cm/Eb", -1, "Bm/D"},  {"D/F#", 1, "Eb/G"}, {"Am/G", 3, "Cm/Bb"}, {"Db/Ab", -1, "C/G"},
        {"F#/A#", 12, "F#/A#"}, {"Cb", 0, "Cb"},     {"Cb", 1, "C"},       {"F##7/A##", 1, "Ab7/C"},
        {"A", INT_MAX, "E"},    {"C", INT_MIN, "E"}, {"Cm/Gb", 8, "G#m/D"}};
    for (const auto& [from, semitones, to] : cases)
        EXPECT_EQ(chord(from)->chordWithOffset(semitones)->string(), to) << from << " + " << semitones;
    EXPECT_EQ(chord("C")->transposedBy(-128)->string(), "E");
    EXPECT_EQ(KELPChord::noChord()->transposedBy(3)->string(), "N.C.");

    for (const auto& row : gChords) {
        for (const auto root : kNamedNoteEntries) {
            const auto start = chord(std::string(root).append(row.name) + "/F#");
            for (int semitones = -13; semitones <= 13; ++semitones) {
                const auto moved = start->chordWithOffset(semitones);
                for (std::size_t value = 0; value < 12; ++value)
                    ASSERT_EQ(moved->pitchClasses()[(value + static_cast<std::size_t>(semitones + 24)) % 12],
                              start->pitchClasses()[value])
                        << start->string() << " + " << semitones;
            }
        }
    }
}

TEST(KELPChordTests, KeySignatures) {
    const std::tuple<const char*, int, bool> cases[] = {
        {"C", 0, false},   {"G", 1, false},    {"F", -1, false},   {"F#", 6, false},  {"Gb", -6, false},
        {"C#", 7, false},  {"Cb", -7, false},  {"G#", -4, false},  {"Fb", 4, false},  {"Am", 0, true},
        {"Ebm", -6, true}, {"D#m", 6, true},   {"A#m", 7, true},   {"Abm", -7, true}, {"Dbm", 4, true},
        {"Bdim", 2, true}, {"G7#9", 1, false}, {"Dsus4", 2, false}};
    for (const auto& [tonic, signature, minor] : cases) {
        EXPECT_EQ(chord(tonic)->midiKeyValue(), signature) << tonic;
        EXPECT_EQ(chord(tonic)->isMinor(), minor) << tonic;
    }
    for (int fifths = -15; fifths <= 19; ++fifths) {
        const auto root = KELPNote::noteWithFifths(fifths);
        for (int id : {1, 2})
            EXPECT_LE(std::abs(KELPChord::chordWithRoot(root, *KELPChordIntervalsWithID(id))->midiKeyValue()),
                      7);
    }
    EXPECT_EQ(KELPChord::noChord()->midiKeyValue(), 0);
}

TEST(KELPChordTests, EqualityIsThatOfTheWrittenChord) {
    const char* names[] = {"C", "Cm", "C#", "Db", "C/E", "C/G", "C/Fb", "N.C."};
    for (const char* a : names) {
        for (const char* b : names)
            EXPECT_EQ(chord(a)->isEqualToChord(*chord(b)), std::string_view(a) == b) << a << " " << b;
        EXPECT_EQ(std::hash<KELPChord>{}(*chord(a)), std::hash<KELPChord>{}(*chord(a)));
    }
    const auto fromRecord = KELPChord::chordWithRoot(KELPNote(), {0, 4, 7, 0, 99, 5, 1});
    EXPECT_EQ(*fromRecord, *chord("C"));
    EXPECT_EQ(fromRecord->chordWithNewRoot(KELPNote::noteWithValue(3, true), KELPNote())->string(), "Eb/C");
}

TEST(KELPChordTests, IntervalRecords) {
    EXPECT_EQ(*KELPChordIntervalsWithID(1), (KELPChordIntervals{0, 4, 7}));
    EXPECT_EQ(*KELPChordIntervalsWithID(2), (KELPChordIntervals{0, 3, 7}));
    EXPECT_EQ(KELPChordIntervalsWithID(45), &gChords.back().intervals);
    for (int id : {0, 46, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(KELPChordIntervalsWithID(id), nullptr) << id;
    EXPECT_EQ(KELPChord::chordWithRoot(KELPNote(), {0, 4, 10, 127})->string(), "C(3,b7,12)");
    // (#5) is a name of the table, of the augmented triad.
    for (const char* name : {"C(1)", "Bb(3,5,9,11)/D", "C(5,b3)", "F#(1,#5)", "C(8,14)"}) {
        ASSERT_NE(chord(name), nullptr) << name;
        EXPECT_EQ(chord(name)->string(), name);
    }
    EXPECT_EQ(KELPChord::chordWithRoot(KELPNote(), {0, 8})->string(), "C(1,#5)");
    for (const char* text : {"C()", "C(", "C(3,)", "C(3", "C(3,1)", "C(15)", "C(2,3,4,5,6,7,9)"})
        EXPECT_EQ(KELPChord::chordWithString(text), nullptr) << text;
    EXPECT_EQ(KELPChord::chordWithRoot(KELPNote(), {}, KELPNote::noteWithValue(7))->string(), "C(1)/G");
    EXPECT_DEATH((void)KELPChord::chordWithRoot(KELPNote(), {1, 4, 7}), "first interval");
    EXPECT_DEATH((void)KELPChord::chordWithRoot(KELPNote(), {0, -4, 7}), "not an interval");
    EXPECT_DEATH((void)KELPChord::chordWithRoot(KELPNote(), {0, 4, 128}), "not an interval");
}

} // namespace
} // namespace tarn
