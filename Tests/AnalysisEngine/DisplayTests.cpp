#include "AnalysisEngine/AnalysisEngine.h"
#include "AnalysisEngine/SpectrogramComputation.h"
#include "AnalysisEngine/WaveformComputation.h"
#include "Signals.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <chrono>
#include <gtest/gtest.h>

namespace tarn {

namespace {

class WaveformComputation : public ::testing::Test {
protected:
    /// A quiet half and a loud one, 2000 frames each.
    WaveformComputation() {
        Samples signal(4000);
        for (std::size_t i = 0; i < signal.size(); ++i)
            signal[i] = (i < 2000 ? 0.1f : 1.0f) * (i % 2 == 0 ? 1.0f : -0.5f);
        writeAudio(mAudio, signal, 44100);
    }

    std::shared_ptr<Waveform> compute() {
        const auto reader = AudioReader::open(mAudio);
        auto waveform = std::make_shared<Waveform>(reader->frameCount(), reader->sampleRate());
        computeWaveform(*reader, *waveform);
        return waveform;
    }
    std::shared_ptr<Waveform> cached() {
        return readWaveformCache(mCache, mAudio, *AudioReader::open(mAudio));
    }

    TemporaryFolder mFolder;
    std::filesystem::path mAudio = mFolder.path() / "song.wav";
    std::filesystem::path mCache = mFolder.path() / "song.waveform";
};

} // namespace

TEST_F(WaveformComputation, HasPeaksAndRootMeanSquares) {
    const auto waveform = compute();
    EXPECT_TRUE(waveform->isProcessingComplete());
    const auto points = waveform->points(0);
    ASSERT_EQ(points.size(), 16u); // the last one spans the 160 frames that are left
    EXPECT_EQ(points[0], (Waveform::Point{-6, 13, 10}));
    EXPECT_EQ(points[7].maximum, 127) << "the loud half begins within the eighth point";
    EXPECT_EQ(points[15], (Waveform::Point{-64, 127, 100}));
    EXPECT_EQ(waveform->points(1).size(), 4u);
    EXPECT_EQ(waveform->points(1)[0], points[0]);
}

TEST_F(WaveformComputation, ComesFromItsCacheOnlyWhenThatFits) {
    EXPECT_FALSE(cached());
    const auto waveform = compute();
    ASSERT_TRUE(writeWaveformCache(waveform, mCache));
    const auto read = cached();
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->isProcessingComplete());
    EXPECT_TRUE(std::ranges::equal(read->points(0), waveform->points(0)));

    const auto written = std::filesystem::last_write_time(mCache);
    const auto fits = [&](std::size_t length, int rate, int seconds) {
        writeAudio(mAudio, Samples(length), rate);
        std::filesystem::last_write_time(mAudio, written + std::chrono::seconds(seconds));
        return cached() != nullptr;
    };
    EXPECT_FALSE(fits(4000, 44100, 2)) << "the audio file was changed later";
    EXPECT_FALSE(fits(4001, 44100, 0));
    EXPECT_FALSE(fits(4000, 48000, 0));
    EXPECT_TRUE(fits(4000, 44100, 0));
    std::filesystem::resize_file(mCache, std::filesystem::file_size(mCache) / 2);
    EXPECT_FALSE(cached()) << "damaged";
}

TEST_F(WaveformComputation, IsComputedAgainWhereTheCacheIsNotWanted) {
    struct AlwaysRequired : KELPWaveformOperationDelegate {
        bool waveformOperationRequiresProcessing(KELPWaveformOperation&) override { return true; }
    };
    const auto delegate = std::make_shared<AlwaysRequired>();
    ASSERT_TRUE(writeWaveformCache(compute(), mCache));
    const auto operation = AnalysisEngine().makeWaveformOperation(mAudio, mCache);
    ASSERT_TRUE(operation);
    operation->delegate = delegate;
    const auto ofCache = operation->waveform();
    ASSERT_TRUE(ofCache->isProcessingComplete());
    OperationQueue().addOperations({operation}, true);
    const auto computed = operation->waveform();
    EXPECT_NE(computed, ofCache);
    EXPECT_TRUE(computed->isProcessingComplete());
    EXPECT_TRUE(std::ranges::equal(computed->points(0), ofCache->points(0)));
}

TEST(SpectrogramComputation, ShowsNotesInTheBinsOfTheTuning) {
    constexpr double kPitch = 428;
    Samples signal;
    Synthesizer{kPitch}.play(signal, 0, 2, {69}, 0.5);
    const auto spectrogram = makeSpectrogram(kAnalysisRate, std::nullopt);
    spectrogram->setTuningFrequency(kPitch);
    appendColumns(*featuresOf(signal).spectral.magnitudes, *spectrogram);
    EXPECT_NEAR(spectrogram->layout().columnCount * spectrogram->layout().framesPerColumn,
                static_cast<double>(signal.size()), spectrogram->layout().framesPerColumn);
    const auto column = spectrogram->column(10);
    const auto loudest =
        static_cast<std::size_t>(std::max_element(column.begin(), column.end()) - column.begin());
    EXPECT_EQ(loudest, (69u - LogFrequencyMap::kLowestNote) * LogFrequencyMap::kBinsPerSemitone);
    EXPECT_NEAR(spectrogram->frequencyOfBin(static_cast<double>(loudest)), kPitch, 0.01);
    // Amplitude 0.5 at its beginning, 0.5 s on: about 10 dB below full scale.
    EXPECT_NEAR(column[loudest], 255 * (1 - 10.4 / 96), 5);
    EXPECT_LT(column[loudest + 30], column[loudest] - 80);
}

TEST(SpectrogramComputation, GrowsWhileTheStageWorks) {
    struct Tuned : KELPSpectrogramOperationDelegate {
        bool spectrogramOperationRequiresProcessing(KELPSpectrogramOperation&) override { return true; }
        double tuningFrequencyForSpectrogramOperation(KELPSpectrogramOperation&) override { return 432; }
    };
    const TemporaryFolder folder;
    const auto audio = folder.path() / "song.wav";
    writeAudio(audio, noise(8, 0.5), kAnalysisRate);
    const auto delegate = std::make_shared<Tuned>();
    const auto operation = AnalysisEngine().makeSpectrogramOperation(audio);
    ASSERT_TRUE(operation);
    operation->delegate = delegate;
    const auto drawn = operation->spectrogram();
    ASSERT_TRUE(drawn);
    const auto expected = drawn->layout().columnCount;
    EXPECT_EQ(drawn->completedColumnCount(), 0u);

    std::vector<std::uint32_t> counts; // at each report of the stage
    const auto token = operation->progress()->observe(
        [&](const Progress&) { counts.push_back(drawn->completedColumnCount()); });
    OperationQueue().addOperations({operation}, true);
    EXPECT_TRUE(std::is_sorted(counts.begin(), counts.end()));
    const auto whileComputed = std::count_if(counts.begin(), counts.end(), [&](auto count) {
        return count > expected / 10 && count < expected * 9 / 10;
    });
    EXPECT_GT(whileComputed, 10);
    EXPECT_EQ(operation->spectrogram(), drawn);
    EXPECT_TRUE(drawn->isComplete());
    EXPECT_EQ(drawn->layout().columnCount, expected);
    EXPECT_EQ(drawn->layout().tuningFrequency, 432);
}

} // namespace tarn
