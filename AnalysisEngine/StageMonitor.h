// How an analysis stage talks to whoever runs it while it works: it reports how far it is and learns whether
// to stop. A stage reports at least every few milliseconds of work, so that cancelling acts well within 100
// ms.
#pragma once

#include "Platform/Export.h"

#include <exception>
#include <functional>
#include <utility>

namespace TARN_PUBLIC tarn {

/// Thrown out of a stage that was asked to stop; the stage leaves nothing behind.
class AnalysisCancelled : public std::exception {
public:
    const char* what() const noexcept override { return "The analysis was cancelled."; }
};

class StageMonitor {
public:
    /// Hears nothing and never cancels.
    StageMonitor() = default;

    /// Both functions are called on the stage's thread. `onProgress` is given the share done, 0 to 1.
    StageMonitor(std::function<bool()> isCancelled, std::function<void(double)> onProgress)
        : mIsCancelled(std::move(isCancelled)), mOnProgress(std::move(onProgress)) {}

    /// Throws AnalysisCancelled when the stage is to stop.
    void report(double fraction) const {
        if (mIsCancelled && mIsCancelled())
            throw AnalysisCancelled();
        if (mOnProgress)
            mOnProgress(fraction);
    }

    /// A monitor for a part of the work, which covers the shares from `begin` to `end` of this one's.
    /// This monitor must outlive it.
    StageMonitor part(double begin, double end) const {
        return {mIsCancelled, [this, begin, end](double fraction) {
                    if (mOnProgress)
                        mOnProgress(begin + (end - begin) * fraction);
                }};
    }

private:
    std::function<bool()> mIsCancelled;
    std::function<void(double)> mOnProgress;
};

} // namespace tarn
