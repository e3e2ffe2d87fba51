#pragma once

#include "Platform/FatalError.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <memory>
#include <span>

namespace tarn {

/// Rows of equal width, appended by one thread while any thread reads those that are there: hours of audio,
/// frame by frame. Rows stay where they are, so growing copies nothing, and memory that no row uses is never
/// touched.
template <typename T>
class GrowingTable {
public:
    /// The first `expectedRows` rows lie side by side; there may be more, or fewer.
    explicit GrowingTable(std::size_t width, std::size_t expectedRows = kDefaultRows)
        : mWidth(width), mFirstRows(expectedRows > 0 ? expectedRows : kDefaultRows) {}
    GrowingTable(const GrowingTable&) = delete;
    GrowingTable& operator=(const GrowingTable&) = delete;

    [[nodiscard]] std::size_t width() const { return mWidth; }
    [[nodiscard]] std::size_t size() const { return mSize.load(std::memory_order_acquire); }

    /// The place of the row after the last one, all zeros, for the appending thread to fill.
    [[nodiscard]] std::span<T> next() {
        const Place place = placeOf(mSize.load(std::memory_order_relaxed));
        auto& block = mBlocks[place.block];
        if (!block)
            block = std::make_unique_for_overwrite<T[]>(place.rows * mWidth);
        const std::span<T> row(block.get() + place.row * mWidth, mWidth);
        std::fill(row.begin(), row.end(), T{});
        return row;
    }
    /// Makes what `next` returned the last row. It must not change any more once other threads may read it.
    void append() { mSize.fetch_add(1, std::memory_order_release); }

    /// `index` is below size().
    [[nodiscard]] std::span<T> operator[](std::size_t index) {
        const Place place = placeOf(index);
        return {mBlocks[place.block].get() + place.row * mWidth, mWidth};
    }
    [[nodiscard]] std::span<const T> operator[](std::size_t index) const { return rows(index, index + 1); }
    /// The rows from `first` on, of those below `end`, that lie side by side; `first` is below `end`, and
    /// that at most size().
    [[nodiscard]] std::span<const T> rows(std::size_t first, std::size_t end) const {
        const Place place = placeOf(first);
        const std::size_t count = std::min(end - first, place.rows - place.row);
        return {mBlocks[place.block].get() + place.row * mWidth, count * mWidth};
    }

private:
    static constexpr std::size_t kDefaultRows = 256;
    static constexpr std::size_t kBlockCount = 48;

    struct Place {
        std::size_t block;
        std::size_t row;  ///< within the block
        std::size_t rows; ///< of the block
    };
    /// Each block has as many rows as all blocks before it, so that a few blocks suffice for any number.
    [[nodiscard]] Place placeOf(std::size_t index) const {
        if (index < mFirstRows)
            return {0, index, mFirstRows};
        const auto block = static_cast<std::size_t>(std::bit_width(index / mFirstRows));
        precondition(block < kBlockCount, "A table has too many rows");
        const std::size_t before = mFirstRows << (block - 1);
        return {block, index - before, before};
    }

    const std::size_t mWidth;
    const std::size_t mFirstRows;
    std::array<std::unique_ptr<T[]>, kBlockCount> mBlocks;
    std::atomic<std::size_t> mSize = 0;
};

} // namespace tarn
