#include "AnalysisEngine/RealFourierTransform.h"

#include "Platform/FatalError.h"

#include <cmath>
#include <kiss_fftr.h>
#include <numbers>

namespace tarn {

struct RealFourierTransform::Plan {
    kiss_fftr_cfg configuration;
    std::vector<kiss_fft_cpx> spectrum;

    explicit Plan(std::size_t length)
        : configuration(kiss_fftr_alloc(static_cast<int>(length), 0, nullptr, nullptr)),
          spectrum(length / 2 + 1) {
        precondition(configuration != nullptr, "The Fourier transform could not be created.");
    }
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;
    ~Plan() { kiss_fftr_free(configuration); }
};

RealFourierTransform::RealFourierTransform(std::size_t length)
    : mWindow(length), mInput(length), mMagnitudes(length / 2 + 1) {
    precondition(length > 0 && length % 2 == 0, "The transform's length is not even and positive.");
    mPlan = std::make_unique<Plan>(length);
    // The window sums to half the length, and a sinusoid's energy is split between two bins: together a
    // quarter.
    for (std::size_t i = 0; i < length; ++i) {
        const double phase = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(length);
        mWindow[i] = static_cast<float>((0.5 - 0.5 * std::cos(phase)) * 4 / static_cast<double>(length));
    }
}

RealFourierTransform::~RealFourierTransform() = default;

std::span<const float> RealFourierTransform::hannMagnitudes(std::span<const float> samples) {
    precondition(samples.size() == mInput.size(), "The block does not have the transform's length.");
    for (std::size_t i = 0; i < samples.size(); ++i)
        mInput[i] = samples[i] * mWindow[i];
    kiss_fftr(mPlan->configuration, mInput.data(), mPlan->spectrum.data());
    for (std::size_t bin = 0; bin < mMagnitudes.size(); ++bin) {
        const kiss_fft_cpx value = mPlan->spectrum[bin];
        mMagnitudes[bin] = std::sqrt(value.r * value.r + value.i * value.i);
    }
    return mMagnitudes;
}

} // namespace tarn
