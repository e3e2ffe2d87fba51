#include "AnalysisEngine/BeatFeatures.h"

#include "AnalysisEngine/AudioReader.h"
#include "AnalysisEngine/RealFourierTransform.h"
#include "KELPMusicInformationRetrieval/GrowingTable.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tarn {

namespace {

constexpr std::size_t kFluxWindow = 1024;
constexpr std::size_t kFluxHop = 256;
constexpr std::size_t kChromaWindow = 4096;
constexpr std::size_t kChromaHop = 1024;

constexpr double binWidth(std::size_t window) {
    return static_cast<double>(kAnalysisRate) / static_cast<double>(window);
}

/// Cuts a stream into overlapping frames, the nth centred on sample n * hop, and gives their magnitudes.
class ShortTimeSpectrum {
public:
    ShortTimeSpectrum(std::size_t window, std::size_t hop)
        : mHop(hop), mTransform(window), mPending(window / 2) {}

    template <typename Receiver>
    void process(std::span<const float> samples, Receiver&& receive) {
        mPending.insert(mPending.end(), samples.begin(), samples.end());
        std::size_t start = 0;
        for (; start + mTransform.length() <= mPending.size(); start += mHop)
            receive(mTransform.hannMagnitudes(std::span(mPending).subspan(start, mTransform.length())));
        mPending.erase(mPending.begin(), mPending.begin() + static_cast<std::ptrdiff_t>(start));
    }

    /// The silence that the last frames reach into.
    std::vector<float> tail() const { return std::vector<float>(mTransform.length() / 2); }

private:
    std::size_t mHop;
    RealFourierTransform mTransform;
    std::vector<float> mPending;
};

/// First bins of the filters that the flux looks at, six to the octave but no narrower than a bin, and the
/// end of the last one.
std::vector<std::size_t> filterEdges() {
    std::vector<std::size_t> edges{1};
    for (double frequency = 32.7; edges.back() < kFluxWindow / 2; frequency *= std::exp2(1.0 / 6)) {
        const auto bin = static_cast<std::size_t>(std::lround(frequency / binWidth(kFluxWindow) + 0.5));
        if (bin > edges.back())
            edges.push_back(std::min(bin, kFluxWindow / 2));
    }
    return edges;
}

std::size_t bandOf(std::size_t firstBin, std::size_t endBin) {
    const double centre = 0.5 * static_cast<double>(firstBin + endBin - 1) * binWidth(kFluxWindow);
    constexpr std::array<double, BeatFeatures::kBandCount - 1> kLimits{130, 400, 1600, 5000};
    return static_cast<std::size_t>(std::upper_bound(kLimits.begin(), kLimits.end(), centre) -
                                    kLimits.begin());
}

/// How a bin of the long spectrum is shared by two neighbouring quarter tones.
struct ChromaShare {
    std::size_t bin, first, second;
    float firstWeight, secondWeight;
};

std::vector<ChromaShare> chromaShares() {
    constexpr double kLowest = 43, kBassEnd = 260, kTrebleBegin = 180,
                     kHighest = 1780; // Hz; the registers overlap
    constexpr std::size_t kOctave = BeatFeatures::kChromaSize / 2;
    std::vector<ChromaShare> shares;
    const auto end = static_cast<std::size_t>(kHighest / binWidth(kChromaWindow));
    for (auto bin = static_cast<std::size_t>(std::ceil(kLowest / binWidth(kChromaWindow))); bin < end;
         ++bin) {
        const double frequency = static_cast<double>(bin) * binWidth(kChromaWindow);
        const double position = static_cast<double>(kOctave) * std::log2(frequency / 27.5);
        const double whole = std::floor(position);
        const auto lower = static_cast<std::size_t>(whole) % kOctave;
        const auto upper = (lower + 1) % kOctave;
        const auto share = static_cast<float>(position - whole);
        if (frequency > kTrebleBegin)
            shares.push_back({bin, lower, upper, 1 - share, share});
        if (frequency < kBassEnd)
            shares.push_back({bin, kOctave + lower, kOctave + upper, 1 - share, share});
    }
    return shares;
}

} // namespace

