#include "Interchange/NoteImport.h"
#include "Platform/FileManager.h"
#include "TarnFoundation/MIDIExport/MIDIExport.h"
#include "TarnFoundation/MIDIExport/MIDIExportTimeline.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Song/SongTexts.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

using test::messageOf, test::notesOf, test::sampleSong;

Data bytesOf(const std::vector<int>& values) {
    Data bytes;
    for (const int value : values)
        bytes.push_back(static_cast<std::byte>(value));
    return bytes;
}

/// A file of one track with these events and 96 ticks per quarter note.
Data fileOf(const std::vector<int>& events, const std::vector<int>& division = {0, 96}) {
    std::vector<int> values{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1};
    values.insert(values.end(), division.begin(), division.end());
    const auto size = static_cast<int>(events.size());
    for (const int value : {int{'M'}, int{'T'}, int{'r'}, int{'k'}, 0, 0, size / 256, size % 256})
        values.push_back(value);
    values.insert(values.end(), events.begin(), events.end());
    return bytesOf(values);
}

std::string fileError(std::span<const std::byte> bytes) {
    return messageOf<MIDIFileError>([&] { const MIDIFile file(bytes); });
}

} // namespace

TEST(MIDIFileReader, EventsOfATrack) {
    const MIDIFile file(fileOf({
        0,    0x90, 60,   100, 0,    64,   100,  // running status
        48,   0xF0, 2,    1,   0xF7,             // system exclusive in between
        0,    0x80, 60,   0,                     // note off
        0,    0xFF, 0x51, 3,   0x0F, 0x42, 0x40, // from here on 60 beats per minute
        0x81, 0x00, 0x90, 64,  0,                // a note on without velocity ends, 128 ticks later
        0,    0xC3, 7,    0,   0xE0, 1,    2,    // program change, pitch bend
        0,    0x95, 60,   1,   1,    60,   1,    1,
        0x85, 60,   0,                              // two equal notes: the first begun ends first
        0,    0x81, 10,   0,                        // an end without a beginning
        9,    0xFF, 0x2F, 0,   0,    0x90, 1,    1, // what follows the end of the track does not count
    }));
    EXPECT_EQ(file.notes(), (std::vector<MIDIFileNote>{
                                {0, 48, 0, 60}, {0, 176, 0, 64}, {176, 178, 5, 60}, {177, 187, 5, 60}}));
    EXPECT_DOUBLE_EQ(file.quarterNotes(48), 0.5);
    EXPECT_DOUBLE_EQ(file.seconds(48), 0.25);
    EXPECT_DOUBLE_EQ(file.seconds(48 + 96), 1.25);
    const MIDIFile timeCode(fileOf({100, 0x90, 60, 1}, {256 - 25, 40}));
    EXPECT_FALSE(timeCode.hasQuarterNotes());
    EXPECT_DOUBLE_EQ(timeCode.seconds(500), 0.5);
    EXPECT_EQ(timeCode.notes(), (std::vector<MIDIFileNote>{{100, 100, 0, 60}}));
}

TEST(MIDIFileReader, MalformedFiles) {
    const std::pair<Data, const char*> cases[] = {
        {{}, "it is not a Standard MIDI File"},
        {bytesOf({'R', 'I', 'F', 'F', 0, 0}), "it is not a Standard MIDI File"},
        {fileOf({}, {0, 0}), "its time division is not valid"},
        {fileOf({}, {0x80, 40}), "its time division is not valid"},
        {fileOf({0, 60, 60}), "it holds a message that does not belong in a file"},
        {fileOf({0, 0xF8}), "it holds a message that does not belong in a file"},
        // A meta event ends the running status.
        {fileOf({0, 0x90, 60, 1, 0, 0xFF, 1, 0, 0, 60, 1}),
         "it holds a message that does not belong in a file"},
        {fileOf({0, 0x90, 0x90, 1}), "it holds a status byte where a value belongs"},
        {fileOf({0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 0x90, 1, 1}), "it holds a number of more than four bytes"},
        {fileOf({0, 0xFF, 0x51, 2, 1, 1}), "it breaks off"}};
    for (const auto& [bytes, error] : cases)
        EXPECT_EQ(fileError(bytes), error);
    Data format2 = fileOf({});
    format2[9] = std::byte{2};
    EXPECT_EQ(fileError(format2).substr(0, 31), "its tracks are songs of their o");
    const Data whole = fileOf({0, 0x90, 60, 1, 96, 0x80, 60, 0, 0, 0xFF, 0x51, 3, 1, 1, 1, 0, 0xF0, 2, 1, 1});
    EXPECT_EQ(fileError(whole), "");
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_NE(fileError(std::span(whole).first(size)), "") << size;
}

