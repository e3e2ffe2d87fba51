#include "AnalysisEngine/AudioFeatures.h"

#include "AnalysisEngine/LoudnessMeter.h"

namespace tarn {

AudioFeatures extractAudioFeatures(AudioReader& reader, const StageMonitor& monitor,
                                   const HeardSoFar& soFar) {
    AnalysisResampler resampler(reader.sampleRate());
    SpectralFeatureExtractor spectral(soFar.spectrum);
    BeatFeatureExtractor beats;
    WaveformMeter waveform(soFar.waveform);
    LoudnessMeter loudness(reader.sampleRate());
    constexpr double kReading = 0.9; // the rest is left to the beat features' end
    for (bool last = false; !last;) {
        monitor.report(kReading * reader.fractionRead());
        const std::span<const float> block = reader.nextBlock();
        last = block.empty();
        waveform.process(block);
        loudness.process(block);
        const std::span<const float> samples = resampler.process(block, last);
        spectral.process(samples);
        beats.process(samples);
    }
    waveform.finish();
    return {static_cast<double>(reader.sampleRate()), reader.framesRead(), spectral.finish(),
            beats.finish(monitor.part(kReading, 1)), loudness.finish()};
}

} // namespace tarn
