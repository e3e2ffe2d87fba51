#include "KELPMusic/KELPPitch.h"
#include "KELPMusic/KELPStringedInstrumentDescription.h"

#include <gmock/gmock.h>

#include <climits>

namespace tarn {
namespace {

using ::testing::ElementsAre;

KELPPitch pitch(std::string_view name, int octave) {
    return {KELPNote::noteWithString(name).value(), octave};
}

TEST(KELPPitchTests, OctavesFollowTheLetterAndMIDINumbersStayInRange) {
    const std::tuple<const char*, int, int> cases[] = {
        {"C", 4, 60},   {"A", 4, 69},      {"Cb", 4, 59},      {"B#", 3, 60}, {"B#", 4, 72},
        {"Cbb", 4, 58}, {"C", -1, 0},      {"G", 9, 127},      {"Cb", -1, 0}, {"G#", 9, 127},
        {"A", 10, 127}, {"C", INT_MIN, 0}, {"B", INT_MAX, 127}};
    for (const auto& [name, octave, midi] : cases)
        EXPECT_EQ(pitch(name, octave).midiNote(), midi) << name << octave;
    EXPECT_EQ(pitch("Bb", -1).description(), "Bb-1");
}

TEST(KELPPitchTests, OffsetsMoveTheSoundAndCrossOctaves) {
    const std::tuple<const char*, int, int, const char*> cases[] = {
        {"C", 4, -1, "B3"}, {"B", 3, 1, "C4"},    {"C", 4, 12, "C5"},  {"Cb", 4, -12, "Cb3"},
        {"C", 4, 1, "Db4"}, {"F", 4, 5, "Bb4"},   {"Cb", 4, 2, "Db4"}, {"B", 4, 4, "D#5"},
        {"D#", 4, 4, "G4"}, {"Gb", 4, 10, "Fb5"}, {"B#", 4, 0, "B#4"}, {"C", 4, -128, "E-7"}};
    for (const auto& [name, octave, offset, result] : cases)
        EXPECT_EQ(pitch(name, octave).pitchAtOffset(offset)->description(), result)
            << name << octave << " + " << offset;
    for (int fifths = -15; fifths <= 19; ++fifths) {
        const KELPPitch start(KELPNote::noteWithFifths(fifths), 4);
        for (int offset = -30; offset <= 30; ++offset)
            ASSERT_EQ(start.pitchAtOffset(offset)->semitones(), start.semitones() + offset);
    }
    EXPECT_DEATH((void)pitch("B", INT_MAX).pitchAtOffset(1), "out of range");
    EXPECT_DEATH((void)KELPPitch::pitchWithNoteAtSemitones(KELPNote(), 61), "does not sound at this pitch");
}

TEST(KELPPitchTests, FretsOfTheStringsThatCanPlayIt) {
    const auto guitar = KELPStringedInstrumentDescription::stringedInstrumentDescription();
    EXPECT_THAT(pitch("E", 4).possibleFretsWithTuning(*guitar), ElementsAre(24, 19, 14, 9, 5, 0));
    EXPECT_THAT(pitch("Fb", 4).possibleFretsWithTuning(*guitar), ElementsAre(24, 19, 14, 9, 5, 0));
    EXPECT_THAT(pitch("F", 4).possibleFretsWithTuning(*guitar), ElementsAre(-1, 20, 15, 10, 6, 1));
    EXPECT_THAT(pitch("Eb", 2).possibleFretsWithTuning(*guitar), ElementsAre(-1, -1, -1, -1, -1, -1));
    EXPECT_THAT(pitch("C", INT_MAX).possibleFretsWithTuning(*guitar), ElementsAre(-1, -1, -1, -1, -1, -1));
    const KELPStringedInstrumentDescription monochord("One", {KELPPitch::pitchWithNote(KELPNote(), -1)}, 127);
    EXPECT_THAT(pitch("G", 9).possibleFretsWithTuning(monochord), ElementsAre(127));
    EXPECT_THAT(pitch("G#", 9).possibleFretsWithTuning(monochord), ElementsAre(-1));
    EXPECT_TRUE(pitch("C", 4).possibleFretsWithTuning({"None", {}, 24}).empty());
}

TEST(KELPStringedInstrumentDescriptionTests, PresetsAreDistinctAndTuned) {
    const auto& presets = KELPStringedInstrumentDescription::presets();
    EXPECT_EQ(presets.front()->description(), "Guitar (E2 A2 D3 G3 B3 E4, 24 frets)");
    for (const auto& preset : presets)
        EXPECT_EQ(KELPStringedInstrumentDescription::presetNamed(preset->name()), preset) << preset->name();
    const std::pair<const char*, std::vector<int>> openStrings[] = {
        {"Guitar", {40, 45, 50, 55, 59, 64}},
        {"Guitar, half step down", {39, 44, 49, 54, 58, 63}},
        {"Guitar, open G", {38, 43, 50, 55, 59, 62}},
        {"5-string bass", {23, 28, 33, 38, 43}},
        {"Ukulele", {67, 60, 64, 69}},
        {"Banjo", {67, 50, 55, 59, 62}},
        {"8-string guitar", {30, 35, 40, 45, 50, 55, 59, 64}}};
    for (const auto& [name, midi] : openStrings) {
        const auto preset = KELPStringedInstrumentDescription::presetNamed(name);
        ASSERT_TRUE(preset) << name;
        std::vector<int> notes;
        for (const auto& string : preset->tuning())
            notes.push_back(string->midiNote());
        EXPECT_EQ(notes, midi) << name;
    }
    EXPECT_FALSE(KELPStringedInstrumentDescription::presetNamed("Theremin"));
}

TEST(KELPStringedInstrumentDescriptionTests, EqualityLooksAtEveryField) {
    const auto guitar = KELPStringedInstrumentDescription::stringedInstrumentDescription();
    const auto copy = guitar->copy();
    EXPECT_NE(copy, guitar);
    EXPECT_TRUE(copy->isEqualToDescription(*guitar));
    EXPECT_EQ(std::hash<KELPStringedInstrumentDescription>{}(*copy),
              std::hash<KELPStringedInstrumentDescription>{}(*guitar));
    auto tuning = guitar->tuning();
    EXPECT_FALSE(guitar->isEqualToDescription({"Lute", tuning, 24}));
    EXPECT_FALSE(guitar->isEqualToDescription({"Guitar", tuning, 22}));
    tuning.pop_back();
    EXPECT_FALSE(guitar->isEqualToDescription({"Guitar", tuning, 24}));
    tuning.push_back(KELPPitch::pitchWithNote(KELPNote::noteWithValue(2), 4));
    EXPECT_FALSE(guitar->isEqualToDescription({"Guitar", tuning, 24}));
    EXPECT_DEATH(KELPStringedInstrumentDescription("", {nullptr}, 1), "A string has no pitch");
    EXPECT_DEATH(KELPStringedInstrumentDescription("", {}, 128), "number of frets");
}

} // namespace
} // namespace tarn
