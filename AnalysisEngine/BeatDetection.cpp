#include "AnalysisEngine/BeatDetection.h"

#include "AnalysisEngine/PulseTracking.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string_view>

namespace tarn {

namespace {

enum Aspect : std::size_t { accent, bass, harmony, aspectCount };

/// What is heard at a pulse, each aspect relative to its mean over the song.
struct PulseEvidence {
    std::array<double, aspectCount> at{};
    double accentAfter = 0; ///< In the middle between this pulse and the next.
    bool stumbles = false;  ///< It comes much earlier or later than the pulses around it let expect.
};

/// Mean and spread of an aspect among the pulses that play one part.
struct Expectation {
    double mean, spread;
};

struct Part {
    char name;
    bool onBeat; ///< Off the beat it says nothing when no note begins.
    std::array<Expectation, aspectCount> expected;
};

// Round figures near the averages over pop songs, played by a piano and by a band.
constexpr Expectation kOffBeatAccent{0.75, 0.35};
constexpr Expectation kOffPulseAccent{0.27, 0.17};
constexpr Expectation kRarelyAccent{0.13, 0.17}; // where hardly any notes are
constexpr Expectation kSilence{0, 0.08};

constexpr std::array<Part, 6> kParts{{
    //    accent          bass           harmony
    {'D', true, {{{1.50, 0.40}, {2.00, 0.65}, {3.40, 1.70}}}},     // downbeat
    {'H', true, {{{1.25, 0.35}, {1.50, 0.65}, {1.75, 1.80}}}},     // middle of a bar of four
    {'B', true, {{{1.10, 0.35}, {0.75, 0.50}, {0.60, 1.00}}}},     // other beats
    {'O', false, {{kOffBeatAccent, {0.75, 0.60}, {0.40, 0.95}}}},  // off the beat
    {'S', false, {{kOffPulseAccent, {0.75, 0.60}, {0.40, 0.95}}}}, // between beat and off-beat
    {'M', true, {{{1.00, 0.20}, {1.00, 1.00}, {1.00, 1.50}}}},     // the even ticks of a metronome
}};

constexpr std::size_t kCompoundBeat = 3; // pulses in the beat of 6/8 and 12/8

/// A way to count: the parts of a bar's pulses, and what is expected between pulses.
struct Metre {
    std::size_t pulsesPerBeat;
    std::string_view bar;
    Expectation between;
};

constexpr std::array<Metre, 10> kMetres{{
    {1, "M", kSilence},
    {1, "DBHB", kOffBeatAccent},
    {2, "DOBOHOBO", kOffPulseAccent},
    {4, "DSOSBSOSHSOSBSOS", kRarelyAccent},
    {1, "DBB", kOffBeatAccent},
    {2, "DOBOBO", kOffPulseAccent},
    {4, "DSOSBSOSBSOS", kRarelyAccent},
    {kCompoundBeat, "DOOBOO", kOffPulseAccent},
    {2 * kCompoundBeat, "DSOSOSBSOSOS", kRarelyAccent},
    {kCompoundBeat, "DOOBOOHOOBOO", kOffPulseAccent},
}};

constexpr double kBetweenWeight = 0.5;   // of what is heard between pulses, against what is heard at them
constexpr double kLeastEvidence = -6;    // of one aspect of one pulse: outliers don't decide
constexpr double kBarJumpCost = 12;      // to another beat of the bar
constexpr double kBeatJumpCost = 200;    // to another phase of the beat, which even syncopation doesn't do
constexpr double kStumbleJumpCost = 15;  // the same, where pulses come unevenly
constexpr double kCountedPeriod = 0.64;  // seconds, likeliest between counted beats
constexpr double kCountedCompound = 0.9; // the same, when a beat has three parts
constexpr double kPeriodWeight = 0.2;    // for each pulse, of one octave from there

double logLikelihood(double value, const Expectation& expected) {
    const double distance = (value - expected.mean) / expected.spread;
    return std::max(kLeastEvidence, -0.5 * distance * distance - std::log(expected.spread));
}

template <typename Values>
double strongestAround(const Values& values, double frame) {
    constexpr std::ptrdiff_t kReach = 2; // frames, about 23 ms
    const auto centre = static_cast<std::ptrdiff_t>(std::lround(frame));
    double strongest = 0;
    for (std::ptrdiff_t i = std::max<std::ptrdiff_t>(0, centre - kReach);
         i <= centre + kReach && i < static_cast<std::ptrdiff_t>(values.size()); ++i)
        strongest = std::max(strongest, static_cast<double>(values[static_cast<std::size_t>(i)]));
    return strongest;
}

/// How much the sounding pitches change at a time.
class HarmonicChange {
public:
    HarmonicChange(const BeatFeatures& features, const StageMonitor& monitor)
        : mRate(features.chromaRate), mSums(features.chroma.size() + 1) {
        for (std::size_t i = 0; i < features.chroma.size(); ++i) {
            if (i % 4096 == 0)
                monitor.report(0);
            for (std::size_t j = 0; j < BeatFeatures::kChromaSize; ++j)
                mSums[i + 1][j] = mSums[i][j] + std::sqrt(static_cast<double>(features.chroma[i][j]));
        }
    }

