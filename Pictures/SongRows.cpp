#include "Pictures/SongRows.h"

#include "Platform/FatalError.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

/// Rows may be longer than usual by this factor before they get fewer bars or are divided.
constexpr double kLongest = 1.35;
/// What lies before the first and after the last bar joins a row up to this share of one.
constexpr double kLongestJoined = 0.4;

/// The number of bars that suits a row which has room for about so many: phrases have four.
std::size_t suitableBars(double room) {
    if (room < 3)
        return room < 1.5 ? 1 : 2;
    return 4 * static_cast<std::size_t>(std::max(1.0, std::round(room / 4)));
}

std::size_t fewerBars(std::size_t bars) {
    return bars >= 4 ? bars / 4 * 4 : bars == 3 ? 2 : bars;
}

double medianLength(const std::vector<std::int64_t>& lines) {
    std::vector<std::int64_t> lengths;
    for (std::size_t i = 1; i < lines.size(); ++i)
        lengths.push_back(lines[i] - lines[i - 1]);
    const auto middle = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
    std::nth_element(lengths.begin(), middle, lengths.end());
    return static_cast<double>(*middle);
}

} // namespace

SongRows::SongRows(const std::vector<std::int64_t>& barLines, std::int64_t frameCount, double sampleRate,
                   const PictureOptions& options)
    : mWidth(options.pageWidth), mFrameCount(std::max<std::int64_t>(0, frameCount)) {
    if (mFrameCount == 0)
        return;
    std::vector<std::int64_t> lines;
    for (const std::int64_t line : barLines) {
        if (line >= 0 && line < mFrameCount && (lines.empty() || lines.back() < line))
            lines.push_back(line);
    }
    // Half of the rows for bars, half for what is divided.
    constexpr double kMost = kMostRows / 2;
    mUsualLength =
        std::max({1.0, options.secondsPerRow * sampleRate, static_cast<double>(mFrameCount) / kMost});
    if (lines.size() < 2) {
        addEvenly(frameRange());
        return;
    }
    const double bar = medianLength(lines);
    mBarsPerRow = std::max(suitableBars(mUsualLength / bar),
                           static_cast<std::size_t>(std::ceil(static_cast<double>(lines.size()) / kMost)));
    const double length = bar * static_cast<double>(mBarsPerRow);
    if (length <= 2 * mUsualLength)
        mUsualLength = std::max(length, mUsualLength / 2);
    // The last bar ends when a bar is over; what follows is the ending, as is a bar that is broken off.
    constexpr double kLeastBar = 0.6;
    if (static_cast<double>(mFrameCount - lines.back()) >= kLeastBar * bar)
        lines.push_back(std::min(mFrameCount, lines.back() + static_cast<std::int64_t>(bar)));
    addBars(lines);
}

void SongRows::addBars(const std::vector<std::int64_t>& lines) {
    const auto length = [&](std::size_t bar, std::size_t end) {
        return static_cast<double>(lines[end] - lines[bar]);
    };
    const bool joinsPickup = static_cast<double>(lines.front()) <= kLongestJoined * mUsualLength;
    if (!joinsPickup)
        addEvenly({0, lines.front()});
    const std::size_t barCount = lines.size() - 1;
    for (std::size_t bar = 0; bar < barCount;) {
        std::size_t end = bar + 1;
        while (end < barCount && end - bar < mBarsPerRow && length(bar, end + 1) <= kLongest * mUsualLength)
            ++end;
        if (end < barCount && end - bar < mBarsPerRow)
            end = bar + fewerBars(end - bar);
        const std::int64_t start = bar == 0 && joinsPickup ? 0 : lines[bar];
        if (length(bar, end) > kLongest * mUsualLength)
            addEvenly({start, lines[end]});
        else
            mRows.push_back({start, end - bar == mBarsPerRow || end < barCount});
        bar = end;
    }
    const std::int64_t rest = mFrameCount - lines.back();
    const std::int64_t lastLength = mFrameCount - mRows.back().start;
    if (static_cast<double>(rest) > kLongestJoined * mUsualLength &&
        static_cast<double>(lastLength) > kLongest * mUsualLength)
        addEvenly({lines.back(), mFrameCount});
}

void SongRows::addEvenly(Range<std::int64_t> frames) {
    const auto length = frames.upper - frames.lower;
    const double share = static_cast<double>(length) / mUsualLength;
    const auto count = std::max<std::int64_t>(1, std::llround(share));
    for (std::int64_t i = 0; i < count; ++i)
        mRows.push_back({frames.lower + length / count * i + length % count * i / count, count > 1});
}

const SongRows::Row& SongRows::rowAt(std::int64_t row) const {
    precondition(row >= 0 && row < rowCount(), "The picture has no such row");
    return mRows[static_cast<std::size_t>(row)];
}

Range<std::int64_t> SongRows::frameRange(std::int64_t row) const {
    const std::int64_t start = rowAt(row).start;
    return {start, row + 1 < rowCount() ? rowAt(row + 1).start : mFrameCount};
}

double SongRows::framesPerPoint(std::int64_t row) const {
    const auto frames = frameRange(row);
    const auto length = static_cast<double>(frames.upper - frames.lower);
    return (rowAt(row).fillsWidth ? length : std::max(length, mUsualLength)) / mWidth;
}

double SongRows::width(std::int64_t row) const {
    const auto frames = frameRange(row);
    return static_cast<double>(frames.upper - frames.lower) / framesPerPoint(row);
}

double SongRows::offset(std::int64_t frame, std::int64_t row) const {
    const auto frames = frameRange(row);
    const std::int64_t inside = std::clamp(frame, frames.lower, frames.upper);
    return static_cast<double>(inside - frames.lower) / framesPerPoint(row);
}

bool SongRows::rowEndsAfter(std::int64_t row, std::int64_t frame) const {
    return frameRange(row).upper > frame;
}

std::int64_t SongRows::likelyRow(std::int64_t frame) const {
    const double share =
        static_cast<double>(frame) / static_cast<double>(std::max<std::int64_t>(1, mFrameCount));
    return static_cast<std::int64_t>(share * static_cast<double>(rowCount()));
}

} // namespace tarn
