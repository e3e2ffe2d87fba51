#include "KELPMusic/HarteChord.h"
#include "KELPMusic/KELPChordTable.h"
#include "Tests/Platform/Texts.h"

#include <gtest/gtest.h>

#include <set>

namespace tarn {

TEST(HarteChordTests, LabelsOfChords) {
    // Basses are degrees of the major scale on the root, spelled as the bass is spelled.
    const auto cases =
        pairsOf("C=C:maj F#m=F#:min Bb7=Bb:7 Gm7b5=G:hdim7 Am(maj7)=A:minmaj7 C5=C:(1,5) C69=C:maj6(9) "
                "Cadd9=C:maj(9) C9sus4=C:sus4(b7,9) C11=C:9(11) Cm13=C:min9(11,13) C7b5=C:7(*5,b5) "
                "C7#5=C:aug(b7) C13b9=C:7(b9,13) C7alt=C:aug(b7,#9) C/E=C:maj/3 Cm/Eb=C:min/b3 C/D#=C:maj/#2 "
                "Bb7/Ab=Bb:7/b7 C/C=C:maj N.C.=N");
    for (const auto& [name, label] : cases)
        EXPECT_EQ(harteLabel(KELPChord::chordWithString(name)), label) << name;
    EXPECT_EQ(harteLabel(nullptr), "N");
    EXPECT_EQ(harteLabel(KELPChord::chordWithRoot(KELPNote(), {0, 4, 24, 26})), "C:(1,3,8,9)")
        << "degrees beyond the thirteenth";
}

TEST(HarteChordTests, EveryQualityComesBackFromItsOwnLabel) {
    std::set<std::string> labels;
    for (const KELPChordDefinition& row : gChords) {
        for (const char* root : {"C", "F#", "Bb"}) {
            const auto chord = KELPChord::chordWithString(root + std::string(row.name) + "/G");
            ASSERT_NE(chord, nullptr);
            const std::string label = harteLabel(chord);
            EXPECT_TRUE(labels.insert(label).second) << label;
            const auto read = chordWithHarteLabel(label);
            EXPECT_EQ(read ? read->string() : "nothing", chord->string()) << label;
        }
    }
}

TEST(HarteChordTests, ReadsWhatAnnotationsHold) {
    // Also the tones of a quality in another octave, and a chord whose quality is not in the table.
    const auto cases = pairsOf(
        "C=C C/5=C/G C/b3=C/Eb A:min/b7=Am/G Ab:(1,3,5)=Ab D:(b3,5,b7)=Dm7 E:5=E5 E:(1,5)=E5 F:7(#9)=F7#9 "
        "G:maj(2)=Gadd9 G:sus4(b7)=G7sus4 D:maj(*3)=D5 B:min7(*b3)=B(5,b7) C:13=C13 F##:min=F##m N=N.C. "
        "X=N.C.");
    for (const auto& [label, name] : cases) {
        const auto chord = chordWithHarteLabel(label);
        EXPECT_EQ(chord ? chord->string() : "nothing", name) << label;
    }
    for (const auto& label :
         partsOf("|H:maj|c:maj|C:|C:major|C:maj(|C:maj()|C:maj(14)|C:maj(0)|C:maj(b1)|C:maj(*1)|C:maj(3,)|"
                 "C:maj(b#3)|C:maj(bbb7)|C/|C/8x|C:maj/E|Cbbb:maj|Cm7|C:(2,3,4,5,6,7,b9)|"
                 "C:maj(999999999999)",
                 '|'))
        EXPECT_EQ(chordWithHarteLabel(label), nullptr) << label;
    EXPECT_EQ(chordWithLabelOrName("Cm7/E")->string(), "Cm7/E");
    EXPECT_EQ(chordWithLabelOrName("Hm"), nullptr);
}

} // namespace tarn
