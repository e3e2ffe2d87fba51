#include "AnalysisEngine/BeatDetection.h"

#include "AnalysisEngine/BarModel.h"
#include "AnalysisEngine/BeatCountings.h"
#include "AnalysisEngine/PulseTracking.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numeric>
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
    const BarKind* kind = nullptr;
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

/// How surely the beats, and the kind of bars, are those of `best`, by the scores of all interpretations.
void judge(const std::vector<Interpretation>& all, double rate, Choice& choice) {
    const Interpretation& best = choice.best;
    double sum = std::exp(kNotCounting - best.score);
    const BeatCounting* known = nullptr; // the interpretations of a counting follow each other
    bool isSame = false;
    for (const Interpretation& other : all) {
        if (other.counting != known) {
            known = other.counting;
            isSame = haveSameBeats(*known, *best.counting, rate);
        }
        const double odds = std::exp(other.score - best.score);
        sum += odds;
        choice.beatConfidence += isSame ? odds : 0;
        choice.metreConfidence += isSame && other.kind == best.kind ? odds : 0;
    }
    choice.beatConfidence /= sum;
    choice.metreConfidence /= sum;
}

/// The likeliest interpretation; without a counting when it is likelier that there are no beats.
Choice choose(const std::vector<BeatCounting>& countings, double rate, const StageMonitor& monitor) {
    Choice choice;
    std::vector<Interpretation> all;
    for (std::size_t i = 0; i < countings.size(); ++i) {
        monitor.report(static_cast<double>(i) / static_cast<double>(countings.size()));
        for (const bool countsEighths : {false, true}) {
            std::vector<RoleLikelihoods> likelihoods;
            for (const BarKind& kind : kBarKinds) {
                if (kind.countsEighths() != countsEighths || !isPossible(countings[i], kind))
                    continue;
                if (likelihoods.empty())
                    likelihoods = roleLikelihoods(countings[i], countsEighths);
                BarPositions positions = barPositions(likelihoods, kind);
                const double score = barScore(barFeatures(countings[i], kind, positions));
                all.push_back({&countings[i], &kind, {}, score});
                if (score > choice.best.score)
                    choice.best = {&countings[i], &kind, std::move(positions), score};
            }
        }
    }
    if (choice.best.counting)
        judge(all, rate, choice);
    return choice;
}

/// A counted beat of the song.
struct CountedBeat {
    double time = 0; // flux frames
    int eighths = 2; // until the next beat
    bool opensBar = false;
    bool isSilent = false;
};

std::vector<CountedBeat> countedBeats(const Interpretation& interpretation) {
    constexpr float kSilent = 0.2f; // relative to the mean of the beats
    const BarKind& kind = *interpretation.kind;
    const BeatCounting& counting = *interpretation.counting;
    std::vector<CountedBeat> beats;
    for (std::size_t i = 0; i < counting.beats.size(); ++i) {
        const std::size_t place = interpretation.positions.places[i];
        const bool isSilent = counting.heard[i][accent] < kSilent;
        if (!kind.countsEighths() || kind.roleAt(place) != BarRole::weak) {
            beats.push_back({counting.beats[i], kind.eighthsPerPlace, place == 0, isSilent});
        } else if (!beats.empty()) {
            ++beats.back().eighths;
            beats.back().isSilent &= isSilent;
        }
    }
    return beats;
}

/// Indices of the beats that open bars; if there are none, the first opens one.
std::vector<std::size_t> barStarts(const std::vector<CountedBeat>& beats) {
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < beats.size(); ++i)
        if (beats[i].opensBar)
            starts.push_back(i);
    if (starts.empty() && !beats.empty())
        starts.push_back(0);
    return starts;
}

