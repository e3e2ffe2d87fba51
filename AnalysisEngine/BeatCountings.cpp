#include "AnalysisEngine/BeatCountings.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace tarn {

namespace {

constexpr std::size_t kFewestBeats = 6;
constexpr std::size_t kMostPulses = 4; // in a beat
constexpr std::size_t kPlaces = BeatCounting::kPlaces;

/// Mean of some bands' flux, each relative to its mean over the song.
std::vector<float> fluxOf(const BeatFeatures& features, std::size_t firstBand, std::size_t endBand) {
    constexpr double kLeast = 1e-3;
    std::vector<float> result(features.flux.size());
    for (std::size_t band = firstBand; band < endBand; ++band) {
        double mean = 0;
        for (const auto& frame : features.flux)
            mean += static_cast<double>(frame[band]);
        mean /= static_cast<double>(std::max<std::size_t>(1, features.flux.size()));
        const double scale =
            mean > 0 ? 1 / std::max(mean, kLeast) / static_cast<double>(endBand - firstBand) : 0;
        for (std::size_t i = 0; i < result.size(); ++i)
            result[i] += static_cast<float>(static_cast<double>(features.flux[i][band]) * scale);
    }
    return result;
}

float strongestAround(const std::vector<float>& values, double frame, std::ptrdiff_t reach) {
    const auto centre = static_cast<std::ptrdiff_t>(std::lround(frame));
    const auto end = std::min(centre + reach + 1, static_cast<std::ptrdiff_t>(values.size()));
    float strongest = 0;
    for (std::ptrdiff_t i = std::max<std::ptrdiff_t>(0, centre - reach); i < end; ++i)
        strongest = std::max(strongest, values[static_cast<std::size_t>(i)]);
    return strongest;
}

/// The pitches that sound over stretches of time.
class Harmony {
public:
    using Chroma = std::array<double, BeatFeatures::kChromaSize>;

    Harmony(const BeatFeatures& features, const StageMonitor& monitor)
        : mRate(features.chromaRate), mSums(features.chroma.size() + 1) {
        for (std::size_t i = 0; i < features.chroma.size(); ++i) {
            if (i % 4096 == 0)
                monitor.report(0);
            for (std::size_t j = 0; j < BeatFeatures::kChromaSize; ++j)
                mSums[i + 1][j] = mSums[i][j] + std::sqrt(static_cast<double>(features.chroma[i][j]));
        }
    }

    /// Change at that time (in seconds) beyond that a quarter of a second before and after, 0 or more.
    double changeAt(double time) const {
        constexpr double kAside = 0.25;
        return std::max(0.0, differenceAt(time) -
                                 0.5 * (differenceAt(time - kAside) + differenceAt(time + kAside)));
    }

    /// What sounds between two times (in seconds) as a vector of length 1 (or 0) whose values sum up to 0.
    Chroma between(double begin, double end) const {
        const Chroma before = sumUntil(begin), after = sumUntil(end);
        Chroma result;
        double mean = 0, square = 0;
        for (std::size_t j = 0; j < result.size(); ++j)
            mean += result[j] = after[j] - before[j];
        mean /= static_cast<double>(result.size());
        for (double& value : result) {
            value -= mean;
            square += value * value;
        }
        for (double& value : result)
            value /= std::sqrt(square) + kInaudible;
        return result;
    }

private:
    static constexpr double kInaudible = 1e-9;

    /// Cosine distance of the means before and after.
    double differenceAt(double time) const {
        constexpr double kReach = 0.7; // seconds
        const Chroma start = sumUntil(time - kReach), middle = sumUntil(time), end = sumUntil(time + kReach);
        double product = 0, before = 0, after = 0;
        for (std::size_t j = 0; j < start.size(); ++j) {
            const double a = middle[j] - start[j], b = end[j] - middle[j];
            product += a * b;
            before += a * a;
            after += b * b;
        }
        return before < kInaudible || after < kInaudible ? 0 : 1 - product / std::sqrt(before * after);
    }

    Chroma sumUntil(double time) const {
        const double position = std::clamp(time * mRate + 0.5, 0.0, static_cast<double>(mSums.size() - 1));
        const auto whole = std::min(static_cast<std::size_t>(position), mSums.size() - 1);
        const auto next = std::min(whole + 1, mSums.size() - 1);
        const double share = position - static_cast<double>(whole);
        Chroma result;
        for (std::size_t j = 0; j < result.size(); ++j)
            result[j] = mSums[whole][j] * (1 - share) + mSums[next][j] * share;
        return result;
    }

