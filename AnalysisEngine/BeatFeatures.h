// What beat detection hears of a song: how strongly notes begin in each part of the spectrum, and which
// pitches sound. Both come out of one pass over the analysis signal, don't depend on its level, and take
// about 6 kB for each second.
#pragma once

#include "AnalysisEngine/StageMonitor.h"
#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

struct BeatFeatures {
    /// Bass drum and bass below 130 Hz, then up to 400, 1600 and 5000 Hz, and cymbals above.
    static constexpr std::size_t kBandCount = 5;
    static constexpr std::size_t kBassBand = 0;

    /// Quarter tones of the octave, of the pitches above 200 Hz and then of those below.
    static constexpr std::size_t kChromaSize = 48;

    /// Frames per second of `flux` and `chroma`. A frame's number divided by its rate is its time in seconds.
    double fluxRate = 0;
    double chromaRate = 0;

    /// Onsets show this many frames late in the flux: it compares with two frames before and takes in half a
    /// window.
    static constexpr double kOnsetDelay = 0.9;

    /// Rise of the logarithmic spectrum, averaged over each band; 0 where nothing begins.
    std::vector<std::array<float, kBandCount>> flux;
    std::vector<std::array<float, kChromaSize>> chroma;

    /// Length of the signal in seconds.
    double duration = 0;
};

/// Gathers BeatFeatures from a mono signal at `kAnalysisRate`, given in blocks of any length.
class BeatFeatureExtractor {
public:
    BeatFeatureExtractor();
    BeatFeatureExtractor(const BeatFeatureExtractor&) = delete;
    BeatFeatureExtractor& operator=(const BeatFeatureExtractor&) = delete;
    ~BeatFeatureExtractor();

    void process(std::span<const float> samples);

    /// The features of all that was given. To be called once, at the end.
    ///
    /// The onset strength is the spectral flux of S. Böck and G. Widmer, "Maximum filter vibrato suppression
    /// for onset detection", Proc. DAFx 2013.
    BeatFeatures finish(const StageMonitor& monitor = {});

private:
    struct Spectra;
    std::unique_ptr<Spectra> mSpectra;
};

} // namespace tarn
