#include "AnalysisEngine/BeatDetection.h"

#include "AnalysisEngine/BarModel.h"
#include "AnalysisEngine/BeatCountings.h"
#include "AnalysisEngine/PulseTracking.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <utility>

namespace tarn {

namespace {

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::vector<double> differences(std::span<const double> values) {
    std::vector<double> result;
    for (std::size_t i = 1; i < values.size(); ++i)
        result.push_back(values[i] - values[i - 1]);
    return result;
}

/// Score of not counting at all. Less than the 0 that it was learned with: songs are asked about more often
/// than recordings of something else.
constexpr double kNotCounting = -1;

/// One way to count the song, in bars of a kind.
struct Interpretation {
    const BeatCounting* counting = nullptr;
    std::size_t kind = 0;
    BarPositions positions;
    double score = kNotCounting;
};

struct Choice {
    Interpretation best;
    double beatConfidence = 0;
    double metreConfidence = 0;
};

/// Whether two countings have the same beats, but for a few.
bool haveSameBeats(const BeatCounting& a, const BeatCounting& b, double rate) {
    constexpr double kTolerance = 0.07; // seconds
    if (&a == &b)
        return true;
    if (std::abs(a.period / b.period - 1) > kTolerance)
        return false;
    std::size_t same = 0, other = 0;
    for (const double beat : a.beats) {
        while (other + 1 < b.beats.size() &&
               std::abs(b.beats[other + 1] - beat) <= std::abs(b.beats[other] - beat))
            ++other;
        same += std::abs(b.beats[other] - beat) <= kTolerance * rate;
    }
    return same * 10 >= a.beats.size() * 9;
}

Choice choose(const std::vector<BeatCounting>& countings, double rate, const StageMonitor& monitor) {
    Choice choice;
    std::vector<std::vector<double>> scores;
    for (std::size_t i = 0; i < countings.size(); ++i) {
        monitor.report(static_cast<double>(i) / static_cast<double>(countings.size()));
        const std::vector<RoleLikelihoods> likelihoods = roleLikelihoods(countings[i]);
        scores.emplace_back();
        for (std::size_t kind = 0; kind < kBarKinds.size(); ++kind) {
            BarPositions positions = barPositions(likelihoods, kBarKinds[kind]);
            const double score = barScore(barFeatures(countings[i], kind, positions));
            scores.back().push_back(score);
            if (score > choice.best.score)
                choice.best = {&countings[i], kind, std::move(positions), score};
        }
    }
    if (!choice.best.counting)
        return choice;
    double sum = std::exp(kNotCounting - choice.best.score);
    for (std::size_t i = 0; i < countings.size(); ++i) {
        const bool same = haveSameBeats(countings[i], *choice.best.counting, rate);
        for (std::size_t kind = 0; kind < kBarKinds.size(); ++kind) {
            const double odds = std::exp(scores[i][kind] - choice.best.score);
            sum += odds;
            choice.beatConfidence += same ? odds : 0;
            choice.metreConfidence += same && kind == choice.best.kind ? odds : 0;
        }
    }
    choice.beatConfidence /= sum;
    choice.metreConfidence /= sum;
    return choice;
}

/// Beats in bars of equal numbers of them.
struct RegularBeats {
    std::vector<double> times; // flux frames
    std::size_t firstDownbeat = 0;
};

/// The beats with those of bars that aren't of `length` put right: beats in silence before the next bar are
/// left out, other such bars are filled evenly.
RegularBeats regularBeats(const BeatCounting& counting, const std::vector<std::uint8_t>& positions,
                          std::size_t length) {
    constexpr float kSilent = 0.2f; // relative to the mean of the beats
    std::vector<std::size_t> downbeats;
    for (std::size_t i = 0; i < positions.size(); ++i)
        if (positions[i] == 0)
            downbeats.push_back(i);
    if (downbeats.empty())
        downbeats.push_back(0);

    RegularBeats result;
    result.firstDownbeat = std::min(downbeats.front(), length - 1);
    const auto keep = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            result.times.push_back(counting.beats[i]);
    };
    keep(downbeats.front() - result.firstDownbeat, downbeats.front());
    for (std::size_t bar = 0; bar + 1 < downbeats.size(); ++bar) {
        const std::size_t begin = downbeats[bar], end = downbeats[bar + 1];
        std::size_t soundEnd = end;
        while (soundEnd > begin + 1 && counting.heard[soundEnd - 1][accent] < kSilent)
            --soundEnd;
        const std::size_t pause = begin + (soundEnd - begin + length - 1) / length * length;
        if ((end - begin) % length == 0 || pause < end) {
            keep(begin, (end - begin) % length == 0 ? end : pause);
            continue;
        }
        const double start = counting.beats[begin], duration = counting.beats[end] - start;
        const std::size_t bars = std::max<std::size_t>(1, (2 * (end - begin) + length) / (2 * length));
        for (std::size_t i = 0; i < bars * length; ++i)
            result.times.push_back(start +
                                   duration * static_cast<double>(i) / static_cast<double>(bars * length));
    }
    keep(downbeats.back(), counting.beats.size());
    return result;
}

/// Stretches of beats without a break, as (first, end) indices: a break is an interval that differs much from
/// those around it.
std::vector<std::pair<std::size_t, std::size_t>> evenStretches(const std::vector<double>& beats) {
    constexpr std::size_t kAround = 4;
    constexpr double kTolerance = 0.2; // of the interval
    const std::vector<double> intervals = differences(beats);
    std::vector<std::pair<std::size_t, std::size_t>> stretches{{0, 1}};
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        const auto begin = intervals.begin() + static_cast<std::ptrdiff_t>(i - std::min(i, kAround));
        const auto end =
            intervals.begin() + static_cast<std::ptrdiff_t>(std::min(intervals.size(), i + kAround + 1));
        const double usual = median({begin, end});
        if (std::abs(intervals[i] - usual) > kTolerance * usual)
            stretches.emplace_back(i + 1, i + 2);
        else
            stretches.back().second = i + 2;
    }
    return stretches;
}

