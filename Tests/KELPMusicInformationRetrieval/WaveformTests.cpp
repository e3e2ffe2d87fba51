#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Tests/Platform/Forgery.h"

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

TEST(WaveformTests, CoarserLevelsFollowAsSoonAsTheirPointsAreComplete) {
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

TEST(WaveformTests, ReadsBackFromItsArchiveAlsoWhenTheFileBrokeOff) {
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

TEST(WaveformTests, DamagedArchivesGiveNothing) {
    const auto readsForged = [](std::int64_t frameCount, double sampleRate, std::size_t byteCount) {
        return reads<Waveform>([=](KeyedArchiver& coder) {
            coder.encodeInt("frameCount", frameCount);
            coder.encodeDouble("sampleRate", sampleRate);
            coder.encodeData("points", std::vector<std::byte>(byteCount));
        });
    };
    EXPECT_TRUE(readsForged(512, 44100, 6));
    EXPECT_FALSE(readsForged(512, 44100, 5));
    for (const std::int64_t frameCount :
         {std::int64_t{-1}, std::numeric_limits<std::int64_t>::max(), std::int64_t{256}})
        EXPECT_FALSE(readsForged(frameCount, 44100, 6)) << frameCount; // 256 are fewer than there are points
    using Double = std::numeric_limits<double>;
    for (const double sampleRate : {0.0, Double::quiet_NaN(), Double::infinity()})
        EXPECT_FALSE(readsForged(512, sampleRate, 6)) << sampleRate;
}

TEST(WaveformDeathTest, MisuseAborts) {
    EXPECT_DEATH(Waveform(-1, 44100), "Unusable number of frames for a waveform");
    const auto waveform = waveformWith(256, 0);
    EXPECT_DEATH((void)KeyedArchiver::archivedData(waveform), "Only a finished waveform can be archived");
    EXPECT_DEATH((void)waveform->points(Waveform::kLevelCount), "A waveform has no such level");
    waveform->finish();
    EXPECT_DEATH(waveform->appendPoint({}), "A finished waveform takes no more points");
}

TEST(WaveformConcurrencyTests, CompletePointsAreReadWhileOthersAreAppended) {
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
