#include "TarnFoundation/Formatting/KELPMapping.h"

#include "Platform/FatalError.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

double clamped(double value, KELPScale scale, KELPClamping clamping) {
    if (clamping == KELPClamping::none)
        return value;
    const auto [low, high] = std::minmax(scale.first, scale.last);
    return std::clamp(value, low, high);
}

/// The point of the scale at `fraction`, exact at both ends and continued beyond them, to infinity where need
/// be.
double pointAt(double fraction, KELPScale scale) {
    if (fraction == 0)
        return scale.first;
    return fraction == 1 ? scale.last : scale.first + fraction * (scale.last - scale.first);
}

} // namespace

KELPMapping::KELPMapping(KELPScale source, KELPScale target) : mSource(source), mTarget(target) {
    for (const double end : {source.first, source.last, target.first, target.last})
        precondition(std::isfinite(end), "The ends of a mapping's scales must be finite");
}

double KELPMapping::map(double value, KELPClamping clamping) const {
    if (std::isnan(value))
        return value;
    if (mSource.first == mSource.last)
        return mTarget.first;
    return pointAt(fractionOf(clamped(value, mSource, clamping)), mTarget);
}

double KELPMapping::inverseMap(double value, KELPClamping clamping) const {
    if (std::isnan(value))
        return value;
    if (mTarget.first == mTarget.last)
        return mSource.first;
    const double place = clamped(value, mTarget, clamping);
    if (place == mTarget.last)
        return valueAt(1);
    return valueAt((place - mTarget.first) / (mTarget.last - mTarget.first));
}

double KELPLinearMapping::fractionOf(double value) const {
    if (value == source().last)
        return 1; // exact also where the extent of the scale overflows
    return (value - source().first) / (source().last - source().first);
}

double KELPLinearMapping::valueAt(double fraction) const {
    return pointAt(fraction, source());
}

KELPLogarithmicMapping::KELPLogarithmicMapping(KELPScale source, KELPScale target)
    : KELPMapping(source, target) {
    precondition(source.first > 0 && source.last > 0, "A logarithmic scale must lie above zero");
}

double KELPLogarithmicMapping::fractionOf(double value) const {
    if (value == source().last)
        return 1;
    return std::log(value / source().first) / std::log(source().last / source().first);
}

double KELPLogarithmicMapping::valueAt(double fraction) const {
    // The power of one may miss the last end by a rounding.
    return fraction == 1 ? source().last
                         : source().first * std::pow(source().last / source().first, fraction);
}

} // namespace tarn
