#include "KELPMusicInformationRetrieval/Spectrogram.h"

#include "Platform/CheckedArithmetic.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace tarn {

namespace {

std::uint64_t cellCount(const Spectrogram::Layout& layout) {
    return std::uint64_t{layout.columnCount} * layout.binCount;
}

bool isUsable(const Spectrogram::Layout& layout) {
    return std::isfinite(layout.framesPerColumn) && layout.framesPerColumn > 0 &&
           layout.binsPerSemitone > 0 && std::isfinite(layout.lowestPitch) &&
           std::isfinite(layout.tuningFrequency) && layout.tuningFrequency > 0 &&
           std::isfinite(layout.floorDecibels) && layout.floorDecibels < 0 &&
           cellCount(layout) <= Spectrogram::kMaximumCellCount;
}

} // namespace

Spectrogram::Spectrogram(const Layout& layout) : mLayout(layout) {
    precondition(isUsable(layout), "Unusable spectrogram layout");
    mCells.resize(cellCount(layout));
}

std::span<const std::uint8_t> Spectrogram::column(std::uint32_t index) const {
    precondition(index < completedColumnCount(), "This spectrogram column is not complete");
    return {mCells.data() + std::size_t{index} * mLayout.binCount, mLayout.binCount};
}

double Spectrogram::frequencyOfBin(double bin) const {
    constexpr double kMIDINoteOfA4 = 69;
    const double pitch = mLayout.lowestPitch + bin / mLayout.binsPerSemitone;
    return mLayout.tuningFrequency * std::exp2((pitch - kMIDINoteOfA4) / 12);
}

void Spectrogram::appendColumn(std::span<const std::uint8_t> cells) {
    const auto index = mCompleted.load(std::memory_order_relaxed);
    precondition(index < mLayout.columnCount, "A spectrogram must not get more columns than it has room for");
    precondition(cells.size() == mLayout.binCount, "A spectrogram column must have one cell for each bin");
    std::copy(cells.begin(), cells.end(), mCells.begin() + std::ptrdiff_t(index) * mLayout.binCount);
    mCompleted.store(index + 1, std::memory_order_release);
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
    coder.encodeDouble("tuningFrequency", mLayout.tuningFrequency);
    coder.encodeFloat("floorDecibels", mLayout.floorDecibels);
    coder.encodeData("cells",
                     std::as_bytes(std::span(mCells).first(std::size_t{completed} * mLayout.binCount)));
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
    if (!cells->empty())
        std::memcpy(spectrogram->mCells.data(), cells->data(), cells->size());
    spectrogram->mCompleted.store(layout.columnCount, std::memory_order_release);
    return spectrogram;
}

} // namespace tarn
