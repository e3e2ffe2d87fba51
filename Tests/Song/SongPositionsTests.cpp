#include "Song/SongPositions.h"

#include "Tests/Song/SongTexts.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

/// 10 bars of 4/4 in time, but with room for late positions: bars 1 to 8 have beats.
std::shared_ptr<Song> longSong() {
    const auto song = test::sampleSong();
    song->recording.frameCount = 1'000'000'000;
    return song;
}

struct Meaning {
    const char* text;
    std::int64_t frame;
};

void expectFrames(std::initializer_list<Meaning> meanings) {
    for (const auto& [text, frame] : meanings)
        EXPECT_EQ(test::frameOf(longSong(), text), frame) << text;
}

} // namespace

TEST(SongPositions, BarsAndBeatsAreCountedFromOne) {
    expectFrames({{"1:1", 88200}, {"3:1", 264600}, {"3:4", 330750}});
}

TEST(SongPositions, PlusLeadsAPartOfTheWayToTheNextBeat) {
    expectFrames({{"3:2+", 297675}, {"3:2+1/4", 292163}, {"3:2+.25", 292163}});
    expectFrames({{"8:4+", 782775}}); // after the last beat by the last interval
}

TEST(SongPositions, TimesAreSecondsMinutesAndHours) {
    expectFrames({{"0.5s", 22050}, {"65.2s", 2875320}, {"0:05s", 220500}, {"1:00:05.2", 158989320}});
}

TEST(SongPositions, ADecimalPointMakesATime) {
    expectFrames({{"0:05.2", 229320}, {"3:2.5", 8048250}, {"0:0.00001", 0}});
}

TEST(SongPositions, ALeadingZeroMakesATimeOfWhatWouldBeABeat) {
    expectFrames({{"0:24", 1058400}, {"00:02", 88200}, {"1:05", 2866500}});
}

TEST(SongPositions, ABeatThatTheBarDoesNotHaveIsATime) {
    expectFrames({{"1:12", 72 * 44100}, {"10:00", 26460000}});
}

TEST(SongPositions, FramesAndTheBoundariesOfTheRecording) {
    expectFrames({{"@132300", 132300}, {"start", 0}, {"end", 1'000'000'000}});
    EXPECT_EQ(test::frameOf(test::sampleSong(), "end"), 80 * 11025);
}

TEST(SongPositions, OtherTextsAreNotPositions) {
    for (const char* text : {"", "3", "3:", ":1", "1:2:3", "65.2", "3:1 ", "-1:1", "99999999999999999999:1"})
        EXPECT_FALSE(Position::make(text)) << text;
    for (const char* bar : {"03:1", "3:1+1", "3:1+x", "3:1+1/0", "1:05+"})
        EXPECT_FALSE(Position::make(bar)) << bar;
    for (const char* time : {"0:60", "1:60.5", "1:5:05", "1:60:05", "1:00:5", "1:-5.0", "1e3s:", "s", "nans"})
        EXPECT_FALSE(Position::make(time)) << time;
    for (const char* frame : {"@", "@-1", "@1.5", "@99999999999999999999", "infs"})
        EXPECT_FALSE(Position::make(frame)) << frame;
}

TEST(SongPositions, PlacesThatTheSongDoesNotHaveAreRefused) {
    for (const char* text : {"0:1", "9:1", "3:0", "3:5", "@882001", "20.1s", "1e300s", "999999999999:0.5"})
        EXPECT_THROW((void)test::frameOf(test::sampleSong(), text), EditRefused) << text;
}

TEST(SongPositions, AFrameIsNamedByItsBeatOrElseByItsTime) {
    const auto song = test::sampleSong();
    const SongPositions positions(*song);
    EXPECT_EQ(positions.name(330750), "3:4");
    EXPECT_EQ(positions.name(330751), "0:07.500");
    EXPECT_EQ(positions.name(0), "0:00.000");
    EXPECT_EQ(positions.name(-7), "@-7");
}

TEST(SongPositions, DistancesContinueBeyondTheGrid) {
    const auto song = test::sampleSong();
    const SongPositions positions(*song);
    EXPECT_EQ(positions.frameAfter(264600, {1.5, DistanceUnit::bars}), 264600 + 132300);
    EXPECT_EQ(positions.frameAfter(760725, {2, DistanceUnit::bars}), 760725 + 176400);
    EXPECT_EQ(positions.frameAfter(0, {-1, DistanceUnit::beats}), -22050);
}

} // namespace tarn
