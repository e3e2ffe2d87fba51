#include "Timeline/WrappedSongTimeline.h"

#include "Platform/CheckedArithmetic.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tarn {

namespace {

struct Defaults {
    static constexpr std::int64_t kSampleRate = 44100;
    static constexpr std::int64_t kFirstRowOffset = 0;
    static constexpr std::int64_t kFrameCount = 0;
    static constexpr double kRowWidth = 0;
    static constexpr double kFramesPerPoint = 441;
};

/// The beginning of a row, before it becomes a frame.
double nominalRowStart(double framesPerRow, std::int64_t row) {
    return std::floor(framesPerRow * static_cast<double>(row));
}

} // namespace

WrappedSongTimeline::WrappedSongTimeline(std::weak_ptr<WrappedSongTimelineDelegate> delegate)
    : mDelegate(std::move(delegate)), mSampleRate(Defaults::kSampleRate),
      mFirstRowOffset(Defaults::kFirstRowOffset), mFrameCount(Defaults::kFrameCount),
      mRowWidth(Defaults::kRowWidth), mFramesPerPoint(Defaults::kFramesPerPoint) {}

void WrappedSongTimeline::setDelegate(std::weak_ptr<WrappedSongTimelineDelegate> delegate) {
    mDelegate = std::move(delegate);
}

void WrappedSongTimeline::reloadValues() {
    // The delegate may go away while it is asked, so it is looked up for each value.
    const auto ask = [this](auto question, auto otherwise) {
        const auto delegate = mDelegate.lock();
        return delegate ? ((*delegate).*question)() : otherwise;
    };
    using Delegate = WrappedSongTimelineDelegate;
    mSampleRate = ask(&Delegate::sampleRate, Defaults::kSampleRate);
    mFirstRowOffset = ask(&Delegate::firstRowOffset, Defaults::kFirstRowOffset);
    mFrameCount = ask(&Delegate::frameCount, Defaults::kFrameCount);
    mRowWidth = ask(&Delegate::rowWidth, Defaults::kRowWidth);
    mFramesPerPoint = ask(&Delegate::framesPerPoint, Defaults::kFramesPerPoint);
}

double WrappedSongTimeline::framesPerRow() const {
    return mRowWidth > 0 ? mRowWidth * mFramesPerPoint : static_cast<double>(mFrameCount);
}

Checked<double> WrappedSongTimeline::checkedContinuousRowCount() const {
    if (!(mRowWidth > 0))
        return 1.0;
    return tryAdd(mFrameCount, mFirstRowOffset).then([this](std::int64_t frames) {
        return Checked(static_cast<double>(frames) / mFramesPerPoint / mRowWidth);
    });
}
double WrappedSongTimeline::continuousRowCount() const {
    return checkedContinuousRowCount().orAbort();
}
std::optional<double> WrappedSongTimeline::tryContinuousRowCount() const {
    return checkedContinuousRowCount().value();
}

Checked<std::int64_t> WrappedSongTimeline::checkedRowCount() const {
    return checkedContinuousRowCount().then(
        [](double rows) { return tryTruncation<std::int64_t>(std::ceil(rows)); });
}
std::int64_t WrappedSongTimeline::rowCount() const {
    return checkedRowCount().orAbort();
}
std::optional<std::int64_t> WrappedSongTimeline::tryRowCount() const {
    return checkedRowCount().value();
}

Range<std::int64_t> WrappedSongTimeline::frameRange() const {
    return {0, mFrameCount};
}

Checked<Range<std::int64_t>> WrappedSongTimeline::checkedNominalFrameRange(std::int64_t row) const {
    const auto width = framesPerRow();
    return tryTruncation<std::int64_t>(nominalRowStart(width, row)).then([&](std::int64_t lower) {
        return tryAdd<std::int64_t>(row, 1)
            .then(
                [&](std::int64_t next) { return tryTruncation<std::int64_t>(nominalRowStart(width, next)); })
            .then([&](std::int64_t upper) { return tryRange(lower, upper); });
    });
}
Range<std::int64_t> WrappedSongTimeline::nominalFrameRange(std::int64_t row) const {
    return checkedNominalFrameRange(row).orAbort();
}
std::optional<Range<std::int64_t>> WrappedSongTimeline::tryNominalFrameRange(std::int64_t row) const {
    return checkedNominalFrameRange(row).value();
}

Checked<Range<std::int64_t>> WrappedSongTimeline::checkedFrameRange(std::int64_t row) const {
    return checkedNominalFrameRange(row).then([&](const Range<std::int64_t>& nominal) {
        const auto lower = row == 0 ? Frame(nominal.lower) : trySubtract(nominal.lower, mFirstRowOffset);
        return lower.then([&](std::int64_t first) {
            return trySubtract(nominal.upper, mFirstRowOffset).then([&](std::int64_t end) {
                return tryRange(first, std::min(mFrameCount, end));
            });
        });
    });
}
Range<std::int64_t> WrappedSongTimeline::frameRange(std::int64_t row) const {
    return checkedFrameRange(row).orAbort();
}
std::optional<Range<std::int64_t>> WrappedSongTimeline::tryFrameRange(std::int64_t row) const {
    return checkedFrameRange(row).value();
}

