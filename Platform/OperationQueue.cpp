#include "Platform/OperationQueue.h"

#include "Platform/DispatchQueue.h"
#include "Platform/FatalError.h"
#include "Platform/ObserverList.h"
#include "Platform/Progress.h"
#include "Platform/WorkerPool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <iterator>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <unordered_set>
#include <utility>

namespace tarn {

/// Locks: a queue's may be held when an operation's is taken, never the other way round, and neither while
/// observers or work run.
struct Operation::Internals {
    mutable std::mutex mutex;
    mutable std::condition_variable settled;
    std::atomic<State> state = State::pending;
    std::atomic<bool> isCancelled = false;
    /// The thread that tells the observers that the operation has finished; it need not wait for itself.
    std::thread::id finishingThread;
    bool isSettled = false;

    struct Dependency {
        std::shared_ptr<Operation> owned;
        /// Set instead of `owned` where the dependency closes a cycle, so that the cycle does not own itself.
        std::weak_ptr<Operation> closingCycle;
        [[nodiscard]] std::shared_ptr<Operation> lock() const { return owned ? owned : closingCycle.lock(); }
    };
    std::vector<Dependency> dependencies;
    std::size_t unfinishedDependencyCount = 0;
    std::vector<std::weak_ptr<Operation>> dependents;
    bool closesCycle = false;

    bool isQueued = false;
    /// Once the operation is in its queue and until it has finished. Holds the queue's inner part while it
    /// waits, which holds the operation: what has been added runs, whoever else lets go of it.
    std::shared_ptr<OperationQueue::Core> queue;
    std::uint64_t orderInQueue = 0;

    /// Whether it is not there yet. Called with the lock held.
    [[nodiscard]] bool willAddDependency(const std::shared_ptr<Operation>& operation) const {
        precondition(!isQueued, "Dependencies must be added before the operation is added to a queue");
        return std::none_of(dependencies.begin(), dependencies.end(),
                            [&](const auto& dependency) { return dependency.lock() == operation; });
    }

    const std::shared_ptr<Progress> progress = Progress::discrete(0);
    ObserverList<const Operation&, State> observers;
};

/// What operations and worker threads share of a queue; it lives as long as there is something to run.
class OperationQueue::Core : public std::enable_shared_from_this<Core> {
public:
    explicit Core(bool runsOnMainThread) : mRunsOnMainThread(runsOnMainThread) {}

    [[nodiscard]] bool runsOnMainThread() const { return mRunsOnMainThread; }

    /// Lists the operations before any of them can start.
    void add(const std::vector<std::shared_ptr<Operation>>& operations);
    void becomeReady(std::uint64_t order);
    [[nodiscard]] std::vector<std::shared_ptr<Operation>> operations() const;
    void letGoOfThoseThatCannotRun();

    [[nodiscard]] int maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(int count);

private:
    struct Started {
        std::shared_ptr<Operation> operation;
        std::uint64_t order = 0;
        explicit operator bool() const { return operation != nullptr; }
    };

    std::uint64_t list(const std::shared_ptr<Operation>& operation);
    void activate(const std::shared_ptr<Operation>& operation, std::uint64_t order);
    [[nodiscard]] std::size_t workerLimit() const;
    void startWorkers();
    /// The next operation to run; without one, or when there are too many workers, the calling worker has to
    /// end.
    [[nodiscard]] Started next();
    void work();
    void workOnMainThread();
    void run(const Started& started);

