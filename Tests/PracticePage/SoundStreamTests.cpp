#include "PracticePage/PracticeRender.h"
#include "PracticePage/SoundStream.h"
#include "Tests/PracticePage/PracticeSong.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <sstream>

namespace tarn {
namespace {

using namespace test;

/// What a stream played.
struct Played {
    std::vector<float> samples; ///< of the first channel
    std::vector<SoundSegment> segments;

    /// Where the song's frame sounds first, by the segments, in samples.
    [[nodiscard]] std::int64_t sampleOf(std::int64_t songFrame) const {
        for (std::size_t i = 0; i < segments.size(); ++i) {
            const auto& segment = segments[i];
            const auto end =
                i + 1 < segments.size() ? segments[i + 1].sample : static_cast<std::int64_t>(samples.size());
            const double at = static_cast<double>(segment.sample) +
                              (static_cast<double>(songFrame) - segment.songFrame) / segment.framesPerSample;
            if (at >= static_cast<double>(segment.sample) - 0.5 && at < static_cast<double>(end))
                return std::llround(at);
        }
        return -1;
    }
};

class SoundStreamTests : public testing::Test {
protected:
    SoundStreamTests() { write(clicks()); }

    void write(const Samples& samples, int rate = 44100, int channels = 1) {
        writeAudio(mFile, samples, rate, channels);
    }
    [[nodiscard]] SoundStream stream(const PlayedPassage& passage, const SoundChange& change,
                                     int outputRate = 44100) const {
        return {AudioReader::open(mFile, nullptr, AudioChannels::stereo), passage, change, outputRate};
    }
    [[nodiscard]] Played play(const PlayedPassage& passage, const SoundChange& change,
                              double mostSeconds = 1000, int outputRate = 44100) const {
        auto source = stream(passage, change, outputRate);
        Played played;
        for (std::int64_t number = 0;; ++number) {
            const SoundBlock* const block = source.block(number);
            for (auto segment : block->segments) {
                segment.sample += static_cast<std::int64_t>(played.samples.size());
                played.segments.push_back(segment);
            }
            for (std::size_t i = 0; i < block->samples.size();
                 i += static_cast<std::size_t>(source.channelCount()))
                played.samples.push_back(block->samples[i] / 32767.0f);
            if (block->isLast || static_cast<double>(played.samples.size()) > mostSeconds * outputRate)
                return played;
        }
    }

