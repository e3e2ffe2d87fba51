// Values that come frame by frame, as many for each: hours of them, so that growing must neither copy those
// that are there nor ask for room that is not used.
#pragma once

#include "Platform/FatalError.h"

#include <cstddef>
#include <span>
#include <vector>

namespace tarn {

class FrameTable {
public:
    explicit FrameTable(std::size_t width) : mWidth(width) {
        precondition(width > 0, "Frames hold nothing.");
    }

    /// Values of each frame.
    std::size_t width() const { return mWidth; }
    /// Number of frames.
    std::size_t size() const { return mSize; }

    /// A new last frame of zeros. Frames stay where they are when others are added.
    std::span<float> append() {
        if (mSize % kFramesPerBlock == 0)
            mBlocks.emplace_back(kFramesPerBlock * mWidth);
        return (*this)[mSize++];
    }

    /// `index` is below size().
    std::span<float> operator[](std::size_t index) {
        return std::span(mBlocks[index / kFramesPerBlock]).subspan(index % kFramesPerBlock * mWidth, mWidth);
    }
    std::span<const float> operator[](std::size_t index) const {
        return std::span(mBlocks[index / kFramesPerBlock]).subspan(index % kFramesPerBlock * mWidth, mWidth);
    }

private:
    static constexpr std::size_t kFramesPerBlock = 256;

    std::size_t mWidth;
    std::size_t mSize = 0;
    std::vector<std::vector<float>> mBlocks;
};

} // namespace tarn