std::int64_t WrappedSongTimeline::rowIndex(std::int64_t frame) const {
    if (mFrameCount >= 0)
        return WrappedTimelineMetrics::rowIndex(frame);
    const Range<std::int64_t> rows(0, rowCount());
    return frame >= mFrameCount ? rows.upper - 1 : 0;
}

bool WrappedSongTimeline::rowEndsAfter(std::int64_t row, std::int64_t frame) const {
    const auto end = tryTruncation<std::int64_t>(nominalRowStart(framesPerRow(), row + 1));
    const auto upper = end.then([&](std::int64_t frames) { return trySubtract(frames, mFirstRowOffset); });
    // Ends ascend from zero: one that is not a frame lies after all frames.
    return !upper.value() || frame < *upper.value();
}

std::int64_t WrappedSongTimeline::likelyRow(std::int64_t frame) const {
    const auto row = (static_cast<double>(frame) + static_cast<double>(mFirstRowOffset)) / framesPerRow();
    return truncationFits<std::int64_t>(row) ? static_cast<std::int64_t>(row) : 0;
}

Checked<double> WrappedSongTimeline::checkedOffset(std::int64_t frame, std::int64_t row) const {
    return checkedFrameRange(row).then([&](const Range<std::int64_t>& shown) {
        const auto position = row == 0 ? tryAdd(frame, mFirstRowOffset) : Frame(frame);
        return position.then([&](std::int64_t inRow) {
            return Checked(static_cast<double>(inRow) / mFramesPerPoint -
                           static_cast<double>(shown.lower) / mFramesPerPoint);
        });
    });
}
double WrappedSongTimeline::offset(std::int64_t frame, std::int64_t row) const {
    return checkedOffset(frame, row).orAbort();
}
std::optional<double> WrappedSongTimeline::tryOffset(std::int64_t frame, std::int64_t row) const {
    return checkedOffset(frame, row).value();
}

Checked<std::int64_t> WrappedSongTimeline::checkedLocationForOffset(double offset, std::int64_t row) const {
    return checkedFrameRange(row).then([&](const Range<std::int64_t>& shown) {
        return tryTruncation<std::int64_t>(offset * mFramesPerPoint).then([&](std::int64_t distance) {
            const auto start = row == 0 ? trySubtract(shown.lower, mFirstRowOffset) : Frame(shown.lower);
            return start.then([&](std::int64_t leftEdge) { return tryAdd(leftEdge, distance); });
        });
    });
}
std::int64_t WrappedSongTimeline::locationForOffset(double offset, std::int64_t row) const {
    return checkedLocationForOffset(offset, row).orAbort();
}
std::optional<std::int64_t> WrappedSongTimeline::tryLocationForOffset(double offset, std::int64_t row) const {
    return checkedLocationForOffset(offset, row).value();
}

Checked<std::int64_t> WrappedSongTimeline::checkedLocationOffsetBy(std::int64_t frame, double offset) const {
    const auto leftEdge = checkedNominalFrameRange(0).then(
        [this](const Range<std::int64_t>& nominal) { return trySubtract(nominal.lower, mFirstRowOffset); });
    return leftEdge.then([&](std::int64_t edge) {
        return tryTruncation<std::int64_t>(offset * mFramesPerPoint).then([&](std::int64_t distance) {
            return tryAdd(frame, edge).then([&](std::int64_t start) { return tryAdd(start, distance); });
        });
    });
}
std::int64_t WrappedSongTimeline::locationOffsetBy(std::int64_t frame, double offset) const {
    return checkedLocationOffsetBy(frame, offset).orAbort();
}
std::optional<std::int64_t> WrappedSongTimeline::tryLocationOffsetBy(std::int64_t frame,
                                                                     double offset) const {
    return checkedLocationOffsetBy(frame, offset).value();
}

Checked<std::int64_t> WrappedSongTimeline::checkedNewFirstRowOffset(std::int64_t delta) const {
    return tryAdd(mFirstRowOffset, delta).then([&](std::int64_t value) {
        return tryTruncation<std::int64_t>(framesPerRow()).then([&](std::int64_t width) {
            return tryDivide(value, width)
                .then([&](std::int64_t rows) { return tryMultiply(rows, width); })
                .then([&](std::int64_t whole) { return trySubtract(value, whole); })
                .then([&](std::int64_t rest) { return rest >= 0 ? Frame(rest) : tryAdd(width, rest); });
        });
    });
}
std::int64_t WrappedSongTimeline::newFirstRowOffset(std::int64_t delta) const {
    return checkedNewFirstRowOffset(delta).orAbort();
}
std::optional<std::int64_t> WrappedSongTimeline::tryNewFirstRowOffset(std::int64_t delta) const {
    return checkedNewFirstRowOffset(delta).value();
}

} // namespace tarn
