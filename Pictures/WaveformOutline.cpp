#include "Pictures/WaveformOutline.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace tarn {

WaveformOutline::WaveformOutline(std::shared_ptr<Waveform> waveform, double framesPerPoint)
    : mWaveform(std::move(waveform)),
      mFramesPerColumn(std::max<double>(1.5 * framesPerPoint, Waveform::kFinestFramesPerPoint)) {
    if (!mWaveform)
        return;
    constexpr double kMostColumns = 300'000;
    mFramesPerColumn =
        std::max(mFramesPerColumn, static_cast<double>(mWaveform->frameCount()) / kMostColumns);
    std::size_t level = 0;
    while (level + 1 < Waveform::kLevelCount && Waveform::framesPerPoint(level + 1) <= mFramesPerColumn)
        ++level;
    mPoints = mWaveform->points(level);
    mPointsPerColumn = mFramesPerColumn / Waveform::framesPerPoint(level);
    mColumnCount =
        static_cast<std::size_t>(std::ceil(static_cast<double>(mPoints.size()) / mPointsPerColumn));
    int peak = 0;
    for (const auto& point : mPoints)
        peak = std::max({peak, std::abs(int{point.minimum}), std::abs(int{point.maximum})});
    mScale = peak == 0 ? 0 : 127.0 / peak;
}

Range<std::size_t> WaveformOutline::columnsOf(const Range<std::int64_t>& frames) const {
    const auto column = [&](std::int64_t frame, auto rounded) {
        const double at = rounded(static_cast<double>(frame) / mFramesPerColumn);
        return static_cast<std::size_t>(std::clamp(at, 0.0, static_cast<double>(mColumnCount)));
    };
    return {column(frames.lower, [](double at) { return std::floor(at); }),
            column(frames.upper, [](double at) { return std::ceil(at); })};
}

Waveform::Point WaveformOutline::column(std::size_t index) const {
    const auto first = static_cast<std::size_t>(static_cast<double>(index) * mPointsPerColumn);
    const auto end = static_cast<std::size_t>(std::ceil(static_cast<double>(index + 1) * mPointsPerColumn));
    Waveform::Point sum = mPoints[std::min(first, mPoints.size() - 1)];
    for (std::size_t i = first; i < std::min(end, mPoints.size()); ++i) {
        sum.minimum = std::min(sum.minimum, mPoints[i].minimum);
        sum.maximum = std::max(sum.maximum, mPoints[i].maximum);
        sum.rms = std::max(sum.rms, mPoints[i].rms);
    }
    return sum;
}

std::string WaveformOutline::paths(std::size_t first, std::size_t end) const {
    end = std::min(end + 2, mColumnCount);
    if (first >= end)
        return "";
    std::vector<Waveform::Point> columns;
    for (std::size_t i = first; i < end; ++i)
        columns.push_back(column(i));
    const auto path = [&](const char* cssClass, const auto& upper, const auto& lower) {
        const auto y = [&](int value) { return -std::lround(value * mScale); };
        std::string text = "<path class=\"" + std::string(cssClass) + "\" d=\"M" + std::to_string(first);
        long at = y(upper(columns.front()));
        text += ' ' + std::to_string(at) + 'l';
        const auto step = [&](int columnsOn, long to) {
            const long change = to - at;
            text += std::to_string(columnsOn) + (change < 0 ? "" : " ") + std::to_string(change) + ' ';
            at = to;
        };
        for (std::size_t i = 1; i < columns.size(); ++i)
            step(1, y(upper(columns[i])));
        step(0, y(lower(columns.back())));
        for (std::size_t i = columns.size() - 1; i-- > 0;)
            step(-1, y(lower(columns[i])));
        text.back() = 'z';
        return text + "\"/>";
    };
    using Point = Waveform::Point;
    return path(
               "peaks", [](Point p) { return int{p.maximum}; }, [](Point p) { return int{p.minimum}; }) +
           path(
               "rms", [](Point p) { return int{p.rms}; }, [](Point p) { return -int{p.rms}; });
}

} // namespace tarn
