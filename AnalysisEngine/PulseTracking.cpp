#include "AnalysisEngine/PulseTracking.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>

namespace tarn {

namespace {

constexpr double kFastestLevel = 0.19;  // seconds: the middle of the fastest level's range of periods
constexpr double kLevelRatio = 4.0 / 3; // of the middles of neighbouring ranges
constexpr std::size_t kLevels = 8;
constexpr double kRange = 1.5;            // of a level's longest period and its middle
constexpr double kRangeSpread = 0.4;      // octaves
constexpr double kPeriodStep = 1.01;      // ratio of neighbouring periods that are told apart
constexpr double kCorrelationReach = 3.2; // seconds: longest lag looked at
constexpr double kListening = 8;          // seconds that one estimate of the period listens to
constexpr double kWindowStep = 0.5;
constexpr double kDriftCost = 0.06;   // of a change of the period by one step from window to window
constexpr double kJumpCost = 1;       // at most, however large the change
constexpr double kTightness = 60;     // how much the pulse keeps to the period, against the onsets
constexpr double kSamePeriods = 0.02; // levels whose periods differ by less are the same

double logSquared(double ratio) {
    const double value = std::log2(ratio);
    return value * value;
}

/// Mean over the frames up to `reach` away.
std::vector<float> movingMean(const std::vector<float>& values, std::size_t reach) {
    std::vector<double> sums(values.size() + 1);
    for (std::size_t i = 0; i < values.size(); ++i)
        sums[i + 1] = sums[i] + static_cast<double>(values[i]);
    std::vector<float> means(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t begin = i > reach ? i - reach : 0;
        const std::size_t end = std::min(values.size(), i + reach + 1);
        means[i] = static_cast<float>((sums[end] - sums[begin]) / static_cast<double>(end - begin));
    }
    return means;
}

/// The periods told apart, in flux frames.
std::vector<double> periodGrid(double rate) {
    const double longest = kFastestLevel * std::pow(kLevelRatio, kLevels - 1.0) * kRange;
    std::vector<double> periods;
    for (double period = kFastestLevel / kRange; period <= longest; period *= kPeriodStep)
        periods.push_back(period * rate);
    return periods;
}

/// Sum of the products of two equally long rows.
double dotProduct(std::span<const float> a, std::span<const float> b) {
    constexpr std::size_t kLanes = 8; // sums side by side, as processors add them fastest
    std::array<float, kLanes> sums{};
    std::size_t i = 0;
    for (; i + kLanes <= a.size(); i += kLanes)
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            sums[lane] += a[i + lane] * b[i + lane];
    for (std::size_t lane = 0; i < a.size(); ++i, ++lane)
        sums[lane] += a[i] * b[i];
    return static_cast<double>(std::accumulate(sums.begin(), sums.end(), 0.0f));
}

/// How well each period of the grid explains the onsets in [begin, end): the mean autocorrelation at its
/// multiples.
std::vector<float> periodScores(const std::vector<float>& smooth, std::size_t begin, std::size_t end,
                                double rate, const std::vector<double>& periods) {
    const auto reach = static_cast<std::size_t>(kCorrelationReach * rate);
    std::vector<double> correlation(reach + 2);
    double mean = 0;
    for (std::size_t i = begin; i < end; ++i)
        mean += static_cast<double>(smooth[i]);
    mean /= static_cast<double>(std::max<std::size_t>(1, end - begin));
    std::vector<float> part(smooth.begin() + static_cast<std::ptrdiff_t>(begin),
                            smooth.begin() + static_cast<std::ptrdiff_t>(end));
    for (float& value : part)
        value -= static_cast<float>(mean);
    for (std::size_t lag = 0; lag < correlation.size() && lag < part.size(); ++lag)
        correlation[lag] =
            dotProduct(std::span(part).subspan(lag), std::span(part).first(part.size() - lag)) /
            static_cast<double>(part.size() - lag);
    const double energy = correlation[0];
    std::vector<float> scores;
    for (const double period : periods) {
        double sum = 0, count = 0;
        for (double lag = period; lag < static_cast<double>(reach); lag += period, ++count) {
            const auto whole = static_cast<std::size_t>(lag);
            const double share = lag - static_cast<double>(whole);
            sum += correlation[whole] * (1 - share) + correlation[whole + 1] * share;
        }
        scores.push_back(static_cast<float>(energy > 0 ? sum / count / energy : 0));
    }
    return scores;
}

/// The scores of all periods at each window.
std::vector<std::vector<float>> tempogram(const std::vector<float>& strength, double rate,
                                          const std::vector<double>& periods, const StageMonitor& monitor) {
    std::vector<float> smooth(strength.size());
    for (std::size_t i = 0; i < strength.size(); ++i) {
        const auto at = [&](std::ptrdiff_t offset) {
            const auto j = static_cast<std::ptrdiff_t>(i) + offset;
            return j >= 0 && j < static_cast<std::ptrdiff_t>(strength.size())
                       ? strength[static_cast<std::size_t>(j)]
                       : 0.0f;
        };
        smooth[i] = 0.4f * at(0) + 0.24f * (at(-1) + at(1)) + 0.06f * (at(-2) + at(2));
    }
    const auto step = static_cast<std::size_t>(kWindowStep * rate);
    const auto half = static_cast<std::size_t>(kListening * rate / 2);
    const std::size_t windows = strength.size() / step + 1;
    std::vector<std::vector<float>> scores;
    for (std::size_t window = 0; window < windows; ++window) {
        monitor.report(static_cast<double>(window) / static_cast<double>(windows));
        const std::size_t centre = window * step;
        const std::size_t begin = centre > half ? centre - half : 0;
        const std::size_t end = std::min(strength.size(), centre + half);
        scores.push_back(periodScores(smooth, begin, end, rate, periods));
    }
    return scores;
}

/// The period at each window, as an index into `periods`: the path of most score and least change among those
/// around `middle`.
std::vector<std::size_t> periodCurve(const std::vector<std::vector<float>>& scores,
                                     const std::vector<double>& periods, double middle,
                                     const StageMonitor& monitor) {
    const auto lowest = static_cast<std::size_t>(
        std::lower_bound(periods.begin(), periods.end(), middle / kRange) - periods.begin());
    const auto end = static_cast<std::size_t>(
        std::upper_bound(periods.begin(), periods.end(), middle * kRange) - periods.begin());
    const std::size_t count = end - lowest;
    std::vector<float> best(count), next(count), prior(count);
    for (std::size_t p = 0; p < count; ++p)
        prior[p] = static_cast<float>(
            std::exp(-0.5 * logSquared(periods[lowest + p] / middle) / (kRangeSpread * kRangeSpread)));
    // A change costs as much as its steps, and no more than a jump, so the best source of a period is itself,
    // the best of a neighbour, or the best of all.
    std::vector<std::vector<std::uint8_t>> from(scores.size(), std::vector<std::uint8_t>(count));
    for (std::size_t window = 0; window < scores.size(); ++window) {
        if (window % 64 == 0)
            monitor.report(static_cast<double>(window) / static_cast<double>(scores.size()));
        std::vector<std::uint8_t>& source = from[window];
        for (std::size_t p = 0; p < count; ++p) {
            next[p] = best[p];
            source[p] = static_cast<std::uint8_t>(p);
        }
        const auto improve = [&](std::size_t p, std::size_t neighbour) {
            const float value = next[neighbour] - static_cast<float>(kDriftCost);
            if (value > next[p]) {
                next[p] = value;
                source[p] = source[neighbour];
            }
        };
        for (std::size_t p = 1; p < count; ++p)
            improve(p, p - 1);
        for (std::size_t p = count - 1; p-- > 0;)
            improve(p, p + 1);
        const auto top = static_cast<std::size_t>(std::max_element(best.begin(), best.end()) - best.begin());
        const float jump = best[top] - static_cast<float>(kJumpCost);
        for (std::size_t p = 0; p < count; ++p) {
            if (jump > next[p]) {
                next[p] = jump;
                source[p] = static_cast<std::uint8_t>(top);
            }
            next[p] += scores[window][lowest + p] * prior[p];
        }
        best.swap(next);
    }
    auto state = static_cast<std::size_t>(std::max_element(best.begin(), best.end()) - best.begin());
    std::vector<std::size_t> curve(scores.size());
    for (std::size_t window = scores.size(); window-- > 0;) {
        curve[window] = lowest + state;
        state = from[window][state];
    }
    return curve;
}

/// Time in flux frames at which the last note has died away.
double endOfSound(const BeatFeatures& features) {
    constexpr float kAudible = 0.02f; // of the mean level
    std::vector<float> levels;
    float sum = 0;
    for (const auto& chroma : features.chroma) {
        levels.push_back(std::accumulate(chroma.begin(), chroma.end(), 0.0f));
        sum += levels.back();
    }
    while (!levels.empty() && levels.back() * static_cast<float>(features.chroma.size()) < kAudible * sum)
        levels.pop_back();
    return static_cast<double>(levels.size()) / features.chromaRate * features.fluxRate;
}

/// Where between the frames around it the onset at `frame` is strongest.
double refined(const std::vector<float>& strength, std::size_t frame) {
    if (frame == 0 || frame + 1 >= strength.size())
        return static_cast<double>(frame);
    const double before = static_cast<double>(strength[frame - 1]);
    const double here = static_cast<double>(strength[frame]);
    const double after = static_cast<double>(strength[frame + 1]);
    const double sum = before + here + after;
    return static_cast<double>(frame) + (sum > 0 ? (after - before) / sum : 0);
}

/// Pulses that lie on onsets and are a period apart as nearly as possible, from the first onset until the
/// sound ends. `curve` says for each `step` frames which of `periods` holds.
std::vector<double> placePulses(const std::vector<float>& strength, std::size_t firstOnset,
                                std::size_t lastOnset, double soundEnd, const std::vector<double>& periods,
                                const std::vector<std::size_t>& curve, std::size_t step,
                                const StageMonitor& monitor) {
    const auto periodAt = [&](std::size_t frame) {
        return periods[curve[std::min(curve.size() - 1, (frame + step / 2) / step)]];
    };
    // score[i]: of the best chain of pulses that ends on frame i.
    std::vector<float> score(strength.size());
    std::vector<std::int32_t> previous(strength.size(), -1);
    std::vector<float> costs; // of the intervals from `shortest` on
    std::size_t shortest = 0;
    double period = 0;
    for (std::size_t i = 0; i < strength.size(); ++i) {
        if (i % 1024 == 0)
            monitor.report(static_cast<double>(i) / static_cast<double>(strength.size()));
        if (const double here = periodAt(i); here != period) {
            period = here;
            shortest = static_cast<std::size_t>(std::ceil(period * 0.6));
            costs.clear();
            for (std::size_t interval = shortest; interval <= static_cast<std::size_t>(period * 1.7);
                 ++interval)
                costs.push_back(
                    static_cast<float>(kTightness * logSquared(static_cast<double>(interval) / period)));
        }
        float best = 0;
        for (std::size_t k = 0; k < costs.size() && shortest + k <= i; ++k) {
            const float value = score[i - shortest - k] - costs[k];
            if (value > best) {
                best = value;
                previous[i] = static_cast<std::int32_t>(i - shortest - k);
            }
        }
        // Louder onsets don't pull the pulse any more than clear ones.
        score[i] = best + std::min(strength[i], 8.0f);
    }

    std::size_t end = lastOnset;
    const auto ending = static_cast<std::size_t>(periodAt(lastOnset));
    for (std::size_t i = lastOnset > ending ? lastOnset - ending : 0; i <= lastOnset; ++i)
        if (score[i] > score[end])
            end = i;
    std::vector<double> pulses;
    for (auto i = static_cast<std::int32_t>(end); i >= 0; i = previous[static_cast<std::size_t>(i)]) {
        const auto frame = static_cast<std::size_t>(i);
        pulses.push_back(refined(strength, frame));
        if (frame < firstOnset + static_cast<std::size_t>(periodAt(frame) / 2))
            break;
    }
    std::reverse(pulses.begin(), pulses.end());
    const double lastPeriod = periodAt(lastOnset);
    while (pulses.back() + lastPeriod < soundEnd)
        pulses.push_back(pulses.back() + lastPeriod);
    return pulses;
}

} // namespace

std::vector<float> onsetStrength(const BeatFeatures& features, const StageMonitor& monitor) {
    const std::size_t frames = features.flux.size();
    constexpr double kSurroundings = 3; // seconds to each side
    constexpr float kQuiet = 0.2f;      // of the band's overall mean: below it nothing is made louder
    std::vector<float> strength(frames);
    for (std::size_t band = 0; band < BeatFeatures::kBandCount; ++band) {
        monitor.report(static_cast<double>(band) / BeatFeatures::kBandCount);
        std::vector<float> values(frames);
        double sum = 0;
        for (std::size_t i = 0; i < frames; ++i)
            sum += static_cast<double>(values[i] = features.flux[i][band]);
        if (sum <= 0)
            continue;
        const auto mean = static_cast<float>(sum / static_cast<double>(frames));
        const std::vector<float> local =
            movingMean(values, static_cast<std::size_t>(kSurroundings * features.fluxRate));
        for (std::size_t i = 0; i < frames; ++i)
            strength[i] += values[i] / std::max(local[i], kQuiet * mean) / BeatFeatures::kBandCount;
    }
    return strength;
}

std::vector<std::vector<double>> trackPulses(const BeatFeatures& features, const std::vector<float>& strength,
                                             const StageMonitor& monitor) {
    const double rate = features.fluxRate;
    const auto isOnset = [](float value) { return value > 0.5f; };
    const auto first = std::find_if(strength.begin(), strength.end(), isOnset);
    if (first == strength.end())
        return {};
    const auto firstOnset = static_cast<std::size_t>(first - strength.begin());
    const auto lastOnset = strength.size() - 1 -
                           static_cast<std::size_t>(
                               std::find_if(strength.rbegin(), strength.rend(), isOnset) - strength.rbegin());
    const double soundEnd = endOfSound(features);
    const std::vector<double> periods = periodGrid(rate);
    const std::vector<std::vector<float>> scores = tempogram(strength, rate, periods, monitor.part(0, 0.5));

    std::vector<std::vector<std::size_t>> curves;
    std::vector<std::vector<double>> levels;
    for (std::size_t level = 0; level < kLevels; ++level) {
        const double done = 0.5 + 0.5 * static_cast<double>(level) / kLevels;
        const StageMonitor part = monitor.part(done, done + 0.5 / kLevels);
        const double middle = kFastestLevel * std::pow(kLevelRatio, static_cast<double>(level)) * rate;
        const std::vector<std::size_t> curve = periodCurve(scores, periods, middle, part.part(0, 0.2));
        const bool known = std::any_of(curves.begin(), curves.end(), [&](const auto& other) {
            std::size_t same = 0;
            for (std::size_t i = 0; i < curve.size(); ++i)
                same += std::abs(periods[curve[i]] / periods[other[i]] - 1) < kSamePeriods;
            return same * 10 >= curve.size() * 9;
        });
        if (known)
            continue;
        levels.push_back(placePulses(strength, firstOnset, lastOnset, soundEnd, periods, curve,
                                     static_cast<std::size_t>(kWindowStep * rate), part.part(0.2, 1)));
        curves.push_back(curve);
    }
    return levels;
}

} // namespace tarn