    /// Change at that time (in seconds) beyond that a quarter of a second before and after, 0 or more.
    double peakAt(double time) const {
        constexpr double kAside = 0.25;
        return std::max(0.0, at(time) - 0.5 * (at(time - kAside) + at(time + kAside)));
    }

private:
    using Chroma = std::array<double, BeatFeatures::kChromaSize>;

    /// Cosine distance of the means before and after.
    double at(double time) const {
        constexpr double kReach = 0.7; // seconds
        const Chroma start = sumUntil(time - kReach), middle = sumUntil(time), end = sumUntil(time + kReach);
        double product = 0, before = 0, after = 0;
        for (std::size_t j = 0; j < start.size(); ++j) {
            const double a = middle[j] - start[j], b = end[j] - middle[j];
            product += a * b;
            before += a * a;
            after += b * b;
        }
        constexpr double kInaudible = 1e-9;
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

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::vector<double> differences(const std::vector<double>& values) {
    std::vector<double> result;
    for (std::size_t i = 1; i < values.size(); ++i)
        result.push_back(values[i] - values[i - 1]);
    return result;
}

std::vector<PulseEvidence> evidenceAt(const std::vector<double>& pulses, const BeatFeatures& features,
                                      const std::vector<float>& strength, const StageMonitor& monitor) {
    std::vector<float> bassStrength(features.flux.size());
    for (std::size_t i = 0; i < bassStrength.size(); ++i)
        bassStrength[i] = features.flux[i][BeatFeatures::kBassBand];
    const HarmonicChange change(features, monitor);

    std::vector<PulseEvidence> evidence(pulses.size());
    std::array<double, aspectCount> mean{};
    for (std::size_t i = 0; i < pulses.size(); ++i) {
        if (i % 256 == 0)
            monitor.report(static_cast<double>(i) / static_cast<double>(pulses.size()));
        const double next = i + 1 < pulses.size() ? pulses[i + 1] : pulses[i];
        PulseEvidence& pulse = evidence[i];
        pulse.at = {std::sqrt(strongestAround(strength, pulses[i])),
                    std::sqrt(strongestAround(bassStrength, pulses[i])),
                    std::sqrt(change.peakAt(pulses[i] / features.fluxRate))};
        pulse.accentAfter = std::sqrt(strongestAround(strength, 0.5 * (pulses[i] + next)));
        for (std::size_t aspect = 0; aspect < aspectCount; ++aspect)
            mean[aspect] += pulse.at[aspect] / static_cast<double>(pulses.size());
    }
    const std::vector<double> intervals = differences(pulses);
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        constexpr std::size_t kAround = 4;
        constexpr double kTolerance = 0.2; // of the interval
        const auto begin = intervals.begin() + static_cast<std::ptrdiff_t>(i - std::min(i, kAround));
        const auto end =
            intervals.begin() + static_cast<std::ptrdiff_t>(std::min(intervals.size(), i + kAround + 1));
        const double usual = median({begin, end});
        evidence[i + 1].stumbles = std::abs(intervals[i] - usual) > kTolerance * usual;
    }
    // Where there is next to nothing of an aspect, its mean isn't a measure.
    constexpr std::array<double, aspectCount> kLeast{0.1, 0.02, 0.02};
    for (PulseEvidence& pulse : evidence) {
        for (std::size_t aspect = 0; aspect < aspectCount; ++aspect)
            pulse.at[aspect] /= std::max(mean[aspect], kLeast[aspect]);
        pulse.accentAfter /= std::max(mean[accent], kLeast[accent]);
    }
    return evidence;
}

struct Interpretation {
    double score;                       ///< Logarithmic likelihood per pulse.
    std::vector<std::size_t> positions; ///< Of each pulse in its bar.
};

/// The likeliest positions of the pulses in bars of that metre.
Interpretation interpret(const std::vector<PulseEvidence>& evidence, const Metre& metre,
                         const StageMonitor& monitor) {
    const std::size_t length = metre.bar.size();
    std::vector<std::size_t> partOf(length);
    for (std::size_t position = 0; position < length; ++position)
        while (kParts[partOf[position]].name != metre.bar[position])
            ++partOf[position];

    // What is heard is relative to its mean over the pulses, so what is expected must be relative to that of
    // the bar.
    std::array<double, aspectCount> mean{};
    for (const std::size_t part : partOf)
        for (std::size_t aspect = 0; aspect < aspectCount; ++aspect)
            mean[aspect] += kParts[part].expected[aspect].mean / static_cast<double>(length);
    const double density =
        kBetweenWeight * std::log(mean[accent]) + std::log(mean[accent] * mean[bass] * mean[harmony]);

    std::vector<double> score(length), next(length);
    std::vector<std::vector<std::uint8_t>> from(evidence.size(), std::vector<std::uint8_t>(length));
    for (std::size_t i = 0; i < evidence.size(); ++i) {
        if (i % 256 == 0)
            monitor.report(static_cast<double>(i) / static_cast<double>(evidence.size()));
        std::array<double, kParts.size()> likelihood;
        for (std::size_t part = 0; part < kParts.size(); ++part) {
            likelihood[part] =
                density +
                kBetweenWeight * logLikelihood(evidence[i].accentAfter * mean[accent], metre.between);
            for (std::size_t aspect = 0; aspect < aspectCount; ++aspect) {
                const Expectation& expected = kParts[part].expected[aspect];
                const double heard = evidence[i].at[aspect] * mean[aspect];
                const bool rest = aspect == accent && !kParts[part].onBeat && heard < expected.mean;
                likelihood[part] += logLikelihood(rest ? expected.mean : heard, expected);
            }
        }
        const double outOfPhase = evidence[i].stumbles ? kStumbleJumpCost : kBeatJumpCost;
        for (std::size_t position = 0; position < length; ++position) {
            const std::size_t expected = (position + length - 1) % length;
            std::size_t source = expected;
            double best = score[expected];
            for (std::size_t other = 0; i > 0 && other < length; ++other) {
                const bool inPhase = other % metre.pulsesPerBeat == expected % metre.pulsesPerBeat;
                const double value = score[other] - (inPhase ? kBarJumpCost : outOfPhase);
                if (value > best) {
                    best = value;
                    source = other;
                }
            }
            next[position] = (i > 0 ? best : 0) + likelihood[partOf[position]];
            from[i][position] = static_cast<std::uint8_t>(source);
        }
        score.swap(next);
    }
    const auto last = std::max_element(score.begin(), score.end());
    Interpretation result{*last / static_cast<double>(evidence.size()),
                          std::vector<std::size_t>(evidence.size())};
    auto position = static_cast<std::size_t>(last - score.begin());
    for (std::size_t i = evidence.size(); i-- > 0;) {
        result.positions[i] = position;
        position = from[i][position];
    }
    return result;
}

/// Times of the tatums among the pulses, from a counted beat on. Where positions jump, beats are left out or
/// added so that the beat goes on as evenly as it can.
std::vector<double> tatumTimes(const std::vector<double>& pulses, const std::vector<std::size_t>& positions,
                               std::size_t pulsesPerBeat) {
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < pulses.size(); ++i)
        if (positions[i] % pulsesPerBeat == 0 &&
            (indices.empty() || 3 * (i - indices.back()) > 2 * pulsesPerBeat))
            indices.push_back(i);
    std::vector<double> beats;
    for (std::size_t k = 0; k < indices.size(); ++k) {
        if (k > 0) {
            const std::size_t passed = indices[k] - indices[k - 1];
            const std::size_t count = (2 * passed + pulsesPerBeat) / (2 * pulsesPerBeat);
            const double begin = pulses[indices[k - 1]], end = pulses[indices[k]];
            for (std::size_t added = 1; added < count; ++added)
                beats.push_back(begin +
                                (end - begin) * static_cast<double>(added) / static_cast<double>(count));
        }
        beats.push_back(pulses[indices[k]]);
    }
    if (beats.size() < 2)
        return {};
    // A song may begin off the beat; the beat before belongs to it.
    if (pulses.front() < beats.front())
        beats.insert(beats.begin(), 2 * beats[0] - beats[1]);
    const double inside = pulsesPerBeat % kCompoundBeat == 0 ? 2.0 / 3 : 0.5;
    std::vector<double> tatums;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        const double period = i + 1 < beats.size() ? beats[i + 1] - beats[i] : beats[i] - beats[i - 1];
        tatums.push_back(beats[i]);
        tatums.push_back(beats[i] + inside * period);
    }
    return tatums;
}

} // namespace

