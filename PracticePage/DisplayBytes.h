#pragma once

#include "KELPMusicInformationRetrieval/Spectrogram.h"
#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"
#include "Platform/Range.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace TARN_PUBLIC tarn {

/// The greatest magnitudes of `count` equal parts of the frames, a byte each, 255 for full scale; 0 where
/// nothing is complete yet.
[[nodiscard]] std::string waveformBytes(const Waveform& waveform, const Range<std::int64_t>& frames,
                                        std::size_t count);

/// The loudness of `columns` equal parts of the frames, column by column, each from the lowest pitch to the
/// highest in `rows` equal parts, a byte each; 0 where nothing is complete yet.
[[nodiscard]] std::string spectrogramBytes(const Spectrogram& spectrogram, const Range<std::int64_t>& frames,
                                           std::size_t columns, std::size_t rows);

} // namespace tarn
