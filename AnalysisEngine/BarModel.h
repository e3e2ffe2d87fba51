// What is known of bars in general: how downbeats sound among other beats, and which of the ways in which the
// beats of a song could be counted people choose. Learned from songs with known bars
// (scripts/train-bar-model).
#pragma once

#include "AnalysisEngine/BeatCountings.h"
#include "AnalysisEngine/StageMonitor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tarn {

/// Part that a beat plays in its bar.
enum class BeatRole : std::uint8_t { downbeat, middle, other };
constexpr std::size_t kBeatRoleCount = 3;

struct BarKind {
    std::string_view beats; ///< D downbeat, H the middle of a bar of four, B another beat
    bool isCompound;        ///< Beats have three parts, as in 6/8.
};

constexpr std::array<BarKind, 8> kBarKinds{{
    {"DB", false},
    {"DBB", false},
    {"DBHB", false},
    {"DBBBB", false},
    {"DBBBBBB", false},
    {"DB", true},
    {"DBB", true},
    {"DBHB", true},
}};

using RoleLikelihoods = std::array<float, kBeatRoleCount>;

/// For each beat the logarithmic likelihood of what is heard there and around it, given each part that it may
/// play, against that of any part.
std::vector<RoleLikelihoods> roleLikelihoods(const BeatCounting& counting);

/// The likeliest places in their bars of the beats of a counting.
struct BarPositions {
    std::vector<std::uint8_t> positions; ///< Of each beat in its bar, from 0.
    double likelihood = 0;               ///< Logarithmic, per beat, against that of beats without bars.
    std::size_t jumps = 0;               ///< How often a beat doesn't follow its predecessor in the bar.
};

/// Bars whose beats follow each other in order but for unlikely jumps: the bar pointer of N. Whiteley, A. T.
/// Cemgil and S. Godsill, "Bayesian modelling of temporal structure in musical audio", Proc. ISMIR 2006,
/// which moves from beat to beat here, as the beats of the counting hold its tempo.
BarPositions barPositions(const std::vector<RoleLikelihoods>& likelihoods, const BarKind& kind);

constexpr std::size_t kBarFeatureCount = 60;
using BarFeatures = std::array<float, kBarFeatureCount>;

/// What speaks for and against a counting in bars of a kind (an index into kBarKinds).
BarFeatures barFeatures(const BeatCounting& counting, std::size_t kind, const BarPositions& positions);

/// How likely people are to count so: the logarithm of the odds between two ways to count the same song is
/// the difference of their scores.
double barScore(const BarFeatures& features);

} // namespace tarn
