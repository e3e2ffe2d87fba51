#include "Song/SongFile.h"

#include "Platform/FileManager.h"
#include "Song/Edits/Edits.h"
#include "Song/SongArchive.h"
#include "Song/SongChange.h"
#include "Song/SongError.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Song/SongTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace tarn {
namespace {

using testing::HasSubstr;

const std::filesystem::path kData = TARN_TEST_DATA;

Data bytesOf(const std::filesystem::path& file) {
    return FileManager::contentsOf(file).value();
}

/// A song with entries of most kinds, properties, facts and a history of three steps, one of them undone.
std::shared_ptr<Song> fullSong() {
    auto song = test::sampleSong();
    applyEdits(*song, "add-chord C at 1:1");
    applyEdits(*song, "add-section Intro at 1:1");
    song->properties = {"A title", "An artist", 3, -2};
    song->facts.engineVersion = "7";
    song->facts.overall["beat"] = 0.75;
    song->facts.chords[song->notes->chordEntries().front()->eventId()] = 0.5;
    song->facts.bars[song->notes->beatEntries().front()->eventId()] = 1;
    song->record("Properties and facts");
    applyEdits(*song, "add-marker Solo at 3:1");
    song->undo();
    return song;
}

/// The error of opening these bytes as a song's file; empty where they open.
std::string openingError(const Data& bytes) {
    return test::messageOf<SongError>([&] { (void)songFromBytes(bytes, "song.tarn"); });
}

/// What a program of a newer edition writes.
struct NewerObject : SecureCoding {
    static const ClassDescription& classDescription() {
        static const ClassDescription description{"TarnOfTheFuture", nullptr, nullptr};
        return description;
    }
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeString("text", "\xC3\xA9 and more");
        coder.encodeDouble("number", 2.5);
        coder.encodeInt("least", std::numeric_limits<std::int64_t>::min());
        coder.encodeUnsigned("most", std::numeric_limits<std::uint64_t>::max());
    }
};

struct NewerSong : SecureCoding {
    static const ClassDescription& classDescription() { return archive::SongDocument::classDescription(); }
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        const auto shared = std::make_shared<NewerObject>();
        archive::SongDocument(test::sampleSong(), {}).encodeWithCoder(coder);
        coder.encodeObject("lyrics", shared);
        coder.encodeObjects("takes", std::vector{shared, shared, std::make_shared<NewerObject>()});
        coder.encodeBool("isLive", true);
        coder.encodeData("score", std::vector<std::byte>(100, std::byte{7}));
        coder.encodeFloat("swing", 0.66F);
        coder.encodeString("nothing", std::nullopt);
    }
};

/// The values of a newer edition that a file's root object holds, in the order of their keys, as an archive
/// of their own.
Data newerContentOf(const Data& bytes) {
    static constexpr std::string_view kOfThisEdition[] = {
        "fileName",      "sampleRate", "frameCount",           "identifier",   "noteEntryStorage",
        "schemaVersion", "checksum",   "songStructureStorage", "historySteps", "historyDoneSteps"};
    struct Rest : SecureCoding {
        ArchivedContent content;
        static const ClassDescription& classDescription() {
            static const ClassDescription description{
                "TarnSongDocument", nullptr, [](KeyedUnarchiver& coder) -> std::shared_ptr<SecureCoding> {
                    auto rest = std::make_shared<Rest>();
                    rest->content = coder.decodeContentBesides(kOfThisEdition);
                    return rest;
                }};
            return description;
        }
        [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
        void encodeWithCoder(KeyedArchiver& coder) const override { coder.encodeContent(content); }
    };
    return KeyedArchiver::archivedData(KeyedUnarchiver::unarchivedObject<Rest>(bytes));
}

} // namespace