TEST(NoteImport, ByTimeAndAlongTheBeats) {
    // Two quarter notes at 120 beats per minute, then a quarter-note rest and an eighth note.
    const MIDIFile file(fileOf({0, 0x90, 61, 1, 96, 61, 0, 0, 63, 1, 96, 63, 0, 96, 61, 1, 48, 61, 0}));
    const auto song = sampleSong();
    test::perform(*song, "add-note E2 at start for 10 frames");
    EXPECT_EQ(replaceNotes(*song, file, {}), "3 notes replace 1");
    EXPECT_EQ(notesOf(*song), "C#4@0+22050 D#4@22050+22050 C#4@66150+11025");
    (void)replaceNotes(*song, file, {false, Position::make("1.5s"), {}});
    EXPECT_EQ(notesOf(*song), "C#4@66150+22050 D#4@88200+22050 C#4@132300+11025");

    song->notes->setLocationOfBarEntry(song->notes->beatEntries()[8]->eventId(), 132300, 264600);
    song->notes->overrideGlobalKey(KELPKey::makeWithTonicChord(KELPChord::chordWithString("Ab")));
    (void)replaceNotes(*song, file, {true, {}, {}});
    EXPECT_EQ(notesOf(*song), "Db4@88200+11024 Eb4@99224+11024 Db4@121272+5514")
        << "the first bar was squeezed to half its length; flats suit the key";
    EXPECT_EQ(replaceNotes(*song, file, {true, Position::make("8:4"), {}}), "3 notes replace 3");
    EXPECT_EQ(notesOf(*song), "Db4@771750+22050 Eb4@793800+22050 Db4@837900+11025") << "beyond the grid";
    EXPECT_EQ(replaceNotes(*song, file, {true, Position::make("19.4s"), {}}),
              "2 notes replace 3; 1 were cut at the recording's end; 1 outside the recording were left out");
}

TEST(NoteImport, ChannelsAndRefusals) {
    const MIDIFile file(
        fileOf({0, 0x99, 36, 1, 0, 0x92, 50, 1, 0, 0x93, 51, 1, 96, 51, 0, 0, 0x82, 50, 0, 0, 0x89, 36, 0}));
    const auto song = sampleSong();
    EXPECT_EQ(replaceNotes(*song, file, {}), "2 notes replace 0") << "no percussion";
    (void)replaceNotes(*song, file, {false, {}, 3});
    EXPECT_EQ(notesOf(*song), "D3@0+22050");
    EXPECT_EQ(song->notes->noteEntries()[0]->channel(), 2);
    (void)replaceNotes(*song, file, {false, {}, 10});
    EXPECT_EQ(notesOf(*song), "C2@0+22050");
    const auto refused = [&](const MIDIFile& source, const NotePlacement& placement) {
        return messageOf<EditRefused>([&] { (void)replaceNotes(*song, source, placement); });
    };
    EXPECT_EQ(refused(file, {false, {}, 5}), "the file has no notes on channel 5");
    EXPECT_EQ(refused(MIDIFile(fileOf({})), {}), "the file has no notes");
    EXPECT_EQ(refused(file, {false, Position::make("end"), {}}),
              "all of the file's notes would lie outside the recording");
    EXPECT_EQ(refused(MIDIFile(fileOf({0, 0x90, 1, 1}, {256 - 25, 40})), {true, {}, {}}),
              "the file counts seconds, not beats; import with --by time");
    song->notes->removeBeatEntriesInArray(song->notes->beatEntries());
    EXPECT_EQ(refused(file, {true, {}, {}}), "the song has no beats to follow; import with --by time");
    EXPECT_EQ(notesOf(*song), "C2@0+22050");
}

TEST(NoteImport, TakesBackWhatTheExportWrites) {
    const TemporaryFolder folder;
    const auto song = sampleSong();
    song->notes->setLocationOfBarEntry(song->notes->beatEntries()[16]->eventId(), 250000, 352800);
    test::perform(*song, "add-note E4 at @88200 for 22050 frames|add-note C#4 at @231000 for 30000 frames|"
                         "add-note A#4 at @500001 for 7 frames");
    const auto file = folder.path() / "notes.mid";
    for (const auto timing : {MIDIExportTiming::followSongTempo, MIDIExportTiming::seconds}) {
        song->notes->exportToMIDIFile(file, 44100,
                                      {{TarnNoteEntryStorageMIDIExportNotesOptionKey, true},
                                       {TarnNoteEntryStorageMIDITimingOptionKey, timing}});
        const auto copy = sampleSong();
        (void)replaceNotes(*copy, MIDIFile(*FileManager::contentsOf(file)), {});
        ASSERT_EQ(copy->notes->noteEntries().size(), 3u);
        for (std::size_t i = 0; i < 3; ++i) {
            const auto &written = song->notes->noteEntries()[i], &read = copy->notes->noteEntries()[i];
            EXPECT_EQ(read->pitch()->midiNote(), written->pitch()->midiNote());
            // A tick of the file is at most 1/480 s long, 92 frames.
            EXPECT_NEAR(static_cast<double>(read->location()), static_cast<double>(written->location()), 92);
            EXPECT_NEAR(static_cast<double>(read->length()), static_cast<double>(written->length()), 92);
        }
    }
}

} // namespace tarn
