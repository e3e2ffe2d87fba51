#include "KELPMusic/KELPChordTable.h"
#include "KELPMusic/KELPKey.h"
#include "Tests/Platform/Texts.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

KELPKeyRef key(std::string_view tonic) {
    return KELPKey::makeWithTonicChord(KELPChord::chordWithString(tonic));
}

TEST(KELPKeyTests, SpellsChordsAsTheKeyDoes) {
    const auto cases = pairsOf(
        // notes of the scale
        "F:A#=Bb E:Abm=G#m Gb:B=Cb F#:F=E# Cb:E7=Fb7 C#:Cdim=B#dim Bbm:F#=Gb Eb:G#/D#=Ab/Eb "
        "G#:Gdim=F##dim "
        // the raised sixth and seventh degree of minor, and the basses of its dominant
        "Am:Abdim7=G#dim7 Am:E/Ab=E/G# Dm:A7/Db=A7/C# Cm:Cb=B G#m:D#/G=D#/F## Gm:Bbaug/Gb=Bbaug/F# "
        // a bass outside the scale that is a tone of its chord
        "F:A/Db=A/C# C:D7/Gb=D7/F# C:Fm/G#=Fm/Ab D:Gm/A#=Gm/Bb "
        // other notes: the key's side, and without one the name nearest to the tonic
        "F:F#=Gb D:Eb=D# D:Db=C# C:A#=Bb C:D#=Eb C:Gbdim=F#dim C:G#=Ab C:C#=Db Am:A#=Bb "
        "Am:Ebdim7=D#dim7 Am:Dbdim=C#dim Eb:B=B A:F=F F:C/F#=C/Gb "
        // nothing to spell
        "Eb:N.C.=N.C. C:F##=G C:Dbb/Fb=C/E");
    for (const auto& [given, spelled] : cases) {
        const auto in = partsOf(given, ':');
        EXPECT_EQ(key(in[0])->scaleNormalizedChord(KELPChord::chordWithString(in[1]))->string(), spelled)
            << given;
    }
    EXPECT_EQ(key("C")->scaleNormalizedChord(nullptr), nullptr);
}

TEST(KELPKeyTests, NormalizingChangesNoSoundAndSettles) {
    for (int tonicFifths = -15; tonicFifths <= 19; ++tonicFifths) {
        for (const int mode : {1, 2}) {
            const auto inKey = KELPKey::makeWithTonicChord(KELPChord::chordWithRoot(
                KELPNote::noteWithFifths(tonicFifths), *KELPChordIntervalsWithID(mode)));
            EXPECT_EQ(*inKey->scaleNormalizedChord(inKey->tonicChord()), *inKey->tonicChord());
            for (const auto& row : gChords) {
                for (const auto root : kNamedNoteEntries) {
                    for (const auto bass : {"", "/C#", "/Eb", "/B"}) {
                        const auto chord =
                            KELPChord::chordWithString(std::string(root).append(row.name).append(bass));
                        const auto normalized = inKey->scaleNormalizedChord(chord);
                        ASSERT_EQ(normalized->pitchClasses(), chord->pitchClasses()) << chord->string();
                        ASSERT_EQ(normalized->root().value(), chord->root().value()) << chord->string();
                        ASSERT_EQ(normalized->chordIntervals(), chord->chordIntervals()) << chord->string();
                        ASSERT_EQ(normalized->addedBass().has_value(), chord->addedBass().has_value());
                        ASSERT_EQ(*inKey->scaleNormalizedChord(normalized), *normalized)
                            << chord->string() << " in " << inKey->description();
                    }
                }
            }
        }
    }
}

TEST(KELPKeyTests, NeedsATonic) {
    EXPECT_EQ(KELPKey::makeWithTonicChord(nullptr), nullptr);
    EXPECT_EQ(key("N.C."), nullptr);
    EXPECT_EQ(key("F#m7")->description(), "F# minor");
    EXPECT_EQ(key("Bb7")->description(), "Bb major");
    EXPECT_EQ(*key("C"), *key("c"));
    EXPECT_FALSE(*key("C#") == *key("Db"));
}

} // namespace
} // namespace tarn
