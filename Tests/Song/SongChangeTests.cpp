#include "Song/SongChange.h"

#include "Platform/FileManager.h"
#include "Song/SongError.h"
#include "Song/SongFile.h"
#include "Tests/Platform/TemporaryFolder.h"
#include "Tests/Platform/Texts.h"
#include "Tests/Platform/Threads.h"
#include "Tests/Song/SampleSong.h"

#include <gtest/gtest.h>

namespace tarn {

using namespace std::chrono_literals;

namespace {

class SongChangeConcurrency : public ::testing::Test {
protected:
    SongChangeConcurrency() { Song::save(test::sampleSong(), file); }

    [[nodiscard]] std::size_t markerCount() const { return Song::open(file)->notes->markerEntries().size(); }
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    static void addMarker(SongChange& change) {
        Song& song = change.existingSong();
        song.notes->insertMarkerEntry(static_cast<std::int64_t>(song.notes->nextEventId()));
        change.save(change.song());
    }

    const TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "song.tarn";
};

SongError::Kind kindOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const SongError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "no error";
    return {};
}

} // namespace

TEST_F(SongChangeConcurrency, everyChangeOfManyThreadsIsInTheDocument) {
    auto link = folder.path() / "link.tarn";
    std::error_code withoutLinks; // on Windows most users may make none
    std::filesystem::create_symlink("song.tarn", link, withoutLinks);
    if (withoutLinks)
        link = file;
    inThreads(8, [&](int thread) {
        for (int i = 0; i < 5; ++i) {
            SongChange change(thread % 2 == 0 ? file : link);
            addMarker(change);
        }
    });
    EXPECT_EQ(markerCount(), 40u);
    EXPECT_EQ(names(), withoutLinks ? (std::vector<std::string>{"song.tarn"})
                                    : (std::vector<std::string>{"link.tarn", "song.tarn"}));
}

TEST_F(SongChangeConcurrency, oneThatWaitsTooLongGivesUp) {
    SongChange first(file);
    EXPECT_EQ(kindOf([&] { SongChange(file, 20ms); }), SongError::Kind::busy);
    addMarker(first);
    EXPECT_EQ(markerCount(), 1u);
}

TEST_F(SongChangeConcurrency, theLockOfAProcessThatDiedIsTakenOver) {
    writeText(folder.path() / ".song.tarn.lock", "");
    SongChange change(file, 20ms);
    addMarker(change);
    EXPECT_EQ(markerCount(), 1u);
}

TEST_F(SongChangeConcurrency, whatAStrangerWroteMeanwhileIsNotReplaced) {
    SongChange change(file);
    auto foreign = test::sampleSong();
    foreign->notes->insertMarkerEntry(1);
    foreign->notes->insertMarkerEntry(2);
    ASSERT_TRUE(FileManager::writeAtomically(archivedSong(foreign), file));
    EXPECT_EQ(kindOf([&] { addMarker(change); }), SongError::Kind::changed);
    EXPECT_EQ(markerCount(), 2u);

    SongChange ofNothing(folder.path() / "new.tarn");
    EXPECT_EQ(ofNothing.song(), nullptr);
    ASSERT_TRUE(FileManager::writeAtomically(archivedSong(foreign), folder.path() / "new.tarn"));
    EXPECT_EQ(kindOf([&] { ofNothing.save(test::sampleSong()); }), SongError::Kind::changed);
}

TEST_F(SongChangeConcurrency, formerDocumentsAreNeverReplaced) {
    const auto keepAndChange = [&] {
        SongChange change(file);
        const auto kept = change.keepFormer();
        EXPECT_EQ(change.keepFormer(), kept);
        EXPECT_EQ(FileManager::contentsOf(kept), FileManager::contentsOf(file));
        addMarker(change);
        return kept.filename().string();
    };
    EXPECT_EQ(keepAndChange(), "song.tarn~");
    EXPECT_EQ(keepAndChange(), "song.tarn~2");
    EXPECT_EQ(Song::open(folder.path() / "song.tarn~")->notes->markerEntries().size(), 0u);

    const auto longName = folder.path() / (std::string(250, 'a') + ".tarn");
    Song::save(test::sampleSong(), longName);
    EXPECT_EQ(kindOf([&] { (void)SongChange(longName).keepFormer(); }), SongError::Kind::unwritable);
}

TEST_F(SongChangeConcurrency, aFileOfTheLocksNameIsNotRemoved) {
    const auto lock = folder.path() / ".song.tarn.lock";
    writeText(lock, "somebody's");
    EXPECT_EQ(kindOf([&] { (void)SongChange(file, 20ms); }), SongError::Kind::unwritable);
    EXPECT_EQ(textOf(lock), "somebody's");
}

} // namespace tarn
