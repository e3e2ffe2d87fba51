#include "KELPMusic/KELPNote.h"
#include "Tests/Platform/Texts.h"

#include <gtest/gtest.h>

#include <climits>
#include <set>

namespace tarn {
namespace {

KELPNote note(std::string_view name) {
    return KELPNote::noteWithString(name).value();
}

TEST(KELPNoteTests, NamesOfPitchClasses) {
    const char* sharps[] = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
    const char* flats[] = {"C", "Db", "D", "Eb", "E", "F", "Gb", "G", "Ab", "A", "Bb", "B"};
    for (int value = 0; value < 12; ++value) {
        EXPECT_EQ(KELPNote::noteWithValue(value).string(), sharps[value]);
        EXPECT_EQ(KELPNote::noteWithValue(value, true).string(), flats[value]);
        EXPECT_EQ(KELPNote::noteWithValue(value).value(), value);
        EXPECT_EQ(KELPNote::noteWithValue(value - 120, true).value(), value);
    }
    EXPECT_EQ(KELPNote::noteWithValue(INT_MIN).value(), 4);
    EXPECT_EQ(KELPNote::noteWithValue(INT_MAX).value(), 7);
}

TEST(KELPNoteTests, EverySpellingRoundTripsAndKnowsItsSound) {
    constexpr int kLetterSemitones[] = {0, 2, 4, 5, 7, 9, 11};
    std::set<std::string> names;
    for (int letter = 0; letter < 7; ++letter) {
        for (int sharps = -2; sharps <= 2; ++sharps) {
            std::string name(1, "CDEFGAB"[letter]);
            name.append(static_cast<std::size_t>(std::abs(sharps)), sharps < 0 ? 'b' : '#');
            const KELPNote spelled = note(name);
            EXPECT_EQ(spelled.string(), name);
            EXPECT_EQ(spelled.letter(), letter) << name;
            EXPECT_EQ(spelled.accidental(), sharps) << name;
            EXPECT_EQ(spelled.semitonesAboveC(), kLetterSemitones[letter] + sharps) << name;
            EXPECT_EQ(spelled.value(), (kLetterSemitones[letter] + sharps + 12) % 12) << name;
            EXPECT_EQ(KELPNote::noteWithFifths(spelled.fifths()), spelled);
            EXPECT_EQ(spelled.withoutDoubleAccidental().value(), spelled.value());
            EXPECT_LE(std::abs(spelled.withoutDoubleAccidental().accidental()), 1);
            names.insert(name);
        }
    }
    EXPECT_EQ(names.size(), 35u);
    for (const std::string_view name : kNamedNoteEntries)
        EXPECT_EQ(note(name).string(), name);
}

TEST(KELPNoteTests, FifthsBeyondTwoAccidentalsKeepTheSound) {
    for (int fifths : {-16, -100, 20, 31, 32, 100, INT_MAX, INT_MIN}) {
        const KELPNote folded = KELPNote::noteWithFifths(fifths);
        EXPECT_EQ(((std::int64_t{fifths} - folded.fifths()) % 12), 0) << fifths;
        EXPECT_LE(std::abs(folded.accidental()), 2) << fifths;
    }
}

TEST(KELPNoteTests, TextsThatNameNotes) {
    const auto texts =
        pairsOf("c=C bb=Bb B♭=Bb f♯=F# F♯♯=F## F\xF0\x9D\x84\xAA=F## e♭♭=Ebb Bbb=Bbb bbb=Bbb E#=E# cb=Cb "
                "a\xF0\x9D\x84\xAB=Abb");
    for (const auto& [text, name] : texts) {
        ASSERT_TRUE(KELPNote::noteWithString(text)) << text;
        EXPECT_EQ(KELPNote::noteWithString(text)->string(), name);
    }
    for (const char* text : {"", "H", "h", "x", "#", "♭", "C#b", "Cb#", "C###", "Cm", " C", "C ", "CB",
                             "\xE2\x99", "C\xE2\x99", "C\xFF", "\xC3\x28", "D\xF0\x9D\x84\xAA#"})
        EXPECT_FALSE(KELPNote::noteWithString(text)) << text;
    EXPECT_FALSE(KELPNote::noteWithString(std::string_view("C\0", 2)));
}

TEST(KELPNoteTests, OffsetsAreSpelledAsChordTones) {
    const std::tuple<const char*, std::int8_t, const char*> cases[] = {
        {"C", 3, "Eb"},   {"C", 4, "E"},    {"C", 6, "Gb"},    {"C", 8, "G#"},   {"C", 10, "Bb"},
        {"C", 13, "Db"},  {"C", 15, "D#"},  {"C", 18, "F#"},   {"C", 20, "Ab"},  {"C", 21, "A"},
        {"B", 4, "D#"},   {"B", 8, "F##"},  {"Db", 3, "Fb"},   {"Db", 4, "F"},   {"Gb", 3, "Bbb"},
        {"F", 5, "Bb"},   {"F#", 11, "E#"}, {"D#", 4, "F##"},  {"C", -1, "B"},   {"C", -3, "A"},
        {"C", -4, "Ab"},  {"C", -6, "F#"},  {"C", -8, "E"},    {"Eb", -2, "Db"}, {"B#", 8, "G#"},
        {"Bb", 12, "Bb"}, {"Gb", 24, "Gb"}, {"Cb", 120, "Cb"}, {"F#", -12, "F#"}};
    for (const auto& [from, offset, to] : cases)
        EXPECT_EQ(note(from).noteWithOffset(offset).string(), to) << from << " + " << int{offset};

    for (int fifths = -15; fifths <= 19; ++fifths) {
        const KELPNote start = KELPNote::noteWithFifths(fifths);
        for (int offset = INT8_MIN; offset <= INT8_MAX; ++offset)
            ASSERT_EQ(start.noteWithOffset(static_cast<std::int8_t>(offset)).value(),
                      (start.value() + offset + 132) % 12)
                << start.string() << " + " << offset;
    }
}

} // namespace
} // namespace tarn
