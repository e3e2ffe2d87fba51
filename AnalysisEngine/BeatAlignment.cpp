#include "AnalysisEngine/BeatAlignment.h"

#include "Platform/FatalError.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace tarn {

namespace {

enum BeatRole : std::size_t { downbeat, middle, otherBeat, offBeat, roleCount };

/// Beforehand belief in how often chords change there: as if so many changes and so many places without one
/// had been seen.
struct Belief {
    double changes, rests;
};

constexpr std::array<Belief, roleCount> kBeliefs{{{6, 2}, {1.5, 2.5}, {1, 10}, {1, 20}}};

constexpr double kUnexpectedLengthCost = 2; // natural logarithm of the odds for the expected length

BeatRole roleOf(std::size_t position, std::size_t length) {
    if (position == 0)
        return downbeat;
    if (length % 8 == 0 && position == length / 2)
        return middle;
    return position % 2 == 0 ? otherBeat : offBeat;
}

double logBeta(double a, double b) {
    return std::lgamma(a) + std::lgamma(b) - std::lgamma(a + b);
}

/// For each tatum how surely a chord changes there, 0 to 1.
std::vector<double> changesAt(std::span<const std::int64_t> tatums,
                              std::span<const std::int64_t> chordChanges, const StageMonitor& monitor) {
    std::vector<double> result(tatums.size());
    for (std::size_t i = 0; i < chordChanges.size(); ++i) {
        if (i % 1024 == 0)
            monitor.report(static_cast<double>(i) / static_cast<double>(chordChanges.size()));
        const std::int64_t change = chordChanges[i];
        const auto after = std::upper_bound(tatums.begin(), tatums.end(), change);
        if (after == tatums.begin())
            continue;
        const auto index = static_cast<std::size_t>(after - tatums.begin()) - 1;
        if (after == tatums.end()) {
            if (change == tatums[index])
                result[index] = 1;
            continue;
        }
        const double share =
            static_cast<double>(change - tatums[index]) / static_cast<double>(*after - tatums[index]);
        // Between two tatums both are possible; near one of them it isn't in doubt.
        constexpr double kDoubt = 0.08;
        const double later = 1 / (1 + std::exp((0.5 - share) / kDoubt));
        result[index] = std::max(result[index], 1 - later);
        result[index + 1] = std::max(result[index + 1], later);
    }
    return result;
}

/// Logarithmic likelihood of the changes in bars of `length` tatums, the first full one beginning at `start`.
double likelihood(const std::vector<double>& changes, std::size_t length, std::size_t start) {
    std::array<double, roleCount> seen{}, places{};
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const BeatRole role = roleOf((i + length - start) % length, length);
        seen[role] += changes[i];
        places[role] += 1;
    }
    double sum = 0;
    for (std::size_t role = 0; role < roleCount; ++role) {
        const auto [a, b] = kBeliefs[role];
        sum += logBeta(a + seen[role], b + places[role] - seen[role]) - logBeta(a, b);
    }
    return sum;
}

/// Whether the beats have three parts: their inner tatums lie well past the middle.
bool isCompound(std::span<const std::int64_t> tatums) {
    std::size_t late = 0, beats = 0;
    for (std::size_t i = 0; i + 2 < tatums.size(); i += 2, ++beats) {
        const auto beat = static_cast<double>(tatums[i]);
        if (static_cast<double>(tatums[i + 1]) - beat > 0.58 * (static_cast<double>(tatums[i + 2]) - beat))
            ++late;
    }
    return 2 * late > beats;
}

} // namespace

std::optional<BeatAlignment> alignBeats(std::span<const std::int64_t> tatums, int tatumsPerBar,
                                        std::span<const std::int64_t> chordChanges,
                                        const StageMonitor& monitor) {
    precondition(tatumsPerBar > 0, "A bar needs at least one tatum.");
    if (tatums.empty())
        return std::nullopt;
    const std::vector<double> changes = changesAt(tatums, chordChanges, monitor);
    if (std::all_of(changes.begin(), changes.end(), [](double change) { return change == 0; })) {
        monitor.report(1);
        return BeatAlignment{tatums.front(), tatumsPerBar};
    }
    const auto expected = static_cast<std::size_t>(tatumsPerBar);
    const bool compound = isCompound(tatums);
    std::optional<BeatAlignment> best;
    double bestScore = -std::numeric_limits<double>::infinity();
    for (const std::size_t length : {expected, std::size_t{8}, std::size_t{6}, std::size_t{4}}) {
        // Of compound beats two to the bar are as usual as four.
        const bool usual = length == expected || (compound && length == 4);
        const double cost = usual ? 0 : kUnexpectedLengthCost;
        for (std::size_t start = 0; start < std::min(length, tatums.size()); start += 2) {
            const double score = likelihood(changes, length, start) - cost;
            if (score > bestScore) {
                bestScore = score;
                best = {tatums[start], static_cast<int>(length)};
            }
        }
    }
    monitor.report(1);
    return best;
}

std::optional<BeatAlignment> barsOf(const DetectedBeats& beats) {
    if (beats.firstDownbeat >= beats.tatums.size())
        return std::nullopt;
    return BeatAlignment{beats.tatums[beats.firstDownbeat], beats.tatumsPerBar};
}

} // namespace tarn
