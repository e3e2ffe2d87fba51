#include "AnalysisEngine/AudioReader.h"
#include "Signals.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>

namespace tarn {

namespace {

Signal readAll(AudioReader& reader) {
    Signal all;
    for (;;) {
        const auto block = reader.nextBlock();
        if (block.empty())
            return all;
        all.insert(all.end(), block.begin(), block.end());
    }
}

Signal sine(double frequency, int rate, std::size_t count) {
    Signal signal(count);
    for (std::size_t i = 0; i < count; ++i)
        signal[i] = static_cast<float>(
            0.5 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / rate));
    return signal;
}

class AudioReaderTest : public ::testing::Test {
protected:
    TemporaryFolder mFolder;
    std::filesystem::path mPath = mFolder.path() / "audio";

    void cutTo(double share) {
        std::filesystem::resize_file(
            mPath,
            static_cast<std::uintmax_t>(static_cast<double>(std::filesystem::file_size(mPath)) * share));
    }
};

} // namespace

TEST_F(AudioReaderTest, ReadsFormatsRatesAndChannelCounts) {
    struct Case {
        int format, rate, channels;
        float tolerance;
    };
    for (const Case& c : {Case{SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, 1e-4f},
                          Case{SF_FORMAT_WAV | SF_FORMAT_PCM_24, 192000, 1, 1e-6f},
                          Case{SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 48000, 6, 1e-4f},
                          Case{SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 22050, 2, 1e-4f},
                          Case{SF_FORMAT_OGG | SF_FORMAT_VORBIS, 44100, 2, 0.1f},
                          Case{SF_FORMAT_WAV | SF_FORMAT_ULAW, 8000, 1, 0.05f}}) {
        SCOPED_TRACE(c.format);
        const Signal mono = sine(300, c.rate, 20000);
        Signal interleaved;
        for (const float sample : mono) {
            for (int channel = 0; channel < c.channels; ++channel)
                interleaved.push_back(channel == 0 ? sample : 0.0f);
        }
        writeAudio(mPath, interleaved, c.rate, c.channels, c.format);
        const auto reader = AudioReader::open(mPath);
        ASSERT_TRUE(reader);
        EXPECT_EQ(reader->sampleRate(), c.rate);
        EXPECT_EQ(reader->channelCount(), c.channels);
        EXPECT_EQ(reader->frameCount(), 20000);
        const Signal read = readAll(*reader);
        EXPECT_EQ(reader->framesRead(), 20000);
        EXPECT_EQ(reader->fractionRead(), 1);
        ASSERT_EQ(read.size(), mono.size());
        for (std::size_t i = 0; i < mono.size(); ++i)
            ASSERT_NEAR(read[i], mono[i] / static_cast<float>(c.channels), c.tolerance) << i;
    }
}

TEST_F(AudioReaderTest, MakesSamplesFiniteAndBounded) {
    Signal wild(1000, 0.25f);
    wild[10] = std::numeric_limits<float>::quiet_NaN();
    wild[20] = std::numeric_limits<float>::infinity();
    wild[30] = -std::numeric_limits<float>::infinity();
    wild[40] = 1e30f;
    writeAudio(mPath, wild, 44100);
    const Signal read = readAll(*AudioReader::open(mPath));
    ASSERT_EQ(read.size(), wild.size());
    for (const std::size_t zero : {10, 20, 30})
        EXPECT_EQ(read[zero], 0.0f);
    EXPECT_EQ(read[40], 65536.0f);
    EXPECT_EQ(read[41], 0.25f);
}

TEST_F(AudioReaderTest, RefusesWhatIsNoAudio) {
    EXPECT_FALSE(AudioReader::open(mFolder.path() / "missing"));
    EXPECT_FALSE(AudioReader::open(mFolder.path()));
    std::ofstream(mPath).close();
    EXPECT_FALSE(AudioReader::open(mPath)) << "an empty file";
    std::ofstream(mPath) << "Once upon a time there was a file that was no sound.";
    EXPECT_FALSE(AudioReader::open(mPath));
    writeAudio(mPath, {}, 44100);
    EXPECT_FALSE(AudioReader::open(mPath)) << "not a single frame";
}

TEST_F(AudioReaderTest, RefusesAbsurdRatesAndChannelCounts) {
    const auto patched = [this](std::streamoff offset, std::uint32_t value, std::streamsize size) {
        writeAudio(mPath, Signal(4096, 0.5f), 44100);
        std::fstream file(mPath, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(offset);
        char bytes[4];
        std::memcpy(bytes, &value, 4);
        file.write(bytes, size);
        file.close();
        return AudioReader::open(mPath) != nullptr;
    };
    constexpr std::streamoff kChannels = 22, kRate = 24; // in a WAV header
    EXPECT_TRUE(patched(kRate, 4000, 4));
    EXPECT_TRUE(patched(kRate, 768000, 4));
    for (const std::uint32_t rate : {0u, 1u, 3999u, 768001u, 0x7fffffffu, 0xffffffffu})
        EXPECT_FALSE(patched(kRate, rate, 4)) << rate;
    for (const std::uint32_t channels : {0u, 65u, 0xffffu})
        EXPECT_FALSE(patched(kChannels, channels, 2)) << channels;
}

TEST_F(AudioReaderTest, YieldsWhatComesBeforeTheBreak) {
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16,
                             SF_FORMAT_OGG | SF_FORMAT_VORBIS}) {
        SCOPED_TRACE(format);
        const Signal whole = noise(3, 0.5);
        writeAudio(mPath, whole, analysisRate, 1, format);
        cutTo(0.5);
        const auto reader = AudioReader::open(mPath);
        ASSERT_TRUE(reader);
        const Signal read = readAll(*reader);
        EXPECT_GT(read.size(), whole.size() / 8);
        EXPECT_LT(read.size(), whole.size() * 3 / 4);
        EXPECT_EQ(reader->framesRead(), static_cast<std::int64_t>(read.size()));
        EXPECT_TRUE(reader->nextBlock().empty()) << "the end stays the end";
    }
}

TEST(AnalysisResamplerTests, KeepsTimeAndLength) {
    for (const int rate : {8000, 22050, 44100, 48000, 96000}) {
        SCOPED_TRACE(rate);
        const Signal input = sine(440, rate, static_cast<std::size_t>(rate) + 123);
        AnalysisResampler resampler(rate);
        Signal output;
        const auto take = [&output](std::span<const float> samples) {
            output.insert(output.end(), samples.begin(), samples.end());
        };
        // Blocks of uneven lengths, as they may come.
        for (std::size_t begin = 0, length = 1; begin < input.size();
             begin += length, length = length * 3 + 1)
            take(resampler.process(std::span(input).subspan(begin, std::min(length, input.size() - begin)),
                                   false));
        take(resampler.process({}, true));
        EXPECT_NEAR(static_cast<double>(output.size()),
                    static_cast<double>(input.size()) * analysisRate / rate, 1.5);
        const Signal expected = sine(440, analysisRate, output.size());
        for (std::size_t i = 200; i + 200 < output.size(); ++i)
            ASSERT_NEAR(output[i], expected[i], 0.002) << i;
    }
}

} // namespace tarn
