#include "Interchange/AnnotationText.h"
#include "KELPMusic/KELPChordTable.h"
#include "Platform/PlainText.h"
#include "Song/CountedBeats.h"
#include "Tests/Song/SongTexts.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>

namespace tarn {
namespace {

using test::addChord, test::chordsOf, test::beatsOf, test::sampleSong, test::sectionsOf;
using Kind = AnnotationKind;

/// "line: message" of the error that the action throws; empty when it throws none.
std::string errorOf(const std::function<void()>& action) {
    try {
        action();
        return "";
    } catch (const FormatError& error) {
        return std::to_string(error.line()) + ": " + error.what();
    }
}

/// "1:[a][b] 2:[c][d]": the rows with their lines.
std::string rowsOf(const TextTable& table) {
    std::string text;
    for (const auto& [line, fields] : table.rows) {
        text += (text.empty() ? "" : " ") + std::to_string(line) + ":";
        for (const auto& field : fields)
            text += "[" + field + "]";
    }
    return text;
}

} // namespace

TEST(TextTable, CSVFields) {
    const auto table = parseCSV("\xEF\xBB\xBFTime, \"Label\"\r\n0.5,\"Verse, \"\"one\"\"\r\nand two\"\r\r"
                                "\n1.5 , plain \n2,\n");
    EXPECT_EQ(table.header, (std::vector<std::string>{"time", "label"}));
    // A quoted line end and an empty line count.
    EXPECT_EQ(rowsOf(table), "2:[0.5][Verse, \"one\"\r\nand two] 5:[1.5][plain] 6:[2][]");
    EXPECT_EQ(rowsOf(parseCSV("1,C;D\n")), "1:[1][C;D]");
    EXPECT_EQ(rowsOf(parseCSV("1;C\n")), "1:[1][C]");
    EXPECT_EQ(rowsOf(parseCSV("")), "");
    EXPECT_EQ(errorOf([] { (void)parseCSV("1,a\n2,\"b\n\n"); }), "2: a quote that begins here does not end");
    const std::vector<std::string> fields{"1", "a,b", " \"c\" ", "line\nend", ""};
    EXPECT_EQ(parseCSV(csvLine(fields)).rows[0].fields, fields);
}

TEST(TextTable, LabFields) {
    EXPECT_EQ(rowsOf(parseLab("# comment\n0.0 1.5\tVerse  one \n\n2 chorus 2\r\n3 4\n")),
              "2:[0.0][1.5][Verse  one] 4:[2][chorus 2] 5:[3][4]");
    for (const char* text : {"nan", "inf", "1e999", "0x1p3", "1,5", "", "1 "})
        EXPECT_FALSE(numberWithText(text)) << text;
    EXPECT_EQ(decimalText(1.0 / 3, 6), "0.333333");
}

TEST(AnnotationText, ChordsCoverTheRecording) {
    const auto song = sampleSong();
    addChord(*song, 88200, "C");
    addChord(*song, 176400, "Am7/G");
    addChord(*song, 176400, "F");     // hides the one before it
    addChord(*song, 80 * 11025, "G"); // at the recording's end
    EXPECT_EQ(annotationText(*song, Kind::chords, AnnotationFormat::lab),
              "0.000000\t2.000000\tN\n2.000000\t4.000000\tC:maj\n4.000000\t20.000000\tF:maj\n");
    EXPECT_EQ(annotationText(*sampleSong(), Kind::chords, AnnotationFormat::csv), "start,end,label\n");
}

TEST(AnnotationText, BeatsAreCountedByTheMetre) {
    const auto song = sampleSong(3);
    song->notes->shiftDownbeatsByOffset(2); // a pickup of one beat
    const std::string text = annotationText(*song, Kind::beats, AnnotationFormat::csv);
    const std::string_view beginning =
        "time,bar,beat\n2.000000,0,3\n2.500000,1,1\n3.000000,1,2\n3.500000,1,3\n4.000000,2,1\n";
    EXPECT_EQ(text.substr(0, beginning.size()), beginning);
    EXPECT_EQ(annotationText(*song, Kind::beats, AnnotationFormat::lab).substr(0, 22),
              "2.000000\t3\n2.500000\t1\n");
}

TEST(AnnotationText, ReadingBackWhatWasWritten) {
    for (const auto format : {AnnotationFormat::lab, AnnotationFormat::csv}) {
        const auto song = sampleSong(3);
        song->recording.sampleRate = 48000.5; // frames that no decimal number of seconds names exactly
        addChord(*song, 44101, "Bb7b9/Ab");
        addChord(*song, 44103, "N.C.");
        addChord(*song, 100003, "F#m");
        (void)song->structure->updateSection(song->structure->createNewSection(7), "", "other");
        const auto section = song->structure->createNewSection(30007);
        (void)song->structure->updateSection(section, "Second verse, loud", "verse");
        const auto copy = sampleSong();
        copy->recording = song->recording;
        const auto parse = format == AnnotationFormat::lab ? parseLab : parseCSV;
        for (const auto kind : {Kind::beats, Kind::chords, Kind::sections})
            (void)replaceAnnotations(*copy, kind, parse(annotationText(*song, kind, format)));
        EXPECT_EQ(chordsOf(*copy), chordsOf(*song));
        EXPECT_EQ(sectionsOf(*copy), "/named:other@7 Second verse, loud/named:verse@30007");
        EXPECT_EQ(beatsOf(*copy), beatsOf(*song));
        EXPECT_EQ(copy->notes->timeSignature().numerator, 3);
        ASSERT_EQ(copy->notes->tempoEntries().size(), 1u);
        EXPECT_NEAR(copy->notes->tempoEntries()[0]->tempo(), 48000.5 * 60 / 22050, 1e-3);
    }
}

namespace {

/// Songs of whatever a document may hold, each from its own seed.
class AnySong {
    template <typename Array>
    auto oneOf(const Array& values) {
        return values[static_cast<std::size_t>(below(static_cast<std::int64_t>(std::size(values))))];
    }

public:
    explicit AnySong(unsigned seed) : mRandom(seed) {
        constexpr double kRates[] = {1, 11025.5, 44100, 48000, 96'000'000};
        mSong = std::make_shared<Song>(Recording{"any.wav", oneOf(kRates), below(2000), "any"});
        addChords();
        addSections();
        addBeats();
    }
    const std::shared_ptr<Song>& song() const { return mSong; }

private:
    std::int64_t below(std::int64_t end) {
        return std::uniform_int_distribution<std::int64_t>(0, end - 1)(mRandom);
    }
    /// Also before, at and after the ends of the recording, and often equal ones.
    std::int64_t location() { return below(60) * 40 - 100; }
    std::string text() {
        static const std::string kParts[] = {
            "Verse", "5",  "1.5", ",",    ";",    "\"",    "\n",      "\r\n",
            " ",     "\t", "#",   "\x1b", "\xff", "rgba:", "named:x", std::string(1, 0)};
        std::string result;
        for (auto count = below(4); count > 0; --count)
            result += oneOf(kParts);
        return result;
    }
    KELPChordRef chord() {
        if (below(6) == 0)
            return KELPChord::noChord();
        KELPChordIntervals intervals = oneOf(gChords).intervals;
        if (below(3) == 0)
            for (std::size_t i = 1, end = static_cast<std::size_t>(below(7)); i < intervals.size(); ++i)
                intervals[i] = i <= end ? static_cast<std::int32_t>(below(40)) + 1 : 0;
        const auto note = [&] { return KELPNote::noteWithFifths(static_cast<int>(below(35)) - 15); };
        return KELPChord::chordWithRoot(note(), intervals, below(2) ? std::optional(note()) : std::nullopt);
    }
    void addChords() {
        for (auto count = below(8); count > 0; --count) {
            const auto entry = mSong->notes->newChordEntry();
            entry->setLocation(location());
            entry->setChord(chord());
            mSong->notes->addChordEntry(entry);
        }
    }
    void addSections() {
        for (auto count = below(8); count > 0; --count) {
            const auto entry = mSong->structure->newSectionEntry()->mutableCopy();
            entry->setLocation(location());
            entry->setName(below(4) ? std::optional(text()) : std::nullopt);
            entry->setColorString(below(4) ? std::optional("named:" + text()) : std::nullopt);
            mSong->structure->addSectionEntry(entry);
        }
    }
    void addBeats() {
        constexpr std::uint8_t kDenominators[] = {2, 4, 8, 16};
        for (auto count = below(20); count > 0; --count) {
            const auto entry = mSong->notes->newBeatEntry();
            entry->setLocation(location());
            entry->setDownbeat(below(4) == 0);
            mSong->notes->addBeatEntry(entry);
        }
        for (auto count = below(3); count > 0; --count)
            mSong->notes->setTimeSignature(static_cast<std::uint8_t>(below(7) + 1), oneOf(kDenominators));
    }

