#include "AnalysisEngine/TuningEstimation.h"

#include "KELPMusic/ConcertPitch.h"

#include <array>
#include <cmath>
#include <complex>
#include <numbers>

namespace tarn {

namespace {

using Deviations = std::array<double, 100>;

/// Cents from `to` to the middle of a cell, by the shorter way around the semitone.
double distance(std::size_t cell, double to) {
    return std::remainder(static_cast<double>(cell) - 49.5 - to, 100);
}

double nearness(double cents, double width) {
    return std::exp(-0.5 * (cents / width) * (cents / width));
}

} // namespace

double estimateTuning(const SpectralFeatures& features) {
    // Below 110 Hz the spectrum is too coarse, and above 880 Hz strings' partials are noticeably sharp.
    constexpr std::size_t kFirstOctave = 1;
    constexpr std::size_t kLastOctave = 3;
    Deviations deviations{};
    double total = 0;
    std::complex<double> resultant;
    for (std::size_t octave = kFirstOctave; octave <= kLastOctave; ++octave) {
        for (std::size_t cell = 0; cell < deviations.size(); ++cell) {
            const double weight = features.partialDeviations[octave][cell];
            deviations[cell] += weight;
            total += weight;
            resultant += std::polar(weight, 2 * std::numbers::pi * distance(cell, 0) / 100);
        }
    }
    constexpr double kLeastConcentration = 0.05;
    if (std::abs(resultant) <= kLeastConcentration * total)
        return kConcertPitch;
    // The mode, first coarsely, then as the fixed point of a narrow mean: vibrato and stray partials don't
    // move it.
    constexpr double kCoarseWidth = 12;
    constexpr double kFineWidth = 5;
    double cents = 0;
    double highest = -1;
    for (std::size_t candidate = 0; candidate < deviations.size(); ++candidate) {
        double sum = 0;
        for (std::size_t cell = 0; cell < deviations.size(); ++cell)
            sum += deviations[cell] * nearness(distance(cell, distance(candidate, 0)), kCoarseWidth);
        if (sum > highest) {
            highest = sum;
            cents = distance(candidate, 0);
        }
    }
    for (int round = 0; round < 30; ++round) {
        double sum = 0;
        double weights = 0;
        for (std::size_t cell = 0; cell < deviations.size(); ++cell) {
            const double away = distance(cell, cents);
            const double weight = deviations[cell] * nearness(away, kFineWidth);
            sum += weight * away;
            weights += weight;
        }
        if (weights > 0)
            cents = std::remainder(cents + sum / weights, 100);
    }
    return kConcertPitch * std::exp2(cents / 1200);
}

} // namespace tarn
