#pragma once

#include "Platform/Export.h"

/// Mappings between a scale of values (a frequency, a level, a tempo) and another (points, a slider's
/// position). Scales may run downwards. The ends of one scale map to the ends of the other exactly, in both
/// directions.
namespace TARN_PUBLIC tarn {

/// The two ends of a scale.
struct KELPScale {
    double first;
    double last;
};

enum class KELPClamping {
    none,    ///< values beyond the ends continue the mapping
    toScale, ///< values beyond the ends count as the nearer end
};

/// A scale of length zero holds one value: everything mapped from such a scale gives the first end of the
/// other. NaN maps to NaN.
class KELPMapping {
public:
    virtual ~KELPMapping() = default;
    [[nodiscard]] KELPScale source() const { return mSource; }
    [[nodiscard]] KELPScale target() const { return mTarget; }

    /// From the source scale to the target scale.
    [[nodiscard]] double map(double value, KELPClamping clamping = KELPClamping::none) const;
    /// From the target scale to the source scale.
    [[nodiscard]] double inverseMap(double value, KELPClamping clamping = KELPClamping::none) const;

protected:
    /// The ends must be finite; others abort.
    KELPMapping(KELPScale source, KELPScale target);
    /// The place of a source value, 0 at the first end and 1 at the last, and the source value at a place.
    [[nodiscard]] virtual double fractionOf(double value) const = 0;
    [[nodiscard]] virtual double valueAt(double fraction) const = 0;

private:
    KELPScale mSource;
    KELPScale mTarget;
};

/// Equal steps of the source are equal steps of the target.
class KELPLinearMapping final : public KELPMapping {
public:
    KELPLinearMapping(KELPScale source, KELPScale target) : KELPMapping(source, target) {}

private:
    [[nodiscard]] double fractionOf(double value) const override;
    [[nodiscard]] double valueAt(double fraction) const override;
};

/// Equal ratios of the source are equal steps of the target, as with octaves on a frequency axis. Both ends
/// of the source must be greater than zero; others abort. Zero lies infinitely far out, and
/// negative values map to what is not a number; clamped, both count as the smaller end.
class KELPLogarithmicMapping final : public KELPMapping {
public:
    KELPLogarithmicMapping(KELPScale source, KELPScale target);

private:
    [[nodiscard]] double fractionOf(double value) const override;
    [[nodiscard]] double valueAt(double fraction) const override;
};

} // namespace tarn
