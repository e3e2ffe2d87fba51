// What is known of bars in general: how downbeats sound among other beats, and which of the ways in which the
// beats of a song could be counted people choose. Learned from songs with known bars
// (scripts/train-bar-model).
#pragma once

#include "AnalysisEngine/BeatCountings.h"
#include "Platform/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace TARN_PUBLIC tarn {

/// Part that a place plays in its bar. Of beats, the middle of a bar of four is strong; where eighths are
/// counted, every beat is that is not the downbeat.
enum class BarRole : std::uint8_t { downbeat, strong, weak };
constexpr std::size_t kBarRoleCount = 3;

/// A sequence of places that makes a bar: beats, or in bars with an odd number of eighths these.
struct BarKind {
    std::string_view places; ///< D downbeat, S strong, w weak
    int eighthsPerPlace;     ///< 2, 3 in compound metres, 1 where eighths are counted

    [[nodiscard]] constexpr std::size_t length() const { return places.size(); }
    [[nodiscard]] constexpr bool countsEighths() const { return eighthsPerPlace == 1; }
    [[nodiscard]] constexpr int denominator() const { return eighthsPerPlace == 2 ? 4 : 8; }
    [[nodiscard]] constexpr int numerator() const {
        return static_cast<int>(length()) * (eighthsPerPlace == 2 ? 1 : eighthsPerPlace);
    }
    [[nodiscard]] constexpr BarRole roleAt(std::size_t place) const {
        return places[place] == 'D'   ? BarRole::downbeat
               : places[place] == 'S' ? BarRole::strong
                                      : BarRole::weak;
    }
};

constexpr std::array<BarKind, 13> kBarKinds{{
    {"Dw", 2},
    {"Dww", 2},
    {"DwSw", 2},
    {"Dwwww", 2},
    {"Dwwwwww", 2},
    {"Dw", 3},
    {"Dww", 3},
    {"DwSw", 3},
    {"DwwSw", 1},
    {"DwSww", 1},
    {"DwSwSww", 1},
    {"DwwSwSw", 1},
    {"DwSwwSw", 1},
}};

/// Whether the beats of the counting may be places of such bars, by how fast they are.
bool isPossible(const BeatCounting& counting, const BarKind& kind);

/// By BarRole.
using RoleLikelihoods = std::array<float, kBarRoleCount>;

/// For each beat the logarithmic likelihood of what is heard there and around it, given each part that it may
/// play, against that of any part.
std::vector<RoleLikelihoods> roleLikelihoods(const BeatCounting& counting, bool countsEighths);

/// The likeliest places in their bars of the beats of a counting.
struct BarPositions {
    std::vector<std::uint8_t> places; ///< Of each beat in its bar, from 0.
    double likelihood = 0;            ///< Logarithmic, per beat, against that of beats without bars.
    std::size_t jumps = 0;            ///< How often a beat doesn't follow its predecessor in the bar.
};

/// Bars whose beats follow each other in order but for unlikely jumps: the bar pointer of N. Whiteley, A. T.
/// Cemgil and S. Godsill, "Bayesian modelling of temporal structure in musical audio", Proc. ISMIR 2006,
/// which moves from beat to beat here, as the beats of the counting hold its tempo.
BarPositions barPositions(const std::vector<RoleLikelihoods>& likelihoods, const BarKind& kind);

constexpr std::size_t kBarFeatureCount = 61;
using BarFeatures = std::array<float, kBarFeatureCount>;

/// What speaks for and against a counting in bars of a kind.
BarFeatures barFeatures(const BeatCounting& counting, const BarKind& kind, const BarPositions& positions);

/// How likely people are to count so: the logarithm of the odds between two ways to count the same song is
/// the difference of their scores.
double barScore(const BarFeatures& features);

} // namespace tarn
