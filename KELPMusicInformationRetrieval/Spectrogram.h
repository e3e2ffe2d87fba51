#pragma once

#include "KELPMusicInformationRetrieval/GrowingTable.h"
#include "Platform/KeyedArchive.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

namespace tarn {

/// A song's spectrogram for drawing: columns along time, bins along pitch (logarithmic frequency), each cell
/// a loudness of 8 bits. One thread appends columns and finishes it, and any thread may meanwhile draw the
/// columns that are complete, which stay where they are. Archivable.
class Spectrogram : public SecureCoding {
public:
    struct Layout {
        double framesPerColumn = 0; ///< the file's own frames from one column to the next, above 0
        /// Until the spectrogram is finished as many as are expected, or 0 when nobody knows; there may be
        /// more, or fewer.
        std::uint32_t columnCount = 0;
        std::uint16_t binCount = 0;        ///< above 0
        std::uint16_t binsPerSemitone = 0; ///< above 0
        double lowestPitch = 0;            ///< MIDI note number at the middle of bin 0, by the tuning
        double tuningFrequency = 440.0;    ///< Hz of A4; final as soon as there is a complete column
        float floorDecibels = -96; ///< level of cell value 0, relative to full scale; value 255 is 0 dB
        friend bool operator==(const Layout&, const Layout&) = default;
    };

    /// More cells than this are refused: an archive of them reads as nothing, the constructor and appending
    /// abort.
    static constexpr std::uint64_t kMaximumCellCount = std::uint64_t{1} << 31;

    explicit Spectrogram(const Layout& layout);

    [[nodiscard]] Layout layout() const;
    [[nodiscard]] std::uint32_t completedColumnCount() const {
        return static_cast<std::uint32_t>(mColumns.size());
    }
    /// Whether it is finished.
    [[nodiscard]] bool isComplete() const { return mIsComplete.load(std::memory_order_acquire); }

    /// The cells of a complete column, from the lowest bin up. A column that is not complete aborts.
    [[nodiscard]] std::span<const std::uint8_t> column(std::uint32_t index) const;
    /// The frequency in Hz at the middle of a bin.
    [[nodiscard]] double frequencyOfBin(double bin) const;

    /// Sets the tuning when it is known, before the first column.
    void setTuningFrequency(double frequency);
    /// Appends the next column; exactly `binCount` cells.
    void appendColumn(std::span<const std::uint8_t> cells);
    /// Ends the spectrogram: nothing is appended afterwards.
    void finish();

    static const ClassDescription& classDescription();
    [[nodiscard]] const ClassDescription& dynamicClass() const override { return classDescription(); }
    /// Archives the complete columns.
    void encodeWithCoder(KeyedArchiver& coder) const override;

private:
    static std::shared_ptr<SecureCoding> makeFromCoder(KeyedUnarchiver& coder);

    const Layout mLayout; ///< as it was made
    std::atomic<double> mTuningFrequency;
    GrowingTable<std::uint8_t> mColumns;
    std::atomic<bool> mIsComplete = false;
};

} // namespace tarn
