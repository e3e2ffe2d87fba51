#pragma once

#include "AnalysisEngine/AudioFeatures.h"
#include "Platform/FatalError.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <random>
#include <sndfile.h>
#include <vector>

namespace tarn {

using Samples = std::vector<float>;
using std::numbers::pi;

/// Synthesised music at the analysis rate.
struct Synthesizer {
    double standardPitch = 440;
    double vibratoCents = 0;

    /// MIDI notes, all beginning together and dying away; six harmonics each.
    void play(Samples& signal, double begin, double length, const std::vector<int>& notes,
              double level = 0.1) const {
        const auto first = static_cast<std::size_t>(begin * kAnalysisRate);
        const auto count = static_cast<std::size_t>(length * kAnalysisRate);
        signal.resize(std::max(signal.size(), first + count));
        for (const int note : notes) {
            const double frequency = standardPitch * std::exp2((note - 69) / 12.0);
            double phase = 0;
            for (std::size_t i = 0; i < count; ++i) {
                const double time = static_cast<double>(i) / kAnalysisRate;
                const double bend = vibratoCents * std::sin(2 * pi * 5.5 * time);
                phase += 2 * pi * frequency * std::exp2(bend / 1200) / kAnalysisRate;
                const double fade = std::min({1.0, time / 0.01, (length - time) / 0.02});
                double value = 0;
                for (int harmonic = 1; harmonic <= 6; ++harmonic)
                    value += std::sin(phase * harmonic) * std::pow(0.5, harmonic - 1);
                signal[first + i] += static_cast<float>(level * fade * std::exp(-time) * value);
            }
        }
    }
};

inline Samples noise(double seconds, double level) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> sample(-level, level);
    Samples signal(static_cast<std::size_t>(seconds * kAnalysisRate));
    for (float& value : signal)
        value = static_cast<float>(sample(random));
    return signal;
}

inline AudioFeatures featuresOf(const Samples& signal) {
    SpectralFeatureExtractor spectral;
    spectral.process(signal);
    return {kAnalysisRate, static_cast<std::int64_t>(signal.size()), spectral.finish(), {}};
}

/// Writes interleaved samples; `format` as libsndfile has it.
inline void writeAudio(const std::filesystem::path& path, const Samples& interleaved, int rate,
                       int channels = 1, int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.string().c_str(), SFM_WRITE, &info);
    precondition(file != nullptr, "The test's audio file could not be created.");
    sf_writef_float(file, interleaved.data(), static_cast<sf_count_t>(interleaved.size()) / channels);
    sf_close(file);
}

} // namespace tarn
