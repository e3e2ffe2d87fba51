#include "KELPMusicInformationRetrieval/Waveform.h"

#include "Platform/CheckedArithmetic.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

/// Room for ten days at 192 kHz; a greater count in an archive is damage.
constexpr std::int64_t kMaximumFrameCount = std::int64_t{192000} * 86400 * 10;

std::size_t pointCount(std::int64_t frameCount, std::size_t level) {
    const std::int64_t frames = Waveform::framesPerPoint(level);
    return static_cast<std::size_t>((frameCount + frames - 1) / frames);
}

} // namespace

std::uint32_t Waveform::framesPerPoint(std::size_t level) {
    precondition(level < kLevelCount, "A waveform has no such level");
    std::uint32_t frames = kFinestFramesPerPoint;
    while (level-- > 0)
        frames *= kLevelRatio;
    return frames;
}

Waveform::Waveform(std::int64_t frameCount, double sampleRate)
    : mFrameCount(frameCount), mSampleRate(sampleRate), mLevels(kLevelCount) {
    precondition(frameCount >= 0 && frameCount <= kMaximumFrameCount,
                 "Unusable number of frames for a waveform");
    for (std::size_t level = 0; level < kLevelCount; ++level)
        mLevels[level].points.resize(pointCount(frameCount, level));
}

std::span<const Waveform::Point> Waveform::points(std::size_t level) const {
    precondition(level < kLevelCount, "A waveform has no such level");
    return std::span(mLevels[level].points).first(mLevels[level].completed.load(std::memory_order_acquire));
}

void Waveform::append(std::size_t level, Point point) {
    Level& target = mLevels[level];
    const auto count = target.completed.load(std::memory_order_relaxed);
    if (count == target.points.size())
        return;
    target.points[count] = point;
    target.completed.store(count + 1, std::memory_order_release);
    if (level + 1 < kLevelCount && (count + 1) % kLevelRatio == 0)
        summarize(level, count + 1 - kLevelRatio, count + 1);
}

void Waveform::summarize(std::size_t level, std::size_t first, std::size_t last) {
    const auto& points = mLevels[level].points;
    Point sum = points[first];
    double power = 0;
    for (std::size_t i = first; i < last; ++i) {
        sum.minimum = std::min(sum.minimum, points[i].minimum);
        sum.maximum = std::max(sum.maximum, points[i].maximum);
        power += double(points[i].rms) * points[i].rms;
    }
    sum.rms = static_cast<std::int8_t>(std::lround(std::sqrt(power / double(last - first))));
    append(level + 1, sum);
}

void Waveform::appendPoint(Point point) {
    precondition(!isProcessingComplete(), "A finished waveform takes no more points");
    append(0, {point.minimum, point.maximum, std::max(point.rms, std::int8_t{0})});
}

void Waveform::finish() {
    // The points left over at the end of each level make a last, shorter one of the next.
    for (std::size_t level = 0; level + 1 < kLevelCount; ++level) {
        const auto count = mLevels[level].completed.load(std::memory_order_relaxed);
        if (count % kLevelRatio != 0)
            summarize(level, count - count % kLevelRatio, count);
    }
    mComplete.store(true, std::memory_order_release);
}

const ClassDescription& Waveform::classDescription() {
    static const ClassDescription description{"Waveform", nullptr, &makeFromCoder};
    return description;
}

void Waveform::encodeWithCoder(KeyedArchiver& coder) const {
    precondition(isProcessingComplete(), "Only a finished waveform can be archived");
    coder.encodeInt("frameCount", mFrameCount);
    coder.encodeDouble("sampleRate", mSampleRate);
    coder.encodeData("points", std::as_bytes(points(0)));
}

std::shared_ptr<SecureCoding> Waveform::makeFromCoder(KeyedUnarchiver& coder) {
    static_assert(sizeof(Point) == 3, "Points are archived as their bytes");
    const auto frameCount = coder.decodeInt("frameCount");
    const auto sampleRate = coder.decodeDouble("sampleRate");
    const auto bytes = coder.decodeData("points");
    if (!frameCount || !sampleRate || !bytes || *frameCount < 0 || *frameCount > kMaximumFrameCount ||
        !(*sampleRate > 0) || !std::isfinite(*sampleRate) || bytes->size() % sizeof(Point) != 0)
        return nullptr;
    const std::size_t count = bytes->size() / sizeof(Point);
    if (count > pointCount(*frameCount, 0))
        return nullptr;
    // Room only for the points that are there: fewer than the frames call for when the file broke off.
    auto waveform = std::make_shared<Waveform>(std::int64_t(count) * kFinestFramesPerPoint, *sampleRate);
    waveform->mFrameCount = *frameCount;
    for (std::size_t i = 0; i < count; ++i) {
        const auto value = [&](std::size_t k) {
            return static_cast<std::int8_t>((*bytes)[i * sizeof(Point) + k]);
        };
        waveform->appendPoint({value(0), value(1), value(2)});
    }
    waveform->finish();
    return waveform;
}

} // namespace tarn