TEST(SongFile, keepsAllOfASong) {
    const auto song = fullSong();
    const auto read = songFromBytes(archivedSong(song), "song.tarn");
    EXPECT_EQ(test::contentsOf(*read), test::contentsOf(*song));
    EXPECT_EQ(read->properties, song->properties);
    EXPECT_EQ(read->facts, song->facts);
    EXPECT_EQ(read->history.steps(), song->history.steps());
    EXPECT_EQ(read->history.doneCount(), song->history.doneCount());
}

TEST(SongFile, everyDocumentOfTheFirstEditionOpens) {
    const TemporaryFolder folder;
    for (const char* name :
         {"first-edition.tarn", "first-edition-with-names.tarn", "first-edition-without-digest.tarn"}) {
        const auto song = Song::open(kData / name);
        EXPECT_FALSE(song->notes->beatEntries().empty()) << name;
        EXPECT_TRUE(song->history.steps().empty()) << name;
        Song::save(song, folder.path() / name);
        EXPECT_EQ(test::contentsOf(*Song::open(folder.path() / name)), test::contentsOf(*song)) << name;
    }
}

TEST(SongFile, anArchiveOfAnnotationsIsASongWithoutRecording) {
    const auto notes = test::sampleSong()->notes;
    const auto song = songFromBytes(KeyedArchiver::archivedData(notes), "song.tarn");
    EXPECT_FALSE(song->hasRecording());
    EXPECT_EQ(song->recording.frameCount, notes->beatEntries().back()->location());
    EXPECT_EQ(test::beatsOf(*songFromBytes(archivedSong(song), "song.tarn")), test::beatsOf(*song));
}

TEST(SongFile, tellsEveryFlippedBitOfAThousand) {
    const Data sound = archivedSong(fullSong());
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        const std::size_t bit = std::uniform_int_distribution<std::size_t>(0, 8 * sound.size() - 1)(random);
        Data flipped = sound;
        flipped[bit / 8] ^= std::byte{1} << (bit % 8);
        EXPECT_NE(openingError(flipped), "") << "bit " << bit;
    }
}

TEST(SongFile, tellsWhatIsWrong) {
    const Data sound = archivedSong(fullSong());
    EXPECT_THAT(openingError({}), HasSubstr("empty"));
    EXPECT_THAT(
        openingError(Data(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(sound.size() / 2))),
        HasSubstr("cut off"));
    EXPECT_THAT(openingError(Data(100, std::byte{'x'})), HasSubstr("not a binary property list"));
}

TEST(SongFile, aFormerVersionBesideADamagedFileIsNamed) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "song.tarn";
    Song::save(fullSong(), file);
    {
        const SongChange change(file);
        (void)change.keepFormer();
    }
    const Data sound = bytesOf(file);
    ASSERT_TRUE(FileManager::writeAtomically(std::span(sound).first(sound.size() / 2), file));
    EXPECT_THAT(test::messageOf<SongError>([&] { (void)Song::open(file); }), HasSubstr("song.tarn~"));
}

TEST(SongFile, salvagesWhatCanBeRead) {
    const auto song = fullSong();
    Data bytes = archivedSong(song);
    // The text "An artist" is edited, as by a property-list tool.
    const std::string_view before = "An artist";
    const auto text = std::search(bytes.begin(), bytes.end(), before.begin(), before.end(),
                                  [](std::byte b, char c) { return b == static_cast<std::byte>(c); });
    ASSERT_NE(text, bytes.end());
    *text = std::byte{'I'};
    EXPECT_THAT(openingError(bytes), HasSubstr("checksum"));
    const auto salvaged = salvagedFromBytes(bytes, "song.tarn");
    EXPECT_TRUE(salvaged.hasWrongChecksum);
    EXPECT_EQ(salvaged.faultCount, 0u);
    EXPECT_EQ(salvaged.song->properties.artist, "In artist");
    EXPECT_EQ(test::contentsOf(*salvaged.song), test::contentsOf(*song));

    const auto whole = salvagedFromBytes(archivedSong(song), "song.tarn");
    EXPECT_FALSE(whole.hasWrongChecksum);
    EXPECT_EQ(whole.faultCount, 0u);
}

