#pragma once

#include "Platform/Export.h"
#include "Platform/Subscription.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace TARN_PUBLIC tarn {

/// How far a piece of work is, in units of its own choosing. A child stands for a number of its parent's
/// units and moves the parent by that share; when it is finished (completed, or cancelled by markFinished) it
/// has contributed exactly its units, so the parent reaches its total exactly when its children finish.
///
/// Parents and children do not keep each other alive. A child that goes before it is finished has ended its
/// work, so it counts as finished; one that outlives its parent goes on alone.
///
/// Thread-safe. Observers are called on the changing thread, those of the changed progress before those of
/// its ancestors, without any lock held; they may change the progress and must not throw.
class Progress : public std::enable_shared_from_this<Progress> {
public:
    using Observer = std::function<void(const Progress&)>;

    /// A progress without parent.
    static std::shared_ptr<Progress> discrete(std::int64_t totalUnitCount);
    ~Progress();

    [[nodiscard]] std::int64_t totalUnitCount() const;
    void setTotalUnitCount(std::int64_t count);
    /// Own units completed, plus the pending units of the children that have finished.
    [[nodiscard]] std::int64_t completedUnitCount() const;
    /// Sets the own units completed; those of finished children come on top.
    void setCompletedUnitCount(std::int64_t count);
    /// 0 to 1, the unfinished children's partial work included; 1 when finished, otherwise 0 while the total
    /// is 0 or less.
    [[nodiscard]] double fractionCompleted() const;
    /// Finished: the completed units have reached a positive total, or markFinished was called.
    [[nodiscard]] bool isFinished() const;
    /// Ends the work here, whatever has been completed: counts as all of its units to the parent.
    void markFinished();

    /// Begins again with `totalUnitCount` units: nothing is completed, the mark of markFinished is gone, and
    /// the children, finished or not, are forgotten; unfinished ones continue on their own. Observers stay.
    void restart(std::int64_t totalUnitCount);

    /// Lets `child` stand for `pendingUnitCount` of this progress's units. A child has one parent at most;
    /// adding it twice aborts.
    void addChild(const std::shared_ptr<Progress>& child, std::int64_t pendingUnitCount);

    [[nodiscard]] std::string localizedDescription() const;
    void setLocalizedDescription(std::string text);

    /// Calls `observer` after each change of the counts, the fraction or the description.
    [[nodiscard]] Subscription observe(Observer observer);

private:
    struct Private {};

public:
    Progress(Private, std::int64_t totalUnitCount);

private:
    struct State;
    class Change;
    const std::unique_ptr<State> mState;
};

} // namespace tarn