    double mRate;
    std::vector<Chroma> mSums;
};

/// What is heard at twelfths of the pulses of one level.
struct Places {
    std::vector<double> times; // flux frames
    std::vector<Aspects> heard;
};

class Listener {
public:
    Listener(const BeatFeatures& features, const std::vector<float>& strength, const StageMonitor& monitor)
        : mRate(features.fluxRate), mStrength(strength), mBass(fluxOf(features, 0, 1)),
          mTreble(fluxOf(features, 3, BeatFeatures::kBandCount)), mHarmony(features, monitor) {}

    /// Of pulses, two or more, and of as many more as the last beat may take.
    Places listen(const std::vector<double>& pulses) const {
        Places places;
        for (std::size_t i = 0; i < pulses.size() + kMostPulses; ++i) {
            const std::size_t known = std::min(i, pulses.size() - 2);
            const double period = pulses[known + 1] - pulses[known];
            const double begin = pulses[known] + static_cast<double>(i - known) * period;
            const auto reach = static_cast<std::ptrdiff_t>(std::clamp(std::lround(period / 16), 1l, 3l));
            for (std::size_t place = 0; place < kPlaces; ++place) {
                const double time = begin + period * static_cast<double>(place) / kPlaces;
                const bool mayChange = place % 6 == 0 || place % 4 == 0;
                places.times.push_back(time);
                places.heard.push_back(
                    {std::sqrt(strongestAround(mStrength, time, reach)),
                     std::sqrt(strongestAround(mBass, time, reach)),
                     std::sqrt(strongestAround(mTreble, time, reach)),
                     mayChange ? static_cast<float>(std::sqrt(mHarmony.changeAt(time / mRate))) : 0});
            }
        }
        return places;
    }

