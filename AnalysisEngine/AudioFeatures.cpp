#include "AnalysisEngine/AudioFeatures.h"

#include <utility>

namespace tarn {

AudioFeatures extractAudioFeatures(AudioReader& reader, const StageMonitor& monitor,
                                   std::shared_ptr<LogSpectrogram> spectrum) {
    AnalysisResampler resampler(reader.sampleRate());
    SpectralFeatureExtractor spectral(std::move(spectrum));
    BeatFeatureExtractor beats;
    constexpr double kReading = 0.9; // the rest is left to the beat features' end
    for (bool last = false; !last;) {
        monitor.report(kReading * reader.fractionRead());
        const std::span<const float> block = reader.nextBlock();
        last = block.empty();
        const std::span<const float> samples = resampler.process(block, last);
        spectral.process(samples);
        beats.process(samples);
    }
    return {static_cast<double>(reader.sampleRate()), reader.framesRead(), spectral.finish(),
            beats.finish(monitor.part(kReading, 1))};
}

} // namespace tarn
