// The spectrogram that is drawn: the song's logarithmic spectrogram, tuned, in cells of 8 bits.
#pragma once

#include "AnalysisEngine/AudioFeatures.h"
#include "AnalysisEngine/StageMonitor.h"
#include "KELPMusicInformationRetrieval/Spectrogram.h"

#include <memory>

namespace tarn {

/// An empty spectrogram with the room for these features: a column for each of their frames, bins a fifth of
/// a semitone apart from A0 by the tuning (Hz of A4).
std::shared_ptr<Spectrogram> makeSpectrogram(const AudioFeatures& features, double tuningFrequency);

/// Appends all columns to a spectrogram made by makeSpectrogram() for the same features.
void fillSpectrogram(const AudioFeatures& features, Spectrogram& spectrogram,
                     const StageMonitor& monitor = {});

} // namespace tarn