    Harmony::Chroma chromaBetween(double beginFrame, double endFrame) const {
        return mHarmony.between(beginFrame / mRate, endFrame / mRate);
    }

private:
    double mRate;
    const std::vector<float>& mStrength;
    std::vector<float> mBass, mTreble;
    Harmony mHarmony;
};

/// Mean product of each item and the one `lag` before, for each lag from 1 on.
template <typename Item>
std::array<float, BeatCounting::kLongestLag + 1> likeness(const std::vector<Item>& items) {
    std::array<float, BeatCounting::kLongestLag + 1> result{};
    for (std::size_t lag = 1; lag < result.size() && lag < items.size(); ++lag) {
        double sum = 0;
        for (std::size_t i = lag; i < items.size(); ++i)
            for (std::size_t j = 0; j < items[i].size(); ++j)
                sum += static_cast<double>(items[i][j] * items[i - lag][j]);
        result[lag] = static_cast<float>(sum / static_cast<double>(items.size() - lag));
    }
    return result;
}

/// What is heard within each beat of `step` places that begins before the place `end`, as a vector of length
/// 1 (or less) that says how it differs from the other beats.
std::vector<std::array<float, 2 * kPlaces>> rhythms(const Places& places, std::size_t end, std::size_t step) {
    std::vector<std::array<float, 2 * kPlaces>> result;
    for (std::size_t begin = 0; begin < end; begin += step) {
        auto& rhythm = result.emplace_back();
        for (std::size_t k = 0; k < kPlaces; ++k) {
            rhythm[k] = places.heard[begin + k * step / kPlaces][accent];
            rhythm[kPlaces + k] = places.heard[begin + k * step / kPlaces][bass];
        }
    }
    std::array<double, 2 * kPlaces> mean{};
    for (const auto& rhythm : result)
        for (std::size_t k = 0; k < rhythm.size(); ++k)
            mean[k] += static_cast<double>(rhythm[k]) / static_cast<double>(result.size());
    for (auto& rhythm : result) {
        float square = 0;
        for (std::size_t k = 0; k < rhythm.size(); ++k) {
            rhythm[k] -= static_cast<float>(mean[k]);
            square += rhythm[k] * rhythm[k];
        }
        constexpr float kLeast = 1e-6f;
        for (float& value : rhythm)
            value /= std::sqrt(square) + kLeast;
    }
    return result;
}

/// The beats that begin with the place `first`, before the place `end`, and take `step` places each.
BeatCounting countFrom(const Places& places, std::size_t first, std::size_t end, std::size_t step) {
    BeatCounting counting;
    for (std::size_t begin = first; begin < end; begin += step) {
        counting.beats.push_back(places.times[begin]);
        counting.heard.push_back(places.heard[begin]);
        for (std::size_t k = 0; k < kPlaces; ++k)
            for (std::size_t aspect = 0; aspect < aspectCount; ++aspect)
                counting.profile[k][aspect] += places.heard[begin + k * step / kPlaces][aspect];
    }
    for (std::size_t i = 2; i < counting.beats.size(); ++i) {
        constexpr double kMost = 0.2; // of the interval
        const double before = counting.beats[i - 1] - counting.beats[i - 2];
        const double after = counting.beats[i] - counting.beats[i - 1];
        counting.unevenness +=
            std::min(kMost, std::abs(after / before - 1)) / static_cast<double>(counting.beats.size());
    }
    const auto count = static_cast<float>(std::max<std::size_t>(1, counting.beats.size()));
    for (Aspects& place : counting.profile)
        for (float& value : place)
            value /= count;
    counting.mean = counting.profile[0];
    // Where there is next to nothing of an aspect, its mean isn't a measure.
    constexpr Aspects kLeast{0.1f, 0.1f, 0.1f, 0.02f};
    constexpr float kMost = 4;
    for (Aspects& beat : counting.heard)
        for (std::size_t aspect = 0; aspect < aspectCount; ++aspect)
            beat[aspect] = std::min(kMost, beat[aspect] / std::max(counting.mean[aspect], kLeast[aspect]));
    return counting;
}

/// The places at which beats of `group` pulses may begin. Single pulses may be off the beat.
std::vector<std::size_t> startsOf(std::size_t group, bool isBeat) {
    if (group == 1)
        return isBeat ? std::vector<std::size_t>{0, kPlaces / 3, kPlaces / 2, 2 * kPlaces / 3}
                      : std::vector<std::size_t>{0};
    std::vector<std::size_t> starts;
    for (std::size_t pulse = 0; pulse < group; ++pulse)
        starts.push_back(pulse * kPlaces);
    return starts;
}

double medianInterval(const std::vector<double>& times) {
    std::vector<double> intervals;
    for (std::size_t i = 1; i < times.size(); ++i)
        intervals.push_back(times[i] - times[i - 1]);
    const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    return *middle;
}

/// The countings of `group` pulses to the beat. Places from `end` on are too late for a beat to begin.
void count(const Listener& listener, const Places& places, std::size_t end, std::size_t group, double period,
           std::vector<BeatCounting>& countings) {
    const std::size_t step = group * kPlaces;
    std::vector<Harmony::Chroma> chroma;
    for (std::size_t begin = 0; begin < end; begin += step)
        chroma.push_back(listener.chromaBetween(places.times[begin], places.times[begin + step]));
    const auto rhythmLikeness = likeness(rhythms(places, end, step));
    const auto harmonyLikeness = likeness(chroma);
    for (const std::size_t start : startsOf(group, BeatCounting::isBeat(period))) {
        BeatCounting counting = countFrom(places, start, end, step);
        if (counting.beats.size() < kFewestBeats)
            continue;
        counting.period = period;
        counting.isOffPulse = start % kPlaces != 0;
        counting.rhythmLikeness = rhythmLikeness;
        counting.harmonyLikeness = harmonyLikeness;
        countings.push_back(std::move(counting));
    }
}

} // namespace

std::vector<BeatCounting> beatCountings(const BeatFeatures& features, const std::vector<float>& strength,
                                        const std::vector<std::vector<double>>& levels,
                                        const StageMonitor& monitor) {
    const Listener listener(features, strength, monitor);
    std::vector<BeatCounting> countings;
    for (std::size_t level = 0; level < levels.size(); ++level) {
        const std::vector<double>& pulses = levels[level];
        if (pulses.size() <= kFewestBeats)
            continue;
        const Places places = listener.listen(pulses);
        const std::size_t end = (pulses.size() - 1) * kPlaces + 1;
        const double pulsePeriod = medianInterval(pulses) / features.fluxRate;
        for (std::size_t group = 1; group <= kMostPulses; ++group) {
            monitor.report((static_cast<double>(level) + static_cast<double>(group) / (kMostPulses + 1)) /
                           static_cast<double>(levels.size()));
            const double period = pulsePeriod * static_cast<double>(group);
            if (BeatCounting::isBeat(period) || BeatCounting::isEighth(period))
                count(listener, places, end, group, period, countings);
        }
    }
    return countings;
}

} // namespace tarn
