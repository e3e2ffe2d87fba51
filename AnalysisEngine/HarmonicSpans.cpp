#include "AnalysisEngine/HarmonicSpans.h"

#include "KELPMusic/ConcertPitch.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace tarn {

namespace {

constexpr std::size_t kBins = LogFrequencyMap::kBinCount;
constexpr int kLowestDictionaryNote = 21;
constexpr std::size_t kNotes = 84;

/// Six semitones to either side.
constexpr std::size_t kWhiteningReach = std::size_t{6} * LogFrequencyMap::kBinsPerSemitone;

using NoteActivations = std::array<float, kNotes>;

/// Magnitude of the Hann window's transform at a distance in bins from its centre, where it is 1.
double hannResponse(double distance) {
    const double d = std::abs(distance);
    if (d < 1e-9)
        return 1;
    if (std::abs(d - 1) < 1e-9)
        return 0.5;
    const double phase = std::numbers::pi * d;
    return std::abs(std::sin(phase) / phase / (1 - d * d));
}

/// The logarithmic spectra of notes, and what explaining a spectrum by them needs.
class NoteDictionary {
public:
    NoteDictionary();

    /// The loudness of each note such that their spectra sum up to `spectrum` as nearly as they can.
    NoteActivations explain(std::span<const float> spectrum) const;

private:
    std::vector<LogSpectrum> mSpectra;
    std::vector<NoteActivations> mProducts; ///< Inner products of the spectra.
};

NoteDictionary::NoteDictionary() : mSpectra(kNotes), mProducts(kNotes) {
    constexpr double kHarmonicDecay = 0.7;
    constexpr int kHarmonics = 20;
    constexpr double kHighestPartial = 8000;
    const LogFrequencyMap map;
    std::vector<float> spectrum(LogFrequencyMap::kTransformLength / 2 + 1);
    for (std::size_t note = 0; note < kNotes; ++note) {
        std::fill(spectrum.begin(), spectrum.end(), 0.0f);
        const double fundamental = frequencyOfMIDINote(kLowestDictionaryNote + static_cast<double>(note));
        double loudness = 1;
        for (int harmonic = 1; harmonic <= kHarmonics; ++harmonic, loudness *= kHarmonicDecay) {
            if (fundamental * harmonic > kHighestPartial)
                break;
            constexpr double kReach = 6;
            const double centre = fundamental * harmonic / LogFrequencyMap::kBinWidth;
            const auto first = static_cast<std::size_t>(std::max(0.0, std::ceil(centre - kReach)));
            for (std::size_t bin = first; static_cast<double>(bin) <= centre + kReach; ++bin)
                spectrum[bin] +=
                    static_cast<float>(loudness * hannResponse(static_cast<double>(bin) - centre));
        }
        map.apply(spectrum, mSpectra[note]);
        float energy = 0;
        for (const float value : mSpectra[note])
            energy += value * value;
        for (float& value : mSpectra[note])
            value /= std::sqrt(energy);
    }
    for (std::size_t i = 0; i < kNotes; ++i) {
        for (std::size_t j = 0; j < kNotes; ++j) {
            for (std::size_t bin = 0; bin < kBins; ++bin)
                mProducts[i][j] += mSpectra[i][bin] * mSpectra[j][bin];
        }
    }
}

NoteActivations NoteDictionary::explain(std::span<const float> spectrum) const {
    constexpr int kUpdates = 40;
    constexpr float kTiny = 1e-9f;
    NoteActivations correlation{};
    for (std::size_t note = 0; note < kNotes; ++note) {
        for (std::size_t bin = 0; bin < kBins; ++bin)
            correlation[note] += mSpectra[note][bin] * spectrum[bin];
    }
    NoteActivations loudness;
    for (std::size_t note = 0; note < kNotes; ++note)
        loudness[note] = std::max(correlation[note], kTiny);
    for (int update = 0; update < kUpdates; ++update) {
        NoteActivations explained{};
        for (std::size_t i = 0; i < kNotes; ++i) {
            const float factor = loudness[i];
            const NoteActivations& products = mProducts[i];
            for (std::size_t j = 0; j < kNotes; ++j)
                explained[j] += factor * products[j];
        }
        for (std::size_t note = 0; note < kNotes; ++note)
            loudness[note] *= correlation[note] / (explained[note] + kTiny);
    }
    return loudness;
}

/// Adds the frame, freed of its spectral slope and loudness.
void addWhitened(const LogSpectrum& frame, LogSpectrum& sum) {
    std::array<double, kBins + 1> total{};
    std::array<double, kBins + 1> squares{};
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        const auto value = static_cast<double>(frame[bin]);
        total[bin + 1] = total[bin] + value;
        squares[bin + 1] = squares[bin] + value * value;
    }
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        const std::size_t first = bin - std::min(bin, kWhiteningReach);
        const std::size_t last = std::min(bin + kWhiteningReach + 1, kBins);
        const double share = 1.0 / static_cast<double>(last - first);
        const double mean = (total[last] - total[first]) * share;
        const double variance = (squares[last] - squares[first]) * share - mean * mean;
        const double above = static_cast<double>(frame[bin]) - mean;
        if (above > 0 && variance > 1e-16)
            sum[bin] += static_cast<float>(above / std::sqrt(variance));
    }
}