/// The period that fits all beats best, in the least squares of their distances, when each stretch may begin
/// anywhere; and how far beats are from there, as the root of the mean square.
struct SteadyPeriod {
    double period = 0;
    double deviation = 0;
};

SteadyPeriod steadyPeriod(const std::vector<double>& beats,
                          const std::vector<std::pair<std::size_t, std::size_t>>& stretches) {
    double product = 0, square = 0, timeSquare = 0, count = 0;
    for (const auto& [begin, end] : stretches) {
        const auto size = static_cast<double>(end - begin);
        double meanTime = 0;
        for (std::size_t i = begin; i < end; ++i)
            meanTime += (beats[i] - beats[begin]) / size;
        for (std::size_t i = begin; i < end; ++i) {
            const double number = static_cast<double>(i - begin) - 0.5 * (size - 1);
            const double time = beats[i] - beats[begin] - meanTime;
            product += number * time;
            square += number * number;
            timeSquare += time * time;
        }
        count += size;
    }
    if (square <= 0)
        return {};
    return {product / square, std::sqrt(std::max(0.0, timeSquare - product * product / square) / count)};
}

/// Flux frames from beat to beat, over the song.
double overallPeriod(const std::vector<double>& beats, double rate) {
    constexpr double kSteady = 0.02; // seconds: deviation up to which the tempo is constant
    const auto stretches = evenStretches(beats);
    const SteadyPeriod steady = steadyPeriod(beats, stretches);
    if (steady.period > 0 && steady.deviation < kSteady * rate)
        return steady.period;
    // The median of the tempo around each beat.
    constexpr std::size_t kAround = 4;
    std::vector<double> periods;
    for (const auto& [begin, end] : stretches) {
        for (std::size_t i = begin; i + 1 < end; ++i) {
            const std::size_t first = std::max(begin, i - std::min(i, kAround));
            const std::size_t last = std::min(end - 1, i + 1 + kAround);
            periods.push_back((beats[last] - beats[first]) / static_cast<double>(last - first));
        }
    }
    return periods.empty() ? median(differences(beats)) : median(periods);
}

