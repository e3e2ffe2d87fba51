#include "Platform/FileManager.h"
#include "Song/SongError.h"
#include "Song/SongFile.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Song/SampleSong.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace tarn {

TEST(Song, aCapoBeyondItsLimitsIsNotSaved) {
    const TemporaryFolder folder;
    const auto song = test::sampleSong();
    song->properties.capo = std::numeric_limits<int>::min();
    song->properties.transposition = std::numeric_limits<int>::max();
    EXPECT_EQ(song->properties.chartShift(), SongProperties::kFarthestTransposition);
    EXPECT_THROW(Song::save(song, folder.path() / "song.tarn"), SongError);
}

TEST(Song, whatOperationsWouldAbortForIsNeitherOpenedNorSaved) {
    constexpr auto kFar = std::numeric_limits<std::int64_t>::max();
    const auto noteWith = [](std::int64_t location, std::uint64_t length, std::int32_t octave) {
        return [=](Song& song) {
            const auto note = song.notes->newNoteEntry();
            note->setLocation(location);
            note->setLength(length);
            note->setPitch(KELPPitch::pitchWithNote(KELPNote(), octave));
            song.notes->addNoteEntry(note);
        };
    };
    const std::tuple<const char*, std::function<void(Song&)>, bool> cases[] = {
        {"an ordinary note", noteWith(1000, 1000, 4), true},
        {"a note far out", noteWith(kFar, 1, 4), false},
        {"an endless note", noteWith(0, std::numeric_limits<std::uint64_t>::max(), 4), false},
        {"a pitch beyond hearing", noteWith(0, 1, std::numeric_limits<std::int32_t>::max()), false},
        {"a lowest pitch", noteWith(0, 1, std::numeric_limits<std::int32_t>::min()), false},
        {"a count-in",
         [](Song& song) {
             test::addBeats(song, {.first = -11025, .spacing = 1, .count = 1, .perBar = 2, .pickup = 1});
         },
         true},
        {"a beat far before",
         [](Song& song) {
             song.notes->setTimeSignature(6, 8); // a grid of quarters would drop it
             test::addBeats(song, {.first = std::numeric_limits<std::int64_t>::min(),
                                   .spacing = 1,
                                   .count = 1,
                                   .perBar = 2,
                                   .pickup = 1});
         },
         false},
        {"a section far out", [](Song& song) { (void)song.structure->createNewSection(kFar); }, false},
        {"a metre of nothing", [](Song& song) { song.notes->setTimeSignature(4, 0); }, false},
        {"a sample rate of nothing", [](Song& song) { song.recording.sampleRate = 1e-300; }, false},
        {"no number as sample rate",
         [](Song& song) { song.recording.sampleRate = std::numeric_limits<double>::quiet_NaN(); }, false},
        {"a recording of a day", [](Song& song) { song.recording.frameCount = std::int64_t{86400} * 44100; },
         true},
        {"a longer one", [](Song& song) { song.recording.frameCount = std::int64_t{86400} * 44100 + 1; },
         false}};
    const TemporaryFolder folder;
    const auto file = folder.path() / "song.tarn";
    const auto refusal = [](const auto& work) -> std::optional<SongError::Kind> {
        try {
            work();
        } catch (const SongError& error) {
            return error.kind();
        }
        return std::nullopt;
    };
    using Kind = SongError::Kind;
    for (const auto& [what, damage, isSound] : cases) {
        const auto song = test::sampleSong();
        damage(*song);
        Song::save(test::sampleSong(), file);
        const auto bytes = FileManager::contentsOf(file);
        EXPECT_EQ(refusal([&] { Song::save(song, file); }),
                  isSound ? std::nullopt : std::optional(Kind::unsound))
            << what;
        EXPECT_EQ(FileManager::contentsOf(file) == bytes, !isSound) << what;
        ASSERT_TRUE(FileManager::writeAtomically(archivedSong(song), file));
        EXPECT_EQ(refusal([&] { (void)Song::open(file); }),
                  isSound ? std::nullopt : std::optional(Kind::damaged))
            << what;
    }
}

} // namespace tarn
