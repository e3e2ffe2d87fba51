// The waveform of an audio file, and the cache file that saves computing it again.
#pragma once

#include "AnalysisEngine/AudioReader.h"
#include "AnalysisEngine/StageMonitor.h"
#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"

#include <filesystem>
#include <memory>

namespace TARN_PUBLIC tarn {

/// Appends the points of all that is left of the file, of its channels' mean, and finishes the waveform. A
/// waveform of a cancelled computation stays unfinished.
void computeWaveform(AudioReader& reader, Waveform& waveform, const StageMonitor& monitor = {});

/// The finished waveform from the cache file, without decoding any audio; empty unless it is there, sound, of
/// a file with the reader's rate and length, and not older than the audio file.
std::shared_ptr<Waveform> readWaveformCache(const std::filesystem::path& cache,
                                            const std::filesystem::path& audioFile,
                                            const AudioReader& reader);

/// Writes the cache file of a finished waveform as a whole or not at all; returns whether it could.
bool writeWaveformCache(const std::shared_ptr<const Waveform>& waveform, const std::filesystem::path& cache);

} // namespace tarn
