// The spectrogram that is drawn: the song's logarithmic spectrogram, tuned, in cells of 8 bits.
#pragma once

#include "AnalysisEngine/SpectralFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "KELPMusicInformationRetrieval/Spectrogram.h"
#include "Platform/Export.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace TARN_PUBLIC tarn {

/// An empty spectrogram for a file of so many frames a second and so many frames (nothing when that is not
/// known): a column for each frame of its features, bins a fifth of a semitone apart from A0, tuned to
/// concert pitch until it is told otherwise.
std::shared_ptr<Spectrogram> makeSpectrogram(double sampleRate, std::optional<std::int64_t> frameCount);

/// Appends the columns of the frames that the spectrogram does not have yet.
void appendColumns(const LogSpectrogram& frames, Spectrogram& spectrogram, const StageMonitor& monitor = {});

} // namespace tarn
