#include "KELPMusicInformationRetrieval/Spectrogram.h"

#include <gtest/gtest.h>

#include <algorithm>
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

TEST(Spectrogram, archivesItsCompleteColumns) {
    for (const std::uint8_t count : {0, 1, 3}) {
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

/// An archive of the class's name with fields of the test's choosing.
struct Forged : SecureCoding {
    double framesPerColumn = 512;
    std::uint64_t columnCount = 3;
    std::uint64_t binCount = 2;
    std::uint64_t binsPerSemitone = 4;
    double lowestPitch = 33;
    double tuningFrequency = 440;
    float floorDecibels = -80;
    std::size_t cellCount = 6;

    const ClassDescription& dynamicClass() const override { return Spectrogram::classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeDouble("framesPerColumn", framesPerColumn);
        coder.encodeUnsigned("columnCount", columnCount);
        coder.encodeUnsigned("binCount", binCount);
        coder.encodeUnsigned("binsPerSemitone", binsPerSemitone);
        coder.encodeDouble("lowestPitch", lowestPitch);
        coder.encodeDouble("tuningFrequency", tuningFrequency);
        coder.encodeFloat("floorDecibels", floorDecibels);
        coder.encodeData("cells", std::vector<std::byte>(cellCount));
    }
};

TEST(Spectrogram, damagedArchivesGiveNothing) {
    ASSERT_TRUE(read(KeyedArchiver::archivedData(std::make_shared<Forged>())));
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const std::function<void(Forged&)> damages[] = {
        [](Forged& f) { f.framesPerColumn = 0; },
        [](Forged& f) { f.framesPerColumn = kInfinity; },
        [](Forged& f) { f.columnCount = 4; },
        [](Forged& f) { f.columnCount = (std::uint64_t{1} << 32) + 3; },
        [](Forged& f) { f.binCount = 65536 + 2; },
        [](Forged& f) { f.binsPerSemitone = 0; },
        [](Forged& f) { f.lowestPitch = std::numeric_limits<double>::quiet_NaN(); },
        [](Forged& f) { f.tuningFrequency = -440; },
        [](Forged& f) { f.floorDecibels = 0; },
        [](Forged& f) { f.cellCount = 5; },
        [](Forged& f) { f.columnCount = 0xFFFFFFFF, f.binCount = 65535; },
    };
    for (const auto& damage : damages) {
        const auto forged = std::make_shared<Forged>();
        damage(*forged);
        EXPECT_FALSE(read(KeyedArchiver::archivedData(forged))) << "damage " << (&damage - damages);
    }
    const Data whole = KeyedArchiver::archivedData(spectrogramWith(3));
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(read(Data(whole.begin(), whole.begin() + std::ptrdiff_t(length))));
}

TEST(Spectrogram, binsLieOnTheScaleOfTheTuning) {
    Spectrogram::Layout layout = kLayout;
    layout.lowestPitch = 69 - 12; // A3
    const Spectrogram spectrogram(layout);
    EXPECT_DOUBLE_EQ(spectrogram.frequencyOfBin(0), 221);
    EXPECT_DOUBLE_EQ(spectrogram.frequencyOfBin(12 * 4), 442);
}

TEST(SpectrogramDeathTest, misuseStopsTheProcess) {
    const auto spectrogram = spectrogramWith(2);
    EXPECT_DEATH((void)spectrogram->column(2), "This spectrogram column is not complete");
    EXPECT_DEATH(spectrogram->appendColumn(std::array<std::uint8_t, 1>{}), "one cell for each bin");
    spectrogram->appendColumn(std::array<std::uint8_t, 2>{});
    EXPECT_DEATH(spectrogram->appendColumn(std::array<std::uint8_t, 2>{}),
                 "more columns than it has room for");
    auto tooLarge = kLayout;
    tooLarge.columnCount = 0xFFFFFFFF;
    EXPECT_DEATH(Spectrogram{tooLarge}, "Unusable spectrogram layout");
}

TEST(SpectrogramConcurrency, completeColumnsAreReadAndArchivedWhileOthersAreAppended) {
    auto layout = kLayout;
    layout.columnCount = 2000;
    const auto spectrogram = std::make_shared<Spectrogram>(layout);
    std::thread writer([&] {
        for (std::uint32_t i = 0; i < layout.columnCount; ++i)
            spectrogram->appendColumn(std::array{std::uint8_t(i), std::uint8_t(i)});
    });
    while (!spectrogram->isComplete()) {
        if (const auto count = spectrogram->completedColumnCount()) {
            EXPECT_EQ(spectrogram->column(count - 1)[1], std::uint8_t(count - 1));
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
