#include "AnalysisEngine/PulseTracking.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>

namespace tarn {

namespace {

constexpr double kShortestPeriod = 0.14; // seconds
constexpr double kLongestPeriod = 1.05;
constexpr double kLikelyPeriod = 0.27;
constexpr double kPeriodSpread = 0.75;    // octaves
constexpr double kPeriodStep = 1.01;      // ratio of neighbouring periods that are told apart
constexpr double kCorrelationReach = 2.6; // seconds: longest lag looked at
constexpr double kLeastOddShare = 0.1;    // of the correlation at even multiples of a period, at odd ones
constexpr double kEmptyPulseWorth = 0.3;
constexpr double kListening = 8; // seconds that one estimate of the period listens to
constexpr double kWindowStep = 0.5;
constexpr double kDriftCost = 0.06;     // of a change of the period by one step from window to window
constexpr double kJumpCost = 1;         // at most, however large the change
constexpr double kLargestChange = 1.41; // of the period, from the one that fits the whole song best
constexpr double kTightness = 60;       // how much the pulse keeps to the period, against the onsets

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
    std::vector<double> periods;
    for (double period = kShortestPeriod; period <= kLongestPeriod; period *= kPeriodStep)
        periods.push_back(period * rate);
    return periods;
}

/// How well each period of the grid explains the onsets in [begin, end).
std::vector<double> periodScores(const std::vector<float>& smooth, std::size_t begin, std::size_t end,
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
    for (std::size_t lag = 0; lag < correlation.size() && lag < part.size(); ++lag) {
        float sum = 0;
        for (std::size_t i = lag; i < part.size(); ++i)
            sum += part[i] * part[i - lag];
        correlation[lag] = static_cast<double>(sum) / static_cast<double>(part.size() - lag);
    }
    const double energy = correlation[0];
    std::vector<double> scores;
    for (const double period : periods) {
        std::array<double, 2> sums{}, counts{}; // of even and of odd multiples of the period
        std::size_t multiple = 1;
        for (double lag = period; lag < static_cast<double>(reach); lag += period, ++multiple) {
            const auto whole = static_cast<std::size_t>(lag);
            const double share = lag - static_cast<double>(whole);
            sums[multiple % 2] += correlation[whole] * (1 - share) + correlation[whole + 1] * share;
            counts[multiple % 2] += 1;
        }
        const double even = sums[0] / counts[0], odd = sums[1] / counts[1];
        double score = energy > 0 ? (sums[0] + sums[1]) / (counts[0] + counts[1]) / energy : 0;
        // When onsets repeat with twice the period only, every other pulse would be empty.
        if (odd < kLeastOddShare * even)
            score *= kEmptyPulseWorth;
        const double prior =
            -0.5 * logSquared(period / rate / kLikelyPeriod) / (kPeriodSpread * kPeriodSpread);
        scores.push_back(score * std::exp(prior));
    }
    return scores;
}

/// Index of the period that explains the song best when it is only allowed to be steady.
std::size_t steadiestPeriod(const std::vector<std::vector<double>>& scores) {
    std::vector<double> sums(scores.front().size());
    for (const std::vector<double>& window : scores)
        for (std::size_t p = 0; p < sums.size(); ++p)
            sums[p] += window[p];
    return static_cast<std::size_t>(std::max_element(sums.begin(), sums.end()) - sums.begin());
}

/// The period at each window: the path of most score and least change among the periods that aren't so far
/// from the steadiest one that they would be another level of the metre.
std::vector<double> periodCurve(const std::vector<float>& strength, double rate,
                                const StageMonitor& monitor) {
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
    const std::vector<double> periods = periodGrid(rate);
    const auto step = static_cast<std::size_t>(kWindowStep * rate);
    const auto half = static_cast<std::size_t>(kListening * rate / 2);
    const std::size_t windows = strength.size() / step + 1;
    std::vector<std::vector<double>> scores;
    for (std::size_t window = 0; window < windows; ++window) {
        monitor.report(static_cast<double>(window) / static_cast<double>(windows));
        const std::size_t centre = window * step;
        const std::size_t begin = centre > half ? centre - half : 0;
        const std::size_t end = std::min(strength.size(), centre + half);
        scores.push_back(periodScores(smooth, begin, end, rate, periods));
    }

    const std::size_t steadiest = steadiestPeriod(scores);
    const auto reach = static_cast<std::size_t>(std::log(kLargestChange) / std::log(kPeriodStep));
    const std::size_t lowest = steadiest - std::min(steadiest, reach);
    const std::size_t count = std::min(periods.size(), steadiest + reach + 1) - lowest;
    std::vector<double> best(count), next(count);
    std::vector<std::vector<std::uint16_t>> from(windows, std::vector<std::uint16_t>(count));
    for (std::size_t window = 0; window < windows; ++window) {
        if (window % 64 == 0)
            monitor.report(1);
        for (std::size_t p = 0; p < count; ++p) {
            double value = -std::numeric_limits<double>::infinity();
            for (std::size_t q = 0; q < count; ++q) {
                const double distance = static_cast<double>(q > p ? q - p : p - q);
                const double cost = std::min(kDriftCost * distance, kJumpCost);
                if (best[q] - cost > value) {
                    value = best[q] - cost;
                    from[window][p] = static_cast<std::uint16_t>(q);
                }
            }
            next[p] = value + scores[window][lowest + p];
        }
        best.swap(next);
    }
    auto state = static_cast<std::size_t>(std::max_element(best.begin(), best.end()) - best.begin());
    std::vector<double> curve(windows);
    for (std::size_t window = windows; window-- > 0;) {
        curve[window] = periods[lowest + state];
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

std::vector<double> trackPulses(const BeatFeatures& features, const std::vector<float>& strength,
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

    const std::vector<double> curve = periodCurve(strength, rate, monitor.part(0, 0.8));
    const auto periodAt = [&](std::size_t frame) {
        const double position = static_cast<double>(frame) / rate / kWindowStep;
        return curve[std::min(curve.size() - 1, static_cast<std::size_t>(std::lround(position)))];
    };

    // score[i]: of the best chain of pulses that ends on frame i.
    std::vector<double> score(strength.size());
    std::vector<std::ptrdiff_t> previous(strength.size(), -1);
    const StageMonitor placing = monitor.part(0.8, 1);
    for (std::size_t i = 0; i < strength.size(); ++i) {
        if (i % 1024 == 0)
            placing.report(static_cast<double>(i) / static_cast<double>(strength.size()));
        const double period = periodAt(i);
        const auto shortest = static_cast<std::size_t>(std::ceil(period * 0.6));
        const auto longest = static_cast<std::size_t>(period * 1.7);
        double best = 0;
        for (std::size_t interval = shortest; interval <= longest && interval <= i; ++interval) {
            const double value =
                score[i - interval] - kTightness * logSquared(static_cast<double>(interval) / period);
            if (value > best) {
                best = value;
                previous[i] = static_cast<std::ptrdiff_t>(i - interval);
            }
        }
        // Louder onsets don't pull the pulse any more than clear ones.
        score[i] = best + std::min(static_cast<double>(strength[i]), 8.0);
    }

    std::size_t end = lastOnset;
    const std::size_t searchEnd = std::min(strength.size(), lastOnset + 1);
    const auto ending = static_cast<std::size_t>(periodAt(lastOnset));
    for (std::size_t i = lastOnset > ending ? lastOnset - ending : 0; i < searchEnd; ++i)
        if (score[i] > score[end])
            end = i;
    std::vector<double> pulses;
    for (auto i = static_cast<std::ptrdiff_t>(end); i >= 0; i = previous[static_cast<std::size_t>(i)]) {
        const auto frame = static_cast<std::size_t>(i);
        pulses.push_back(refined(strength, frame));
        if (frame < firstOnset + static_cast<std::size_t>(periodAt(frame) / 2))
            break;
    }
    std::reverse(pulses.begin(), pulses.end());
    const double lastPeriod = periodAt(lastOnset);
    for (const double soundEnd = endOfSound(features); pulses.back() + lastPeriod < soundEnd;)
        pulses.push_back(pulses.back() + lastPeriod);
    return pulses;
}

} // namespace tarn
