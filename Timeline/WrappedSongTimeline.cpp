#include "Timeline/WrappedSongTimeline.h"

#include "Platform/CheckedArithmetic.h"

#include <cmath>
#include <utility>

namespace tarn {

namespace {

struct Defaults {
    static constexpr std::int64_t sampleRate = 44100;
    static constexpr std::int64_t firstRowOffset = 0;
    static constexpr std::int64_t frameCount = 0;
    static constexpr double rowWidth = 0;
    static constexpr double framesPerPoint = 441;
};

/// The beginning of a row, before it becomes a frame.
double nominalRowStart(double framesPerRow, std::int64_t row) {
    return std::floor(framesPerRow * static_cast<double>(row));
}

} // namespace

WrappedSongTimeline::WrappedSongTimeline(std::weak_ptr<WrappedSongTimelineDelegate> delegate)
    : mDelegate(std::move(delegate)), mSampleRate(Defaults::sampleRate),
      mFirstRowOffset(Defaults::firstRowOffset), mFrameCount(Defaults::frameCount),
      mRowWidth(Defaults::rowWidth), mFramesPerPoint(Defaults::framesPerPoint) {}

void WrappedSongTimeline::setDelegate(std::weak_ptr<WrappedSongTimelineDelegate> delegate) {
    mDelegate = std::move(delegate);
}

void WrappedSongTimeline::reloadValues() {
    // The delegate may go away while it answers, so it is looked up for each value.
    const auto ask = [this](auto question, auto otherwise) {
        const auto delegate = mDelegate.lock();
        return delegate ? ((*delegate).*question)() : otherwise;
    };
    using Delegate = WrappedSongTimelineDelegate;
    mSampleRate = ask(&Delegate::sampleRate, Defaults::sampleRate);
    mFirstRowOffset = ask(&Delegate::firstRowOffset, Defaults::firstRowOffset);
    mFrameCount = ask(&Delegate::frameCount, Defaults::frameCount);
    mRowWidth = ask(&Delegate::rowWidth, Defaults::rowWidth);
    mFramesPerPoint = ask(&Delegate::framesPerPoint, Defaults::framesPerPoint);
}

double WrappedSongTimeline::framesPerRow() const {
    return mRowWidth > 0 ? mRowWidth * mFramesPerPoint : static_cast<double>(mFrameCount);
}

double WrappedSongTimeline::continuousRowCount() const {
    if (!(mRowWidth > 0))
        return 1;
    return static_cast<double>(checkedAdd(mFrameCount, mFirstRowOffset)) / mFramesPerPoint / mRowWidth;
}

std::int64_t WrappedSongTimeline::rowCount() const {
    return checkedTruncation<std::int64_t>(std::ceil(continuousRowCount()));
}

Range<std::int64_t> WrappedSongTimeline::frameRange() const {
    return {0, mFrameCount};
}

Range<std::int64_t> WrappedSongTimeline::nominalFrameRange(std::int64_t row) const {
    const auto width = framesPerRow();
    return {checkedTruncation<std::int64_t>(nominalRowStart(width, row)),
            checkedTruncation<std::int64_t>(nominalRowStart(width, checkedAdd<std::int64_t>(row, 1)))};
}

Range<std::int64_t> WrappedSongTimeline::frameRange(std::int64_t row) const {
    const auto nominal = nominalFrameRange(row);
    const auto lower = row == 0 ? nominal.lower : checkedSubtract(nominal.lower, mFirstRowOffset);
    const auto upper = checkedSubtract(nominal.upper, mFirstRowOffset);
    return {lower, mFrameCount < upper ? mFrameCount : upper};
}

bool WrappedSongTimeline::rowEndsAfter(std::int64_t row, std::int64_t frame) const {
    const auto end = nominalRowStart(framesPerRow(), row + 1);
    std::int64_t upper = 0;
    // Ends ascend from zero: one that is no frame lies behind all frames.
    return !truncationFits<std::int64_t>(end) ||
           __builtin_sub_overflow(static_cast<std::int64_t>(end), mFirstRowOffset, &upper) || frame < upper;
}

std::int64_t WrappedSongTimeline::likelyRow(std::int64_t frame) const {
    const auto row = (static_cast<double>(frame) + static_cast<double>(mFirstRowOffset)) / framesPerRow();
    return truncationFits<std::int64_t>(row) ? static_cast<std::int64_t>(row) : 0;
}

double WrappedSongTimeline::offset(std::int64_t frame, std::int64_t row) const {
    const auto start = static_cast<double>(frameRange(row).lower);
    const auto position = static_cast<double>(row == 0 ? checkedAdd(frame, mFirstRowOffset) : frame);
    return position / mFramesPerPoint - start / mFramesPerPoint;
}

std::int64_t WrappedSongTimeline::locationForOffset(double offset, std::int64_t row) const {
    const auto start = frameRange(row).lower;
    const auto distance = checkedTruncation<std::int64_t>(offset * mFramesPerPoint);
    return checkedAdd(row == 0 ? checkedSubtract(start, mFirstRowOffset) : start, distance);
}

std::int64_t WrappedSongTimeline::locationOffsetBy(std::int64_t frame, double offset) const {
    const auto leftEdge = checkedSubtract(nominalFrameRange(0).lower, mFirstRowOffset);
    const auto distance = checkedTruncation<std::int64_t>(offset * mFramesPerPoint);
    return checkedAdd(checkedAdd(frame, leftEdge), distance);
}

std::int64_t WrappedSongTimeline::newFirstRowOffset(std::int64_t delta) const {
    const auto value = checkedAdd(mFirstRowOffset, delta);
    const auto width = checkedTruncation<std::int64_t>(framesPerRow());
    const auto remainder = checkedSubtract(value, checkedMultiply(checkedDivide(value, width), width));
    return remainder >= 0 ? remainder : checkedAdd(width, remainder);
}

} // namespace tarn
