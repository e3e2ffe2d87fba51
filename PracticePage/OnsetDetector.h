#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>

namespace TARN_PUBLIC tarn {

/// Finds where a sound begins suddenly, in a stream of one channel: where the energy of what changes quickly
/// rises to several times what it was just before.
class OnsetDetector {
public:
    explicit OnsetDetector(int sampleRate);

    /// The next samples.
    void put(std::span<const float> samples);
    /// Forgets the onsets before that sample.
    void forgetBefore(std::int64_t sample);
    /// The first onset after that sample, of those that have been found; all that lie before lookedUpTo()
    /// are.
    [[nodiscard]] std::optional<std::int64_t> firstAfter(std::int64_t sample) const;
    /// The last one at or before it.
    [[nodiscard]] std::optional<std::int64_t> lastUpTo(std::int64_t sample) const;
    [[nodiscard]] std::int64_t lookedUpTo() const { return mPosition; }

private:
    void endHop();

    const std::size_t mHop;           ///< samples; how exactly onsets are known
    const std::int64_t mLeastSpacing; ///< samples between onsets
    std::int64_t mPosition = 0;       ///< at which the next hop begins
    std::size_t mInHop = 0;
    double mEnergy = 0; ///< of the differences in the hop
    float mLast = 0;
    std::deque<double> mEnergies; ///< of the hops before
    std::deque<std::int64_t> mOnsets;
};

} // namespace tarn
