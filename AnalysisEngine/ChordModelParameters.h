// Learned by scripts/train-chord-model; not to be edited by hand.
#pragma once

#include "AnalysisEngine/ChordVocabulary.h"
#include "Platform/Export.h"

#include <array>

namespace TARN_PUBLIC tarn {

/// Weights of the pitch classes that are root, third, fifth, sixth or seventh, second or fourth, and none of
/// the chord's.
inline constexpr std::array<float, 6> kTrebleRoleWeights{1.968f, 3.078f, 1.806f, 1.256f, 0.843f, -2.201f};
inline constexpr std::array<float, 6> kBassRoleWeights{3.666f, -0.632f, -0.529f, 2.164f, -0.999f, -3.803f};

inline constexpr std::array<float, kChordQualityCount> kQualityBiases{
    3.193f,  2.919f,  -0.282f, -2.861f, 1.020f,  -0.393f, -3.093f, -4.463f,
    -2.031f, -1.418f, -1.392f, -4.505f, -3.665f, -2.649f, -3.157f};

/// A constant and the weights of a span's level and peakiness.
inline constexpr std::array<float, 3> kNoChordWeights{-2.265f, -0.196f, 1.568f};

/// The same of a chord's mean shares over all of its spans, and the weights of the share of its weakest note
/// (but the root) and of what the key says of its arrival.
inline constexpr std::array<float, 6> kLastingTrebleRoleWeights{-0.000f, 2.797f, 4.082f,
                                                                3.386f,  0.802f, -8.619f};
inline constexpr std::array<float, 6> kLastingBassRoleWeights{-0.000f, 3.026f,  -2.016f,
                                                              6.295f,  -5.463f, -1.841f};
inline constexpr std::array<float, kChordQualityCount> kLastingQualityBiases{
    3.717f, 2.121f, -0.355f, 0.156f,  -1.583f, -1.429f, -0.483f, -0.955f,
    0.194f, 0.338f, -1.048f, -0.476f, -0.701f, -1.072f, -1.792f};
inline constexpr float kLastingCompletenessWeight = 11.120f;
inline constexpr float kLastingArrivalWeight = 0.730f;

/// Logarithms of the share of a song on chords of each family on each degree above the tonic, in major and in
/// minor.
inline constexpr std::array<std::array<std::array<float, kChordFamilyCount>, 12>, 2> kKeyProfiles{{
    {{{{-1.531f, -5.620f, -4.447f}},
      {{-5.620f, -5.620f, -5.620f}},
      {{-4.144f, -2.469f, -5.091f}},
      {{-5.620f, -5.620f, -5.620f}},
      {{-4.918f, -2.232f, -4.963f}},
      {{-2.538f, -5.620f, -3.701f}},
      {{-5.620f, -5.265f, -5.620f}},
      {{-1.823f, -5.620f, -4.604f}},
      {{-5.620f, -5.620f, -5.620f}},
      {{-3.806f, -1.825f, -5.111f}},
      {{-5.318f, -5.620f, -5.620f}},
      {{-5.620f, -5.620f, -5.620f}}}},
    {{{{-3.244f, -1.322f, -3.651f}},
      {{-5.989f, -6.246f, -6.246f}},
      {{-6.246f, -5.036f, -6.246f}},
      {{-2.407f, -6.246f, -5.136f}},
      {{-6.048f, -6.246f, -6.246f}},
      {{-3.991f, -2.299f, -5.445f}},
      {{-6.109f, -6.246f, -6.246f}},
      {{-2.665f, -2.537f, -4.951f}},
      {{-2.113f, -5.699f, -6.109f}},
      {{-6.246f, -4.732f, -6.246f}},
      {{-2.209f, -6.246f, -5.520f}},
      {{-6.246f, -5.575f, -6.246f}}}},
}};

} // namespace tarn