/// Trapezoid over notes: 0 at `from`, 1 from `full` to `fading`, 0 at `to`.
float fade(double note, double from, double full, double fading, double to) {
    return static_cast<float>(
        std::clamp(std::min((note - from) / (full - from), (to - note) / (to - fading)), 0.0, 1.0));
}

/// Replaces loudnesses by the square roots of their shares.
void makeShares(std::array<float, 12>& loudness) {
    float sum = 0;
    for (const float value : loudness)
        sum += value;
    for (float& value : loudness)
        value = sum > 1e-6f ? std::sqrt(value / sum) : 0;
}

HarmonicSpan describe(const NoteActivations& notes) {
    // What sounds below a note hides it from being the lowest, wherever in the range that is, so that music
    // is described alike in all transpositions.
    constexpr float kHiding = 12;
    constexpr float kLowPassed = 0.04f; // so much below is resonance and noise
    HarmonicSpan span;
    const float total = std::max(std::accumulate(notes.begin(), notes.end(), 0.0f), 1e-9f);
    float below = 0;
    for (std::size_t i = 0; i < kNotes; ++i) {
        const double note = kLowestDictionaryNote + static_cast<double>(i);
        const std::size_t pitchClass = (i + kLowestDictionaryNote) % 12;
        const float hidden = kHiding * std::max(0.0f, below / total - kLowPassed);
        span.notes[pitchClass] += notes[i];
        span.lowest[pitchClass] += notes[i] / (1 + hidden * hidden);
        span.bass[pitchClass] += notes[i] * fade(note, 20, 28, 48, 60);
        span.treble[pitchClass] += notes[i] * fade(note, 45, 55, 68, 84);
        below += notes[i];
    }
    for (auto* shares : {&span.notes, &span.lowest, &span.bass, &span.treble})
        makeShares(*shares);
    return span;
}

/// Spans may be as long as a song: reports now and then among their frames.
void reportWithin(const StageMonitor& monitor, double fraction, std::size_t frame) {
    constexpr std::size_t kFramesPerReport = 128;
    if (frame % kFramesPerReport == kFramesPerReport - 1)
        monitor.report(fraction);
}

double meanMagnitude(const SpectralFeatures& features, std::size_t first, std::size_t last,
                     const StageMonitor& monitor, double fraction) {
    double sum = 0;
    for (std::size_t frame = first; frame < last; ++frame) {
        reportWithin(monitor, fraction, frame - first);
        for (const float value : features.frame(frame))
            sum += static_cast<double>(value);
    }
    return last > first ? sum / static_cast<double>(last - first) : 0;
}

} // namespace

std::vector<HarmonicSpan> describeHarmony(const SpectralFeatures& features, double tuningFrequency,
                                          std::span<const double> boundaries, const StageMonitor& monitor) {
    std::vector<HarmonicSpan> spans;
    if (boundaries.size() < 2 || features.frameCount() == 0)
        return spans;
    const NoteDictionary dictionary;
    const LogFrequencyShift shift(tuningFrequency);
    const double songLevel = meanMagnitude(features, 0, features.frameCount(), monitor, 0);
    const auto frameAt = [&](double seconds) {
        return static_cast<std::size_t>(std::clamp(std::ceil(seconds * SpectralFeatures::kFramesPerSecond),
                                                   0.0, static_cast<double>(features.frameCount())));
    };
    spans.reserve(boundaries.size() - 1);
    for (std::size_t i = 0; i + 1 < boundaries.size(); ++i) {
        const double fraction = static_cast<double>(i) / static_cast<double>(boundaries.size());
        monitor.report(fraction);
        const std::size_t first = std::min(frameAt(boundaries[i]), features.frameCount() - 1);
        const std::size_t last = std::max(first + 1, frameAt(boundaries[i + 1]));
        LogSpectrum sum{};
        for (std::size_t frame = first; frame < last; ++frame) {
            reportWithin(monitor, fraction, frame - first);
            LogSpectrum tuned;
            shift.apply(features.frame(frame), tuned);
            addWhitened(tuned, sum);
        }
        for (float& value : sum)
            value /= static_cast<float>(last - first);
        spans.push_back(describe(dictionary.explain(sum)));
        const double level =
            meanMagnitude(features, first, last, monitor, fraction) / std::max(songLevel, 1e-12);
        spans.back().level =
            static_cast<float>(std::clamp(20 * std::log10(std::max(level, 1e-9)), -60.0, 20.0));
        spans.back().seconds = static_cast<float>(boundaries[i + 1] - boundaries[i]);
    }
    return spans;
}

} // namespace tarn
