#include "KELPMusicInformationRetrieval/Spectrogram.h"

#include "Platform/CheckedArithmetic.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace tarn {

namespace {

std::uint64_t cellCount(const Spectrogram::Layout& layout) {
    return std::uint64_t{layout.columnCount} * layout.binCount;
}

bool isUsable(const Spectrogram::Layout& layout) {
    return std::isfinite(layout.framesPerColumn) && layout.framesPerColumn > 0 && layout.binCount > 0 &&
           layout.binsPerSemitone > 0 && std::isfinite(layout.lowestPitch) &&
           std::isfinite(layout.tuningFrequency) && layout.tuningFrequency > 0 &&
           std::isfinite(layout.floorDecibels) && layout.floorDecibels < 0 &&
           cellCount(layout) <= Spectrogram::kMaximumCellCount;
}

const Spectrogram::Layout& usable(const Spectrogram::Layout& layout) {
    precondition(isUsable(layout), "Unusable spectrogram layout");
    return layout;
}

} // namespace

// The last column may hold less of the file than the others: one more than expected is nothing unusual.
Spectrogram::Spectrogram(const Layout& layout)
    : mLayout(usable(layout)), mTuningFrequency(layout.tuningFrequency),
      mColumns(layout.binCount, std::size_t{layout.columnCount} + 1) {}

Spectrogram::Layout Spectrogram::layout() const {
    // In this order: what was stored before the last of these is seen after it.
    const bool complete = isComplete();
    const auto completed = completedColumnCount();
    Layout layout = mLayout;
    layout.columnCount = complete ? completed : std::max(completed, mLayout.columnCount);
    layout.tuningFrequency = mTuningFrequency.load(std::memory_order_relaxed);
    return layout;
}

std::span<const std::uint8_t> Spectrogram::column(std::uint32_t index) const {
    precondition(index < completedColumnCount(), "This spectrogram column is not complete");
    return mColumns[index];
}

double Spectrogram::frequencyOfBin(double bin) const {
    constexpr double kMIDINoteOfA4 = 69;
    const double pitch = mLayout.lowestPitch + bin / mLayout.binsPerSemitone;
    return layout().tuningFrequency * std::exp2((pitch - kMIDINoteOfA4) / 12);
}

void Spectrogram::setTuningFrequency(double frequency) {
    precondition(completedColumnCount() == 0, "The tuning of a spectrogram is set before its first column");
    precondition(std::isfinite(frequency) && frequency > 0, "Unusable spectrogram layout");
    mTuningFrequency.store(frequency, std::memory_order_relaxed);
}

void Spectrogram::appendColumn(std::span<const std::uint8_t> cells) {
    precondition(!isComplete(), "A finished spectrogram takes no more columns");
    precondition((mColumns.size() + 1) * mLayout.binCount <= kMaximumCellCount,
                 "A spectrogram must not get more columns than it has room for");
    precondition(cells.size() == mLayout.binCount, "A spectrogram column must have one cell for each bin");
    std::copy(cells.begin(), cells.end(), mColumns.next().begin());
    mColumns.append();
}

void Spectrogram::finish() {
    mIsComplete.store(true, std::memory_order_release);
}

const ClassDescription& Spectrogram::classDescription() {
    static const ClassDescription description{"Spectrogram", nullptr, &makeFromCoder};
    return description;
}

void Spectrogram::encodeWithCoder(KeyedArchiver& coder) const {
    const auto completed = completedColumnCount();
    coder.encodeDouble("framesPerColumn", mLayout.framesPerColumn);
    coder.encodeUnsigned("columnCount", completed);
    coder.encodeUnsigned("binCount", mLayout.binCount);
    coder.encodeUnsigned("binsPerSemitone", mLayout.binsPerSemitone);
    coder.encodeDouble("lowestPitch", mLayout.lowestPitch);
    coder.encodeDouble("tuningFrequency", layout().tuningFrequency);
    coder.encodeFloat("floorDecibels", mLayout.floorDecibels);
    // Mostly all columns lie side by side.
    std::span<const std::uint8_t> cells;
    std::vector<std::uint8_t> joined;
    if (completed > 0)
        cells = mColumns.rows(0, completed);
    const std::size_t count = std::size_t{completed} * mLayout.binCount;
    if (cells.size() < count) {
        joined.reserve(count);
        while (joined.size() < count) {
            const auto next = mColumns.rows(joined.size() / mLayout.binCount, completed);
            joined.insert(joined.end(), next.begin(), next.end());
        }
        cells = joined;
    }
    coder.encodeData("cells", std::as_bytes(cells));
}

std::shared_ptr<SecureCoding> Spectrogram::makeFromCoder(KeyedUnarchiver& coder) {
    const auto framesPerColumn = coder.decodeDouble("framesPerColumn");
    const auto columnCount = coder.decodeUnsigned("columnCount");
    const auto binCount = coder.decodeUnsigned("binCount");
    const auto binsPerSemitone = coder.decodeUnsigned("binsPerSemitone");
    const auto lowestPitch = coder.decodeDouble("lowestPitch");
    const auto tuningFrequency = coder.decodeDouble("tuningFrequency");
    const auto floorDecibels = coder.decodeFloat("floorDecibels");
    const auto cells = coder.decodeData("cells");
    constexpr auto kMost16 = std::numeric_limits<std::uint16_t>::max();
    if (!framesPerColumn || !columnCount || !binCount || !binsPerSemitone || !lowestPitch ||
        !tuningFrequency || !floorDecibels || !cells || *binCount > kMost16 || *binsPerSemitone > kMost16 ||
        *columnCount > std::numeric_limits<std::uint32_t>::max())
        return nullptr;
    const Layout layout{*framesPerColumn,
                        static_cast<std::uint32_t>(*columnCount),
                        static_cast<std::uint16_t>(*binCount),
                        static_cast<std::uint16_t>(*binsPerSemitone),
                        *lowestPitch,
                        *tuningFrequency,
                        *floorDecibels};
    // The cells are in the archive, so a layout that claims more room than they fill is damaged.
    if (!isUsable(layout) || cellCount(layout) != cells->size())
        return nullptr;
    auto spectrogram = std::make_shared<Spectrogram>(layout);
    for (std::size_t first = 0; first < cells->size(); first += layout.binCount) {
        std::memcpy(spectrogram->mColumns.next().data(), cells->data() + first, layout.binCount);
        spectrogram->mColumns.append();
    }
    spectrogram->finish();
    return spectrogram;
}

} // namespace tarn
