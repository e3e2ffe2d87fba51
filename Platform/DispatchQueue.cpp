#include "Platform/DispatchQueue.h"

#include "Platform/FatalError.h"
#include "Platform/WorkerPool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace tarn {

namespace {

/// How long runUntil waits at most before it looks at its condition again.
constexpr std::chrono::milliseconds kConditionInterval{2};

/// Names the calling thread; unlike the system's thread identifiers, never used again for a later thread.
std::uint64_t currentThread() {
    static std::atomic<std::uint64_t> next{1};
    thread_local const std::uint64_t identifier = next.fetch_add(1, std::memory_order_relaxed);
    return identifier;
}

struct MainQueueState {
    std::mutex mutex;
    std::condition_variable arrival;
    std::condition_variable completion;
    std::deque<Block> blocks;
    std::atomic<std::uint64_t> mainThread = currentThread();
    bool isClaimed = false;
};

MainQueueState& mainQueueState() {
    // Never destroyed: background threads may use it while the process ends.
    static auto* const state = new MainQueueState;
    return *state;
}

/// Notes the thread that initialises the static objects, should nothing have asked before.
[[maybe_unused]] const MainQueueState& gInitialState = mainQueueState();

/// The first thread to drain becomes the main thread when none has been named.
void claimMainThread() {
    auto& state = mainQueueState();
    {
        const std::lock_guard lock(state.mutex);
        if (!std::exchange(state.isClaimed, true))
            state.mainThread.store(currentThread());
    }
    MainQueue::assertOnMainThread();
}

/// Runs the first queued block; returns whether there was one.
bool runNext(MainQueueState& state) {
    Block block;
    {
        const std::lock_guard lock(state.mutex);
        if (state.blocks.empty())
            return false;
        block = std::move(state.blocks.front());
        state.blocks.pop_front();
    }
    runUnattended(block);
    return true;
}

} // namespace

namespace MainQueue {

void becomeMainThread() {
    auto& state = mainQueueState();
    const std::lock_guard lock(state.mutex);
    state.isClaimed = true;
    state.mainThread.store(currentThread());
}

bool isMainThread() {
    return mainQueueState().mainThread.load() == currentThread();
}

void sync(const Block& block) {
    if (isMainThread()) {
        runUnattended(block);
        return;
    }
    auto& state = mainQueueState();
    bool isDone = false;
    std::unique_lock lock(state.mutex);
    state.blocks.emplace_back([&] {
        block();
        const std::lock_guard doneLock(state.mutex);
        isDone = true;
        state.completion.notify_all();
    });
    state.arrival.notify_one();
    state.completion.wait(lock, [&] { return isDone; });
}

void async(Block block) {
    auto& state = mainQueueState();
    const std::lock_guard lock(state.mutex);
    state.blocks.push_back(std::move(block));
    state.arrival.notify_one();
}

std::size_t runPending() {
    claimMainThread();
    auto& state = mainQueueState();
    std::size_t queued;
    {
        const std::lock_guard lock(state.mutex);
        queued = state.blocks.size();
    }
    // A block may itself drain the queue, so there may be fewer left.
    std::size_t count = 0;
    while (count < queued && runNext(state))
        ++count;
    return count;
}

bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    claimMainThread();
    auto& state = mainQueueState();
    const auto start = std::chrono::steady_clock::now();
    for (;;) {
        if (condition())
            return true;
        // In milliseconds, which hold the longest timeout.
        const auto elapsed =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
        if (elapsed >= timeout)
            return false;
        if (runNext(state))
            continue;
        std::unique_lock lock(state.mutex);
        state.arrival.wait_for(lock, std::min(kConditionInterval, timeout - elapsed),
                               [&] { return !state.blocks.empty(); });
    }
}

void assertOnMainThread() {
    precondition(isMainThread(), "This must be called on the main thread");
}

} // namespace MainQueue

namespace GlobalQueue {

void async(Block block) {
    // Some more than one thread even on a small machine, because blocks may wait for the main thread.
    static auto* const pool = new WorkerPool(std::max(4U, std::thread::hardware_concurrency()));
    pool->run(std::move(block));
}

} // namespace GlobalQueue

} // namespace tarn
