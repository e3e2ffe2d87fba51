#pragma once

#include "KELPMusicInformationRetrieval/Waveform.h"
#include "Platform/Export.h"

#include <filesystem>
#include <memory>
#include <string>

namespace TARN_PUBLIC tarn {

/// The waveform of a recording, all of it: from the cache of that name, or else computed, which takes about a
/// second for an hour of sound, and kept there. Null where the process-wide factory refuses the recording.
/// Blocks until it is there.
[[nodiscard]] std::shared_ptr<Waveform> waveformOfRecording(const std::filesystem::path& recording,
                                                            const std::string& cacheName);

} // namespace tarn