/// Puts times in flux frames where they are in the file.
class FileFrames {
public:
    FileFrames(const BeatFeatures& features, double sampleRate)
        : mScale(sampleRate / features.fluxRate),
          mEnd(static_cast<std::int64_t>(features.duration * sampleRate)) {}

    std::int64_t at(double time) const {
        return static_cast<std::int64_t>(std::llround((time - BeatFeatures::kOnsetDelay) * mScale));
    }
    bool contains(std::int64_t frame) const { return frame >= 0 && frame < mEnd; }

private:
    double mScale;
    std::int64_t mEnd;
};

/// The beats with what lies at those shares of the way from each to the next, within the file.
std::vector<std::int64_t> subdivided(const std::vector<double>& beats, std::initializer_list<double> shares,
                                     const FileFrames& frames) {
    std::vector<std::int64_t> result;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        const double period = i + 1 < beats.size() ? beats[i + 1] - beats[i] : beats[i] - beats[i - 1];
        for (const double share : shares)
            if (const std::int64_t frame = frames.at(beats[i] + share * period); frames.contains(frame))
                result.push_back(frame);
    }
    return result;
}

std::vector<DetectedBar> barsOf(const RegularBeats& beats, std::size_t length, const FileFrames& frames) {
    const auto startOf = [&](std::size_t beat) {
        const std::size_t last = beats.times.size() - 1;
        const double beyond = beat > last ? static_cast<double>(beat - last) : 0;
        return frames.at(beats.times[std::min(beat, last)] +
                         beyond * (beats.times[last] - beats.times[last - 1]));
    };
    std::vector<DetectedBar> bars;
    for (std::size_t beat = beats.firstDownbeat; beat < beats.times.size(); beat += length)
        bars.push_back({startOf(beat), startOf(beat + length) - startOf(beat)});
    return bars;
}

} // namespace

DetectedBeats detectBeats(const BeatFeatures& features, double sampleRate, const StageMonitor& monitor) {
    const std::vector<float> strength = onsetStrength(features, monitor.part(0, 0.02));
    const auto levels = trackPulses(features, strength, monitor.part(0.02, 0.8));
    const std::vector<BeatCounting> countings =
        beatCountings(features, strength, levels, monitor.part(0.8, 0.9));
    const Choice choice = choose(countings, features.fluxRate, monitor.part(0.9, 1));
    const BeatCounting* counting = choice.best.counting;
    if (!counting) {
        monitor.report(1);
        return {};
    }
    const BarKind& kind = kBarKinds[choice.best.kind];
    const std::size_t length = kind.beats.size();
    RegularBeats beats = regularBeats(*counting, choice.best.positions.positions, length);
    const FileFrames frames(features, sampleRate);
    while (!beats.times.empty() && !frames.contains(frames.at(beats.times.front()))) {
        beats.times.erase(beats.times.begin());
        beats.firstDownbeat = (beats.firstDownbeat + length - 1) % length;
    }
    while (!beats.times.empty() && !frames.contains(frames.at(beats.times.back())))
        beats.times.pop_back();
    if (beats.times.size() < 2)
        return {};

    DetectedBeats result;
    result.tatums = kind.isCompound ? subdivided(beats.times, {0, 2.0 / 3}, frames)
                                    : subdivided(beats.times, {0, 0.5}, frames);
    result.overallTempo = 60 * features.fluxRate / overallPeriod(counting->beats, features.fluxRate);
    DetectedMetre& metre = result.metre;
    metre.beatsPerBar = static_cast<int>(length);
    metre.numerator = static_cast<int>(kind.isCompound ? 3 * length : length);
    metre.denominator = kind.isCompound ? 8 : 4;
    metre.countedBeats = subdivided(beats.times, {0}, frames);
    metre.firstDownbeat = beats.firstDownbeat;
    metre.tatumsPerBeat = kind.isCompound ? 3 : 2;
    metre.tatums = kind.isCompound ? subdivided(beats.times, {0, 1.0 / 3, 2.0 / 3}, frames) : result.tatums;
    metre.bars = barsOf(beats, length, frames);
    metre.beatConfidence = choice.beatConfidence;
    metre.metreConfidence = choice.metreConfidence;
    monitor.report(1);
    return result;
}

} // namespace tarn