struct BeatFeatureExtractor::Spectra {
    ShortTimeSpectrum shortFrames{kFluxWindow, kFluxHop};
    ShortTimeSpectrum longFrames{kChromaWindow, kChromaHop};
    std::vector<std::size_t> edges = filterEdges();
    std::vector<ChromaShare> shares = chromaShares();
    GrowingTable<float> filtered{edges.size() - 1}; ///< Magnitude of each filter.
    std::vector<std::array<float, BeatFeatures::kChromaSize>> chroma;
    std::uint64_t sampleCount = 0;

    void process(std::span<const float> samples) {
        shortFrames.process(samples, [this](std::span<const float> magnitudes) {
            const std::span<float> frame = filtered.next();
            for (std::size_t filter = 0; filter < frame.size(); ++filter) {
                float energy = 0;
                for (std::size_t bin = edges[filter]; bin < edges[filter + 1]; ++bin)
                    energy += magnitudes[bin] * magnitudes[bin];
                frame[filter] = std::sqrt(energy);
            }
            filtered.append();
        });
        longFrames.process(samples, [this](std::span<const float> magnitudes) {
            auto& frame = chroma.emplace_back();
            for (const ChromaShare& share : shares) {
                frame[share.first] += magnitudes[share.bin] * share.firstWeight;
                frame[share.second] += magnitudes[share.bin] * share.secondWeight;
            }
        });
    }
};

BeatFeatureExtractor::BeatFeatureExtractor() : mSpectra(std::make_unique<Spectra>()) {}

BeatFeatureExtractor::~BeatFeatureExtractor() = default;

void BeatFeatureExtractor::process(std::span<const float> samples) {
    mSpectra->sampleCount += samples.size();
    mSpectra->process(samples);
}

BeatFeatures BeatFeatureExtractor::finish(const StageMonitor& monitor) {
    // The longer window's tail also completes the shorter one's frames, and adds some of silence.
    mSpectra->process(mSpectra->longFrames.tail());
    BeatFeatures features;
    features.fluxRate = static_cast<double>(kAnalysisRate) / kFluxHop;
    features.chromaRate = static_cast<double>(kAnalysisRate) / kChromaHop;
    features.duration = static_cast<double>(mSpectra->sampleCount) / kAnalysisRate;
    features.chroma = std::move(mSpectra->chroma);

    GrowingTable<float>& filtered = mSpectra->filtered;
    const std::size_t filters = filtered.width();
    const std::size_t frames = filtered.size();
    features.flux.resize(frames);

    // Magnitudes are taken relative to how loud the loudest filter is in the louder parts of the song.
    std::vector<float> loudness(frames);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        if (frame % 8192 == 0)
            monitor.report(0);
        loudness[frame] = *std::max_element(filtered[frame].begin(), filtered[frame].end());
    }
    const auto reference = loudness.begin() + static_cast<std::ptrdiff_t>(frames * 9 / 10);
    std::nth_element(loudness.begin(), reference, loudness.end());
    constexpr float kInaudible = 1e-5f;
    const float scale = 100 / std::max(*reference, kInaudible);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        if (frame % 1024 == 0)
            monitor.report(0.5 * static_cast<double>(frame) / static_cast<double>(frames));
        for (float& value : filtered[frame])
            value = std::log1p(value * scale);
    }

    std::vector<std::size_t> bands(filters);
    std::array<float, BeatFeatures::kBandCount> share{};
    for (std::size_t filter = 0; filter < filters; ++filter) {
        bands[filter] = bandOf(mSpectra->edges[filter], mSpectra->edges[filter + 1]);
        share[bands[filter]] += 1;
    }
    constexpr std::size_t kLag = 2; // frames, about 23 ms
    for (std::size_t frame = kLag; frame < frames; ++frame) {
        if (frame % 1024 == 0)
            monitor.report(0.5 + 0.5 * static_cast<double>(frame) / static_cast<double>(frames));
        const std::span<const float> now = filtered[frame];
        const std::span<const float> before = filtered[frame - kLag];
        for (std::size_t filter = 0; filter < filters; ++filter) {
            float past = before[filter];
            if (filter > 0)
                past = std::max(past, before[filter - 1]);
            if (filter + 1 < filters)
                past = std::max(past, before[filter + 1]);
            features.flux[frame][bands[filter]] += std::max(0.0f, now[filter] - past) / share[bands[filter]];
        }
    }
    monitor.report(1);
    return features;
}

} // namespace tarn
