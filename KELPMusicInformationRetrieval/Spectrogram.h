#pragma once

#include "Platform/KeyedArchive.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tarn {

/// A song's spectrogram for drawing: columns along time, bins along pitch (logarithmic frequency), each cell
/// a loudness of 8 bits. All its room is taken when it is made; one thread appends columns, and any thread
/// may meanwhile draw the columns that are complete. Archivable.
class Spectrogram : public SecureCoding {
public:
    struct Layout {
        double framesPerColumn = 0; ///< the file's own frames from one column to the next, above 0
        std::uint32_t columnCount = 0;
        std::uint16_t binCount = 0;
        std::uint16_t binsPerSemitone = 0; ///< above 0
        double lowestPitch = 0;            ///< MIDI note number at the middle of bin 0, by the tuning
        double tuningFrequency = 440.0;    ///< Hz of A4
        float floorDecibels = -96; ///< level of cell value 0, relative to full scale; value 255 is 0 dB
        friend bool operator==(const Layout&, const Layout&) = default;
    };

    /// Room above this many cells is refused: an archive of it reads as nothing, the constructor stops the
    /// process.
    static constexpr std::uint64_t kMaximumCellCount = std::uint64_t{1} << 31;

    explicit Spectrogram(const Layout& layout);

    [[nodiscard]] const Layout& layout() const { return mLayout; }
    [[nodiscard]] std::uint32_t completedColumnCount() const {
        return mCompleted.load(std::memory_order_acquire);
    }
    [[nodiscard]] bool isComplete() const { return completedColumnCount() == mLayout.columnCount; }

    /// The cells of a complete column, from the lowest bin up. A column that is not complete stops the
    /// process.
    [[nodiscard]] std::span<const std::uint8_t> column(std::uint32_t index) const;
    /// The frequency in Hz at the middle of a bin.
    [[nodiscard]] double frequencyOfBin(double bin) const;

    /// Appends the next column; exactly `binCount` cells. A column beyond the last stops the process.
    void appendColumn(std::span<const std::uint8_t> cells);

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archives the complete columns.
    void encodeWithCoder(KeyedArchiver& coder) const override;

private:
    static std::shared_ptr<SecureCoding> makeFromCoder(KeyedUnarchiver& coder);

    Layout mLayout;
    std::vector<std::uint8_t> mCells;
    std::atomic<std::uint32_t> mCompleted = 0;
};

} // namespace tarn
