// The sound of films and of formats that libsndfile does not read, by way of the program ffmpeg.
#pragma once

#include "KELPMusicInformationRetrieval/AudioSource.h"
#include "Platform/Export.h"

#include <filesystem>
#include <memory>
#include <string>

namespace TARN_PUBLIC tarn {

/// Whether the file begins as one that ffmpeg is asked about: MP4 and QuickTime (m4a, mp4, mov), ASF (wma,
/// wmv), Matroska (mkv, webm) or AVI.
[[nodiscard]] bool isForFFmpeg(const std::filesystem::path& file);

/// The file's first audio track, decoded by a process of its own that reads this file and nothing else: no
/// other protocol than `file` and no other containers than the above. It ends with the stream, or where it
/// has not produced anything for 20 seconds. Null where it cannot be started or decodes nothing; `refusal`,
/// when given, then has the reason, to be read after the file's name. The length of such a stream is known at
/// its end only.
[[nodiscard]] std::unique_ptr<AudioStream> openWithFFmpeg(const std::filesystem::path& file,
                                                          std::string* refusal);

} // namespace tarn