    const TemporaryFolder mFolder;
    const std::filesystem::path mFile = mFolder.path() / "song.wav";
};

TEST_F(SoundStreamTests, EachClickSoundsOnceWhereItIsDueAtAnySpeedAndPitch) {
    for (const SoundChange change : {SoundChange{0.25, 0},
                                     {0.5, 0},
                                     {0.7, 0},
                                     {0.95, 0},
                                     {1.1, 0},
                                     {1.5, 0},
                                     {2, 0},
                                     {1, 4},
                                     {1, -7},
                                     {0.7, 2.5},
                                     {1.6, -12}}) {
        const Played played = play({}, change);
        EXPECT_NEAR(static_cast<double>(played.samples.size()), 882000 / change.speed, 2);
        const auto onsets = onsetsIn(played.samples);
        ASSERT_EQ(onsets.size(), clickPlaces().size()) << change.speed << " " << change.semitones;
        for (std::size_t i = 0; i < onsets.size(); ++i) {
            const auto due = static_cast<double>(clickPlaces()[i]) / change.speed;
            EXPECT_NEAR(static_cast<double>(onsets[i]), due, 44) << change.speed << " " << change.semitones;
            EXPECT_NEAR(static_cast<double>(played.sampleOf(clickPlaces()[i])), due, 2);
        }
    }
}

TEST_F(SoundStreamTests, UnchangedSoundIsTheRecordingSampleForSample) {
    const Played played = play({.from = 88200, .to = 176400}, {});
    const auto original = clicks();
    ASSERT_EQ(played.samples.size(), 88200u);
    for (std::size_t i = 0; i < played.samples.size(); ++i)
        ASSERT_NEAR(played.samples[i], original[88200 + i], 0.0001) << i;
}

TEST_F(SoundStreamTests, LoopsAreAsLongAsTheirBarsWithoutAGap) {
    // A tone without end, and clicks on it: what is missing at a joint would show.
    auto samples = clicks();
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] += static_cast<float>(0.2 * std::sin(2 * pi * 441 * static_cast<double>(i) / 44100));
    write(samples);
    const Range<std::int64_t> loop{176400, 264600};
    for (const double speed : {1.0, 0.7, 1.5}) {
        const Played played = play({.from = 132300, .loop = loop}, {speed, 0}, 12);
        const auto onsets = onsetsIn(played.samples);
        ASSERT_GE(onsets.size(), 15u);
        for (std::size_t i = 1; i < onsets.size(); ++i)
            EXPECT_NEAR(static_cast<double>(onsets[i] - onsets[i - 1]), 22050 / speed, 44)
                << speed << " " << i;
        std::vector<double> starts;
        for (std::size_t i = 1; i < played.segments.size(); ++i)
            if (std::abs(played.segments[i].songFrame - 176400) < 2)
                starts.push_back(static_cast<double>(played.segments[i].sample));
        ASSERT_GE(starts.size(), 3u);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(starts[i], (264600 - 132300 + 88200.0 * static_cast<double>(i)) / speed, 2);
        // Each five milliseconds around the joints sound.
        for (const double start : starts) {
            for (double at = start - 1500; at + 220 < start + 1500; at += 220) {
                const auto first = played.samples.begin() + static_cast<std::ptrdiff_t>(at);
                if (at + 1500 > static_cast<double>(played.samples.size()))
                    break;
                EXPECT_GT(*std::max_element(first, first + 220), 0.1) << speed << " " << at - start;
            }
        }
    }
}

TEST_F(SoundStreamTests, PitchMovesBySemitonesWhateverTheSpeedAndTheLevelStays) {
    Samples tone(441000);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<float>(0.5 * std::sin(2 * pi * 220 * static_cast<double>(i) / 44100));
    write(tone);
    for (const SoundChange change : {SoundChange{0.6, 0}, {1, 3}, {0.5, -5}, {1.8, 7}, {1, -0.25}}) {
        const auto samples = play({}, change).samples;
        ASSERT_GT(samples.size(), 200'000u);
        int crossings = 0;
        for (std::size_t i = 50'001; i < 150'000; ++i)
            crossings += samples[i - 1] < 0 && samples[i] >= 0;
        const double cents = 1200 * std::log2(crossings / (99'999 / 44100.0) / 220);
        EXPECT_NEAR(cents, 100 * change.semitones, 8) << change.speed << " " << change.semitones;
        double quietest = 1;
        double loudest = 0;
        for (std::size_t i = 50'000; i < 150'000; i += 441) {
            double power = 0;
            for (std::size_t j = 0; j < 441; ++j)
                power += samples[i + j] * samples[i + j] / 441;
            quietest = std::min(quietest, std::sqrt(power));
            loudest = std::max(loudest, std::sqrt(power));
        }
        EXPECT_GT(quietest, 0.29) << change.speed << " " << change.semitones;
        EXPECT_LT(loudest, 0.42);
    }
}

TEST_F(SoundStreamTests, BlocksComeInOrderAndTheLastOneMayBeAskedForAgain) {
    auto source = stream({.from = 0, .to = 20'000}, {});
    EXPECT_EQ(source.block(1), nullptr);
    const SoundBlock* block = source.block(0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->samples.size(), source.blockFrames());
    const auto first = block->samples;
    EXPECT_EQ(source.block(0)->samples, first);
    std::size_t sum = first.size();
    std::int64_t number = 1;
    for (; !(block = source.block(number))->isLast; ++number)
        sum += block->samples.size();
    EXPECT_EQ(sum + block->samples.size(), 20'000u);
    EXPECT_EQ(source.block(0), nullptr);
    EXPECT_EQ(source.block(number + 1), nullptr);
    EXPECT_TRUE(source.block(number)->isLast);
}

TEST_F(SoundStreamTests, ChannelsStayApartAndUnusualRatesBecomeUsualOnes) {
    Samples stereo;
    for (const float sample : clicks()) {
        stereo.push_back(sample);
        stereo.push_back(-0.5f * sample);
    }
    write(stereo, 96000, 2); // played at more than twice the rate
    auto source = stream({}, {}, 48000);
    ASSERT_EQ(source.channelCount(), 2);
    std::vector<float> left;
    std::vector<float> right;
    for (std::int64_t number = 0;; ++number) {
        const SoundBlock* const block = source.block(number);
        for (std::size_t i = 0; i < block->samples.size(); i += 2) {
            left.push_back(block->samples[i] / 32767.0f);
            right.push_back(block->samples[i + 1] / 16383.0f);
        }
        if (block->isLast)
            break;
    }
    EXPECT_NEAR(static_cast<double>(left.size()), 441000, 2);
    const auto onsets = onsetsIn(left);
    ASSERT_EQ(onsets.size(), clickPlaces().size());
    EXPECT_NEAR(static_cast<double>(onsets[5]), static_cast<double>(clickPlaces()[5]) / 2, 4);
    for (std::size_t i = 0; i < left.size(); ++i)
        ASSERT_NEAR(left[i], -right[i], 0.001);
}

TEST_F(SoundStreamTests, ALoopThatReachesBeyondTheRecordingReturnsAtItsEnd) {
    const Played played = play({.from = 860'000, .loop = Range<std::int64_t>{800'000, 900'000}}, {}, 5);
    EXPECT_GT(played.samples.size(), 200'000u);
    EXPECT_NEAR(static_cast<double>(played.segments.back().songFrame), 840'000, 45'000);
}

TEST_F(SoundStreamTests, WrittenFilesHaveClicksOnTheBeatsAndACountInBeforeThem) {
    write(Samples(882000)); // silence, so that clicks are all there is
    const auto song = sampleSong();
    song->recording.frameCount = 882000;
    PracticeRender render{{0.5, 0}, 88200, 264600};
    render.hasClick = true;
    render.countInBars = 1;
    std::ostringstream out;
    const auto frames =
        writePracticeSound(out, *song, AudioReader::open(mFile, nullptr, AudioChannels::stereo), render);
    EXPECT_EQ(frames, 2 * 3 * 88200);
    writeText(mFile, out.str());
    auto reader = AudioReader::open(mFile);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->frameCount(), frames);
    std::vector<float> samples;
    for (auto block = reader->nextBlock(); !block.empty(); block = reader->nextBlock())
        samples.insert(samples.end(), block.begin(), block.end());
    const auto onsets = onsetsIn(samples);
    ASSERT_EQ(onsets.size(), 12u);
    for (std::size_t i = 0; i < onsets.size(); ++i)
        EXPECT_NEAR(static_cast<double>(onsets[i]), 44100.0 * static_cast<double>(i), 44);
}

} // namespace
} // namespace tarn
