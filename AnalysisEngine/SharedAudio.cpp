#include "AnalysisEngine/SharedAudio.h"

namespace tarn {

std::shared_ptr<const AudioFeatures> SharedAudio::features(const StageMonitor& monitor) {
    return mFeatures.get(monitor, [this](const StageMonitor& shared) {
        const auto reader = AudioReader::open(mFile);
        if (!reader)
            return AudioFeatures{};
        const HeardSoFar soFar;
        {
            const std::lock_guard guard(mMutex);
            mSoFar = soFar;
        }
        return extractAudioFeatures(*reader, shared, soFar);
    });
}

std::optional<HeardSoFar> SharedAudio::heardSoFar() const {
    const std::lock_guard guard(mMutex);
    return mSoFar;
}

std::shared_ptr<const DetectedBeats> SharedAudio::beats(const StageMonitor& monitor) {
    constexpr double kFeatures = 0.8;
    const auto heard = features(monitor.part(0, kFeatures));
    return mBeats.get(monitor.part(kFeatures, 1), [&](const StageMonitor& shared) {
        return detectBeats(heard->beats, heard->sampleRate, shared);
    });
}

} // namespace tarn
