#include "KELPMusicInformationRetrieval/Waveform.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>

namespace tarn {

/// Shown when a comparison fails.
void PrintTo(const Waveform::Point& point, std::ostream* stream) {
    *stream << '{' << int(point.minimum) << ' ' << int(point.maximum) << ' ' << int(point.rms) << '}';
}

namespace {

using Point = Waveform::Point;

std::vector<Point> pointsOf(const Waveform& waveform, std::size_t level) {
    const auto points = waveform.points(level);
    return {points.begin(), points.end()};
}

std::shared_ptr<Waveform> waveformWith(std::int64_t frameCount, int pointCount) {
    auto waveform = std::make_shared<Waveform>(frameCount, 48000);
    for (int i = 0; i < pointCount; ++i)
        waveform->appendPoint({std::int8_t(-i), std::int8_t(i + 1), std::int8_t(i % 2 == 0 ? 10 : 20)});
    return waveform;
}

std::shared_ptr<Waveform> readWaveform(const Data& bytes) {
    return KeyedUnarchiver::unarchivedObject<Waveform>(bytes);
}

TEST(Waveform, coarserLevelsFollowAsSoonAsTheirPointsAreComplete) {
    const auto waveform = waveformWith(256 * 17 + 1, 16);
    const Point first{-3, 4, 16}; // the root of (100 + 400) / 2, rounded
    EXPECT_EQ(waveform->points(0).size(), 16U);
    EXPECT_EQ(pointsOf(*waveform, 1), (std::vector<Point>{first, {-7, 8, 16}, {-11, 12, 16}, {-15, 16, 16}}));
    EXPECT_EQ(pointsOf(*waveform, 2), (std::vector<Point>{{-15, 16, 16}}));
    EXPECT_TRUE(waveform->points(3).empty());

    waveform->appendPoint({-128, 127, -1}); // no root mean square is below 0
    waveform->appendPoint({1, 2, 30});
    waveform->appendPoint({-99, 99, 99}); // beyond the frame count
    EXPECT_FALSE(waveform->isProcessingComplete());
    waveform->finish();
    EXPECT_TRUE(waveform->isProcessingComplete());
    EXPECT_EQ(waveform->points(0).size(), 18U);
    const Point rest{-128, 127, 21}; // the root of (0 + 900) / 2
    EXPECT_EQ(waveform->points(1).back(), rest);
    EXPECT_EQ(waveform->points(2).back(), rest);
    EXPECT_EQ(pointsOf(*waveform, 3), (std::vector<Point>{{-128, 127, 19}})); // of 16 and 21
    EXPECT_EQ(pointsOf(*waveform, 5), (std::vector<Point>{{-128, 127, 19}}));
    EXPECT_EQ(Waveform::framesPerPoint(5), 256U * 1024);
}

TEST(Waveform, readsBackFromItsArchiveAlsoWhenTheFileBrokeOff) {
    const std::pair<std::int64_t, int> cases[] = {
        {256 * 1000, 1000}, {256 * 1000, 7}, {256 * 9 + 1, 10}, {1, 1}, {1000, 0}, {0, 0}};
    for (const auto& [frameCount, pointCount] : cases) {
        const auto waveform = waveformWith(frameCount, pointCount);
        waveform->finish();
        const auto copy = readWaveform(KeyedArchiver::archivedData(waveform));
        ASSERT_TRUE(copy);
        EXPECT_TRUE(copy->isProcessingComplete());
        EXPECT_EQ(copy->frameCount(), frameCount);
        EXPECT_EQ(copy->sampleRate(), 48000);
        for (std::size_t level = 0; level < Waveform::kLevelCount; ++level)
            EXPECT_EQ(pointsOf(*copy, level), pointsOf(*waveform, level)) << "level " << level;
    }
}

/// An archive of the class's name with fields of the test's choosing.
struct ForgedWaveform : SecureCoding {
    std::int64_t frameCount = 512;
    double sampleRate = 44100;
    std::size_t byteCount = 6;

    const ClassDescription& dynamicClass() const override { return Waveform::classDescription(); }
    void encodeWithCoder(KeyedArchiver& coder) const override {
        coder.encodeInt("frameCount", frameCount);
        coder.encodeDouble("sampleRate", sampleRate);
        coder.encodeData("points", std::vector<std::byte>(byteCount));
    }
};

TEST(Waveform, damagedArchivesGiveNothing) {
    ASSERT_TRUE(readWaveform(KeyedArchiver::archivedData(std::make_shared<ForgedWaveform>())));
    const std::function<void(ForgedWaveform&)> damages[] = {
        [](ForgedWaveform& f) { f.frameCount = -1; },
        [](ForgedWaveform& f) { f.frameCount = std::numeric_limits<std::int64_t>::max(); },
        [](ForgedWaveform& f) { f.frameCount = 256; }, // fewer than there are points
        [](ForgedWaveform& f) { f.sampleRate = 0; },
        [](ForgedWaveform& f) { f.sampleRate = std::numeric_limits<double>::quiet_NaN(); },
        [](ForgedWaveform& f) { f.sampleRate = std::numeric_limits<double>::infinity(); },
        [](ForgedWaveform& f) { f.byteCount = 5; },
    };
    for (const auto& damage : damages) {
        const auto forged = std::make_shared<ForgedWaveform>();
        damage(*forged);
        EXPECT_FALSE(readWaveform(KeyedArchiver::archivedData(forged))) << "damage " << (&damage - damages);
    }
    const auto waveform = waveformWith(256 * 5, 5);
    waveform->finish();
    const Data whole = KeyedArchiver::archivedData(waveform);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(readWaveform(Data(whole.begin(), whole.begin() + std::ptrdiff_t(length))));
}

TEST(WaveformDeathTest, misuseStopsTheProcess) {
    EXPECT_DEATH(Waveform(-1, 44100), "Unusable number of frames for a waveform");
    const auto waveform = waveformWith(256, 0);
    EXPECT_DEATH((void)KeyedArchiver::archivedData(waveform), "Only a finished waveform can be archived");
    EXPECT_DEATH((void)waveform->points(Waveform::kLevelCount), "A waveform has no such level");
    waveform->finish();
    EXPECT_DEATH(waveform->appendPoint({}), "A finished waveform takes no more points");
}

TEST(WaveformConcurrency, completePointsAreReadWhileOthersAreAppended) {
    constexpr int kPointCount = 1 << 20;
    Waveform waveform(std::int64_t{256} * kPointCount, 44100);
    std::thread writer([&] {
        for (int i = 0; i < kPointCount; ++i)
            waveform.appendPoint({-1, 1, 1});
        waveform.finish();
    });
    while (!waveform.isProcessingComplete()) {
        for (std::size_t level = 0; level < Waveform::kLevelCount; ++level) {
            const auto points = waveform.points(level);
            if (!points.empty()) {
                EXPECT_EQ(points.back(), (Point{-1, 1, 1}));
            }
        }
    }
    writer.join();
    EXPECT_EQ(waveform.points(5).size(), 1U << 10);
}

} // namespace
} // namespace tarn