TEST(SongFile, salvagesASongThatLacksARootValue) {
    const auto song = fullSong();
    for (const std::string key :
         {"fileName", "identifier", "sampleRate", "frameCount", "noteEntryStorage", "songStructureStorage"}) {
        Data bytes = archivedSong(song);
        const auto name = std::search(bytes.begin(), bytes.end(), key.begin(), key.end(),
                                      [](std::byte b, char c) { return b == static_cast<std::byte>(c); });
        ASSERT_NE(name, bytes.end()) << key;
        *name = std::byte{'X'};
        const auto salvaged = salvagedFromBytes(bytes, "song.tarn").song;
        EXPECT_EQ(salvaged->properties, song->properties) << key;
        if (key != "noteEntryStorage") {
            EXPECT_EQ(test::beatsOf(*salvaged), test::beatsOf(*song)) << key;
        }
    }
}

TEST(SongFile, salvagesADamagedArchiveOfAnnotations) {
    const auto song = fullSong();
    Data bytes = KeyedArchiver::archivedData(song->notes);
    const std::string_view key = "chordEntryArray";
    const auto name = std::search(bytes.begin(), bytes.end(), key.begin(), key.end(),
                                  [](std::byte b, char c) { return b == static_cast<std::byte>(c); });
    ASSERT_NE(name, bytes.end());
    EXPECT_EQ(salvagedFromBytes(bytes, "song.tarn").faultCount, 0u);
    // The marker of the key's text becomes that of a real number.
    *(name - 2) = std::byte{0x23};
    const auto salvaged = salvagedFromBytes(bytes, "song.tarn");
    EXPECT_EQ(test::beatsOf(*salvaged.song), test::beatsOf(*song));
}

TEST(SongFile, salvagesDamagedContentOfANewerEdition) {
    const Data sound = KeyedArchiver::archivedData(std::make_shared<NewerSong>());
    std::mt19937 random(3);
    for (int i = 0; i < 1000; ++i) {
        Data damaged = sound;
        damaged[std::uniform_int_distribution<std::size_t>(8, sound.size() - 33)(random)] ^= std::byte{1}
                                                                                             << (i % 8);
        try {
            (void)archivedSong(salvagedFromBytes(damaged, "song.tarn").song);
        } catch (const SongError& error) {
            EXPECT_EQ(error.kind(), SongError::Kind::undecodable);
        }
    }
}

TEST(SongFile, salvagesMostSongsWithADamagedByte) {
    const auto song = fullSong();
    const Data sound = archivedSong(song);
    std::mt19937 random(2);
    int whole = 0;
    for (int i = 0; i < 500; ++i) {
        Data damaged = sound;
        damaged[std::uniform_int_distribution<std::size_t>(8, sound.size() - 33)(random)] ^= std::byte{0x55};
        try {
            const auto salvaged = salvagedFromBytes(damaged, "song.tarn");
            EXPECT_TRUE(salvaged.hasWrongChecksum);
            EXPECT_EQ(salvaged.song->unsoundness(), std::nullopt);
            whole += salvaged.song->notes->beatEntries().size() + 1 >= song->notes->beatEntries().size();
        } catch (const SongError& error) {
            EXPECT_EQ(error.kind(), SongError::Kind::undecodable);
        }
    }
    EXPECT_GT(whole, 250);
}

TEST(SongFile, whatANewerEditionKeepsIsWrittenBack) {
    Data bytes = KeyedArchiver::archivedData(std::make_shared<NewerSong>());
    const auto song = salvagedFromBytes(bytes, "song.tarn").song; // its checksum is none
    const Data written = archivedSong(song);
    EXPECT_EQ(newerContentOf(written), newerContentOf(bytes));
    const auto again = songFromBytes(written, "song.tarn");
    applyEdits(*again, "add-chord C at 1:1");
    EXPECT_EQ(newerContentOf(archivedSong(again)), newerContentOf(bytes));
}

} // namespace tarn