    std::mt19937 mRandom;
    std::shared_ptr<Song> mSong;
};

} // namespace

TEST(AnnotationText, WhatIsReadBackIsWrittenTheSameAgain) {
    int readBack = 0;
    for (unsigned seed = 0; seed < 600; ++seed) {
        const auto kind = std::array{Kind::beats, Kind::chords, Kind::sections}[seed % 3];
        const auto format = seed / 3 % 2 ? AnnotationFormat::lab : AnnotationFormat::csv;
        const auto song = AnySong(seed).song();
        const std::string text = annotationText(*song, kind, format);
        const auto table = kind == Kind::beats               ? parseNumbers(text)
                           : format == AnnotationFormat::csv ? parseCSV(text)
                                                             : parseLab(text);
        if (table.rows.empty() || (kind == Kind::beats && table.rows.size() == 1))
            continue; // nothing, or one beat, is not imported
        EXPECT_EQ(errorOf([&] { (void)replaceAnnotations(*song, kind, table); }), "") << seed << "\n" << text;
        EXPECT_EQ(annotationText(*song, kind, format), text) << seed;
        ++readBack;
    }
    EXPECT_GT(readBack, 300);
}

TEST(AnnotationText, ListsOfBeatsInAllTheirForms) {
    const auto read = [](const std::string& text, const BeatCounting& counting = {},
                         std::shared_ptr<Song> song = std::make_shared<Song>(Recording{"", 1, 100, ""})) {
        const auto report = replaceAnnotations(*song, Kind::beats, parseNumbers(text), counting);
        const auto numbers = annotationText(*song, Kind::beats, AnnotationFormat::lab);
        std::string counted;
        for (const std::string& line : partsOf(numbers, '\n'))
            counted += line.substr(0, line.find('.')) + line.substr(line.find('\t')) + " ";
        return std::pair(report, counted);
    };
    const std::string counted = "2\t1 4\t2 6\t3 8\t4 10\t1 ";
    for (const char* text : {"2\n4\n6\n8\n10\n", "\xEF\xBB\xBF# beats\r\n2.0\r\n\r\n4 \r\n 6\r\n8\r\n10",
                             "time\n2\n4\n6\n8\n10\n", "2 1\n4 2\n6 3\n8 4\n10 1\n",
                             "2\t1\n4\t2\n6\t3\n8\t4\n10\t1\n", "2, 1\n4, 2\n6, 3\n8, 4\n10, 1\n",
                             "Time;Beat\n2;1\n4;2\n6;3\n8;4\n10;1\n", "2,1,1\n4,1,2\n6,1,3\n8,1,4\n10,2,1\n"})
        EXPECT_EQ(read(text).second, counted) << text;
    const std::string times = "2\n4\n6\n8\n10\n";
    EXPECT_EQ(read(times).first,
              "5 beats replace 0 (metre 4/4); assumed: 4 beats to a bar and bar 1 at beat 1 of "
              "the list");
    EXPECT_EQ(read(times, {3, 2}), std::pair(std::string("5 beats replace 0 (metre 3/4)"),
                                             std::string("2\t3 4\t1 6\t2 8\t3 10\t1 ")));
    // The document's metre and downbeats say more than nothing: bars of 3 begin at 6 and 12 s.
    const auto waltz = std::make_shared<Song>(Recording{"", 1, 100, ""});
    test::addBeats(*waltz, {.first = 6, .spacing = 2, .count = 6, .perBar = 3});
    waltz->notes->setTimeSignature(3, 8);
    const auto [report, numbers] = read(times, {}, waltz);
    EXPECT_EQ(report,
              "5 beats replace 6 (metre 3/8); assumed: 3 beats to a bar (the document's metre) and bar 1 at "
              "beat 3 of the list (the document's downbeats)");
    EXPECT_EQ(numbers, "2\t2 4\t3 6\t1 8\t2 10\t3 ");
    EXPECT_THROW((void)read("1 1\n2 2\n", {3, {}}), BeatCountingError) << "the list says it itself";
    EXPECT_THROW((void)read("1\n2\n", {{}, 3}), BeatCountingError) << "there are only two";
}

TEST(AnnotationText, BeatsThatAreReadAgainLeaveTheGridAndTheTempoAsTheyWere) {
    const auto jig = std::make_shared<Song>(Recording{"", 1000, 20'000, ""});
    test::addBeats(*jig, {.first = 1000, .spacing = 200, .count = 24, .perBar = 6});
    jig->notes->setTimeSignature(6, 8);
    test::addTempo(*jig, 100);       // dotted quarters
    const auto swing = sampleSong(); // whose eighths come late
    auto& notes = *swing->notes;
    const auto late = notes.mutableCopiesOfUserEntriesInArray(notes.beatEntries());
    for (std::size_t i = 1; i < late.size(); i += 2)
        late[i]->setLocation(late[i]->location() + 3000);
    notes.replaceBeatEntriesInArrayWithBeatEntriesInArray(notes.beatEntries(), late);
    for (const auto& song : {jig, swing}) {
        const auto before = beatsOf(*song);
        const auto text = annotationText(*song, Kind::beats, AnnotationFormat::csv);
        (void)replaceAnnotations(*song, Kind::beats, parseCSV(text));
        EXPECT_EQ(beatsOf(*song), before);
    }
    EXPECT_FLOAT_EQ(jig->notes->tempoEntries().front()->tempo(), 100);
}

TEST(AnnotationText, ColumnsByNameAndGaps) {
    const auto song = sampleSong();
    EXPECT_EQ(replaceAnnotations(*song, Kind::chords,
                                 parseCSV("chord,duration,onset\nC:min,1,0.5\nG7,0.97,1.5\nF,1,3\n")),
              "5 chords replace 0");
    EXPECT_EQ(chordsOf(*song), "Cm@22050 G7@66150 N.C.@108927 F@132300 N.C.@176400");
    (void)replaceAnnotations(*song, Kind::sections,
                             parseCSV("time,name,colour\n0,Intro,solo\n1,Chorus 2,\n"));
    EXPECT_EQ(sectionsOf(*song), "Intro/named:solo@0 Chorus 2/named:chorus@44100");

    song->notes->setTimeSignature(6, 8);
    std::string eighths = "time,beat\n";
    for (int i = 0; i < 12; ++i)
        eighths += std::to_string(i) + "," + std::to_string(i % 6 + 1) + "\n";
    EXPECT_EQ(replaceAnnotations(*song, Kind::beats, parseCSV(eighths)), "12 beats replace 64 (metre 6/8)");
    EXPECT_EQ(partsOf(beatsOf(*song)).size(), 12u) << "a grid that counts eighths holds the beats alone";
    EXPECT_EQ(replaceAnnotations(*song, Kind::chords, parseLab("0 1 C\n1 2 X\n")),
              "2 chords replace 5; 1 labelled X became N.C.");
}

TEST(AnnotationText, AListOfNothingReplacesWhatWasThere) {
    for (const Kind kind : {Kind::beats, Kind::chords, Kind::sections}) {
        const auto song = sampleSong();
        test::addChord(*song, 88200, "C");
        const Song nothing(song->recording);
        (void)replaceAnnotations(*song, kind, parseLab(annotationText(nothing, kind, AnnotationFormat::lab)));
        (void)replaceAnnotations(*song, kind, parseCSV(annotationText(nothing, kind, AnnotationFormat::csv)));
        EXPECT_EQ(annotationText(*song, kind, AnnotationFormat::csv),
                  annotationText(nothing, kind, AnnotationFormat::csv));
    }
}

TEST(AnnotationText, ALittlePastTheEndIsTheEnd) {
    const auto song = sampleSong(); // of 20 seconds
    EXPECT_EQ(replaceAnnotations(*song, Kind::chords, parseLab("0 5 C\n5 20 F\n20.05 20.1 G\n")),
              "3 chords replace 0; 1 just outside the recording were moved to its start or end");
    EXPECT_EQ(chordsOf(*song), "C@0 F@220500 G@882000");
    (void)replaceAnnotations(*song, Kind::beats, parseLab("-0.02 1\n19 2\n20 3\n20.05 4\n"));
    EXPECT_EQ(countedBeats(*song).locations(), (std::vector<std::int64_t>{0, 837900, 882000}));
    EXPECT_NE(errorOf([&] { (void)replaceAnnotations(*song, Kind::beats, parseLab("0 1\n20.2 2\n")); }), "");
}

TEST(AnnotationText, OnlyWholeBarsTellTheMetre) {
    const auto metreAfter = [](const char* beats) {
        const auto song = sampleSong(3);
        (void)replaceAnnotations(*song, Kind::beats, parseLab(beats));
        return static_cast<int>(song->notes->timeSignature().numerator);
    };
    EXPECT_EQ(metreAfter("1 1\n2 2\n"), 3) << "two beats are no bar";
    EXPECT_EQ(metreAfter("1 1\n2 2\n3 3\n4 4\n5 1\n6 2\n"), 4) << "the last bar does not count";
    EXPECT_EQ(metreAfter("1 1\n2 2\n3 1\n4 2\n5 3\n6 1\n"), 3) << "of equally many the song's own";
}

TEST(AnnotationText, WhatIsRefusedNamesItsLine) {
    const auto chords = Kind::chords, beats = Kind::beats;
    const std::tuple<Kind, const char*, const char*> cases[] = {
        {chords, "", "1: there is nothing to import"},
        {chords, "0 1 C\n1 2 Hm\n", "2: 'Hm' is not a valid chord (write C#:min7, C#m7, or N for none)"},
        {chords, "0 1 C\n\n1 oops C\n", "3: 'oops' is not a time in seconds"},
        {chords, "0 1 C\n0 2 D\n", "2: the time 0 does not come after the one before it; sort the file"},
        {chords, "0,5 1,5 C\n", "1: '0,5' is not a time in seconds (write a point, not a comma)"},
        {chords, "0 1,5 C\n", "1: '1,5' is not a time in seconds (write a point, not a comma)"},
        {chords, "0 0x10 C\n", "1: '0x10' is not a time in seconds"},
        {chords, "nan 1 C\n", "1: 'nan' is not a time in seconds"},
        {chords, "-1 1 C\n", "1: the time -1 lies before the recording"},
        {chords, "21 22 C\n", "1: the time 21 lies after the recording, which ends at 20.000000"},
        {chords, "1e300 1e301 C\n", "1: the time 1e300 lies after the recording, which ends at 20.000000"},
        {chords, "2 1 C\n", "1: it ends before it starts"},
        {beats, "1 1\n2 two\n", "2: 'two' is not the number of a beat in its bar (1, 2, …)"},
        {beats, "1 1\n2 1.5\n", "2: '1.5' is not the number of a beat in its bar (1, 2, …)"},
        {beats, "1 2\n2 3\n", "1: no beat is numbered 1, so no bar begins anywhere"},
        {beats, "1 1\n", "1: a single beat does not make a grid"},
        {beats, "1\n2\n2\n", "3: the time 2 does not come after the one before it; sort the file"},
        {chords, "1\n2\n", "1: there are times without labels; --what beats reads lists of beats"}};
    for (const auto& [kind, lab, error] : cases) {
        const auto song = sampleSong();
        addChord(*song, 88200, "C");
        const auto grid = beatsOf(*song);
        const std::string text =
            errorOf([&, kind = kind, lab = lab] { (void)replaceAnnotations(*song, kind, parseLab(lab)); });
        EXPECT_EQ(text, error);
        EXPECT_EQ(chordsOf(*song), "C@88200");
        EXPECT_EQ(beatsOf(*song), grid);
    }
    const auto song = sampleSong();
    const auto csvError = [&](const char* text) {
        return errorOf([&] { (void)replaceAnnotations(*song, Kind::beats, parseCSV(text)); });
    };
    EXPECT_EQ(errorOf([] { (void)parseLab(std::string_view("0 1 C\n1 2 D\0", 12)); }),
              "2: there is a zero byte; save the file as text in UTF-8");
    EXPECT_EQ(csvError("nan,1\n"), "1: 'nan' is not a time in seconds");
    EXPECT_EQ(csvError("0,5;1\n1,5;2\n"), "1: '0,5' is not a time in seconds (write a point, not a comma)");
    EXPECT_EQ(errorOf([&] {
                  (void)replaceAnnotations(*song, Kind::chords, parseLab("0 1 " + std::string(90, 'H')));
              }),
              "1: '" + std::string(80, 'H') + "…' is not a valid chord (write C#:min7, C#m7, or N for none)");
    EXPECT_EQ(errorOf([] { (void)parseLab("\xFE\xFF 0 1"); }), "1: it is text in UTF-16; save it in UTF-8");
    EXPECT_EQ(csvError("begin,beat\n1,1\n"), "1: no column is called time, start or onset");
    EXPECT_EQ(csvError("time,chord\n1,C\n"), "1: no column is called beat or label");
    EXPECT_EQ(csvError("time,beat\n1,1\n2\n"), "3: '' is not the number of a beat in its bar (1, 2, …)");
}

} // namespace tarn
