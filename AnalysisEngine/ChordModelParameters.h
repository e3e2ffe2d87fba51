// Learned by scripts/train-chord-model; not to be edited by hand.
#pragma once

#include "AnalysisEngine/ChordVocabulary.h"

#include <array>

namespace tarn {

/// Weights of the pitch classes that are root, third, fifth, sixth or seventh, second or fourth, and none of
/// the chord's.
inline constexpr std::array<float, 6> kTrebleRoleWeights{2.517f, 3.317f, 2.024f, 1.458f, 0.863f, -2.594f};
inline constexpr std::array<float, 6> kBassRoleWeights{3.191f, -0.941f, -0.902f, 1.902f, -1.147f, -3.328f};

inline constexpr std::array<float, kChordQualityCount> kQualityBiases{
    3.176f,  2.912f,  -0.270f, -2.856f, 1.004f,  -0.408f, -3.105f, -4.465f,
    -2.018f, -1.434f, -1.388f, -4.516f, -3.645f, -2.635f, -3.147f};

/// A constant and the weights of a span's level and peakiness.
inline constexpr std::array<float, 3> kNoChordWeights{-2.173f, -0.195f, 1.649f};

/// The same of a chord's mean shares over all of its spans, and the weights of the share of its weakest note
/// (but the root) and of what the key says of its arrival.
inline constexpr std::array<float, 6> kLastingTrebleRoleWeights{0.000f, 3.282f, 4.652f,
                                                                4.523f, 0.769f, -11.335f};
inline constexpr std::array<float, 6> kLastingBassRoleWeights{-0.000f, 2.016f,  -2.148f,
                                                              5.935f,  -5.439f, -0.364f};
inline constexpr std::array<float, kChordQualityCount> kLastingQualityBiases{
    3.496f,  2.706f,  0.405f,  0.147f,  -1.979f, -1.882f, -0.873f, -0.645f,
    -0.163f, -0.149f, -0.712f, -0.083f, -0.205f, -0.721f, -2.529f};
inline constexpr float kLastingCompletenessWeight = 10.273f;
inline constexpr float kLastingArrivalWeight = 0.623f;

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
