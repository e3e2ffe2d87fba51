#include "KELPMusicInformationRetrieval/Spectrogram.h"
#include "Tests/Platform/Forgery.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <thread>

namespace tarn {
namespace {

const Spectrogram::Layout kLayout{512.5, 3, 2, 4, 33.25, 442, -80};

std::shared_ptr<Spectrogram> spectrogramWith(std::uint8_t columnCount) {
    auto spectrogram = std::make_shared<Spectrogram>(kLayout);
    for (std::uint8_t i = 0; i < columnCount; ++i)
        spectrogram->appendColumn(std::array<std::uint8_t, 2>{i, std::uint8_t(255 - i)});
    return spectrogram;
}

std::shared_ptr<Spectrogram> read(const Data& bytes) {
    return KeyedUnarchiver::unarchivedObject<Spectrogram>(bytes);
}

TEST(SpectrogramTests, ArchivesItsCompleteColumns) {
    for (const std::uint8_t count : {0, 1, 3, 4, 5, 100}) { // also beyond those that were expected
        const auto copy = read(KeyedArchiver::archivedData(spectrogramWith(count)));
        ASSERT_TRUE(copy);
        auto layout = kLayout;
        layout.columnCount = count;
        EXPECT_EQ(copy->layout(), layout);
        ASSERT_TRUE(copy->isComplete());
        for (std::uint8_t i = 0; i < count; ++i) {
            const auto column = copy->column(i);
            EXPECT_EQ(std::vector(column.begin(), column.end()),
                      (std::vector<std::uint8_t>{i, std::uint8_t(255 - i)}));
        }
    }
}

TEST(SpectrogramTests, DamagedArchivesGiveNothing) {
    using Fields = std::array<double, 8>;
    const auto readsForged = [](const Fields& fields) {
        return reads<Spectrogram>([&](KeyedArchiver& coder) {
            coder.encodeDouble("framesPerColumn", fields[0]);
            coder.encodeUnsigned("columnCount", static_cast<std::uint64_t>(fields[1]));
            coder.encodeUnsigned("binCount", static_cast<std::uint64_t>(fields[2]));
            coder.encodeUnsigned("binsPerSemitone", static_cast<std::uint64_t>(fields[3]));
            coder.encodeDouble("lowestPitch", fields[4]);
            coder.encodeDouble("tuningFrequency", fields[5]);
            coder.encodeFloat("floorDecibels", static_cast<float>(fields[6]));
            coder.encodeData("cells", std::vector<std::byte>(static_cast<std::size_t>(fields[7])));
        });
    };
    const Fields sound{512, 3, 2, 4, 33, 440, -80, 6};
    ASSERT_TRUE(readsForged(sound));
    EXPECT_FALSE(readsForged({512, 0xFFFFFFFF, 65535, 4, 33, 440, -80, 6}));
    using Double = std::numeric_limits<double>;
    const std::pair<std::size_t, double> damages[] = {
        {0, 0}, {0, Double::infinity()},  {1, 4},    {1, 0x100000003}, {2, 0}, {2, 65536 + 2},
        {3, 0}, {4, Double::quiet_NaN()}, {5, -440}, {6, 0},           {7, 5}};
    for (const auto& [field, value] : damages) {
        Fields damaged = sound;
        damaged[field] = value;
        EXPECT_FALSE(readsForged(damaged)) << field << " is " << value;
    }
}

TEST(SpectrogramTests, TellsWhatItExpectsUntilItIsFinished) {
    for (const std::uint8_t count : {2, 5}) {
        const auto spectrogram = std::make_shared<Spectrogram>(kLayout);
        spectrogram->setTuningFrequency(432);
        for (std::uint8_t i = 0; i < count; ++i)
            spectrogram->appendColumn(std::array<std::uint8_t, 2>{i, i});
        EXPECT_EQ(spectrogram->layout().columnCount, std::max<std::uint32_t>(count, 3));
        EXPECT_FALSE(spectrogram->isComplete());
        spectrogram->finish();
        EXPECT_EQ(spectrogram->layout().columnCount, count);
        EXPECT_TRUE(spectrogram->isComplete());
        EXPECT_EQ(spectrogram->layout().tuningFrequency, 432);
    }
}

TEST(SpectrogramDeathTest, MisuseAborts) {
    const auto spectrogram = spectrogramWith(2);
    EXPECT_DEATH((void)spectrogram->column(2), "This spectrogram column is not complete");
    EXPECT_DEATH(spectrogram->appendColumn(std::array<std::uint8_t, 1>{}), "one cell for each bin");
    EXPECT_DEATH(spectrogram->setTuningFrequency(440), "before its first column");
    spectrogram->finish();
    EXPECT_DEATH(spectrogram->appendColumn(std::array<std::uint8_t, 2>{}), "takes no more columns");
    auto tooLarge = kLayout;
    tooLarge.columnCount = 0xFFFFFFFF;
    EXPECT_DEATH(Spectrogram{tooLarge}, "Unusable spectrogram layout");
}

TEST(SpectrogramConcurrencyTests, CompleteColumnsAreReadAndArchivedWhileOthersAreAppended) {
    const auto spectrogram = std::make_shared<Spectrogram>(kLayout); // expects three columns
    std::thread writer([&] {
        spectrogram->setTuningFrequency(432);
        for (std::uint32_t i = 0; i < 2000; ++i)
            spectrogram->appendColumn(std::array{std::uint8_t(i), std::uint8_t(i)});
        spectrogram->finish();
    });
    while (!spectrogram->isComplete()) {
        if (const auto count = spectrogram->completedColumnCount()) {
            EXPECT_EQ(spectrogram->column(count - 1)[1], std::uint8_t(count - 1));
            EXPECT_EQ(spectrogram->layout().tuningFrequency, 432);
        }
        const auto copy = read(KeyedArchiver::archivedData(spectrogram));
        ASSERT_TRUE(copy);
        if (const auto count = copy->completedColumnCount()) {
            EXPECT_EQ(copy->column(count - 1)[0], std::uint8_t(count - 1));
        }
    }
    writer.join();
}

} // namespace
} // namespace tarn
