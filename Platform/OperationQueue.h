#pragma once

#include "Platform/Export.h"
#include "Platform/Subscription.h"

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TARN_PUBLIC tarn {

class Progress;

/// A piece of work that runs once on an OperationQueue, after all operations that it depends on have
/// finished. Made with std::make_shared. Cancelling asks it to stop: one that has not started finishes in its
/// turn without running `main`; a running one has to look at isCancelled. An operation whose dependency was
/// cancelled still runs, unless it is itself cancelled. All operations are thread-safe.
class Operation : public std::enable_shared_from_this<Operation> {
public:
    enum class State { pending, executing, finished };

    Operation();
    virtual ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    /// Before the operation is added to a queue, otherwise it aborts; adding a dependency twice
    /// counts once. A cycle of dependencies never runs.
    void addDependency(const std::shared_ptr<Operation>& operation);
    /// In the order in which they were added, until the operation finishes and lets them go.
    [[nodiscard]] std::vector<std::shared_ptr<Operation>> dependencies() const;

    void cancel();
    [[nodiscard]] bool isCancelled() const;
    [[nodiscard]] State state() const;
    [[nodiscard]] bool isFinished() const { return state() == State::finished; }
    /// Returns when the operation has finished and all observers of its state have heard so. On the main
    /// thread, not for an operation of the main queue, which could then never run: that aborts.
    void waitUntilFinished() const;

    /// Called after each change of state, on the thread that changed it.
    using StateObserver = std::function<void(const Operation&, State)>;
    [[nodiscard]] Subscription observeState(StateObserver observer);

    /// The work's own progress, whose localized description names the current activity. Marked as finished
    /// when the operation finishes, a cancelled one included.
    [[nodiscard]] const std::shared_ptr<Progress>& progress() const;

    std::string name;

protected:
    /// The work. Runs on a thread of the queue; an exception that leaves it aborts.
    virtual void main() = 0;

private:
    friend class OperationQueue;

    /// Whether it is `other` or waits for it, directly or through others.
    [[nodiscard]] bool dependsOn(const Operation& other) const;
    void dependencyFinished();

    struct Internals;
    const std::unique_ptr<Internals> mInternals;
};

/// An operation made of a function, which is let go when it has run.
class BlockOperation : public Operation {
public:
    explicit BlockOperation(std::function<void()> block) : mBlock(std::move(block)) {}

protected:
    void main() override;

private:
    std::function<void()> mBlock;
};

/// Runs operations as their dependencies allow, at most `maxConcurrentOperationCount` at a time, ready ones
/// in the order in which they were added. Threads are started on demand and end when there is nothing left to
/// do.
///
/// Operations that were added run to their end even when the queue object goes; the destructor does not wait,
/// so a queue may be dropped from inside one of its own operations. Those that can never run because they
/// wait in or for a cycle of dependencies within the queue are let go with it.
class OperationQueue {
public:
    static constexpr int kDefaultMaxConcurrentOperationCount = -1; ///< as many as the machine has cores

    OperationQueue();
    ~OperationQueue();
    OperationQueue(const OperationQueue&) = delete;
    OperationQueue& operator=(const OperationQueue&) = delete;

    /// Aborts when the operation was added to a queue before.
    void addOperation(const std::shared_ptr<Operation>& operation);
    void addOperation(std::function<void()> block);
    void addOperations(const std::vector<std::shared_ptr<Operation>>& operations, bool waitUntilFinished);

    [[nodiscard]] int maxConcurrentOperationCount() const;
    /// At least 1, or kDefaultMaxConcurrentOperationCount. The main queue runs one at a time whatever is set.
    void setMaxConcurrentOperationCount(int count);
    /// The operations that have not finished, in the order in which they were added.
    [[nodiscard]] std::vector<std::shared_ptr<Operation>> operations() const;
    void cancelAllOperations();
    /// Waits until every operation added so far has finished. Not from inside an operation of this queue.
    void waitUntilAllOperationsAreFinished() const;

    /// The queue whose operations run on the main thread, when the application drains the main queue.
    static const std::shared_ptr<OperationQueue>& mainQueue();

private:
    friend class Operation;
    class Core;
    explicit OperationQueue(std::shared_ptr<Core> core);

    const std::shared_ptr<Core> mCore;
};

} // namespace tarn
