#include "PracticePage/CountIn.h"
#include "Tests/Song/SongTexts.h"

#include <gmock/gmock.h>

namespace tarn {
namespace {

using namespace test;

/// "2.0! 1.5 1.0 0.5": seconds before the start, bar lines marked.
std::string inWords(const std::vector<CountInBeat>& beats) {
    std::string text;
    for (const CountInBeat& beat : beats) {
        char number[32];
        std::snprintf(number, sizeof number, "%.3g%s", beat.before, beat.isDownbeat ? "!" : "");
        text += (text.empty() ? "" : " ") + std::string(number);
    }
    return text;
}

TEST(CountInTests, CountsTheSongsOwnBeatsWhereItHasThem) {
    const auto song = sampleSong();
    EXPECT_EQ(inWords(countInBefore(*song, 4 * 88200, 1)), "2! 1.5 1 0.5");
    EXPECT_EQ(inWords(countInBefore(*song, 4 * 88200, 2)), "4! 3.5 3 2.5 2! 1.5 1 0.5");
    EXPECT_EQ(inWords(countInBefore(*song, 4 * 88200 + 44100, 1)), "2 1.5 1! 0.5"); // from the third beat
    EXPECT_EQ(inWords(countInBefore(*song, 4 * 88200 + 100, 1)), "2! 1.5 1 0.502"); // means the beat
    // Their tempo, not another one's.
    perform(*song, "move-beat 3:3 to 7.2s");
    EXPECT_EQ(inWords(countInBefore(*song, 4 * 88200, 1)), "2! 1.5 0.8 0.5");
    EXPECT_EQ(inWords(countInBefore(*sampleSong(3), 88200 + 3 * 66150, 1)), "1.5! 1 0.5");
}

TEST(CountInTests, CountsArtificialBeatsBeforeTheSongsFirstAndLeavesTheSongAlone) {
    const auto song = sampleSong();
    const auto before = contentsOf(*song);
    EXPECT_EQ(inWords(countInBefore(*song, 88200, 1)), "2! 1.5 1 0.5");
    EXPECT_EQ(inWords(countInBefore(*song, 88200, 2)), "4! 3.5 3 2.5 2! 1.5 1 0.5");
    EXPECT_EQ(inWords(countInBefore(*song, 2 * 88200, 2)),
              "4! 3.5 3 2.5 2! 1.5 1 0.5"); // one bar of each kind
    EXPECT_EQ(contentsOf(*song), before);
}

TEST(CountInTests, CountsInTheStatedTempoWhereBeatsAreTooFew) {
    Song song(Recording{"song.wav", 44100, 441000, "s"});
    EXPECT_EQ(inWords(countInBefore(song, 0, 1)), "2! 1.5 1 0.5");
    addTempo(song, 60);
    song.notes->setTimeSignature(3, 4);
    EXPECT_EQ(inWords(countInBefore(song, 44100, 2)), "6! 5 4 3! 2 1");
    song.notes->setTimeSignature(6, 8); // of which three eighths make a beat of the tempo
    EXPECT_EQ(inWords(countInBefore(song, 0, 1)), "2! 1.67 1.33 1 0.667 0.333");
    addBeats(song, {.first = 0, .spacing = 22050, .count = 7, .perBar = 6});
    EXPECT_EQ(inWords(countInBefore(song, 0, 1)), "2! 1.67 1.33 1 0.667 0.333");
}

TEST(CountInTests, StrangeGridsGiveACountInToo) {
    auto song = std::make_shared<Song>(Recording{"song.wav", 44100, 441000, "s"});
    addBeats(*song, {.first = 0, .spacing = 0, .count = 12, .perBar = 3}); // all on one frame
    song->notes->setTimeSignature(255, 4);
    for (const std::int64_t start : {0, 1, 441000})
        EXPECT_EQ(countInBefore(*song, start, 2).size(), 510u);
    for (const auto& beat : countInBefore(*song, 0, 2))
        EXPECT_GE(beat.before, 0);
}

} // namespace
} // namespace tarn
