// Sound files as streams of samples, by way of libsndfile.
#pragma once

#include "KELPMusicInformationRetrieval/AudioSource.h"
#include "Platform/Export.h"

#include <filesystem>
#include <memory>

namespace TARN_PUBLIC tarn {

/// Null when libsndfile does not read the file.
[[nodiscard]] std::unique_ptr<AudioStream> openSoundFile(const std::filesystem::path& path);

} // namespace tarn
