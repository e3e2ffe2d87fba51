#include "KELPMusic/ChordFingerings.h"
#include "KELPMusic/ChordTriad.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace tarn {
namespace {

using testing::ElementsAre;

std::vector<ChordFingering> fingerings(const char* chord, const char* instrument) {
    return chordFingerings(*KELPChord::chordWithString(chord),
                           *KELPStringedInstrumentDescription::presetNamed(instrument), 4);
}

std::vector<int> firstOf(const char* chord, const char* instrument) {
    const auto all = fingerings(chord, instrument);
    return all.empty() ? std::vector<int>()
                       : std::vector<int>(all.front().frets.begin(), all.front().frets.end());
}

TEST(ChordFingeringsTests, FirstComesTheFormThatBeginnersLearn) {
    EXPECT_THAT(firstOf("E", "Guitar"), ElementsAre(0, 2, 2, 1, 0, 0));
    EXPECT_THAT(firstOf("Am", "Guitar"), ElementsAre(-1, 0, 2, 2, 1, 0));
    EXPECT_THAT(firstOf("D", "Guitar"), ElementsAre(-1, -1, 0, 2, 3, 2));
    EXPECT_THAT(firstOf("C", "Guitar"), ElementsAre(-1, 3, 2, 0, 1, 0));
    EXPECT_THAT(firstOf("F", "Guitar"), ElementsAre(1, 3, 3, 2, 1, 1));
    EXPECT_THAT(firstOf("C", "Ukulele"), ElementsAre(0, 0, 0, 3));
    EXPECT_THAT(firstOf("F", "Ukulele"), ElementsAre(2, 0, 1, 0));
    EXPECT_THAT(firstOf("Am", "Ukulele"), ElementsAre(2, 0, 0, 0));
}

TEST(ChordFingeringsTests, EachSoundsTheChordAndCanBeReached) {
    for (const char* name :
         {"F#m7b5", "Bb/D", "Ebmaj7", "C9", "G#dim7", "Dsus4", "E7#9", "A6", "C/G", "B+"}) {
        for (const char* preset : {"Guitar", "Ukulele", "Bass", "Guitar, DADGAD"}) {
            const auto chord = KELPChord::chordWithString(name);
            const auto instrument = KELPStringedInstrumentDescription::presetNamed(preset);
            int lastBase = -1;
            for (const auto& fingering : fingerings(name, preset)) {
                ASSERT_EQ(fingering.frets.size(), instrument->tuning().size());
                EXPECT_NE(fingering.baseFret, lastBase); // places of their own
                lastBase = fingering.baseFret;
                bool hasRoot = false;
                for (std::size_t i = 0; i < fingering.frets.size(); ++i) {
                    const int fret = fingering.frets[i];
                    EXPECT_TRUE(fret <= 0 || (fret >= fingering.baseFret && fret < fingering.baseFret + 4));
                    if (fret < 0)
                        continue;
                    const auto tone =
                        static_cast<std::size_t>((instrument->tuning()[i]->semitones() + fret) % 12);
                    EXPECT_TRUE(chord->pitchClasses()[tone]) << name << " on " << preset;
                    hasRoot = hasRoot || static_cast<int>(tone) == chord->root().value();
                }
                EXPECT_TRUE(hasRoot) << name << " on " << preset;
            }
        }
        EXPECT_FALSE(fingerings(name, "Guitar").empty()) << name;
    }
    EXPECT_TRUE(chordFingerings(*KELPChord::noChord(),
                                *KELPStringedInstrumentDescription::stringedInstrumentDescription(), 4)
                    .empty());
}

TEST(ChordTriadTests, LeavesThreeTones) {
    const auto triad = [](const char* name) { return triadOf(KELPChord::chordWithString(name))->string(); };
    for (const auto& [chord, simple] : {std::pair("Cmaj7/E", "C"),
                                        {"F#m7", "F#m"},
                                        {"Bbm7b5", "Bbdim"},
                                        {"G7sus4", "Gsus4"},
                                        {"Dadd9", "D"},
                                        {"Eb13", "Eb"},
                                        {"A+", "A+"},
                                        {"E5", "E5"},
                                        {"N.C.", "N.C."}})
        EXPECT_EQ(KELPChord::chordWithString(simple)->string(), triad(chord)) << chord;
    EXPECT_EQ(triadOf(nullptr), nullptr);
}

} // namespace
} // namespace tarn
