#pragma once

#include "Platform/Export.h"
#include "Platform/KeyedArchive.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

/// A song's waveform for drawing at any zoom: the least and greatest sample and the root mean square of
/// consecutive stretches, at several resolutions. All its room is taken when it is made; one thread appends
/// stretches of the finest resolution, from which the coarser ones follow, and any thread may meanwhile draw
/// what is complete. Archivable.
class Waveform : public SecureCoding {
public:
    /// One stretch; full scale is 127. The root mean square is never below 0.
    struct Point {
        std::int8_t minimum = 0;
        std::int8_t maximum = 0;
        std::int8_t rms = 0;
        friend bool operator==(const Point&, const Point&) = default;
    };

    static constexpr std::uint32_t kFinestFramesPerPoint = 256;
    /// How many points of one level one point of the next spans.
    static constexpr std::uint32_t kLevelRatio = 4;
    static constexpr std::size_t kLevelCount = 6;

    /// For a file of this many frames (not negative) at this many frames per second.
    Waveform(std::int64_t frameCount, double sampleRate);

    [[nodiscard]] std::int64_t frameCount() const { return mFrameCount; }
    [[nodiscard]] double sampleRate() const { return mSampleRate; }
    /// The file's frames that one point of a level spans; level 0 is the finest.
    [[nodiscard]] static std::uint32_t framesPerPoint(std::size_t level);
    /// The points of a level that are complete so far.
    [[nodiscard]] std::span<const Point> points(std::size_t level) const;
    /// Whether the whole file is in; until then the waveform needs processing.
    [[nodiscard]] bool isProcessingComplete() const { return mComplete.load(std::memory_order_acquire); }

    /// Appends one point of the finest resolution. Points beyond the frame count are dropped.
    void appendPoint(Point point);
    /// Ends the waveform: nothing is appended afterwards. A file that broke off leaves its levels shorter.
    void finish();

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archives the finest resolution of a finished waveform; one that is not aborts.
    void encodeWithCoder(KeyedArchiver& coder) const override;

private:
    struct Level {
        std::vector<Point> points;
        std::atomic<std::size_t> completed = 0;
    };
    /// Appends to a level and, whenever that completes a point of the next one, there as well.
    void append(std::size_t level, Point point);
    void summarize(std::size_t level, std::size_t first, std::size_t last);
    static std::shared_ptr<SecureCoding> makeFromCoder(KeyedUnarchiver& coder);

    std::int64_t mFrameCount;
    double mSampleRate;
    std::vector<Level> mLevels;
    std::atomic<bool> mComplete = false;
};

} // namespace tarn
