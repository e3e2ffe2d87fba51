#include "AnalysisEngine/AudioReader.h"
#include "Signals.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>

namespace tarn {

namespace {

Samples readAll(AudioReader& reader) {
    Samples all;
    for (;;) {
        const auto block = reader.nextBlock();
        if (block.empty())
            return all;
        all.insert(all.end(), block.begin(), block.end());
    }
}

Samples sine(double frequency, int rate, std::size_t count) {
    Samples signal(count);
    for (std::size_t i = 0; i < count; ++i)
        signal[i] = static_cast<float>(0.5 * std::sin(2 * pi * frequency * static_cast<double>(i) / rate));
    return signal;
}

class AudioReaderTest : public ::testing::Test {
protected:
    TemporaryFolder mFolder;
    std::filesystem::path mPath = mFolder.path() / "audio";

    // In the header of a WAV file.
    static constexpr std::size_t kChannels = 22, kRate = 24;
    static constexpr std::int64_t kLongest = std::int64_t{AudioReader::kMaximumHours} * 3600 * 44100;

    /// The bytes of a sound file of 4096 frames.
    std::string whole(int format) {
        writeAudio(mPath, Samples(4096, 0.5f), 44100, 1, format);
        return textOf(mPath);
    }
    static std::string patched(std::string bytes, std::size_t offset, std::uint32_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            bytes.at(offset + i) = static_cast<char>(value >> 8 * i);
        return bytes;
    }
    /// A FLAC file that declares this many frames; 0 for a stream whose length is not known.
    static std::string ofLength(std::string flac, std::int64_t frames) {
        flac.at(21) = static_cast<char>((flac.at(21) & 0xf0) | frames >> 32);
        for (std::size_t i = 0; i < 4; ++i)
            flac.at(25 - i) = static_cast<char>(frames >> 8 * i);
        return flac;
    }
};

} // namespace

TEST_F(AudioReaderTest, ReadsFormatsRatesAndChannelCounts) {
    const std::tuple<int, int, int, float> cases[] = {{SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, 1e-4f},
                                                      {SF_FORMAT_WAV | SF_FORMAT_PCM_24, 192000, 1, 1e-6f},
                                                      {SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 48000, 6, 1e-4f},
                                                      {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 22050, 2, 1e-4f},
                                                      {SF_FORMAT_OGG | SF_FORMAT_VORBIS, 44100, 2, 0.1f},
                                                      {SF_FORMAT_WAV | SF_FORMAT_ULAW, 8000, 1, 0.05f}};
    for (const auto& [format, rate, channels, tolerance] : cases) {
        SCOPED_TRACE(format);
        const Samples mono = sine(300, rate, 20000);
        Samples interleaved;
        for (const float sample : mono) {
            for (int channel = 0; channel < channels; ++channel)
                interleaved.push_back(channel == 0 ? sample : 0.0f);
        }
        writeAudio(mPath, interleaved, rate, channels, format);
        const auto reader = AudioReader::open(mPath);
        ASSERT_TRUE(reader);
        EXPECT_EQ(reader->sampleRate(), rate);
        EXPECT_EQ(reader->channelCount(), channels);
        EXPECT_EQ(reader->frameCount(), 20000);
        const Samples read = readAll(*reader);
        EXPECT_EQ(reader->framesRead(), 20000);
        EXPECT_EQ(reader->fractionRead(), 1);
        ASSERT_EQ(read.size(), mono.size());
        for (std::size_t i = 0; i < mono.size(); ++i)
            ASSERT_NEAR(read[i], mono[i] / static_cast<float>(channels), tolerance) << i;
    }
}

TEST_F(AudioReaderTest, MakesSamplesFiniteAndBounded) {
    Samples wild(1000, 0.25f);
    wild[10] = std::numeric_limits<float>::quiet_NaN();
    wild[20] = std::numeric_limits<float>::infinity();
    wild[30] = -std::numeric_limits<float>::infinity();
    wild[40] = 1e30f;
    writeAudio(mPath, wild, 44100);
    const Samples read = readAll(*AudioReader::open(mPath));
    ASSERT_EQ(read.size(), wild.size());
    for (const std::size_t zero : {10, 20, 30})
        EXPECT_EQ(read[zero], 0.0f);
    EXPECT_EQ(read[40], 65536.0f);
    EXPECT_EQ(read[41], 0.25f);
}

TEST_F(AudioReaderTest, SaysWhyItRefusesAFile) {
    const std::string wave = whole(SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    const std::string flac = whole(SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    writeAudio(mPath, {}, 44100);
    const std::string withoutFrames = textOf(mPath);
    constexpr const char* kNoAudio = "no audio can be decoded from it";
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"empty", "", kNoAudio},
        {"text", "Once upon a time there was a file that was no sound.", kNoAudio},
        {"not a single frame", withoutFrames, kNoAudio},
        {"the beginning of a header", wave.substr(0, 30), kNoAudio},
        {"a header and nothing else", flac.substr(0, 42), kNoAudio},
        {"another file's header", flac.substr(0, 42) + wave, kNoAudio},
        {"an unknown codec", patched(wave, 20, 0x7777, 2), kNoAudio},
        {"no rate", patched(wave, kRate, 0, 4), kNoAudio},
        {"a negative rate", patched(wave, kRate, 0xffffffff, 4), kNoAudio},
        {"a low rate", patched(wave, kRate, 3999, 4), "a rate of 3999 frames per second is not supported"},
        {"a high rate", patched(wave, kRate, 768001, 4),
         "a rate of 768001 frames per second is not supported"},
        {"no channel", patched(wave, kChannels, 0, 2), kNoAudio},
        {"many channels", patched(wave, kChannels, 65, 2), "65 channels are not supported"},
        {"too many channels", patched(wave, kChannels, 0xffff, 2), kNoAudio},
        {"a frame more than 12 hours", ofLength(flac, kLongest + 1), "it is longer than 12 hours"},
        {"18 days", ofLength(flac, 0xfffffffff), "it is longer than 12 hours"}};
    for (const auto& [name, bytes, expected] : cases) {
        SCOPED_TRACE(name);
        writeText(mPath, bytes);
        std::string refusal;
        EXPECT_FALSE(AudioReader::open(mPath, &refusal));
        EXPECT_EQ(refusal, expected);
    }
    EXPECT_FALSE(AudioReader::open(mFolder.path() / "missing"));
    EXPECT_FALSE(AudioReader::open(mFolder.path()));
    const auto pipe = mFolder.path() / "pipe"; // that nobody writes to
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::string refusal;
    EXPECT_FALSE(AudioReader::open(pipe, &refusal));
    EXPECT_EQ(refusal, "it is not an ordinary file");
    EXPECT_FALSE(AudioReader::open(mPath.string() + '\0' + "x"));
}

TEST_F(AudioReaderTest, ReadsOnWhereTheHeaderIsWrong) {
    const std::string wave = whole(SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    const std::string flac = whole(SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    const std::tuple<const char*, std::string, std::int64_t> cases[] = {
        {"a rate of 4 kHz", patched(wave, kRate, 4000, 4), 4096},
        {"a rate of 768 kHz", patched(wave, kRate, 768000, 4), 4096},
        {"a file without length", patched(wave, 4, 0, 4), 4096},
        {"a file of 4 GB", patched(wave, 4, 0xffffffff, 4), 4096},
        {"data of 4 GB", patched(wave, wave.find("data") + 4, 0xffffffff, 4), 4096},
        {"12 hours", ofLength(flac, kLongest), kLongest},
        {"an unknown length", ofLength(flac, 0), kLongest}};
    for (const auto& [name, bytes, declared] : cases) {
        SCOPED_TRACE(name);
        writeText(mPath, bytes);
        const auto reader = AudioReader::open(mPath);
        ASSERT_TRUE(reader);
        EXPECT_EQ(reader->frameCount(), declared);
        EXPECT_EQ(readAll(*reader).size(), 4096u);
    }
}

TEST_F(AudioReaderTest, YieldsWhatComesBeforeTheBreak) {
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16,
                             SF_FORMAT_OGG | SF_FORMAT_VORBIS}) {
        SCOPED_TRACE(format);
        const Samples whole = noise(3, 0.5);
        writeAudio(mPath, whole, kAnalysisRate, 1, format);
        std::filesystem::resize_file(mPath, std::filesystem::file_size(mPath) / 2);
        const auto reader = AudioReader::open(mPath);
        ASSERT_TRUE(reader);
        const Samples read = readAll(*reader);
        EXPECT_GT(read.size(), whole.size() / 8);
        EXPECT_LT(read.size(), whole.size() * 3 / 4);
        EXPECT_EQ(reader->framesRead(), static_cast<std::int64_t>(read.size()));
        EXPECT_TRUE(reader->nextBlock().empty()) << "the end stays the end";
    }
}

TEST(AnalysisResampler, KeepsTimeAndLength) {
    for (const int rate : {8000, 22050, 44100, 48000, 96000}) {
        SCOPED_TRACE(rate);
        const Samples input = sine(440, rate, static_cast<std::size_t>(rate) + 123);
        AnalysisResampler resampler(rate);
        Samples output;
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
                    static_cast<double>(input.size()) * kAnalysisRate / rate, 1.5);
        const Samples expected = sine(440, kAnalysisRate, output.size());
        for (std::size_t i = 200; i + 200 < output.size(); ++i)
            ASSERT_NEAR(output[i], expected[i], 0.002) << i;
    }
}

} // namespace tarn