/// The beats but for those in silence at the end of bars that have too many: there the song pauses before the
/// next bar.
std::vector<CountedBeat> withoutPauses(const std::vector<CountedBeat>& beats, std::size_t perBar) {
    const std::vector<std::size_t> starts = barStarts(beats);
    std::vector<CountedBeat> kept(beats.begin(), beats.begin() + static_cast<std::ptrdiff_t>(starts.front()));
    for (std::size_t bar = 0; bar < starts.size(); ++bar) {
        const std::size_t begin = starts[bar];
        const bool isLast = bar + 1 == starts.size();
        std::size_t end = isLast ? beats.size() : starts[bar + 1];
        if (!isLast && (end - begin) % perBar != 0) {
            std::size_t soundEnd = end;
            while (soundEnd > begin + 1 && beats[soundEnd - 1].isSilent)
                --soundEnd;
            end = std::min(end, begin + (soundEnd - begin + perBar - 1) / perBar * perBar);
        }
        kept.insert(kept.end(), beats.begin() + static_cast<std::ptrdiff_t>(begin),
                    beats.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return kept;
}

/// Eighths of each beat of a bar.
std::vector<int> eighthsInBar(const BarKind& kind) {
    std::vector<int> result;
    for (std::size_t place = 0; place < kind.length(); ++place) {
        if (!kind.countsEighths() || kind.roleAt(place) != BarRole::weak)
            result.push_back(kind.eighthsPerPlace);
        else
            ++result.back();
    }
    return result;
}

/// The beats in bars of equal numbers of them: those of other bars are replaced by evenly spaced ones.
std::vector<CountedBeat> regularBeats(const std::vector<CountedBeat>& beats, const BarKind& kind) {
    const std::vector<int> pattern = eighthsInBar(kind);
    const std::vector<std::size_t> starts = barStarts(beats);
    const auto first = static_cast<std::ptrdiff_t>(starts.front());
    const std::ptrdiff_t upbeat = std::min<std::ptrdiff_t>(first, std::ssize(pattern) - 1);
    std::vector<CountedBeat> regular(beats.begin() + (first - upbeat), beats.begin() + first);
    for (std::size_t bar = 0; bar + 1 < starts.size(); ++bar) {
        const std::size_t begin = starts[bar], end = starts[bar + 1], count = end - begin;
        if (count == pattern.size()) {
            regular.insert(regular.end(), beats.begin() + static_cast<std::ptrdiff_t>(begin),
                           beats.begin() + static_cast<std::ptrdiff_t>(end));
            continue;
        }
        const std::size_t bars =
            std::max<std::size_t>(1, (2 * count + pattern.size()) / (2 * pattern.size()));
        const double all = static_cast<double>(bars) * std::reduce(pattern.begin(), pattern.end());
        double passed = 0;
        for (std::size_t i = 0; i < bars * pattern.size(); ++i) {
            const int eighths = pattern[i % pattern.size()];
            regular.push_back({beats[begin].time + (beats[end].time - beats[begin].time) * passed / all,
                               eighths, i % pattern.size() == 0});
            passed += eighths;
        }
    }
    regular.insert(regular.end(), beats.begin() + static_cast<std::ptrdiff_t>(starts.back()), beats.end());
    return regular;
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
    bool contain(const CountedBeat& beat) const { return contains(at(beat.time)); }

private:
    double mScale;
    std::int64_t mEnd;
};

/// Flux frames from a beat on that belong to it: until the next, but where the song pauses before that, as
/// long as the beat before.
double lengthOf(const std::vector<CountedBeat>& beats, std::size_t index) {
    constexpr double kPause = 1.5; // times the length that is expected
    const auto perEighth = [&](std::size_t i) {
        return (beats[i + 1].time - beats[i].time) / beats[i].eighths;
    };
    const std::size_t last = beats.size() - 1;
    if (index == 0)
        return perEighth(0) * beats[0].eighths;
    const double expected = perEighth(index - 1) * beats[index].eighths;
    return index == last || perEighth(index) * beats[index].eighths > kPause * expected
               ? expected
               : beats[index + 1].time - beats[index].time;
}

enum class Division { eighths, tatums };

/// Shares of a beat's length at which its eighths begin, or its two tatums, the second of which is the last
/// eighth.
std::vector<double> sharesOf(int eighths, Division division) {
    if (division == Division::tatums)
        return {0, eighths > 1 ? (eighths - 1.0) / eighths : 0.5};
    std::vector<double> shares;
    shares.reserve(static_cast<std::size_t>(eighths));
    for (int k = 0; k < eighths; ++k)
        shares.push_back(static_cast<double>(k) / eighths);
    return shares;
}

/// What the beats are divided into, within the file.
std::vector<std::int64_t> divided(const std::vector<CountedBeat>& beats, Division division,
                                  const FileFrames& frames) {
    std::vector<std::int64_t> result;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        const double length = lengthOf(beats, i);
        for (const double share : sharesOf(beats[i].eighths, division))
            if (const std::int64_t frame = frames.at(beats[i].time + share * length); frames.contains(frame))
                result.push_back(frame);
    }
    return result;
}

std::vector<DetectedBar> barsOf(const std::vector<CountedBeat>& beats, const FileFrames& frames) {
    const std::size_t last = beats.size() - 1;
    const std::vector<std::size_t> starts = barStarts(beats);
    std::vector<DetectedBar> bars;
    for (std::size_t bar = 0; bar < starts.size(); ++bar) {
        const std::int64_t start = frames.at(beats[starts[bar]].time);
        const double end =
            bar + 1 < starts.size() ? beats[starts[bar + 1]].time : beats[last].time + lengthOf(beats, last);
        bars.push_back({start, frames.at(end) - start});
    }
    return bars;
}

DetectedMetre metreOf(const std::vector<CountedBeat>& beats, const Choice& choice, double rate,
                      const FileFrames& frames) {
    const BarKind& kind = *choice.best.kind;
    DetectedMetre metre;
    metre.numerator = kind.numerator();
    metre.denominator = kind.denominator();
    for (const CountedBeat& beat : beats)
        metre.countedBeats.push_back(frames.at(beat.time));
    metre.eighths = divided(beats, Division::eighths, frames);
    metre.bars = barsOf(beats, frames);
    const int placesPerBeat = kind.countsEighths() ? 2 : 1;
    metre.tempo = 60 * rate / (placesPerBeat * overallPeriod(choice.best.counting->beats, rate));
    metre.beatConfidence = choice.beatConfidence;
    metre.metreConfidence = choice.metreConfidence;
    return metre;
}

} // namespace

DetectedBeats detectBeats(const BeatFeatures& features, double sampleRate, const StageMonitor& monitor) {
    const std::vector<float> strength = onsetStrength(features, monitor.part(0, 0.02));
    const auto levels = trackPulses(features, strength, monitor.part(0.02, 0.8));
    const std::vector<BeatCounting> countings =
        beatCountings(features, strength, levels, monitor.part(0.8, 0.9));
    const Choice choice = choose(countings, features.fluxRate, monitor.part(0.9, 1));
    monitor.report(1);
    if (!choice.best.counting)
        return {};

    const FileFrames frames(features, sampleRate);
    std::vector<CountedBeat> beats = countedBeats(choice.best);
    std::erase_if(beats, [&](const CountedBeat& beat) { return !frames.contain(beat); });
    if (beats.size() < 2)
        return {};
    const std::size_t perBar = eighthsInBar(*choice.best.kind).size();
    beats = withoutPauses(beats, perBar);
    const std::vector<CountedBeat> regular = regularBeats(beats, *choice.best.kind);
    return {divided(regular, Division::tatums, frames), 2 * barStarts(regular).front(),
            static_cast<int>(2 * perBar), metreOf(beats, choice, features.fluxRate, frames)};
}

} // namespace tarn
