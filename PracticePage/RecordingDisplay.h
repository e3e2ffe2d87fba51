#pragma once

#include "KELPMusicInformationRetrieval/KELPSpectrogramOperation.h"
#include "KELPMusicInformationRetrieval/KELPWaveformOperation.h"
#include "Platform/Export.h"
#include "Platform/OperationQueue.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

namespace TARN_PUBLIC tarn {

/// What is drawn of a recording: its waveform and its spectrogram, computed in the background, of which all
/// that is complete can be drawn meanwhile. Thread-safe.
class RecordingDisplay {
public:
    RecordingDisplay() = default;
    ~RecordingDisplay();
    RecordingDisplay(const RecordingDisplay&) = delete;
    RecordingDisplay& operator=(const RecordingDisplay&) = delete;

    /// Reads the waveform's cache of that name or begins to compute it, and returns it; null where the
    /// recording cannot be decoded. Without a name nothing is kept.
    std::shared_ptr<Waveform> showWaveform(const std::filesystem::path& recording,
                                           const std::string& cacheName);
    /// Null before showWaveform.
    [[nodiscard]] std::shared_ptr<Waveform> waveform() const;

    /// The same for the spectrogram, which is begun by the first call; it may be empty for a while.
    std::shared_ptr<Spectrogram> showSpectrogram(const std::filesystem::path& recording,
                                                 const std::string& cacheName, double tuningFrequency);

private:
    class SpectrogramDelegate;

    mutable std::mutex mMutex;
    std::shared_ptr<KELPWaveformOperation> mWaveform;
    std::shared_ptr<KELPWaveformOperationDelegate> mWaveformDelegate;
    std::shared_ptr<KELPSpectrogramOperation> mSpectrogram;
    std::shared_ptr<SpectrogramDelegate> mSpectrogramDelegate;
    const std::shared_ptr<OperationQueue> mQueue = std::make_shared<OperationQueue>();
};

} // namespace tarn
