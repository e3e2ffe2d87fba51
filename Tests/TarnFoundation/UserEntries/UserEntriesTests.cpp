#include "DocumentFixture.h"

#include "TarnFoundation/UserEntries/TarnSectionColor.h"
#include "TarnFoundation/UserEntries/TarnSectionEntry.h"

using namespace tarn;
using namespace tarn::fixtures;

namespace {

KELPPitchRef pitch(int value, int octave) {
    return KELPPitch::pitchWithNote(KELPNote::noteWithValue(value), octave);
}

TEST(UserEntriesTests, AreEqualByIdentifierAcrossKinds) {
    EXPECT_TRUE(TarnBeatEntry(7).isEqual(TarnChordEntry(7)));
    EXPECT_EQ(TarnBeatEntry(7).hash(), TarnChordEntry(7).hash());
    EXPECT_FALSE(TarnBeatEntry(7).isEqual(TarnBeatEntry(8)));
}

TEST(UserEntriesTests, DescribeThemselves) {
    TarnUserEntry base(std::numeric_limits<std::uint64_t>::max()); // identifiers are shown as signed numbers
    base.setLocation(-5);
    TarnNoteEntry note(1);
    note.setLocation(10);
    note.setLength(20);
    const std::string noteWithoutPitch = note.description();
    note.setPitch(pitch(9, 4));
    TarnKeyEntry key(3);
    key.setTonicChord(KELPChord::chordWithString("C"));
    TarnBeatEntry beat(5);
    beat.setDownbeat(true);
    TarnTempoEntry tempo(6);
    tempo.setTempo(120.5f);
    TarnTimeSignatureEntry signature(7);
    signature.setNumerator(200);
    TarnVerseRegionEntry verse(3);
    verse.setLength(44100);
    TarnMutableSectionEntry section(9);
    section.setName("A");
    const std::string a4 = note.pitch()->description();
    const std::pair<std::string, std::string> descriptions[] = {
        {base.description(), "EventID: -1, {-5,}"},
        {noteWithoutPitch, "Note EventID: 1, {10,20}, (null)"},
        {note.description(), "Note EventID: 1, {10,20}, " + a4},
        {TarnChordEntry(2).description(), "Chord EventID: 2, {0,}, (null)"},
        {key.description(), "Key EventID: 3, {0,}, " + key.tonicChord()->description()},
        {TarnStandardPitchEntry(4).description(), "Standard Pitch EventID: 4, {0,}, " + a4 + "@440.000Hz"},
        {TarnBeatEntry(5).description(), "<TarnBeatEntry: EventID: 5, {0,}>"},
        {beat.description(), "<TarnBeatEntry: EventID: 5, {0,} isDownbeat>"},
        {tempo.description(), "<TarnTempoEntry: EventID: 6, {0,} tempo=120.500000>"},
        {signature.description(), "<TarnTimeSignatureEntry: EventID: 7, {0,} time signature=200/4>"},
        // The bracket closes right after the class name.
        {TarnMarkerEntry(8).description(), "<TarnMarkerEntry: >: EventID: 8, {0}: (null)"},
        {verse.description(), "<TarnVerseRegionEntry: >: EventID: 3, {0,44100}"},
        {section.description(), "<TarnMutableSectionEntry: >: EventID: 9, {0}: A, (null)"}};
    for (const auto& [description, expected] : descriptions)
        EXPECT_EQ(description, expected);
}

TEST(UserEntriesTests, CycleThroughFretSelections) {
    const auto guitar = KELPStringedInstrumentDescription::stringedInstrumentDescription();
    const auto expectTurned = [&](const KELPPitchRef& of, std::uint8_t from, int increased, int decreased) {
        TarnNoteEntry note(0);
        note.setPitch(of);
        note.setFretSelection(from);
        note.increaseFretSelectionWithTuning(*guitar);
        EXPECT_EQ(note.fretSelection(), increased) << int{from};
        note.setFretSelection(from);
        note.decreaseFretSelectionWithTuning(*guitar);
        EXPECT_EQ(note.fretSelection(), decreased) << int{from};
    };
    expectTurned(pitch(4, 2), 0, 0, 0);  // the low E, at one position only: -1 modulo 1
    expectTurned(pitch(11, 2), 1, 0, 0); // B2, on the sixth and the fifth string
    expectTurned(pitch(11, 2), 0, 1, 255);
    expectTurned(pitch(11, 2), 255, 0, 0); // 254 modulo 2
    expectTurned(pitch(0, 1), 7, 7, 7);    // below every string
    expectTurned(nullptr, 7, 7, 7);
}

TEST(UserEntriesTests, RegionsAreValidAndContainFrames) {
    TarnRegionEntry region(0);
    const auto expect = [&](std::int64_t location, std::uint64_t length, bool valid, std::int64_t frame,
                            bool contained) {
        region.setRange({location, length});
        EXPECT_EQ(region.isValid(), valid) << region.description();
        EXPECT_EQ(region.containsLocation(frame), contained) << region.description() << " at " << frame;
    };
    const std::uint64_t topBit = std::uint64_t{1} << 63;
    for (const std::int64_t frame : {99, 100, 149, 150})
        expect(100, 50, true, frame, frame == 100 || frame == 149);
    expect(100, 0, false, 100, false);
    expect(100, topBit, false, 5000, true);
    expect(100, topBit - 1, true, 5000, true);
    expect(-100, 200, true, -50, false); // the sum wraps to 100, below any negative frame as it is unsigned
    expect(-100, 200, true, 50, true);
    expect(-100, 50, true, -60, true); // both ends stay negative
    region.setRange({kGreatest, 1});
    EXPECT_DEATH((void)region.end(), "overflow");
}

TEST(UserEntriesTests, CopyTheirAttributes) {
    TarnVerseRegionEntry source(1);
    source.setRange({5, 6});
    source.setName("Intro");
    TarnRegionEntry copy(2);
    source.copyAttributesToEntry(copy);
    EXPECT_EQ(copy.description(), "<TarnRegionEntry: >: EventID: 2, {5,6}");
    EXPECT_EQ(copy.name(), "Intro");

    // A time signature gives its location but takes numerator and denominator.
    TarnTimeSignatureEntry signature(3);
    signature.setNumerator(3);
    signature.setDenominator(8);
    signature.setLocation(77);
    TarnTimeSignatureEntry fresh(4);
    signature.copyAttributesToEntry(fresh);
    const std::string attributes = ", {77,} time signature=4/4>";
    EXPECT_EQ(signature.description(), "<TarnTimeSignatureEntry: EventID: 3" + attributes);
    EXPECT_EQ(fresh.description(), "<TarnTimeSignatureEntry: EventID: 4" + attributes);

    TarnMarkerEntry marker(5); // another kind gets what all kinds have
    source.copyAttributesToEntry(marker);
    EXPECT_EQ(marker.description(), "<TarnMarkerEntry: >: EventID: 5, {5}: (null)");

    TarnMutableSectionEntry section(6);
    section.setName("B");
    section.setSectionColor(TarnSectionColor::verse());
    section.setLocation(9);
    EXPECT_EQ(section.mutableCopy()->description(),
              "<TarnMutableSectionEntry: >: EventID: 6, {9}: B, named:verse");
}

TEST(UserEntriesTests, StartWithTheNamesOfTheirKind) {
    EXPECT_EQ(*TarnVerseRegionEntry(0).name() + *TarnChorusRegionEntry(0).name() +
                  *TarnBridgeRegionEntry(0).name() + *TarnMarkerRegionEntry(0).name(),
              "VerseChorusBridgeRegion");
    EXPECT_FALSE(TarnRegionEntry(0).name().has_value());
}

TEST(UserEntriesTests, WithoutARequiredValueDoNotDecode) {
    Error error;
    EXPECT_FALSE(decoded<TarnChordEntry>(std::make_shared<TarnChordEntry>(1), &error));
    EXPECT_FALSE(error.localizedDescription().empty());
    EXPECT_FALSE(decoded<TarnKeyEntry>(std::make_shared<TarnKeyEntry>(2)));
    const auto standard = std::make_shared<TarnStandardPitchEntry>(3);
    standard->setPitch(nullptr);
    EXPECT_FALSE(decoded<TarnStandardPitchEntry>(standard));
}

TEST(SectionColorTests, IsWrittenAndRead) {
    const auto expect = [](const char* text, const TarnSectionColor& stored) {
        TarnMutableSectionEntry section(0);
        section.setColorString(text);
        EXPECT_EQ(section.sectionColor(), stored) << text;
    };
    for (const auto& [text, name] : {std::pair("named:verse", "verse"),
                                     {"named:a:b", "a:b"},
                                     {"named::b", ":b"},
                                     {":named:x", "x"},
                                     {"rgba:ff000080", ""}}) {
        const auto color = TarnSectionColor::make(text);
        ASSERT_TRUE(color) << text;
        EXPECT_EQ(color->name() ? *color->name() : "", name) << text;
        expect(text, *color);
    }
    for (const char* text :
         {"named:", "plain", "", ":::", "Named:x", "rgba:FF0000", "rgba:FF00008", "rgba:FF0000801",
          "rgba:", "rgba:-F000080", "rgba:+F000080", "rgba:0xFF0000", "rgba: F000080", "rgba:GG000080"}) {
        EXPECT_FALSE(TarnSectionColor::make(text)) << text;
        expect(text, TarnSectionColor::other());
    }
    EXPECT_EQ(TarnSectionColor::make("rgba:FF000080"), TarnSectionColor::rgba({1.0f, 0, 0, 128.0f / 255.0f}));
    for (int value = 0; value < 256; ++value) { // every byte comes back
        const float component = static_cast<float>(value) / 255.0f;
        const auto color = TarnSectionColor::rgba({component, 0, 1, component});
        EXPECT_EQ(TarnSectionColor::make(color.rawValue()), color) << value;
    }
    EXPECT_EQ(TarnSectionColor::rgba({0.5f, -1, 2, std::numeric_limits<float>::quiet_NaN()}).rawValue(),
              "rgba:8000FF00");
    EXPECT_EQ(TarnMutableSectionEntry(0).sectionColor(), TarnSectionColor::other());
}

} // namespace