    const bool mRunsOnMainThread;
    mutable std::mutex mMutex;
    /// By the order of addition.
    std::map<std::uint64_t, std::shared_ptr<Operation>> mUnfinished;
    std::set<std::uint64_t> mReady;
    std::uint64_t mNextOrder = 0;
    int mMaxConcurrentOperationCount = kDefaultMaxConcurrentOperationCount;
    std::size_t mWorkerCount = 0;
};

namespace {

/// The threads of all operation queues; each queue limits how many it takes.
WorkerPool& operationThreads() {
    static auto* const pool = new WorkerPool(WorkerPool::kNoThreadLimit);
    return *pool;
}

} // namespace

Operation::Operation() : mInternals(std::make_unique<Internals>()) {}

Operation::~Operation() {
    // A long chain of operations that never ran is taken apart here link by link, not by recursion.
    auto orphans = std::move(mInternals->dependencies);
    while (!orphans.empty()) {
        const auto operation = std::move(orphans.back().owned);
        orphans.pop_back();
        if (operation.use_count() != 1)
            continue;
        const std::lock_guard lock(operation->mInternals->mutex);
        auto& next = operation->mInternals->dependencies;
        orphans.insert(orphans.end(), std::make_move_iterator(next.begin()),
                       std::make_move_iterator(next.end()));
        next.clear();
    }
}

void Operation::addDependency(const std::shared_ptr<Operation>& operation) {
    precondition(operation != nullptr, "An operation cannot depend on nothing");
    auto self = weak_from_this();
    precondition(!self.expired(), "Operations with dependencies must be owned by a shared pointer");
    if (operation->dependsOn(*this)) {
        const std::lock_guard lock(mInternals->mutex);
        if (mInternals->willAddDependency(operation)) {
            mInternals->closesCycle = true;
            mInternals->dependencies.push_back({nullptr, operation});
            ++mInternals->unfinishedDependencyCount;
        }
        return;
    }
    const std::scoped_lock lock(mInternals->mutex, operation->mInternals->mutex);
    if (!mInternals->willAddDependency(operation))
        return;
    mInternals->dependencies.push_back({operation, {}});
    if (operation->mInternals->state == State::finished)
        return;
    operation->mInternals->dependents.push_back(std::move(self));
    ++mInternals->unfinishedDependencyCount;
}

bool Operation::dependsOn(const Operation& other) const {
    if (this == &other)
        return true;
    {
        const std::lock_guard lock(other.mInternals->mutex);
        if (other.mInternals->dependents.empty())
            return false;
    }
    std::vector<std::shared_ptr<Operation>> toVisit = dependencies();
    std::unordered_set<const Operation*> seen;
    while (!toVisit.empty()) {
        const auto operation = std::move(toVisit.back());
        toVisit.pop_back();
        if (operation.get() == &other)
            return true;
        if (!seen.insert(operation.get()).second)
            continue;
        const auto further = operation->dependencies();
        toVisit.insert(toVisit.end(), further.begin(), further.end());
    }
    return false;
}

std::vector<std::shared_ptr<Operation>> Operation::dependencies() const {
    const std::lock_guard lock(mInternals->mutex);
    std::vector<std::shared_ptr<Operation>> operations;
    for (const auto& dependency : mInternals->dependencies) {
        if (auto operation = dependency.lock())
            operations.push_back(std::move(operation));
    }
    return operations;
}

void Operation::cancel() {
    mInternals->isCancelled.store(true);
}

bool Operation::isCancelled() const {
    return mInternals->isCancelled.load();
}

Operation::State Operation::state() const {
    return mInternals->state.load();
}

void Operation::waitUntilFinished() const {
    std::unique_lock lock(mInternals->mutex);
    const auto hasFinished = [this] {
        return mInternals->isSettled || mInternals->finishingThread == std::this_thread::get_id();
    };
    if (hasFinished())
        return;
    const bool needsThisThread =
        mInternals->queue && mInternals->queue->runsOnMainThread() && MainQueue::isMainThread();
    precondition(!needsThisThread, "The main thread cannot wait for an operation of the main queue");
    mInternals->settled.wait(lock, hasFinished);
}

Subscription Operation::observeState(StateObserver observer) {
    return mInternals->observers.add(std::move(observer));
}

const std::shared_ptr<Progress>& Operation::progress() const {
    return mInternals->progress;
}

void BlockOperation::main() {
    const auto block = std::exchange(mBlock, nullptr);
    block();
}

std::uint64_t OperationQueue::Core::list(const std::shared_ptr<Operation>& operation) {
    precondition(operation != nullptr, "An operation queue cannot run nothing");
    {
        const std::lock_guard lock(operation->mInternals->mutex);
        precondition(!std::exchange(operation->mInternals->isQueued, true),
                     "An operation can be added to one queue only, and only once");
    }
    const std::lock_guard lock(mMutex);
    mUnfinished.emplace(mNextOrder, operation);
    return mNextOrder++;
}

void OperationQueue::Core::activate(const std::shared_ptr<Operation>& operation, std::uint64_t order) {
    {
        const std::lock_guard lock(operation->mInternals->mutex);
        operation->mInternals->queue = shared_from_this();
        operation->mInternals->orderInQueue = order;
        if (operation->mInternals->unfinishedDependencyCount > 0)
            return;
    }
    becomeReady(order);
}

void OperationQueue::Core::add(const std::vector<std::shared_ptr<Operation>>& operations) {
    std::vector<std::uint64_t> orders;
    orders.reserve(operations.size());
    for (const auto& operation : operations)
        orders.push_back(list(operation));
    for (std::size_t i = 0; i < operations.size(); ++i)
        activate(operations[i], orders[i]);
}

void OperationQueue::Core::becomeReady(std::uint64_t order) {
    const std::lock_guard lock(mMutex);
    mReady.insert(order);
    startWorkers();
}

std::vector<std::shared_ptr<Operation>> OperationQueue::Core::operations() const {
    const std::lock_guard lock(mMutex);
    std::vector<std::shared_ptr<Operation>> operations;
    operations.reserve(mUnfinished.size());
    for (const auto& [order, operation] : mUnfinished)
        operations.push_back(operation);
    return operations;
}

/// Releases the operations that are, or wait for, a part of a cycle of dependencies.
void OperationQueue::Core::letGoOfThoseThatCannotRun() {
    using Operations = std::vector<std::shared_ptr<Operation>>;
    Operations toVisit = operations();
    Operations stuck;
    std::unordered_set<const Operation*> seen;
    while (!toVisit.empty()) {
        const auto operation = std::move(toVisit.back());
        toVisit.pop_back();
        if (!seen.insert(operation.get()).second)
            continue;
        const auto further = operation->dependencies();
        toVisit.insert(toVisit.end(), further.begin(), further.end());
        const std::lock_guard lock(operation->mInternals->mutex);
        if (operation->mInternals->closesCycle)
            stuck.push_back(operation);
    }
    seen.clear();
    for (std::size_t i = 0; i < stuck.size(); ++i) {
        const auto operation = stuck[i];
        if (!seen.insert(operation.get()).second)
            continue;
        const std::scoped_lock lock(mMutex, operation->mInternals->mutex);
        if (operation->mInternals->queue.get() == this) {
            mUnfinished.erase(operation->mInternals->orderInQueue);
            operation->mInternals->queue.reset();
        }
        for (const auto& dependent : operation->mInternals->dependents) {
            if (auto waiting = dependent.lock())
                stuck.push_back(std::move(waiting));
        }
    }
}

int OperationQueue::Core::maxConcurrentOperationCount() const {
    const std::lock_guard lock(mMutex);
    return mMaxConcurrentOperationCount;
}

void OperationQueue::Core::setMaxConcurrentOperationCount(int count) {
    precondition(count >= 1 || count == kDefaultMaxConcurrentOperationCount,
                 "An operation queue must run at least one operation at a time");
    const std::lock_guard lock(mMutex);
    mMaxConcurrentOperationCount = count;
    startWorkers();
}

std::size_t OperationQueue::Core::workerLimit() const {
    if (mRunsOnMainThread)
        return 1;
    return mMaxConcurrentOperationCount == kDefaultMaxConcurrentOperationCount
               ? std::max(1U, std::thread::hardware_concurrency())
               : static_cast<std::size_t>(mMaxConcurrentOperationCount);
}

/// Called with the lock held, after operations may have become able to start. A worker that finds nothing
/// ends.
void OperationQueue::Core::startWorkers() {
    const auto limit = workerLimit();
    for (auto needed = mReady.size(); needed > 0 && mWorkerCount < limit; --needed) {
        ++mWorkerCount;
        if (mRunsOnMainThread)
            MainQueue::async([self = shared_from_this()] { self->workOnMainThread(); });
        else
            operationThreads().run([self = shared_from_this()] { self->work(); });
    }
}

OperationQueue::Core::Started OperationQueue::Core::next() {
    const std::lock_guard lock(mMutex);
    if (mReady.empty() || mWorkerCount > workerLimit()) {
        --mWorkerCount;
        return {};
    }
    const auto order = *mReady.begin();
    mReady.erase(mReady.begin());
    return {mUnfinished.at(order), order};
}

void OperationQueue::Core::work() {
    while (const auto started = next())
        run(started);
}

/// Runs one operation and comes again, so that other work of the main thread gets its turn.
void OperationQueue::Core::workOnMainThread() {
    {
        const auto started = next();
        if (!started)
            return;
        run(started);
    }
    const std::lock_guard lock(mMutex);
    --mWorkerCount;
    startWorkers();
}

void OperationQueue::Core::run(const Started& started) {
    auto& operation = *started.operation;
    auto& internals = *operation.mInternals;
    bool executes;
    {
        const std::lock_guard lock(internals.mutex);
        executes = !internals.isCancelled;
        if (executes)
            internals.state = Operation::State::executing;
    }
    if (executes) {
        internals.observers.notify(operation, Operation::State::executing);
        runUnattended([&] { operation.main(); });
    }
    internals.progress->markFinished();

    std::vector<Operation::Internals::Dependency> dependencies; // released without a lock
    std::vector<std::weak_ptr<Operation>> dependents;
    {
        const std::scoped_lock lock(mMutex, internals.mutex);
        mUnfinished.erase(started.order);
        internals.state = Operation::State::finished;
        internals.finishingThread = std::this_thread::get_id();
        internals.queue.reset();
        dependencies.swap(internals.dependencies);
        dependents.swap(internals.dependents);
    }
    for (const auto& dependent : dependents) {
        if (const auto waiting = dependent.lock())
            waiting->dependencyFinished();
    }
    internals.observers.notify(operation, Operation::State::finished);
    {
        const std::lock_guard lock(internals.mutex);
        internals.finishingThread = {};
        internals.isSettled = true;
    }
    internals.settled.notify_all();
}

void Operation::dependencyFinished() {
    std::shared_ptr<OperationQueue::Core> queue;
    std::uint64_t order;
    {
        const std::lock_guard lock(mInternals->mutex);
        if (--mInternals->unfinishedDependencyCount > 0)
            return;
        queue = mInternals->queue;
        order = mInternals->orderInQueue;
    }
    if (queue)
        queue->becomeReady(order);
}

OperationQueue::OperationQueue() : OperationQueue(std::make_shared<Core>(false)) {}

OperationQueue::OperationQueue(std::shared_ptr<Core> core) : mCore(std::move(core)) {}

OperationQueue::~OperationQueue() {
    mCore->letGoOfThoseThatCannotRun();
}

void OperationQueue::addOperation(const std::shared_ptr<Operation>& operation) {
    mCore->add({operation});
}

void OperationQueue::addOperation(std::function<void()> block) {
    mCore->add({std::make_shared<BlockOperation>(std::move(block))});
}

void OperationQueue::addOperations(const std::vector<std::shared_ptr<Operation>>& operations,
                                   bool waitUntilFinished) {
    // A copy of the inner part: one of the operations may drop the queue.
    const auto core = mCore;
    core->add(operations);
    if (!waitUntilFinished)
        return;
    for (const auto& operation : operations)
        operation->waitUntilFinished();
}

int OperationQueue::maxConcurrentOperationCount() const {
    return mCore->maxConcurrentOperationCount();
}

void OperationQueue::setMaxConcurrentOperationCount(int count) {
    mCore->setMaxConcurrentOperationCount(count);
}

std::vector<std::shared_ptr<Operation>> OperationQueue::operations() const {
    return mCore->operations();
}

void OperationQueue::cancelAllOperations() {
    for (const auto& operation : operations())
        operation->cancel();
}

void OperationQueue::waitUntilAllOperationsAreFinished() const {
    for (const auto& operation : operations())
        operation->waitUntilFinished();
}

const std::shared_ptr<OperationQueue>& OperationQueue::mainQueue() {
    // Never destroyed: static objects and background threads may use it while the process ends.
    static const auto* const queue =
        new std::shared_ptr<OperationQueue>(new OperationQueue(std::make_shared<Core>(true)));
    return *queue;
}

} // namespace tarn
