#pragma once

#include "Platform/Export.h"
#include "Platform/OperationQueue.h"
#include "Platform/Progress.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <vector>

namespace TARN_PUBLIC tarn {
namespace analysis {

/// A row of the table from which the operations of a run are made, connected, queued and counted. Rows of the
/// same name follow each other and are alternatives: the stage is the first of them that can be made.
struct Stage {
    std::string_view name;
    /// Nothing when the operation cannot be made.
    std::function<std::shared_ptr<Operation>()> make;
    /// The names of the stages that finish before this one starts.
    std::vector<std::string_view> dependencies = {};
    /// Of stages that are ready, the one with the lowest place starts first.
    int place = 0;
    /// The stage's share of the progress.
    std::int64_t progressUnits = 0;
    /// Why a run cannot start without the stage, not localized; the last alternative's counts. Null for a
    /// stage that can always be made.
    const char* refusal = nullptr;
};

/// One run of an analysis.
class Run {
public:
    Run();

    /// At most two operations run at a time.
    [[nodiscard]] const std::shared_ptr<OperationQueue>& queue() const { return mQueue; }

    /// Makes the operations in the order of the table and queues them all at once, between `begin`, which
    /// nothing waits for, and `finish`, which waits for all of them; `progress` begins again and consists of
    /// theirs. The first refusal of a stage that cannot be made, or null: after a refusal nothing has been
    /// queued and the progress is as it was. A second call aborts, and so does a dependency that is not in
    /// the table.
    [[nodiscard]] const char* start(std::span<const Stage> stages, Progress& progress,
                                    const std::shared_ptr<Operation>& begin,
                                    const std::shared_ptr<Operation>& finish);

    /// Cancels what is in the queue, and the operations that have finished as well: whoever carries a result
    /// to the main thread sees from `isCancelled` that it is no longer wanted. Any thread may cancel.
    void cancel();

private:
    const std::shared_ptr<OperationQueue> mQueue;
    bool mHasStarted = false;
    std::mutex mMutex; ///< guards the operations
    /// Held weakly: a finished operation may hold much of the song's audio.
    std::vector<std::weak_ptr<Operation>> mOperations;
};

} // namespace analysis
} // namespace tarn