DetectedBeats detectBeats(const BeatFeatures& features, double sampleRate, const StageMonitor& monitor) {
    const std::vector<float> strength = onsetStrength(features, monitor.part(0, 0.05));
    const std::vector<double> pulses = trackPulses(features, strength, monitor.part(0.05, 0.7));
    constexpr std::size_t kFewestPulses = 4;
    if (pulses.size() < kFewestPulses)
        return {};
    const std::vector<PulseEvidence> evidence =
        evidenceAt(pulses, features, strength, monitor.part(0.7, 0.8));
    const double pulsePeriod = median(differences(pulses)) / features.fluxRate;

    const Metre* metre = nullptr;
    Interpretation best{-std::numeric_limits<double>::infinity(), {}};
    for (const Metre& candidate : kMetres) {
        const double done = 0.8 + 0.2 * static_cast<double>(&candidate - kMetres.data()) / kMetres.size();
        Interpretation interpretation =
            interpret(evidence, candidate, monitor.part(done, done + 0.2 / kMetres.size()));
        const double period = pulsePeriod * static_cast<double>(candidate.pulsesPerBeat);
        const double octaves = std::log2(
            period / (candidate.pulsesPerBeat % kCompoundBeat == 0 ? kCountedCompound : kCountedPeriod));
        interpretation.score -= kPeriodWeight * octaves * octaves;
        if (interpretation.score > best.score) {
            best = std::move(interpretation);
            metre = &candidate;
        }
    }
    std::vector<double> tatums = tatumTimes(pulses, best.positions, metre->pulsesPerBeat);
    if (tatums.empty())
        return {};

    DetectedBeats result;
    // Onsets show this much late in the flux: it compares with two frames before and takes in half a window.
    constexpr double kDelay = 0.9; // frames
    const double scale = sampleRate / features.fluxRate;
    const auto end = static_cast<std::int64_t>(features.duration * sampleRate);
    std::vector<double> beats;
    for (std::size_t i = 0; i + 1 < tatums.size(); i += 2) {
        const auto location = [&](std::size_t index) {
            return static_cast<std::int64_t>(std::llround((tatums[index] - kDelay) * scale));
        };
        if (location(i) < 0 || location(i) >= end)
            continue;
        beats.push_back(tatums[i]);
        result.tatums.push_back(location(i));
        if (location(i + 1) < end)
            result.tatums.push_back(location(i + 1));
    }
    // A few noises in silence may pass for pulses, but nobody would tap a beat that slow.
    constexpr double kSlowestBeat = 2; // seconds
    if (beats.size() < 2 || median(differences(beats)) > kSlowestBeat * features.fluxRate)
        return {};
    result.overallTempo = 60 * features.fluxRate / median(differences(beats));
    monitor.report(1);
    return result;
}

} // namespace tarn
