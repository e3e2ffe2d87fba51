// Magnitude spectra of windowed real blocks of one fixed length. An instance is used by one thread at a time.
#pragma once

#include "Platform/Export.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace TARN_PUBLIC tarn {

class RealFourierTransform {
public:
    /// `length` is even and positive.
    explicit RealFourierTransform(std::size_t length);
    RealFourierTransform(const RealFourierTransform&) = delete;
    RealFourierTransform& operator=(const RealFourierTransform&) = delete;
    ~RealFourierTransform();

    std::size_t length() const { return mInput.size(); }

    /// Bins from 0 Hz to half the sampling rate, both included.
    std::size_t binCount() const { return mInput.size() / 2 + 1; }

    /// Magnitudes of the `length()` samples under a Hann window, scaled so that a sinusoid of amplitude 1 on
    /// the centre of a bin has magnitude 1. Valid until the next call.
    std::span<const float> hannMagnitudes(std::span<const float> samples);

private:
    struct Plan;
    std::unique_ptr<Plan> mPlan;
    std::vector<float> mWindow;
    std::vector<float> mInput;
    std::vector<float> mMagnitudes;
};

} // namespace tarn
