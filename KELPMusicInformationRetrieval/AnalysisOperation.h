#pragma once

#include "Platform/Export.h"
#include "Platform/OperationQueue.h"
#include "Platform/Progress.h"

#include <memory>
#include <string>
#include <utility>

namespace TARN_PUBLIC tarn {

/// A stage of the analysis of one song. It asks and tells its delegate, which it holds weakly, from its own
/// thread: first that it has begun, then whether it is required at all, and when it is, that the work begins,
/// the results, and that the work has ended; last that the stage has ended. A stage that is not required does
/// no work and reports neither work nor results. One that is cancelled during the work reports no results any
/// more. Without a delegate it does nothing, and a delegate that goes while the work is on hears no more.
///
/// Each kind declares its own delegate and, for whoever does the signal processing, one `process` that does
/// the work.
/// The spectrogram stage alone reports the end of processing also when a cache spares it the work.
template <typename Delegate>
class AnalysisOperation : public Operation {
public:
    std::weak_ptr<Delegate> delegate;

protected:
    /// Calls a report of the delegate, if there still is one.
    template <typename... Parameters, typename... Arguments>
    void tell(void (Delegate::*report)(Parameters...), Arguments&&... arguments) const {
        if (const auto told = delegate.lock())
            ((*told).*report)(std::forward<Arguments>(arguments)...);
    }
    /// Asks the delegate. Returns an empty value without one, so check `hasDelegate` after the last question
    /// before relying on the answers.
    template <typename Answer, typename... Parameters, typename... Arguments>
    [[nodiscard]] Answer ask(Answer (Delegate::*question)(Parameters...), Arguments&&... arguments) const {
        const auto asked = delegate.lock();
        return asked ? ((*asked).*question)(std::forward<Arguments>(arguments)...) : Answer();
    }
    /// When it holds, all answers so far were the delegate's.
    [[nodiscard]] bool hasDelegate() const { return !delegate.expired(); }
    /// Names the current activity, as users read it.
    void setActivity(std::string text) { progress()->setLocalizedDescription(std::move(text)); }
};

} // namespace tarn
