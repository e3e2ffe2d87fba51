#include "Song/Recording.h"

#include "Song/SongFile.h"
#include "Tests/Song/SampleSong.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

/// Of three stretches that get louder; `shift` decibels off in every other band.
LoudnessEnvelope envelope(int shift = 0) {
    LoudnessEnvelope result;
    for (int i = 0; i < 3 * static_cast<int>(LoudnessEnvelope::kBandCount); ++i)
        result.levels.push_back(static_cast<std::int8_t>(i / 2 - 20 + (i % 2) * shift));
    return result;
}

} // namespace

TEST(Recording, aFileIsTheRecordingByItsBytesItsSoundOrItsShape) {
    const Recording known{"a.wav", 44100, 130'000, "id", "aa", envelope()};
    const Recording old{"a.wav", 44100, 130'000, "id"};
    const auto file = [](const char* digest, const LoudnessEnvelope& heard, std::int64_t frames = 130'000,
                         double rate = 44100) {
        return RecordingFacts{rate, frames, frames, digest, heard};
    };
    using enum RecordingMatch;
    EXPECT_EQ(match(known, file("aa", envelope(9))), sameFile);
    EXPECT_EQ(match(known, file("bb", envelope(1))), sameSound);
    EXPECT_EQ(match(known, file("bb", envelope(1), 131'105)), sameSound) << "an encoder's delay";
    EXPECT_EQ(match(known, file("bb", envelope(1), 134'000)), other);
    EXPECT_EQ(match(known, file("aa", envelope(), 130'000, 48000)), other) << "frames would mean other times";
    EXPECT_EQ(match(known, file("bb", envelope(1), 130'000, 48000)), other);
    EXPECT_EQ(match(known, file("bb", envelope(4))), other);
    EXPECT_EQ(match(known, file("bb", {})), other);
    EXPECT_EQ(match(old, file("aa", envelope())), sameShape);
    EXPECT_EQ(match(old, file("aa", envelope(), 130'001)), other);
}

TEST(Recording, envelopesOfDifferentStretchesAreComparedAtTheLongerOnes) {
    LoudnessEnvelope fine{1, std::vector<std::int8_t>(5 * LoudnessEnvelope::kBandCount, -10)};
    const LoudnessEnvelope coarse = fine.coarser();
    EXPECT_EQ(coarse.stretchSeconds, 2);
    EXPECT_EQ(coarse.stretchCount(), 3u);
    EXPECT_EQ(distance(fine, coarse), 0);
    auto withSilence = fine;
    auto otherWithSilence = fine;
    for (auto& level : otherWithSilence.levels)
        level += 5;
    for (auto* envelope : {&withSilence, &otherWithSilence})
        envelope->levels.resize(100 * LoudnessEnvelope::kBandCount, LoudnessEnvelope::kFloor);
    EXPECT_EQ(distance(withSilence, otherWithSilence), 5) << "silence is not likeness";
    std::fill_n(fine.levels.begin(), LoudnessEnvelope::kBandCount, LoudnessEnvelope::kFloor);
    EXPECT_EQ(fine.coarser().levels.front(), -13) << "the mean power of two stretches, not of decibels";
}

TEST(Recording, whatIdentifiesARecordingIsKeptInTheDocument) {
    const auto song = test::sampleSong();
    const auto reopened = [&] { return songFromBytes(archivedSong(song), "song.tarn")->recording; };
    EXPECT_TRUE(reopened().digest.empty() && reopened().envelope.isEmpty());
    song->recording.digest = "0123";
    song->recording.envelope = {4, envelope().levels};
    EXPECT_EQ(reopened().digest, "0123");
    EXPECT_EQ(reopened().envelope, song->recording.envelope);
    song->recording.envelope.stretchSeconds = 3;
    EXPECT_TRUE(reopened().envelope.isEmpty()) << "one that cannot be is not used";
}

} // namespace tarn
