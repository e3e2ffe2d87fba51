#include "KELPMusic/KELPStringedInstrumentDescription.h"
#include "TarnFoundation/UserEntries/TarnNoteEntryStorage.h"
#include "TarnFoundation/UserEntries/TarnSectionColor.h"
#include "TarnFoundation/UserEntries/TarnSectionEntry.h"

#include <gtest/gtest.h>

#include <limits>

using namespace tarn;

namespace {

KELPPitchRef pitch(int value, int octave) {
    return KELPPitch::pitchWithNote(KELPNote::noteWithValue(value), octave);
}

TEST(UserEntries, AreEqualByIdentifierAcrossKinds) {
    const TarnBeatEntry beat(7);
    const TarnChordEntry chord(7);
    const TarnBeatEntry other(8);
    EXPECT_TRUE(beat.isEqual(chord));
    EXPECT_EQ(beat.hash(), chord.hash());
    EXPECT_FALSE(beat.isEqual(other));
}

TEST(UserEntries, DescribeThemselves) {
    TarnUserEntry base(std::numeric_limits<std::uint64_t>::max()); // identifiers are shown as signed numbers
    base.setLocation(-5);
    EXPECT_EQ(base.description(), "EventID: -1, {-5,}");

    TarnNoteEntry note(1);
    note.setLocation(10);
    note.setLength(20);
    EXPECT_EQ(note.description(), "Note EventID: 1, {10,20}, (null)");
    note.setPitch(pitch(9, 4));
    EXPECT_EQ(note.description(), "Note EventID: 1, {10,20}, " + note.pitch()->description());

    TarnChordEntry chord(2);
    EXPECT_EQ(chord.description(), "Chord EventID: 2, {0,}, (null)");
    TarnKeyEntry key(3);
    key.setTonicChord(KELPChord::chordWithString("C"));
    EXPECT_EQ(key.description(), "Key EventID: 3, {0,}, " + key.tonicChord()->description());
    TarnStandardPitchEntry standard(4);
    EXPECT_EQ(standard.description(),
              "Standard Pitch EventID: 4, {0,}, " + pitch(9, 4)->description() + "@440.000Hz");

    TarnBeatEntry beat(5);
    EXPECT_EQ(beat.description(), "<TarnBeatEntry: EventID: 5, {0,}>");
    beat.setDownbeat(true);
    EXPECT_EQ(beat.description(), "<TarnBeatEntry: EventID: 5, {0,} isDownbeat>");
    TarnTempoEntry tempo(6);
    tempo.setTempo(120.5f);
    EXPECT_EQ(tempo.description(), "<TarnTempoEntry: EventID: 6, {0,} tempo=120.500000>");
    TarnTimeSignatureEntry signature(7);
    signature.setNumerator(200);
    EXPECT_EQ(signature.description(), "<TarnTimeSignatureEntry: EventID: 7, {0,} time signature=200/4>");

    // The bracket closes right after the class name.
    TarnMarkerEntry marker(8);
    EXPECT_EQ(marker.description(), "<TarnMarkerEntry: >: EventID: 8, {0}: (null)");
    TarnVerseRegionEntry verse(3);
    verse.setLength(44100);
    EXPECT_EQ(verse.description(), "<TarnVerseRegionEntry: >: EventID: 3, {0,44100}");
    TarnMutableSectionEntry section(9);
    section.setName("A");
    EXPECT_EQ(section.description(), "<TarnMutableSectionEntry: >: EventID: 9, {0}: A, (null)");
}

TEST(UserEntries, CycleThroughFretSelections) {
    const auto guitar = KELPStringedInstrumentDescription::stringedInstrumentDescription();
    TarnNoteEntry note(0);
    note.setPitch(pitch(4, 2)); // the low E: one position only
    note.increaseFretSelectionWithTuning(*guitar);
    EXPECT_EQ(note.fretSelection(), 0);
    note.decreaseFretSelectionWithTuning(*guitar);
    EXPECT_EQ(note.fretSelection(), 0) << "-1 modulo 1";

    note.setPitch(pitch(11, 2)); // B2: on the sixth and the fifth string
    note.setFretSelection(1);
    note.increaseFretSelectionWithTuning(*guitar);
    EXPECT_EQ(note.fretSelection(), 0);
    note.decreaseFretSelectionWithTuning(*guitar);
    EXPECT_EQ(note.fretSelection(), 255);
    note.decreaseFretSelectionWithTuning(*guitar);
    EXPECT_EQ(note.fretSelection(), 0) << "254 modulo 2";

    note.setFretSelection(7);
    note.setPitch(pitch(0, 1)); // below every string
    note.increaseFretSelectionWithTuning(*guitar);
    note.setPitch(nullptr);
    note.decreaseFretSelectionWithTuning(*guitar);
    EXPECT_EQ(note.fretSelection(), 7);
}

TEST(UserEntries, RegionsAreValidAndContainFrames) {
    struct Case {
        std::int64_t location;
        std::uint64_t length;
        bool valid;
        std::int64_t frame;
        bool contained;
    };
    const std::uint64_t topBit = std::uint64_t{1} << 63;
    for (const Case& c : std::initializer_list<Case>{
             {100, 50, true, 99, false},
             {100, 50, true, 100, true},
             {100, 50, true, 149, true},
             {100, 50, true, 150, false},
             {100, 0, false, 100, false},
             {100, topBit, false, 5000, true},
             {100, topBit - 1, true, 5000, true},
             {-100, 200, true, -50,
              false}, // the sum wraps to 100, below any negative frame as an unsigned number
             {-100, 200, true, 50, true},
             {-100, 50, true, -60, true}, // both ends stay negative
         }) {
        TarnRegionEntry region(0);
        region.setRange({c.location, c.length});
        EXPECT_EQ(region.isValid(), c.valid) << region.description();
        EXPECT_EQ(region.containsLocation(c.frame), c.contained) << region.description() << " at " << c.frame;
    }
    TarnRegionEntry region(0);
    region.setRange({std::numeric_limits<std::int64_t>::max(), 1});
    EXPECT_DEATH((void)region.end(), "overflow");
}

TEST(UserEntries, CopyTheirAttributes) {
    TarnVerseRegionEntry source(1);
    source.setRange({5, 6});
    source.setName("Intro");
    TarnRegionEntry copy(2);
    source.copyAttributesToEntry(copy);
    EXPECT_EQ(copy.range(), (TarnRegionEntry::Span{5, 6}));
    EXPECT_EQ(copy.name(), "Intro");
    EXPECT_EQ(copy.eventId(), 2u);

    // A time signature gives its location but takes numerator and denominator.
    TarnTimeSignatureEntry signature(3);
    signature.setNumerator(3);
    signature.setDenominator(8);
    signature.setLocation(77);
    TarnTimeSignatureEntry fresh(4);
    signature.copyAttributesToEntry(fresh);
    for (const auto* entry : {&signature, &fresh}) {
        EXPECT_EQ(entry->numerator(), 4);
        EXPECT_EQ(entry->denominator(), 4);
        EXPECT_EQ(entry->location(), 77);
    }

    TarnMarkerEntry marker(5); // another kind gets what all kinds have
    source.copyAttributesToEntry(marker);
    EXPECT_EQ(marker.location(), 5);
    EXPECT_FALSE(marker.name().has_value());

    const auto mutableCopy = [] {
        TarnMutableSectionEntry section(6);
        section.setName("B");
        section.setSectionColor(TarnSectionColor::verse());
        section.setLocation(9);
        return section.mutableCopy();
    }();
    EXPECT_EQ(mutableCopy->eventId(), 6u);
    EXPECT_EQ(mutableCopy->location(), 9);
    EXPECT_EQ(mutableCopy->name(), "B");
    EXPECT_EQ(mutableCopy->colorString(), "named:verse");
}

TEST(UserEntries, StartWithTheDefaultsOfTheirKind) {
    EXPECT_EQ(TarnVerseRegionEntry(0).name(), "Verse");
    EXPECT_EQ(TarnChorusRegionEntry(0).name(), "Chorus");
    EXPECT_EQ(TarnBridgeRegionEntry(0).name(), "Bridge");
    EXPECT_EQ(TarnMarkerRegionEntry(0).name(), "Region");
    EXPECT_FALSE(TarnRegionEntry(0).name().has_value());
    EXPECT_EQ(TarnStandardPitchEntry(0).pitch()->midiNote(), 69);
}

/// Archives an entry, changes its keys through a class of the same name, and reads it as `Entry`.
template <typename Entry>
std::shared_ptr<Entry> roundTrip(const std::shared_ptr<Entry>& entry, Error* error = nullptr) {
    const auto bytes = KeyedArchiver::archivedData(entry);
    return KeyedUnarchiver::unarchivedObject<Entry>(bytes, error);
}

TEST(UserEntries, SurviveArchivesWithExtremeAndAbsentValues) {
    const auto note = std::make_shared<TarnNoteEntry>(std::numeric_limits<std::uint64_t>::max());
    note->setLocation(std::numeric_limits<std::int64_t>::min());
    note->setLength(std::numeric_limits<std::uint64_t>::max());
    note->setFretSelection(255);
    note->setChannel(15);
    auto readNote = roundTrip(note);
    ASSERT_TRUE(readNote);
    EXPECT_EQ(readNote->description(), note->description());
    EXPECT_EQ(readNote->length(), note->length());
    EXPECT_EQ(readNote->fretSelection(), 255);
    EXPECT_EQ(readNote->channel(), 15);
    EXPECT_EQ(readNote->pitch(), nullptr);

    const auto tempo = std::make_shared<TarnTempoEntry>(1);
    tempo->setTempo(std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(roundTrip(tempo)->tempo(), tempo->tempo());
    const auto standard = std::make_shared<TarnStandardPitchEntry>(2);
    standard->setFrequency(432.1);
    EXPECT_EQ(roundTrip(standard)->frequency(), 432.1);

    // A name that is absent replaces the kind's default.
    const auto verse = std::make_shared<TarnVerseRegionEntry>(3);
    verse->setName(std::nullopt);
    EXPECT_FALSE(roundTrip(verse)->name().has_value());
    const auto marker = std::make_shared<TarnMarkerEntry>(4);
    marker->setName("Größe ♯ 𝄞");
    EXPECT_EQ(roundTrip(marker)->name(), marker->name());
}

TEST(UserEntries, WithoutARequiredValueDoNotDecode) {
    Error error;
    EXPECT_EQ(roundTrip(std::make_shared<TarnChordEntry>(1), &error), nullptr);
    EXPECT_FALSE(error.localizedDescription().empty());
    EXPECT_EQ(roundTrip(std::make_shared<TarnKeyEntry>(2)), nullptr);
    const auto standard = std::make_shared<TarnStandardPitchEntry>(3);
    standard->setPitch(nullptr);
    EXPECT_EQ(roundTrip(standard), nullptr);
    const auto chord = std::make_shared<TarnChordEntry>(4);
    chord->setChord(KELPChord::chordWithString("F#m7"));
    ASSERT_TRUE(roundTrip(chord));
    EXPECT_EQ(roundTrip(chord)->chord()->string(), "F#m7");
}

TEST(SectionColor, IsWrittenAndRead) {
    struct Case {
        const char* text;
        const char* name; ///< of a named colour
        bool readable;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"named:verse", "verse", true},
             {"named:a:b", "a:b", true},
             {"named::b", ":b", true},
             {":named:x", "x", true},
             {"named:", nullptr, false},
             {"plain", nullptr, false},
             {"", nullptr, false},
             {":::", nullptr, false},
             {"Named:x", nullptr, false},
             {"rgba:FF000080", nullptr, true},
             {"rgba:ff000080", nullptr, true},
             {"rgba:FF0000", nullptr, false},
             {"rgba:FF00008", nullptr, false},
             {"rgba:FF0000801", nullptr, false},
             {"rgba:", nullptr, false},
             {"rgba:-F000080", nullptr, false},
             {"rgba:+F000080", nullptr, false},
             {"rgba:0xFF0000", nullptr, false},
             {"rgba: F000080", nullptr, false},
             {"rgba:GG000080", nullptr, false},
         }) {
        const auto color = TarnSectionColor::make(c.text);
        ASSERT_EQ(color.has_value(), c.readable) << c.text;
        if (c.name) {
            ASSERT_TRUE(color->name()) << c.text;
            EXPECT_EQ(*color->name(), c.name);
        }
        TarnMutableSectionEntry section(0);
        section.setColorString(c.text);
        EXPECT_EQ(section.sectionColor(), color.value_or(TarnSectionColor::other())) << c.text;
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
