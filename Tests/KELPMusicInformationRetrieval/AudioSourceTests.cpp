#include "KELPMusicInformationRetrieval/AudioSource.h"

#include <array>
#include <gtest/gtest.h>
#include <vector>

namespace tarn {

TEST(AudioSourceTests, MemoryIsReadFromAnyFrameByAnyNumberOfStreams) {
    const auto source = audioInMemory({0, 1, 2, 3, 4, 5, 6}, 8000, 2); // the last sample makes no frame
    const auto stream = source->open();
    EXPECT_EQ(stream->sampleRate(), 8000);
    EXPECT_EQ(stream->channelCount(), 2);
    EXPECT_EQ(stream->frameCount(), 3);
    std::array<float, 4> samples{};
    EXPECT_EQ(stream->read(samples), 2u);
    EXPECT_EQ(samples, (std::array<float, 4>{0, 1, 2, 3}));
    EXPECT_EQ(stream->read(samples), 1u);
    EXPECT_EQ(samples[0], 4);
    EXPECT_EQ(stream->read(samples), 0u);
    EXPECT_TRUE(stream->seek(1));
    EXPECT_FALSE(stream->seek(4));
    EXPECT_EQ(stream->read(samples), 2u);
    EXPECT_EQ(samples, (std::array<float, 4>{2, 3, 4, 5}));
    EXPECT_EQ(source->open()->read(samples), 2u);
    EXPECT_EQ(samples[0], 0) << "a stream of its own";
}

TEST(AudioSourceTests, APathLeadsToItsSourceAsLongAsItLives) {
    const auto source = audioInMemory({}, 44100, 1);
    std::filesystem::path former;
    {
        const AudioSourcePath one(source), other(audioInMemory({}, 44100, 1));
        EXPECT_NE(one.path(), other.path());
        EXPECT_EQ(AudioSourcePath::sourceAt(one.path()), source);
        former = one.path();
    }
    EXPECT_EQ(AudioSourcePath::sourceAt(former), nullptr);
    EXPECT_EQ(AudioSourcePath::sourceAt("song.wav"), nullptr);
}

} // namespace tarn
